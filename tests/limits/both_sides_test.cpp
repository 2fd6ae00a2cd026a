#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "tests/limits/small_stack.h"
#include "tests/support/test_database.h"

// The limits that a statement can reach, each from both sides: what just fits works, what is one
// more has its message or its rule.

namespace ovrasql {
namespace {

constexpr const char* kTooLong = "Error creating table datafile: record too long (maximum 65535)";

class BothSides : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        TheHost().SetLogging(false);
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
    }

    std::string Run(const std::string& sql) { return database_->Run(sql); }
    std::string Rows(const std::string& sql, const Texts& parameters = {}) {
        return database_->RowsText(sql, parameters);
    }

    // "c0 TYPE, c1 TYPE, ...".
    static std::string Columns(int32_t count, const std::string& type) {
        std::string columns;
        for (int32_t column = 0; column < count; ++column) {
            columns += (column == 0 ? "c" : ", c") + std::to_string(column) + " " + type;
        }
        return columns;
    }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(BothSides, ColumnsOfATable) {
    ASSERT_EQ(Run("create table most (" + Columns(2046, "char") + ")"), "");
    EXPECT_EQ(Run("insert into most (c0, c2045) values ('a', 'z')"), "");
    EXPECT_EQ(Rows("select c0, c1, c2045 from most where c2045 = 'z'"), "a||z\n");
    EXPECT_EQ(database_->Columns("select * from most").size(), 2046U);
    EXPECT_EQ(Run("create table more (" + Columns(2047, "char") + ")"),
              "Error creating table datafile: too many fields (maximum 2046)");
    // One column less and one more again; then there is no room.
    EXPECT_EQ(Run("alter table most drop column c1"), "");
    EXPECT_EQ(Run("alter table most add d char"), "");
    EXPECT_EQ(Run("alter table most add e char"),
              "Error creating table datafile: too many fields (maximum 2046)");
    EXPECT_EQ(Rows("select c0, c2045, d from most"), "a|z|\n");
}

// 257 columns of 255 bytes and the flag are 65,536 bytes.
TEST_F(BothSides, BytesOfARecord) {
    ASSERT_EQ(Run("create table most (" + Columns(256, "char(255)") + ", d char(254))"), "");
    EXPECT_EQ(Run("insert into most (c0, d) values ('a', 'z')"), "");
    EXPECT_EQ(Rows("select c0, d from most"), "a|z\n");
    EXPECT_EQ(TheHost().FileBytes("most.dbf")[10], 0xFF);
    EXPECT_EQ(TheHost().FileBytes("most.dbf")[11], 0xFF);
    EXPECT_EQ(Run("create table more (" + Columns(257, "char(255)") + ")"), kTooLong);
    EXPECT_EQ(Run("alter table most add e char"), kTooLong);
    EXPECT_EQ(Rows("select c0, d from most"), "a|z\n");
}

// A width is one byte of the file and at least 1.
TEST_F(BothSides, WidthOfACharacterColumn) {
    for (const int32_t width : {1, 254, 255}) {
        const std::string table = "w" + std::to_string(width);
        ASSERT_EQ(Run("create table " + table + " (s char(" + std::to_string(width) + "))"), "");
        const std::string fits(static_cast<size_t>(width), 'x');
        EXPECT_EQ(Run("insert into " + table + " values ('" + fits + "')"), "");
        EXPECT_EQ(Run("insert into " + table + " values ('" + fits + "y')"), "");
        EXPECT_EQ(Rows("select s from " + table), fits + "\n" + fits + "\n");
    }
    // Digits are read into 32 bits, whatever leaves them.
    const struct {
        const char* written;
        const char* width;
    } refused[] = {{"0", "0"},
                   {"256", "256"},
                   {"65536", "65536"},
                   {"2147483647", "2147483647"},
                   {"2147483648", "-2147483648"}};
    for (const auto& [written, width] : refused) {
        const std::string column = std::string("more char(") + written + ")";
        const std::string message =
            std::string("Column 'more' cannot have a width of ") + width + " (from 1 to 255)";
        EXPECT_EQ(Run("create table more (" + column + ")"), message);
        EXPECT_FALSE(TheHost().HasFile("more.dbf"));
        EXPECT_EQ(Run("alter table w1 add " + column), message);
    }
    EXPECT_EQ(Run("alter table w1 add more char(255)"), "");
}

TEST_F(BothSides, DigitsOfANumericColumn) {
    const std::string kTooMany = "NUMERIC fields may only be 19 digits, field is too many digits";
    EXPECT_EQ(Run("create table a (n numeric(19))"), "");
    EXPECT_EQ(Run("create table b (n numeric(20))"), kTooMany);
    EXPECT_EQ(Run("create table c (n numeric(17,1))"), "");
    EXPECT_EQ(Run("create table d (n numeric(18,1))"), kTooMany);
    EXPECT_EQ(Run("create table e (n numeric(1,17))"), "");
    EXPECT_EQ(Run("create table f (n numeric(1,18))"), kTooMany);
    EXPECT_EQ(Run("create table g (n numeric(2147483647,2147483647))"), kTooMany);
}

TEST_F(BothSides, Names) {
    EXPECT_EQ(Run("create table t (abcdefghij char)"), "");
    EXPECT_EQ(Run("create table u (abcdefghijk char)"),
              "Column name 'abcdefghijk' exceeds the maximum length of 10 characters");
    const std::string fits(64, 'n');
    const std::string more(65, 'n');
    EXPECT_EQ(Run("create table " + fits + " (a char)"), "");
    EXPECT_EQ(Run("insert into " + fits + " values ('x')"), "");
    EXPECT_EQ(Rows("select a from " + fits), "x\n");
    EXPECT_TRUE(TheHost().HasFile(fits + ".dbf"));
    EXPECT_EQ(Run("create table " + more + " (a char)"),
              "Table name '" + more + "' exceeds the maximum length of 64 characters");
    EXPECT_EQ(Rows("select a from " + more), "error: Unknown table '" + more + "'");
    const std::string index(64, 'i');
    const std::string moreIndex(65, 'i');
    EXPECT_EQ(Run("create index " + index + " on " + fits + " (a)"), "");
    EXPECT_EQ(Run("create index " + moreIndex + " on " + fits + " (a)"),
              "Index name '" + moreIndex + "' exceeds the maximum length of 64 characters");
    EXPECT_EQ(Rows("select a from " + fits + " where a = 'x'"), "x\n");
    EXPECT_EQ(Run("drop index " + index), "");
    EXPECT_EQ(Run("drop table " + fits), "");
}

// The key of an index is "I:table:index" and cut like any other: two long names may not differ
// behind its 99th byte.
TEST_F(BothSides, CatalogKeysAreCutLikeOthers) {
    const std::string table(64, 't');
    ASSERT_EQ(Run("create table " + table + " (a char)"), "");
    const std::string same(99 - 2 - 64 - 1 - 1, 'i');
    EXPECT_EQ(Run("create index " + same + "1x on " + table + " (a)"), "");
    EXPECT_EQ(Run("create index " + same + "2x on " + table + " (a)"), "");
    EXPECT_EQ(Run("create index " + same + "2y on " + table + " (a)"),
              "Inserted record violates UNIQUE constraint on index 'Schema_1'");
}

TEST_F(BothSides, KeyBytes) {
    ASSERT_EQ(Run("create table t (s char(120))"), "");
    ASSERT_EQ(Run("create unique index u on t (s)"), "");
    const std::string same(98, 'a');
    for (const char* end : {"", "b", "c"}) {  // 98 and 99 bytes are told apart
        EXPECT_EQ(Run("insert into t values ('" + same + end + "')"), "");
    }
    for (const char* end : {"bx", "cy"}) {  // 100 are not
        EXPECT_EQ(Run("insert into t values ('" + same + end + "')"),
                  "Inserted record violates UNIQUE constraint on index 'u'");
    }
}

// The list is kept in 254 bytes, each column but the last with a colon behind it.
TEST_F(BothSides, ColumnsOfAnIndex) {
    ASSERT_EQ(Run("create table t (a char(1), bb char(1), ccc char(1))"), "");
    ASSERT_EQ(Run("insert into t values ('x', 'y', 'z')"), "");
    const std::string columns = Repeat("a, ", 126);
    EXPECT_EQ(Run("create index fits on t (" + columns + "bb)"), "");
    EXPECT_EQ(Run("create index more on t (" + columns + "ccc)"),
              "Error creating schema index: column list too long (maximum 254)");
    EXPECT_EQ(Rows("select bb from t where a = 'x'"), "y\n");
    // The expression for other programs has room for 400 bytes; zeros are behind it.
    const std::string file = TheHost().FileText("fits.ovx");
    EXPECT_EQ(file.substr(27, 13), "toupper( d.A ");
    EXPECT_EQ(file.find('\0', 27), 27U + 400U);
}

TEST_F(BothSides, BytesOfAMessage) {
    ASSERT_EQ(Run("create table t (a char)"), "");
    const std::string fits(1023 - 16, 'n');  // "Unknown field ''" has 16 bytes
    EXPECT_EQ(Rows("select " + fits + " from t"), "error: Unknown field '" + fits + "'");
    EXPECT_EQ(Rows("select " + fits + "n from t"), "error: Unknown field '" + fits + "n");
    EXPECT_EQ(Rows("select " + fits + "nn from t"), "error: Unknown field '" + fits + "n");
}

// A statement is traced whole; its literals in the listing of the program are cut at 1024 bytes.
TEST_F(BothSides, BytesOfATrace) {
    ASSERT_EQ(Run("create table t (a char)"), "");
    ASSERT_TRUE(database_->Option("log", "sql.log"));
    for (const size_t length : {size_t{1023}, size_t{1024}, size_t{1025}, size_t{100000}}) {
        const std::string text(length, 'x');
        const size_t before = TheHost().FileText("sql.log").size();
        const std::string sql = "select a from t where a = '" + text + "'";
        EXPECT_EQ(Rows(sql), "");
        const std::string log = TheHost().FileText("sql.log").substr(before);
        const size_t statement = log.find(sql + "\n");
        ASSERT_NE(statement, std::string::npos) << length;
        const size_t start = log.find('x', statement + sql.size());
        ASSERT_NE(start, std::string::npos) << length;
        EXPECT_EQ(log.find_first_not_of('x', start) - start, std::min(length, size_t{1024}));
    }
}

TEST_F(BothSides, NumbersOfParameters) {
    ASSERT_EQ(Run("create table t (a char(5))"), "");
    ASSERT_EQ(Run("insert into t values ('x')"), "");
    EXPECT_EQ(Rows("select a from t where a = ?", {"x"}), "x\n");
    const auto mismatch = [](int32_t found, int32_t expected) {
        return "error: Input parameter count mismatch: Found " + std::to_string(found) +
               " expected " + std::to_string(expected);
    };
    EXPECT_EQ(Rows("select a from t where a = ?"), mismatch(0, 1));
    EXPECT_EQ(Rows("select a from t where a = ?", {"x", "y"}), mismatch(2, 1));
    // Required: a written number counts for nothing; 0 is the next one, like a "?".
    EXPECT_EQ(Rows("select a from t where a = :0", {"x"}), "x\n");
    EXPECT_EQ(Rows("select a from t where a = ? and a = :1", {"x"}), "x\n");
    for (const char* number : {":1", ":2", ":2147483647", ":2147483648", ":99999999999999999999"}) {
        EXPECT_EQ(Rows(std::string("select a from t where a = ") + number, {"x"}), mismatch(1, 0))
            << number;
    }
    for (const char* number : {":2", ":2147483647", ":2147483648", ":99999999999999999999"}) {
        const std::string rows =
            Rows(std::string("select a from t where a = ? and a = ") + number, {"x"});
        EXPECT_EQ(rows.substr(0, 7), "error: ") << number;
    }
}

TEST_F(BothSides, CachedStatements) {
    ASSERT_EQ(Run("create table t (a char)"), "");
    ASSERT_EQ(Run("insert into t values ('3')"), "");
    for (const char* size : {"0", "1", "2", "10", "2147483647", "2147483648", "99999999999999",
                             "-1", "-2147483649", "x", ""}) {
        ASSERT_TRUE(database_->Option("statement_cache_size", size));
        for (int32_t round = 0; round < 2; ++round) {
            for (int32_t statement = 0; statement < 12; ++statement) {
                EXPECT_EQ(Rows("select a from t where a = '" + std::to_string(statement) + "'"),
                          statement == 3 ? "3\n" : "");
            }
        }
    }
}

TEST_F(BothSides, PlacesInATextForSubstring) {
    ASSERT_EQ(Run("create table t (a char)"), "");
    ASSERT_EQ(Run("insert into t values ('x')"), "");
    for (const char* start :
         {"-2147483648", "-1", "0", "1", "3", "4", "2147483647", "2147483648", "1e300", "-1e300"}) {
        for (const char* length :
             {"-2147483648", "-1", "0", "1", "3", "2147483647", "2147483648", "1e300"}) {
            const std::string result =
                Rows("select substring('abc' from ? for ?) from t", {start, length});
            EXPECT_LE(result.size(), 4U) << start << " " << length;
            EXPECT_NE(std::string("abc\n").find(result.substr(0, result.size() - 1)),
                      std::string::npos)
                << start << " " << length << ": " << result;
        }
    }
    EXPECT_EQ(Rows("select substring('abc' from 3 for 1) from t"), "c\n");
    EXPECT_EQ(Rows("select substring('abc' from 4 for 1) from t"), "\n");
}

}  // namespace
}  // namespace ovrasql
