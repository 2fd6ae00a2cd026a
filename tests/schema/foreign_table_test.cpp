// Tables whose files another program has made. What a new column may not be, an old one may: its
// table is read and written, packed and altered like any other.

#include <functional>

#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class ForeignTableTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
    }

    // Table t, its empty file changed to what another program may have written.
    void MakeForeignTable(std::initializer_list<Column> columns,
                          const std::function<void(Bytes&)>& change) {
        ASSERT_TRUE(CreateTable("t", columns)) << Error();
        schema_.reset();
        Bytes bytes = TheHost().FileBytes("db/t.dbf");
        change(bytes);
        TheHost().SetFile("db/t.dbf", bytes);
        Reopen();
    }

    // Puts a live record behind the header of an empty table.
    static void AddRecord(Bytes& bytes, const std::string& cells) {
        bytes[4] = 1;
        bytes.back() = ' ';  // over the end mark
        bytes.insert(bytes.end(), cells.begin(), cells.end());
        bytes.push_back(0x1A);
    }

    // Where the descriptor of a column begins; its width and decimals stand 16 and 17 bytes behind.
    static size_t Descriptor(size_t column) { return 32 + 32 * column; }
    static uint8_t Width(size_t column) {
        return TheHost().FileBytes("db/t.dbf")[Descriptor(column) + 16];
    }
    static uint8_t Decimals(size_t column) {
        return TheHost().FileBytes("db/t.dbf")[Descriptor(column) + 17];
    }
};

TEST_F(ForeignTableTest, AColumnWithoutBytesIsPackedAndAltered) {
    MakeForeignTable({{"a", 0, 5}, {"none", 0, 3}}, [](Bytes& bytes) {
        bytes[Descriptor(1) + 16] = 0;
        bytes[10] = 1 + 5;  // the record's length
    });
    ASSERT_TRUE(CreateTable("later", {{"a", 0, 5}}));
    for (const char* name : {"t", "later"}) {
        Insert(name, {"x"});
        Insert(name, {"y"});
        Delete(name, 1);
    }
    ASSERT_TRUE(schema_->Pack()) << Error();
    EXPECT_EQ(Records("t"), Texts{"y|"});
    EXPECT_EQ(Records("later"), Texts{"y"});
    EXPECT_EQ(Width(1), 0);
    ASSERT_TRUE(AddColumns("t", {{"c", 0, 4}})) << Error();
    EXPECT_EQ(Records("t"), Texts{"y||"});
    EXPECT_FALSE(AddColumns("t", {{"d", 0, 0}}));
    EXPECT_EQ(Error(), "Column 'd' cannot have a width of 0 (from 1 to 255)");
    ASSERT_TRUE(schema_->AlterTableDrop("t", "c")) << Error();
    EXPECT_EQ(Records("t"), Texts{"y|"});
    ASSERT_TRUE(schema_->AlterTableDrop("t", "none")) << Error();
    EXPECT_EQ(Records("t"), Texts{"y"});
}

TEST_F(ForeignTableTest, AColumnWithMoreDecimalsThanBytesIsPackedAndAltered) {
    MakeForeignTable({{"n", 1, 5, 2}, {"a", 0, 5}},
                     [](Bytes& bytes) { bytes[Descriptor(0) + 17] = 200; });
    Insert("t", {"1.25", "x"});
    Insert("t", {"-7", "y"});
    const Texts before = Records("t");
    ASSERT_EQ(before.size(), 2U);
    ASSERT_TRUE(schema_->Pack()) << Error();
    EXPECT_EQ(Records("t"), before);
    EXPECT_EQ(Decimals(0), 200);
    ASSERT_TRUE(AddColumns("t", {{"c", 0, 4}})) << Error();
    EXPECT_EQ(Records("t"), (Texts{before[0] + "|", before[1] + "|"}));
    ASSERT_TRUE(schema_->AlterTableDrop("t", "c")) << Error();
    EXPECT_EQ(Records("t"), before);
    EXPECT_EQ(Decimals(0), 200);
}

