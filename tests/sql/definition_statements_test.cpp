// CREATE, ALTER, DROP and pack as a host sees them: through the function table, in files and texts.

#include <gtest/gtest.h>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class DefinitionStatementsTest : public ::testing::Test {
  protected:
    DefinitionStatementsTest() {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        EXPECT_TRUE(database_->Create());
    }

    ~DefinitionStatementsTest() override {
        database_.reset();
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
        EXPECT_EQ(TheHost().AllocatedCount(), 0);
        EXPECT_TRUE(TheHost().Misuses().empty());
    }

    void Run(std::string_view sql) { EXPECT_EQ(database_->Run(sql), "") << sql; }
    [[nodiscard]] std::string Refused(std::string_view sql) { return database_->Run(sql); }
    [[nodiscard]] std::string Rows(std::string_view sql) { return database_->RowsText(sql); }

    void MakeOrders() {
        Run("create table orders (id numeric(6), customer char(20), total numeric(8,2))");
        Run("insert into orders values (1, 'ada', 10.5)");
        Run("insert into orders values (2, 'bob', 3)");
        Run("insert into orders values (3, 'ada', 7.25)");
    }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(DefinitionStatementsTest, TablesAreCreatedAndDropped) {
    MakeOrders();
    EXPECT_EQ(Refused("create table ORDERS (a char)"), "Table 'ORDERS' already exists");
    EXPECT_EQ(Rows("select customer, total from orders"), "ada|10.50\nbob|3.00\nada|7.25\n");
    Run("drop table Orders");
    EXPECT_FALSE(TheHost().HasFile("orders.dbf"));
    EXPECT_EQ(Refused("drop table orders"), "Table 'orders' does not exist");
    EXPECT_EQ(Refused("insert into orders values (1)"), "Unknown table 'orders'");
    MakeOrders();
    EXPECT_EQ(Rows("select id from orders where id > 2"), "3\n");
}

// DROP takes any word for a name. A key ends at a zero byte, so these look like the beginnings of
// the keys of others.
TEST_F(DefinitionStatementsTest, DropOfANameWithAZeroByteLeavesOthersAlone) {
    MakeOrders();
    Run("create table other (a char(5))");
    Run("create index oid on orders (id)");
    Run("create index otha on other (a)");
    using namespace std::string_view_literals;
    for (const std::string_view name :
         {"\0"sv, "'\0'"sv, "'o\0'"sv, "'orders\0'"sv, "'orders:\0'"sv, "'orders:oid\0'"sv}) {
        const std::string text(name);
        EXPECT_EQ(Refused("drop table " + text).substr(0, 7), "Table '");
        EXPECT_EQ(Refused("drop index " + text).substr(0, 12), "Index name '");
    }
    EXPECT_EQ(Rows("select customer from orders where id = 2"), "bob\n");
    Run("drop index oid");
    Run("drop index otha");
    EXPECT_EQ(Rows("select customer from orders where id = 2"), "bob\n");
}

TEST_F(DefinitionStatementsTest, WidthsThatNoFileCanHoldAreRefused) {
    const auto message = [](const char* name, int32_t width) {
        return std::string("Column '") + name + "' cannot have a width of " +
               std::to_string(width) + " (from 1 to 255)";
    };
    const struct {
        const char* type;
        int32_t width;
    } refused[] = {{"char(300)", 300}, {"char('-5')", -5},    {"char(0)", 0},
                   {"char(256)", 256}, {"numeric('-3')", -3}, {"numeric('-9', 2)", -6}};
    for (const auto& [type, width] : refused) {
        EXPECT_EQ(Refused(std::string("create table t (a ") + type + ")"), message("a", width));
    }
    EXPECT_FALSE(TheHost().HasFile("t.dbf"));
    Run("create table t (a char(255))");
    EXPECT_EQ(Refused("alter table t add (B char(300))"), message("B", 300));
}

