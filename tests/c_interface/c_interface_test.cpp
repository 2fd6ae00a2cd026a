// The C interface for programs, over the real library and real files.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ovrasql/ovrasql.h"
#include "tests/c_interface/c_interface_database.h"
#include "tests/support/temporary_folder.h"

namespace {

using ovratest::CInterfaceTest;

TEST_F(CInterfaceTest, RowsAreWalkedFromBeforeTheFirst) {
    ovra_view* view = Open("select id, word from t");
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(ovra_text(view, 0, nullptr), nullptr) << "no row yet";
    EXPECT_EQ(ovra_next(view), 1);
    EXPECT_STREQ(ovra_text(view, 0, nullptr), "1");
    EXPECT_EQ(ovra_next(view), 1);
    EXPECT_STREQ(ovra_text(view, 0, nullptr), "2");
    EXPECT_EQ(ovra_next(view), 0);
    EXPECT_EQ(ovra_text(view, 0, nullptr), nullptr) << "no row any more";
    EXPECT_EQ(ovra_next(view), 0);
    ovra_close_view(view);
}

TEST_F(CInterfaceTest, EmptyResultEndsAtOnce) {
    ovra_view* view = Open("select id from t where id = 3");
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(ovra_column_count(view), 1);
    EXPECT_EQ(ovra_next(view), 0);
    ovra_close_view(view);
}

TEST_F(CInterfaceTest, ColumnsHaveNamesAndTheEndMarkIsNone) {
    ovra_view* view = Open("select id, word as eof, price * 2 from t");
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(ovra_column_count(view), 3);
    int32_t length = 0;
    EXPECT_STREQ(ovra_column_name(view, 1, &length), "eof");
    EXPECT_EQ(length, 3);
    EXPECT_STREQ(ovra_column_name(view, 2, nullptr), "price * 2");
    EXPECT_EQ(ovra_column_name(view, 3, &length), nullptr);
    EXPECT_EQ(ovra_column_name(view, -1, nullptr), nullptr);
    EXPECT_EQ(ovra_column_index(view, "EOF", -1), 1);
    EXPECT_EQ(ovra_column_index(view, "idx", 2), 0);
    EXPECT_EQ(ovra_column_index(view, "none", -1), -1);
    EXPECT_EQ(ovra_next(view), 1);
    EXPECT_STREQ(ovra_text_by_name(view, "eof", &length), "one");
    EXPECT_EQ(length, 3);
    EXPECT_EQ(ovra_text_by_name(view, "none", nullptr), nullptr);
    ovra_close_view(view);
}

TEST_F(CInterfaceTest, ValuesAreReadAsTextAndAsNumbers) {
    ovra_view* view = Open("select id, price, word, price * 2 from t");
    ASSERT_NE(view, nullptr);
    ASSERT_EQ(ovra_next(view), 1);
    int32_t integer = -1;
    double number = -1;
    EXPECT_EQ(ovra_integer(view, 0, &integer), 1);
    EXPECT_EQ(integer, 1);
    EXPECT_EQ(ovra_integer(view, 1, &integer), 0) << "a point is no digit";
    EXPECT_EQ(integer, 0);
    EXPECT_EQ(ovra_double(view, 1, &number), 1);
    EXPECT_EQ(number, 1.5);
    EXPECT_EQ(ovra_double(view, 2, &number), 0);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(ovra_integer(view, 3, &integer), 1) << "computed, and whole";
    EXPECT_EQ(integer, 3);
    EXPECT_EQ(ovra_integer(view, 9, &integer), 0);
    ASSERT_EQ(ovra_next(view), 1);
    int32_t length = -1;
    EXPECT_STREQ(ovra_text(view, 2, &length), "") << "NULL is the empty text";
    EXPECT_EQ(length, 0);
    ovra_close_view(view);
}

TEST_F(CInterfaceTest, ParametersAreCountedOrNumbered) {
    const std::vector<ovra_parameter> values = {{"2", -1}, {"one....", 3}};
    EXPECT_EQ(ovra_query(database_, "update t set price = ? where word = ?", -1, values.data(), 2),
              1);
    EXPECT_EQ(
        ovra_query(database_, "update t set price = :1 where word = :2", -1, values.data(), 2), 1);
    EXPECT_EQ(ovra_query(database_, "update t set price = ? where word = :2", -1, values.data(), 2),
              1);
    EXPECT_EQ(ovra_query(database_, "update t set price = ?", -1, values.data(), 2), 0);
    EXPECT_STREQ(ovra_error(database_), "Input parameter count mismatch: Found 2 expected 1");
    EXPECT_EQ(ovra_query(database_, "update t set price = :3", -1, values.data(), 2), 0);
    EXPECT_STREQ(ovra_error(database_), "Invalid parameter");
    ovra_view* view = Open("select id from t where price = 2");
    EXPECT_EQ(ovra_next(view), 1);
    EXPECT_STREQ(ovra_text(view, 0, nullptr), "1");
    EXPECT_EQ(ovra_next(view), 0);
    ovra_close_view(view);
}

TEST_F(CInterfaceTest, FailuresTellTheirText) {
    EXPECT_EQ(Open("select nothing from t"), nullptr);
    EXPECT_STREQ(ovra_error(database_), "Unknown field 'nothing'");
    EXPECT_EQ(Open("select id from t where id = ?"), nullptr);
    EXPECT_STREQ(ovra_error(database_), "Input parameter count mismatch: Found 0 expected 1");
    EXPECT_EQ(ovra_query(database_, "select id from t", -1, nullptr, 0), 0);
    EXPECT_STREQ(ovra_error(database_), "SELECT is not valid in this context");
    EXPECT_EQ(ovra_query(database_, nullptr, -1, nullptr, 0), 0);
    EXPECT_STREQ(ovra_error(database_), "Syntax Error: Empty SQL Statement");
}

TEST_F(CInterfaceTest, ViewThatFailsLaterTellsItInsideTheRows) {
    Run("create table u (k integer)");
    Run("insert into u values (1)");
    Run("insert into u values (2)");
    Run("insert into u values (2)");
    ovra_view* view = Open("select (select k from u where k = t.id) from t");
    ASSERT_NE(view, nullptr) << ovra_error(database_);
    EXPECT_EQ(ovra_next(view), 1);
    EXPECT_EQ(ovra_next(view), -1);
    EXPECT_STREQ(ovra_error(database_), "Sub-query returns more than one row");
    EXPECT_EQ(ovra_next(view), 0);
    ovra_close_view(view);
}

TEST_F(CInterfaceTest, CompileRunsNothing) {
    EXPECT_EQ(ovra_compile(database_, "delete from t", -1), 1);
    EXPECT_EQ(ovra_compile(database_, "select id from t where id = ? or id = :7", -1), 1);
    EXPECT_EQ(ovra_compile(database_, "drop table t", -1), 1);
    EXPECT_EQ(ovra_compile(database_, "delete from none", -1), 0);
    EXPECT_STREQ(ovra_error(database_), "Unknown table 'none'");
    ovra_view* view = Open("select count(*) from t");
    EXPECT_EQ(ovra_next(view), 1);
    EXPECT_STREQ(ovra_text(view, 0, nullptr), "2");
    ovra_close_view(view);
}

TEST_F(CInterfaceTest, MissingDatabaseGivesAHandleThatTellsWhy) {
    ovra_database* missing = nullptr;
    EXPECT_EQ(ovra_open(folder_.File("none.dbf").c_str(), &missing), 0);
    ASSERT_NE(missing, nullptr);
    EXPECT_EQ(std::string(ovra_error(missing)).rfind("Error opening schema database: ", 0), 0U);
    EXPECT_EQ(ovra_query(missing, "create table t (a char)", -1, nullptr, 0), 0);
    ovra_close(missing);
    ovra_close(nullptr);
}

TEST_F(CInterfaceTest, DatabaseMayBeClosedWithViewsOpen) {
    ovra_view* view = Open("select id from t");
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(ovra_next(view), 1);
    ovra_close(database_);
    ASSERT_EQ(ovra_open(folder_.File("db.dbf").c_str(), &database_), 1);
    Run("insert into t values (3, 'three', 0)");
}

TEST_F(CInterfaceTest, ViewReadsTheOldFilesOnAfterAPack) {
    Run("insert into t values (3, 'three', 3)");
    Run("delete from t where id = 2");
    ovra_view* view = Open("select id from t");
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(ovra_next(view), 1);
    EXPECT_EQ(ovra_pack(database_), 1) << ovra_error(database_);
    Run("insert into t values (4, 'four', 4)");
    EXPECT_EQ(ovra_next(view), 1);
    EXPECT_STREQ(ovra_text(view, 0, nullptr), "3");
    EXPECT_EQ(ovra_next(view), 0);
    ovra_close_view(view);
}

TEST_F(CInterfaceTest, TwoHandlesOfOneProcessShareADatabase) {
    ovra_database* other = nullptr;
    ASSERT_EQ(ovra_open(folder_.File("db.dbf").c_str(), &other), 1);
    ovra_view* view = Open("select id from t");
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(ovra_query(other, "insert into t values (3, 'three', 0)", -1, nullptr, 0), 1)
        << ovra_error(other);
    int rows = 0;
    while (ovra_next(view) == 1) {
        ++rows;
    }
    EXPECT_EQ(rows, 3) << "the scan reloads the count at its end";
    ovra_close_view(view);
    ovra_close(other);
}

TEST_F(CInterfaceTest, OptionsReachTheLibraryAndTheHost) {
    EXPECT_EQ(ovra_set_option(database_, "Lock_Timeout", "0"), 1);
    EXPECT_EQ(ovra_set_option(database_, "subdir_char", "too long"), 0);
    EXPECT_STREQ(ovra_error(database_), "subdir_char parameter must be single character");
    EXPECT_EQ(ovra_set_option(database_, "no such option", "x"), 1);
    EXPECT_EQ(ovra_pack(database_), 1) << ovra_error(database_);
}

TEST_F(CInterfaceTest, LockTimeoutBeyondEveryNumberIsTheLongest) {
    ovra_view* view = Open("select id from t");
    ovra_database* packer = nullptr;
    ASSERT_EQ(ovra_open(folder_.File("db.dbf").c_str(), &packer), 1);
    EXPECT_EQ(ovra_set_option(packer, "lock_timeout", "4294967295"), 1);
    std::thread reader([view] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ovra_close_view(view);
    });
    EXPECT_EQ(ovra_pack(packer), 1) << ovra_error(packer);
    reader.join();
    ovra_close(packer);
}

// Its files would be the parent's, with the parent's locks.
TEST_F(CInterfaceTest, DatabaseDoesNotSurviveFork) {
    ovra_view* view = Open("select id from t");
    ASSERT_EQ(ovra_next(view), 1);
    const std::string path = folder_.File("db.dbf");
    const pid_t child = ::fork();
    if (child == 0) {
        const bool told =
            ovra_query(database_, "insert into t values (3, '', 0)", -1, nullptr, 0) == 0 &&
            std::string(ovra_error(database_)) ==
                "The database was opened before fork; open it again" &&
            ovra_next(view) == -1 && ovra_pack(database_) == 0;
        ovra_close(database_);
        ovra_database* own = nullptr;
        const bool opened =
            ovra_open(path.c_str(), &own) == 1 &&
            ovra_query(own, "insert into t values (4, 'child', 0)", -1, nullptr, 0) == 1;
        ovra_close(own);
        ::_exit(told && opened ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    int rows = 1;
    while (ovra_next(view) == 1) {
        ++rows;
    }
    EXPECT_EQ(rows, 3) << "two, and that of the child";
    ovra_close_view(view);
    Run("insert into t values (5, 'parent', 0)");
}

}  // namespace
