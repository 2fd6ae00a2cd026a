#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "foundation/coll_list.h"
#include "schema/schema.h"
#include "storage/ovra_sql_field.h"
#include "storage/ovra_sql_table.h"
#include "tests/language/tree_dump.h"
#include "tests/support/memory_host.h"

// The longest names that CREATE and ALTER take are as wide as the columns of the open catalog,
// which another program may have made narrower than this one would.

namespace ovrasql {
namespace {

class NameLimits : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        TheHost().AddDirectory("db");
        database_ = TheHost().MakeDatabase();
        MakeSchema();
        ASSERT_TRUE(schema_->Create("db/main.dbf"));
        schema_.reset();
        ReplaceCatalog();
        MakeSchema();
        ASSERT_TRUE(schema_->Open("db/main.dbf"));
        generator_ = std::make_unique<SQLCodeGenerator>(schema_.get());
        parser_ = std::make_unique<SQLParser>(generator_.get());
    }

    void MakeSchema() { schema_ = std::make_unique<Schema>(TheHost().Program(), database_, 10); }

    // A catalog whose TABLE column is 12 wide and whose INDEX column is 5 wide.
    void ReplaceCatalog() {
        CollList<OvraSQLField> fields(true);
        const struct {
            const char* name;
            int32_t type;
            int32_t width;
        } columns[] = {{"TYPE", 0, 1},   {"TABLE", 0, 12},    {"INDEX", 0, 5},
                       {"FILE", 0, 254}, {"COLUMNS", 0, 254}, {"INDEXFLAGS", 1, 19}};
        for (const auto& column : columns) {
            fields.Insert(
                std::make_unique<OvraSQLField>(nullptr, column.name, column.type, column.width, 0),
                ListPlace::kTail);
        }
        OvraSQLTable table(database_);
        ASSERT_TRUE(table.Create("db/main.dbf", fields));
    }

    std::string Message(const std::string& text) {
        return parser_->Parse(TextView(text.data(), static_cast<int32_t>(text.size())))
                   ? "accepted"
                   : DumpText(parser_->Error());
    }

    void* database_ = nullptr;
    std::unique_ptr<Schema> schema_;
    std::unique_ptr<SQLCodeGenerator> generator_;
    std::unique_ptr<SQLParser> parser_;
};

TEST_F(NameLimits, TakesTheTableLimitFromTheCatalog) {
    EXPECT_EQ(Message("create table twelve_bytes (a char)"), "accepted");
    EXPECT_EQ(Message("create table twelve_bytes1 (a char)"),
              "Table name 'twelve_bytes1' exceeds the maximum length of 12 characters");
    EXPECT_EQ(Message("alter table twelve_bytes1 add a char"),
              "Table name 'twelve_bytes1' exceeds the maximum length of 12 characters");
    EXPECT_EQ(Message("alter table twelve_bytes1 drop column a"),
              "Table name 'twelve_bytes1' exceeds the maximum length of 12 characters");
}

TEST_F(NameLimits, TakesTheIndexLimitFromTheCatalog) {
    EXPECT_EQ(Message("create index five_ on twelve_bytes1 (a)"), "accepted");
    EXPECT_EQ(Message("create unique index five_1 on t (a)"),
              "Index name 'five_1' exceeds the maximum length of 5 characters");
}

TEST_F(NameLimits, BoundsNoOtherName) {
    EXPECT_EQ(Message("drop table twelve_bytes1"), "accepted");
    EXPECT_EQ(Message("drop index five_1"), "accepted");
    EXPECT_EQ(Message("select a from twelve_bytes1"), "accepted");
    EXPECT_EQ(Message("insert into twelve_bytes1 values (1)"), "accepted");
}

}  // namespace
}  // namespace ovrasql