// Numbers in quotes can have a sign. The width is p + 1 + s.
TEST_F(DefinitionStatementsTest, ScalesThatTheirWidthsCantHoldAreRefused) {
    const auto message = [](const char* name, int32_t scale, int32_t width) {
        return std::string("Column '") + name + "' cannot have a scale of " +
               std::to_string(scale) + " (width " + std::to_string(width) + ")";
    };
    const struct {
        const char* type;
        int32_t scale;
        int32_t width;
    } refused[] = {{"numeric('5', '-1')", -1, 5},
                   {"numeric('300', '-300')", -300, 1},
                   {"numeric('-5', '10')", 10, 6},
                   {"decimal('-1', '2')", 2, 2}};
    Run("create table old (a char(5))");
    for (const auto& [type, scale, width] : refused) {
        EXPECT_EQ(Refused(std::string("create table t (a ") + type + ")"),
                  message("a", scale, width));
        EXPECT_EQ(Refused(std::string("alter table old add (B ") + type + ")"),
                  message("B", scale, width));
    }
    EXPECT_FALSE(TheHost().HasFile("t.dbf"));
    Run("create table t (a numeric('5', '1'), b numeric(0, 4))");
}

TEST_F(DefinitionStatementsTest, AColumnNameIsGivenOnce) {
    EXPECT_EQ(Refused("create table t (a char, b char, A numeric(5))"),
              "A field named 'A' already exists in table 't'");
    EXPECT_FALSE(TheHost().HasFile("t.dbf"));
    Run("create table t (a char)");
    EXPECT_EQ(Refused("alter table t add (b char, B memo)"),
              "A field named 'B' already exists in table 't'");
    EXPECT_EQ(Rows("select * from t"), "");
}

TEST_F(DefinitionStatementsTest, ColumnsAreAddedAndDropped) {
    MakeOrders();
    Run("create index bycustomer on orders (customer)");
    Run("delete from orders where id = 2");
    Run("alter table orders add (note memo, paid boolean)");
    EXPECT_EQ(Rows("select id, customer, note, paid from orders"), "1|ada||0\n3|ada||0\n");
    Run("update orders set note = 'late', paid = 'T' where id = 3");
    EXPECT_EQ(Rows("select id, note from orders where customer = 'ada' and note = 'late'"),
              "3|late\n");
    EXPECT_EQ(Refused("alter table orders add (ID char)"),
              "A field named 'ID' already exists in table 'orders'");
    EXPECT_EQ(Refused("alter table orders drop column customer"),
              "Column 'customer' is used on index 'bycustomer'");
    EXPECT_EQ(Refused("alter table orders drop column gone"),
              "A field named 'gone' does not exist in table 'orders'");
    EXPECT_EQ(Refused("alter table gone drop column a"), "Table 'gone' does not exist");
    Run("alter table orders drop column total");
    Run("alter table orders drop column note");
    EXPECT_FALSE(TheHost().HasFile("orders.dbt"));
    EXPECT_EQ(Rows("select * from orders"), "1|ada|0\n3|ada|1\n");
}

TEST_F(DefinitionStatementsTest, IndexesAreCreatedUsedAndDropped) {
    MakeOrders();
    Run("create unique index byid on orders (id)");
    Run("create index bycustomer on orders (customer desc, id desc)");
    EXPECT_EQ(Refused("create index BYID on orders (total)"), "Index 'BYID' already exists");
    EXPECT_EQ(Refused("create index x on orders (customer desc, id)"),
              "All columns in an OvraSQL index must have the same ordering");
    EXPECT_EQ(Refused("create index x on orders (nope)"), "Unknown column 'nope'");
    EXPECT_EQ(Refused("create index x on nope (a)"), "Unknown table 'nope'");
    EXPECT_EQ(Refused("create index main on orders (id)"), "Index 'main' already exists");
    EXPECT_EQ(Refused("insert into orders values (3, 'eve', 1)"),
              "Inserted record violates UNIQUE constraint on index 'byid'");
    EXPECT_EQ(Refused("update orders set id = 1 where id = 2"),
              "Updated record violates UNIQUE constraint on index 'byid'");
    EXPECT_EQ(Rows("select id from orders where customer = 'ada'"), "3\n1\n");
    Run("drop index BYID");
    EXPECT_EQ(Refused("drop index byid"), "Index name 'byid' does not exist");
    EXPECT_EQ(Refused("drop index 0"), "Index name '0' does not exist");
    Run("insert into orders values (3, 'eve', 1)");
    EXPECT_EQ(Rows("select customer from orders where id = 3"), "ada\neve\n");
}

