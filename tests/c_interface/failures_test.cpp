// The C interface where something fails: what ovra_error tells and for how long, memory that runs
// out, texts that no length can tell, and a program without standard output.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <ios>
#include <sstream>
#include <string>
#include <vector>

#include "ovrasql/ovrasql.h"
#include "tests/c_interface/c_interface_database.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/long_text.h"
#include "tests/support/temporary_folder.h"

// The in-memory host is not linked, whose own allocations are spared.
namespace ovrasql {
int ServiceDepth() { return 0; }
}  // namespace ovrasql

namespace {

class FailuresTest : public ovratest::CInterfaceTest {
  protected:
    // So that the next one is compiled, with all the memory that this takes.
    void ForgetStatements() {
        ovra_set_option(database_, "statement_cache_size", "0");
        ovra_set_option(database_, "statement_cache_size", "10");
    }

    // The rows of a SELECT, a line each, or the text of the failure. Row after row for ever is cut.
    std::string RowsOrError(const char* statement) {
        ovra_view* view = Open(statement);
        if (view == nullptr) {
            return std::string("error: ") + ovra_error(database_);
        }
        std::string rows;
        int32_t next = 0;
        for (int count = 0; count < 10 && (next = ovra_next(view)) == 1; ++count) {
            for (int32_t column = 0; column < ovra_column_count(view); ++column) {
                rows += std::string(ovra_text(view, column, nullptr)) + "|";
            }
            rows += "\n";
        }
        ovra_close_view(view);
        return next < 0 ? std::string("error: ") + ovra_error(database_) : rows;
    }
};

// What the library says of an ALTER TABLE that others keep out is not the reason, which the host
// has.
TEST_F(FailuresTest, TextOfAFailureOutlivesCallsThatSucceed) {
    ovra_view* reader = Open("select id from t");
    ovra_database* other = nullptr;
    ASSERT_EQ(ovra_open(folder_.File("db.dbf").c_str(), &other), 1);
    ovra_set_option(other, "lock_timeout", "0");
    EXPECT_EQ(ovra_query(other, "alter table t add more char(1)", -1, nullptr, 0), 0);
    const char* text = ovra_error(other);
    const std::string told = text;
    EXPECT_EQ(told.rfind("File is in use by another process or an open view", 0), 0U) << told;
    EXPECT_EQ(ovra_query(other, "insert into t values (3, 'three', 0)", -1, nullptr, 0), 1);
    EXPECT_EQ(ovra_compile(other, "select id from t", -1), 1);
    EXPECT_EQ(told, ovra_error(other));
    EXPECT_EQ(ovra_error(other), text) << "not moved either";
    ovra_close(other);
    ovra_close_view(reader);
}

// The library has no text for it.
TEST_F(FailuresTest, IndexThatAnotherHandleDroppedIsToldOf) {
    Run("create index word on t (word)");
    EXPECT_EQ(RowsOrError("select id from t where word = 'one' and id = 1"), "1|\n");
    ovra_database* other = nullptr;
    ASSERT_EQ(ovra_open(folder_.File("db.dbf").c_str(), &other), 1);
    ASSERT_EQ(ovra_query(other, "drop index word", -1, nullptr, 0), 1);
    ovra_close(other);
    EXPECT_EQ(RowsOrError("select price from t where word = 'one'"),
              "error: An index that the statement uses is gone; open the database again");
}

TEST_F(FailuresTest, NullHandlesArePassedOver) {
    EXPECT_STREQ(ovra_error(nullptr), "Out of memory");
    EXPECT_EQ(ovra_next(nullptr), -1);
    EXPECT_EQ(ovra_column_count(nullptr), 0);
    ovra_close_view(nullptr);
    ovra_close(nullptr);
}

// Each allocation of opening and walking a view fails in turn, the host's own as well.
TEST_F(FailuresTest, ViewIsWholeOrToldOfWhenMemoryRunsOut) {
    const char* statement =
        "select word as a_name_that_needs_memory, id as another_such_name, id - 1 from t";
    const std::string rows = RowsOrError(statement);
    ASSERT_EQ(rows, "one|1|0|\n|2|1|\n");
    int failures = 0;
    bool failed = true;
    for (int64_t failing = 1; failed; ++failing) {
        ForgetStatements();
        ovratest::allocationCount = 0;
        ovratest::failingAllocation = failing;
        ovratest::countingAllocations = true;
        ovra_view* view = Open(statement);
        std::string walked;
        int32_t next = -1;
        for (int count = 0; view != nullptr && count < 10 && (next = ovra_next(view)) == 1;
             ++count) {
            ovratest::countingAllocations = false;
            for (int32_t column = 0; column < ovra_column_count(view); ++column) {
                walked += std::string(ovra_text(view, column, nullptr)) + "|";
            }
            walked += "\n";
            ovratest::countingAllocations = true;
        }
        ovratest::countingAllocations = false;
        failed = ovratest::allocationCount >= failing;
        if (next == 0) {
            EXPECT_EQ(walked, rows) << "allocation " << failing;
        } else {
            EXPECT_STRNE(ovra_error(database_), "") << "allocation " << failing;
            EXPECT_LT(next, 0) << "rows without end: allocation " << failing;
            ++failures;
        }
        ovra_close_view(view);
    }
    EXPECT_GT(failures, 50);
    EXPECT_EQ(RowsOrError(statement), rows);
}

// A file that the catalog does not know must not be emptied because nobody could look for it.
TEST_F(FailuresTest, FileInTheWayIsKeptWhenMemoryRunsOut) {
    const std::string name = "a_table_with_a_name_that_needs_memory_wherever_it_is_copied_to";
    const std::string statement = "create table " + name + " (a integer)";
    const std::string contents = "somebody's file";
    folder_.Write(name + ".dbf", contents);
    int64_t failing = 0;
    bool failed = true;
    while (failed) {
        ++failing;
        ForgetStatements();
        ovratest::allocationCount = 0;
        ovratest::failingAllocation = failing;
        ovratest::countingAllocations = true;
        const int32_t made = ovra_query(database_, statement.c_str(), -1, nullptr, 0);
        ovratest::countingAllocations = false;
        failed = ovratest::allocationCount >= failing;
        EXPECT_EQ(made, 0) << "allocation " << failing;
        ASSERT_EQ(folder_.Read(name + ".dbf"), contents) << "allocation " << failing;
    }
    EXPECT_GT(failing, 25);
    EXPECT_NE(std::string(ovra_error(database_)).find(".dbf' already exists"), std::string::npos);
}

// A program that writes to a closed standard output would else write into the catalog.
TEST(StandardStreams, DatabaseTakesNoneOfTheirNumbers) {
    const ovratest::TemporaryFolder folder;
    const std::string path = folder.File("db.dbf");
    const pid_t child = ::fork();
    if (child == 0) {
        for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            ::close(number);
        }
        ovra_database* database = nullptr;
        bool good = ovra_create(path.c_str(), &database) == 1 &&
                    ovra_query(database, "create table t (a char(9))", -1, nullptr, 0) == 1 &&
                    ovra_query(database, "insert into t values ('kept')", -1, nullptr, 0) == 1;
        for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            good = good && ::fcntl(number, F_GETFD) == -1;
        }
        ovra_close(database);
        ::_exit(good ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// Nothing may be run of a text whose length wraps around, and nothing be stored.
TEST_F(FailuresTest, TextsOf2GiBAreRefused) {
    if (sizeof(void*) == 4) {
        GTEST_SKIP() << "addresses have 32 bits";
    }
    constexpr std::size_t kGibibyte = std::size_t{1} << 30;
    const ovratest::LongText huge(4 * kGibibyte + 5);
    if (huge.CText() == nullptr) {
        GTEST_SKIP() << "no room for addresses of 4 GiB";
    }
    const char* tooLong = "Text is too long (maximum 2147483647 bytes)";
    EXPECT_EQ(ovra_query(database_, huge.CText(), -1, nullptr, 0), 0);
    EXPECT_STREQ(ovra_error(database_), tooLong);
    EXPECT_EQ(ovra_open_view(database_, huge.CText() + 2 * kGibibyte, -1, nullptr, 0), nullptr);
    EXPECT_STREQ(ovra_error(database_), tooLong);
    EXPECT_EQ(ovra_compile(database_, huge.CText() + 2 * kGibibyte, -1), 0);
    EXPECT_STREQ(ovra_error(database_), tooLong);
    const ovra_parameter parameter = {huge.CText(), -1};
    EXPECT_EQ(ovra_query(database_, "update t set word = ?", -1, &parameter, 1), 0);
    EXPECT_STREQ(ovra_error(database_), tooLong);
    EXPECT_EQ(ovra_set_option(database_, huge.CText() + 2 * kGibibyte, "1"), 0);
    EXPECT_EQ(RowsOrError("select word from t"), "one|\n|\n");
}

class NumbersTest : public ovratest::CInterfaceTest {
  protected:
    // What the three readings give for the only value of a SELECT, in the order asked for.
    std::string Readings(const char* statement, const char* order) {
        ovra_view* view = Open(statement);
        // A stream keeps the point whatever locale the program runs in.
        std::ostringstream readings;
        readings << std::fixed << (ovra_next(view) == 1 ? "" : "no row");
        for (const char* kind = order; *kind != '\0'; ++kind) {
            int32_t integer = -7;
            double number = -7;
            if (*kind == 't') {
                readings << "'" << ovra_text(view, 0, nullptr) << "' ";
            } else if (*kind == 'i') {
                readings << ovra_integer(view, 0, &integer) << ":";
                readings << integer << " ";
            } else {
                readings << ovra_double(view, 0, &number) << ":";
                readings << number << " ";
            }
        }
        ovra_close_view(view);
        return readings.str();
    }
};

// A value reads the same however often and in whatever order it is read.
TEST_F(NumbersTest, ReadingsDoNotDependOnThoseBefore) {
    EXPECT_EQ(Readings("select 'abc' from t", "iiddit"),
              "0:0 0:0 0:0.000000 0:0.000000 0:0 'abc' ");
    EXPECT_EQ(Readings("select price from t", "iditid"),
              "0:0 1:1.500000 0:0 '1.50' 0:0 1:1.500000 ");
    EXPECT_EQ(Readings("select price * 2 from t", "idtid"), "1:3 1:3.000000 '3' 1:3 1:3.000000 ");
    EXPECT_EQ(Readings("select price * 3 from t", "idtid"), "0:0 1:4.500000 '4.5' 0:0 1:4.500000 ");
    EXPECT_EQ(Readings("select sum(price) from t where id > 5", "idtid"),
              "1:0 1:0.000000 '' 1:0 1:0.000000 ");
}

TEST_F(NumbersTest, IntegersHave32Bits) {
    EXPECT_EQ(Readings("select 2147483647 from t", "i"), "1:2147483647 ");
    EXPECT_EQ(Readings("select '-2147483648' from t", "i"), "1:-2147483648 ");
    EXPECT_EQ(Readings("select 2147483648 from t", "id"), "0:0 1:2147483648.000000 ");
    EXPECT_EQ(Readings("select id + 4294967296 from t", "id"), "0:0 1:4294967297.000000 ");
}

TEST_F(NumbersTest, DoublesAreFinite) {
    EXPECT_EQ(Readings("select '1e999' from t", "dd"), "0:0.000000 0:0.000000 ");
    EXPECT_EQ(Readings("select 1 / 0 from t", "dd"), "0:0.000000 0:0.000000 ");
    EXPECT_EQ(Readings("select '1e3' from t", "d"), "1:1000.000000 ");
    EXPECT_EQ(Readings("select '1e-400' from t", "d"), "1:0.000000 ") << "too small is 0";
}

// What conditions and arithmetic take for a number is one here.
TEST_F(NumbersTest, DoublesAreWhatTheLibraryCounts) {
    for (const char* number : {"+1.5", " 1.5", "0x1.8"}) {
        const std::string statement =
            std::string("select '") + number + "' from t where '" + number + "' = 1.5";
        EXPECT_EQ(Readings(statement.c_str(), "d"), "1:1.500000 ") << number;
    }
    for (const char* text : {"1.5 ", " ", "1,5", "inf", "nan", "+"}) {
        const std::string statement = std::string("select '") + text + "' from t";
        EXPECT_EQ(Readings(statement.c_str(), "dd"), "0:0.000000 0:0.000000 ") << text;
    }
}

// The text has six digits of it, or so.
TEST_F(NumbersTest, ComputedNumberKeepsItsDigits) {
    ovra_view* view = Open("select 1 / 3 from t");
    ASSERT_EQ(ovra_next(view), 1);
    double number = 0;
    EXPECT_EQ(ovra_double(view, 0, &number), 1);
    EXPECT_EQ(number, 1.0 / 3);
    ovra_close_view(view);
}

}  // namespace
