// A write over a header that is cut within one of its numbers. No process that dies does
// this to a local file, since a header lies within one page of memory; a file system elsewhere or a
// machine that dies may. Where the number goes from 255 to 256 and one byte arrives, it is 0.

#include <gtest/gtest.h>

#include "tests/support/checker/checker.h"
#include "tests/support/script_session.h"

namespace ovrasql {
namespace {

// 255 records with a text each.
class TornHeader : public testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        TheHost().SetLogging(false);
        TestDatabase database;
        ASSERT_TRUE(database.Create());
        ASSERT_EQ(database.Run("create table t (a integer, m memo)"), "");
        for (int number = 1; number <= 255; ++number) {
            const std::string text = std::to_string(number);
            ASSERT_EQ(database.Run("insert into t values (?, ?)", {text, "text " + text}), "");
        }
    }

    // Of the number 256 the first byte has arrived, over 255.
    static void Tear(const char* path, size_t offset) {
        Bytes bytes = TheHost().FileBytes(path);
        bytes[offset] = 0;
        bytes[offset + 1] = 0;
        TheHost().SetFile(path, bytes);
    }
};

TEST_F(TornHeader, WithinTheCountHidesTheLastRecordsAndTheNextOneGoesOverThem) {
    Tear("t.dbf", 4);
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    EXPECT_EQ(database.RowsText("select count(*) from t"), "0\n");
    EXPECT_EQ(database.Run("insert into t values (256, 'text 256')"), "");
    EXPECT_EQ(database.RowsText("select a, m from t"), "256|text 256\n");
}

TEST_F(TornHeader, WithinTheNextFreeBlockLetsTheNextTextGoOverAnother) {
    Tear("t.dbt", 0);
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    EXPECT_EQ(database.Run("insert into t values (256, 'text 256')"), "");
    EXPECT_EQ(database.RowsText("select a, m from t where a < 3 or a > 254"),
              "1|text 256\n2|text 2\n255|text 255\n256|text 256\n");
}

}  // namespace
}  // namespace ovrasql
