// The checker has nothing to say about a database that the library has made, whatever the
// statements were: else it could not be asked after faults and kills.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/checker/checker.h"
#include "tests/support/script_session.h"

namespace ovrasql {
namespace {

std::string Findings(const std::string& catalog = "main.dbf") {
    return checker::Describe(checker::CheckDatabase(TakeFiles(), catalog));
}

class HealthyDatabase : public testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
    }

    void Run(const std::string& sql, const Texts& parameters = {}) {
        ASSERT_EQ(database_->Run(sql, parameters), "") << sql;
        ASSERT_EQ(Findings(), "") << sql;
    }

    std::unique_ptr<TestDatabase> database_;
};

class HealthyScript : public testing::TestWithParam<StatementScript> {};

TEST_P(HealthyScript, IsSilentAfterEachStep) {
    const FileSet files = SetupFiles(GetParam());
    if (!files.empty()) {
        ASSERT_EQ(Findings(), "");
    }
    RestoreFiles(files);
    ScriptSession session;
    ASSERT_TRUE(Prepare(session, GetParam()));
    for (const ScriptStep& step : GetParam().tested) {
        ASSERT_EQ(session.Run(step).ok, !step.fails) << step.text;
        if (step.text == "create" && !files.empty()) {
            // The tables of the database that was here before have no rows any more.
            for (const checker::Finding& finding :
                 checker::CheckDatabase(TakeFiles(), "main.dbf")) {
                EXPECT_EQ(finding.kind, checker::FindingKind::kUnlistedFile) << finding.text;
            }
            continue;
        }
        ASSERT_EQ(Findings(), "") << step.text;
    }
}

INSTANTIATE_TEST_SUITE_P(AllScripts, HealthyScript, testing::ValuesIn(StatementScripts()),
                         [](const auto& script) { return script.param.name; });

TEST_F(HealthyDatabase, EmptyIsSilent) { EXPECT_EQ(Findings(), ""); }

TEST_F(HealthyDatabase, NegativeAndFractionalKeysAreFilledUpWithZerosInFrontOfTheSign) {
    Run("create table t (n numeric(4,2), w numeric(2))");
    Run("create index tn on t (n)");
    Run("create index tw on t (w desc, n desc)");
    for (const char* number : {"-5", "12.25", "-0.5", "0", "9999.99", "123456789", "-1234.56"}) {
        Run("insert into t values (?, ?)", {number, number});
    }
    Run("update t set n = n - 1 where w = 0");
    Run("insert into t select w / 0, 0 from t where n = 12.25");
}

TEST_F(HealthyDatabase, KeysAreInUpperCaseUnderBothCaseOptions) {
    Run("create table t (a char(8), b boolean, m memo)");
    Run("create unique index ta on t (a)");
    Run("create index tm on t (m, b, a)");
    Run("insert into t values ('Anna', 1, 'Some Text: with a colon')");
    ASSERT_TRUE(database_->Option("caseinsensitive"));
    Run("insert into t values ('bOB', 0, 'other')");
    Run("update t set a = 'Carl' where a = 'ANNA'");
    ASSERT_TRUE(database_->Option("casesensitive"));
    Run("update t set m = 'NEW' where a = 'bOB'");
}

TEST_F(HealthyDatabase, LongKeysAreCut) {
    Run("create table t (a char(200), b char(60), m memo)");
    Run("create index ta on t (a)");
    Run("create index tb on t (b, a)");
    Run("create index tm on t (m)");
    for (const size_t length : {1U, 98U, 99U, 100U, 101U, 150U}) {
        Run("insert into t values (?, ?, ?)",
            {std::string(length, 'a'), std::string(length, 'b'), std::string(10 * length, 'm')});
    }
    Run("update t set a = ?", {std::string(120, 'z')});
}

TEST_F(HealthyDatabase, TextsThatAreCutBehindABlankHaveKeysWithoutIt) {
    Run("create table t (a char(4), b char(4))");
    Run("create index tab on t (a, b)");
    Run("insert into t values ('xy   z', 'p   q')");
    Run("update t set a = 'a    b' where b = 'p'");
    Run("delete from t where a = 'a'");
}

TEST_F(HealthyDatabase, TextsThatEndAtANulHaveKeysWithoutTheBlanksInFrontOfIt) {
    Run("create table t (a char(8), m memo)");
    Run("create unique index ta on t (a)");
    Run("create index tm on t (m, a)");
    Run("insert into t values (?, ?)", {std::string("ab  \0q", 6), std::string("me \0mo", 6)});
    EXPECT_EQ(database_->Run("insert into t values ('ab', '')"),
              "Inserted record violates UNIQUE constraint on index 'ta'");
    EXPECT_EQ(database_->RowsText("select length(a) from t where a = 'ab'"), "2\n");
    Run("update t set m = ?", {std::string(3, '\0')});
    Run("update t set a = ? where a = 'ab'", {std::string("c \0", 3)});
    Run("delete from t where a = 'c'");
}