TEST_F(DefinitionStatementsTest, AUniqueIndexOverDuplicatesLeavesNothing) {
    MakeOrders();
    EXPECT_EQ(Refused("create unique index x on orders (customer)"),
              "Index 'x.ovx' was created with the UNIQUE flag and the key 'ADA' already exists in "
              "the index file");
    EXPECT_FALSE(TheHost().HasFile("x.ovx"));
}

TEST_F(DefinitionStatementsTest, PackKeepsTheRowsAndTheirIndexes) {
    MakeOrders();
    Run("create index bycustomer on orders (customer)");
    Run("delete from orders where id = 1");
    const size_t before = TheHost().FileBytes("orders.dbf").size();
    ASSERT_TRUE(database_->Pack()) << database_->Error();
    EXPECT_LT(TheHost().FileBytes("orders.dbf").size(), before);
    EXPECT_EQ(Rows("select id from orders where customer = 'ada'"), "3\n");
    EXPECT_EQ(Rows("select id from orders order by id"), "2\n3\n");
}

// The files of an open view go, its handles stay, and it reads on. Its statement goes back to the
// cache as it stands; what it does next is what its program does against the changed files.
TEST_F(DefinitionStatementsTest, AViewStaysOpenAcrossDefinitions) {
    const std::string rows = "3|ada|7.25\n1|ada|10.50\n";
    const struct {
        const char* definition;
        std::string again;
    } cases[] = {
        {"create index other on orders (id)", rows},
        {"alter table orders add (more char(3))", rows},
        {"alter table orders drop column total", "error: Invalid column reference 'TOTAL'"},
        {"drop table orders",
         "error: Unable to create cursor for table 'orders': Unknown table 'orders'"},
        {"drop index bycustomer", "error: "},
    };
    for (const auto& now : cases) {
        database_.reset();
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        MakeOrders();
        Run("create index bycustomer on orders (customer)");
        const char* const select = "select * from orders where customer = 'ada'";
        {
            TestView view(*database_, select);
            ASSERT_TRUE(view.Ok()) << database_->Error();
            EXPECT_EQ(view.Values(), (Row{"3", "ada", "7.25"}));
            Run(now.definition);
            EXPECT_TRUE(view.Skip()) << now.definition;
            EXPECT_EQ(view.Values(), (Row{"1", "ada", "10.50"})) << now.definition;
        }
        EXPECT_EQ(Rows(select), now.again) << now.definition;
    }
}

TEST_F(DefinitionStatementsTest, AViewStaysOpenAcrossPack) {
    MakeOrders();
    Run("delete from orders where id = 1");
    {
        TestView view(*database_, "select id from orders");
        EXPECT_EQ(view.Text("id"), "2");
        ASSERT_TRUE(database_->Pack()) << database_->Error();
        EXPECT_TRUE(view.Skip());
        EXPECT_EQ(view.Text("id"), "3");
    }
    EXPECT_EQ(Rows("select id from orders"), "2\n3\n");
}

TEST_F(DefinitionStatementsTest, AnotherProcessSeesTheDefinitions) {
    TestDatabase other(1);
    ASSERT_TRUE(other.Open());
    database_->BeCurrent();
    MakeOrders();
    other.BeCurrent();
    EXPECT_EQ(other.RowsText("select id from orders where id = 2"), "2\n");
    EXPECT_EQ(other.Run("create index byid on orders (id)"), "");
    database_->BeCurrent();
    Run("insert into orders values (4, 'eve', 1)");
    other.BeCurrent();
    EXPECT_EQ(other.RowsText("select customer from orders where id = 4"), "eve\n");
}

TEST_F(DefinitionStatementsTest, SubDirectoriesComeAndGoWithTheirTables) {
    ASSERT_TRUE(database_->Option("subdir_char", "_"));
    Run("create table my_data_set (a char(5))");
    EXPECT_TRUE(TheHost().HasFile("my/data/set.dbf"));
    Run("create index my_i on my_data_set (a)");
    EXPECT_TRUE(TheHost().HasFile("my/i.ovx"));
    Run("drop table my_data_set");
    EXPECT_FALSE(TheHost().HasDirectory("my"));
}

}  // namespace
}  // namespace ovrasql