// The first one has the name; a name more is refused.
TEST_F(ForeignTableTest, ColumnsOfOneNameArePackedAndAltered) {
    MakeForeignTable({{"a", 0, 5}, {"b", 0, 5}}, [](Bytes& bytes) { bytes[Descriptor(1)] = 'A'; });
    Insert("t", {"x", "y"});
    ASSERT_TRUE(schema_->Pack()) << Error();
    EXPECT_EQ(Records("t"), Texts{"x|y"});
    ASSERT_TRUE(AddColumns("t", {{"c", 0, 4}})) << Error();
    EXPECT_EQ(Records("t"), Texts{"x|y|"});
    EXPECT_FALSE(AddColumns("t", {{"a", 0, 4}}));
    EXPECT_EQ(Error(), "A field named 'a' already exists in table 't'");
    ASSERT_TRUE(schema_->AlterTableDrop("t", "a")) << Error();
    EXPECT_EQ(Records("t"), Texts{"y|"});
}

// Many programs fill an empty cell with NULs, where this library writes blanks. The value is the
// same either way, and so is its key: before the record is written, behind that, and in what a pack
// or a new column makes of it.
TEST_F(ForeignTableTest, CellsWithNulsHaveOneValueAndOneKey) {
    const std::string cells = std::string("ab \0\0", 5) + std::string(8, '\0') + '\0' + " 1";
    const Texts asTheyAre{"ab|        | |1"};
    const std::vector<std::function<bool()>> rewritings{
        [] { return true; }, [this] { return schema_->Pack(); },
        [this] {
            return AddColumns("t", {{"z", 0, 1}}) && schema_->AlterTableDrop("t", "z");
        },
        [this] {
            const std::unique_ptr<Table> table = OpenForWriting("t");
            return table->ReadRecord(1) && table->UpdateRecord() && table->ApplyIndexUpdates();
        }};
    for (const std::function<bool()>& rewrite : rewritings) {
        SetUp();
        MakeForeignTable({{"c", 0, 5}, {"d", 2, 8}, {"f", 3, 1}, {"n", 1, 2}},
                         [&](Bytes& bytes) { AddRecord(bytes, cells); });
        EXPECT_EQ(Records("t"), asTheyAre);
        ASSERT_TRUE(CreateIndex("t", "ic", true, {"c"})) << Error();
        ASSERT_TRUE(CreateIndex("t", "idf", false, {"d", "f"})) << Error();
        ASSERT_TRUE(rewrite()) << Error();
        EXPECT_EQ(Records("t"), asTheyAre);
        EXPECT_EQ(Keys("t", "ic"), Texts{"AB=1"});
        EXPECT_EQ(Keys("t", "idf"), Texts{"        : =1"});
        Delete("t", 1);
        EXPECT_TRUE(Keys("t", "ic").empty());
        EXPECT_TRUE(Keys("t", "idf").empty());
    }
}

// The mark decides whether there is a memo file to make, the columns what stands in it.
TEST_F(ForeignTableTest, AMemoFileThatNoColumnNeedsComesOutEmpty) {
    MakeForeignTable({{"a", 0, 5}}, [](Bytes& bytes) { bytes[0] = 0x83; });
    TheHost().SetFile("db/t.dbt", "\x01" + std::string(511, '\0') + "\x1A");
    Insert("t", {"x"});
    ASSERT_TRUE(schema_->Pack()) << Error();
    EXPECT_EQ(TheHost().FileBytes("db/t.dbf")[0], 0x03);
    EXPECT_TRUE(TheHost().HasFile("db/t.dbt"));
    EXPECT_EQ(TheHost().FileText("db/t.dbt"), "");
    EXPECT_EQ(Records("t"), Texts{"x"});
}

}  // namespace
}  // namespace ovrasql