// Dates come from other programs, and so do cells that are filled with NULs.
TEST_F(HealthyDatabase, CellsThatAreFilledWithNulsComeOutOfOnePackWithTheirKeys) {
    Run("create table t (c char(5), d char(8), f boolean, id numeric(3))");
    Run("insert into t values ('ab', '20260101', 1, 1)");
    Run("insert into t values ('cd', '20260102', 0, 2)");
    database_.reset();
    Bytes bytes = TheHost().FileBytes("t.dbf");
    bytes[2 * 32 + 11] = 'D';
    const std::string cells = std::string("ab \0\0", 5) + std::string(8 + 1, '\0');
    std::copy(cells.begin(), cells.end(), bytes.begin() + (1 + 4) * 32 + 1 + 1);
    TheHost().SetFile("t.dbf", bytes);
    database_ = std::make_unique<TestDatabase>();
    ASSERT_TRUE(database_->Open());
    ASSERT_EQ(database_->Run("create unique index tc on t (c)"), "");
    ASSERT_EQ(database_->Run("create unique index td on t (d, f)"), "");
    ASSERT_TRUE(database_->Pack()) << database_->Error();
    EXPECT_EQ(Findings(), "");
    Run("update t set id = 7 where c = 'ab'");
    Run("delete from t where id = 7");
    Run("insert into t (id) values (8)");
    Run("update t set c = 'x' where id = 8");
    Run("delete from t where id = 8");
}

TEST_F(HealthyDatabase, TheKeyOfAMemoGoesOnBehindItsEndMark) {
    Run("create table t (m memo, a char(4))");
    Run("create index tm on t (m, a)");
    Run("insert into t values (?, 'p')", {"be\x1A"
                                          "hind"});
    Run("insert into t values (?, 'q')", {std::string(200, 'x') + "\x1A"});
    Run("insert into t values (?, 'r')", {std::string(50, 'x') + "\x1A" + std::string(90, 'y')});
    // The record gives another key by now.
    EXPECT_EQ(database_->Run("delete from t where a = 'r'"), "Record is not in index");
    EXPECT_TRUE(database_->Pack());
    EXPECT_EQ(Findings(), "");
}

TEST_F(HealthyDatabase, NamesThatReadAsNumbersDoNotDisturbTheCatalog) {
    for (const char* name : {"inf", "nan", "infinity", "e5", "a1", "zz"}) {
        Run(std::string("create table ") + name + " (" + name + " numeric(3))");
        Run(std::string("create index ") + name + " on " + name + " (" + name + ")");
        Run(std::string("insert into ") + name + " values (1)");
    }
    Run("drop table inf");
    Run("drop index e5");
    Run("create table INF (a char)");
}

TEST_F(HealthyDatabase, FoldersMadeOfNamesAreFollowed) {
    ASSERT_TRUE(database_->Option("subdir_char", "_"));
    Run("create table far_off_t (a integer, m memo)");
    Run("create index far_off_i on far_off_t (a)");
    Run("insert into far_off_t values (1, 'text')");
    Run("alter table far_off_t add b char(3)");
    database_ = std::make_unique<TestDatabase>();
    ASSERT_TRUE(database_->Open());
    Run("create table far_off_u (a integer)");
    EXPECT_TRUE(database_->Pack());
    EXPECT_EQ(Findings(), "");
    Run("drop table far_off_t");
}

TEST_F(HealthyDatabase, AFolderOfItsOwnIsFollowed) {
    TheHost().AddDirectory("some/folder");
    TestDatabase other;
    ASSERT_TRUE(other.Create("some/folder/data.base.dbf"));
    ASSERT_EQ(other.Run("create table t (a char(3), m memo)"), "");
    ASSERT_EQ(other.Run("create index ta on t (a)"), "");
    ASSERT_EQ(other.Run("insert into t values ('one', 'text')"), "");
    EXPECT_EQ(Findings("some/folder/data.base.dbf"), "");
}

TEST_F(HealthyDatabase, TheWidestTableAndALongKeyExpressionAreSilent) {
    std::string columns;
    std::string names;
    for (int number = 0; number < 250; ++number) {
        columns += (number == 0 ? "" : ", ") + ("column" + std::to_string(number)) + " char(255)";
        if (number < 20) {
            names += (number == 0 ? "" : ", ") + ("column" + std::to_string(number));
        }
    }
    Run("create table wide (" + columns + ")");
    Run("create index many on wide (" + names + ")");
    Run("insert into wide (column0, column249) values ('first', 'last')");
}

TEST_F(HealthyDatabase, TablesAreReadWithoutTheLibrary) {
    Run("create table t (n numeric(4,1), c char(6), b boolean, m memo)");
    Run("insert into t values (1.5, 'one', 1, 'text of one')");
    Run("insert into t values (2, 'two', 0, '')");
    Run("insert into t values (3, 'three', 0, ?)", {std::string(1300, 'x')});
    Run("delete from t where n = 2");
    const std::vector<checker::CheckedTable> tables = checker::ReadTables(TakeFiles(), "main.dbf");
    ASSERT_EQ(tables.size(), 1U);
    EXPECT_EQ(tables[0].name, "t");
    EXPECT_EQ(tables[0].columns, (Texts{"N", "C", "B", "M"}));
    EXPECT_EQ(tables[0].rows, (std::vector<Row>{{"1.5", "one", "T", "text of one"},
                                                {"3.0", "three", "F", std::string(1300, 'x')}}));
    EXPECT_EQ(tables[0].recordNumbers, (std::vector<uint32_t>{1, 3}));
}

}  // namespace
}  // namespace ovrasql
