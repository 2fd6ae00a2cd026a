#pragma once

// Statements of every kind, run against one small database, for the tests that let things fail at
// each place: the host's calls (host_failure_test.cpp) and the memory (out_of_memory_test.cpp).

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/test_database.h"

namespace ovrasql {

using FileSet = std::map<std::string, Bytes>;

// "pack" stands for database_pack.
inline const std::vector<std::string>& FailureStatements() {
    static const std::vector<std::string> statements = {
        "insert into t (a, b, m) values (9, 'nine', 'text of nine')",
        "insert into t (a, b) select a + 20, 'copy' from u",
        "update t set b = 'new', m = 'another text' where a = 2",
        "update t set a = a + 30",
        "delete from t where a = 2",
        "delete from t",
        "select a, b, m from t where a >= 2",
        "select distinct b, a + 1 from t order by b desc, a",
        "select t.a, u.a from t left outer join u on t.a = u.a where t.a > 1",
        "select a from t where a = (select a from u where u.a = t.a) union select a from u",
        "select b, count(*), sum(a), count(distinct m) from t group by b",
        "select x.n from (select a as n from t) x where x.n in (1, 3)",
        "create table v (a integer, b char(10), m memo)",
        "drop table t",
        "create index ub on u (b)",
        "create unique index ub on u (a desc, b desc)",
        "drop index tb",
        "alter table t add (c boolean, d numeric(5,2))",
        "alter table t drop column m",
        "pack",
    };
    return statements;
}

// A database with two tables, indexes, memo texts and a deleted record.
inline FileSet FailureFiles() {
    TheHost().Reset();
    TestDatabase database;
    EXPECT_TRUE(database.Create());
    for (const char* sql :
         {"create table t (a integer, b char(10), m memo)", "create table u (a integer, b char(4))",
          "create unique index ta on t (a)", "create index tb on t (b, a)",
          "insert into t (a, b, m) values (1, 'one', 'text of one')",
          "insert into t (a, b, m) values (2, 'two', 'text of two')",
          "insert into t (a, b, m) values (4, 'four', '')",
          "insert into t (a, b, m) values (3, 'two', 'text of three')",
          "insert into u (a, b) values (1, 'x')", "insert into u (a, b) values (3, 'y')",
          "delete from t where a = 4"}) {
        EXPECT_EQ(database.Run(sql), "") << sql;
    }
    database.Free();
    FileSet files;
    for (const std::string& path : TheHost().FilePaths()) {
        files[path] = TheHost().FileBytes(path);
    }
    return files;
}

inline void RestoreFiles(const FileSet& files) {
    TheHost().Reset();
    for (const auto& [path, bytes] : files) {
        TheHost().SetFile(path, bytes);
    }
}

inline std::string RunStatement(TestDatabase& database, const std::string& statement) {
    if (statement == "pack") {
        return database.Pack() ? "" : database.Error();
    }
    if (statement.starts_with("select")) {
        const std::string rows = database.RowsText(statement);
        const size_t error = rows.find("error: ");
        return error == std::string::npos ? "" : rows.substr(error);
    }
    return database.Run(statement);
}

// A test's name from its statement's number: the number, then the letters and digits of the text.
inline std::string StatementTestName(const ::testing::TestParamInfo<int32_t>& statement) {
    std::string name = std::to_string(statement.param) + "_";
    for (const char c : FailureStatements()[static_cast<size_t>(statement.param)]) {
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
            name += c;
        } else if (name.back() != '_') {
            name += '_';
        }
    }
    return name.substr(0, 40);
}

}  // namespace ovrasql
