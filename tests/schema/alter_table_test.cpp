// ALTER TABLE: the table's file is rebuilt with other columns, and its records go over as text.

#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class AlterTableTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
    }

    // Three records, the middle one deleted.
    void FillTable() {
        ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"n", 1, 4}, {"b", 0, 3}}));
        Insert("t", {"x", "1", "p"});
        Insert("t", {"y", "2", "q"});
        Insert("t", {"z", "3", "r"});
        Delete("t", 2);
    }

    [[nodiscard]] Texts ColumnNames(const char* name) {
        Texts names;
        const std::unique_ptr<Table> table = schema_->OpenTable(name);
        for (OvraSQLField* field : table->Data().Fields()) {
            names.push_back(Text(field->Name()));
        }
        return names;
    }

    [[nodiscard]] uint8_t VersionByte(const char* path) const {
        return TheHost().FileBytes(path)[0];
    }
};

TEST_F(AlterTableTest, NewColumnsAreEmptyAndDeletedRecordsGo) {
    FillTable();
    ASSERT_TRUE(AddColumns("T", {{"c", 0, 4}, {"d", 1, 6, 2}})) << Error();
    EXPECT_EQ(ColumnNames("t"), (Texts{"A", "N", "B", "C", "D"}));
    EXPECT_EQ(Records("t"), (Texts{"x|1|p||", "z|3|r||"}));
    EXPECT_EQ(TheHost().FilePaths(),
              (Texts{"db/main.dbf", "db/main.ovx", "db/maini.ovx", "db/t.dbf"}));
}

TEST_F(AlterTableTest, IndexesAreBuiltAnewFromTheCopies) {
    FillTable();
    ASSERT_TRUE(CreateIndex("t", "ia", true, {"a"}));
    ASSERT_TRUE(CreateIndex("t", "ib", false, {"-b", "-n"}));
    ASSERT_TRUE(AddColumns("t", {{"c", 0, 4}}));
    EXPECT_EQ(Keys("t", "ia"), (Texts{"X=1", "Z=2"}));
    EXPECT_EQ(Keys("t", "ib"), (Texts{"R:0003=2", "P:0001=1"}));
    Insert("t", {"w", "9", "s", "c"});
    EXPECT_EQ(Keys("t", "ia"), (Texts{"W=3", "X=1", "Z=2"}));
}

TEST_F(AlterTableTest, AnUnknownTableIsReported) {
    EXPECT_FALSE(AddColumns("t", {{"c", 0, 4}}));
    EXPECT_EQ(Error(), "Table 't' does not exist");
    EXPECT_FALSE(schema_->AlterTableDrop("t", "a"));
    EXPECT_EQ(Error(), "Table 't' does not exist");
}

TEST_F(AlterTableTest, AColumnThatExistsChangesNothing) {
    FillTable();
    const Bytes before = TheHost().FileBytes("db/t.dbf");
    EXPECT_FALSE(AddColumns("t", {{"c", 0, 4}, {"A", 0, 4}}));
    EXPECT_EQ(Error(), "A field named 'A' already exists in table 't'");
    EXPECT_EQ(TheHost().FileBytes("db/t.dbf"), before);
}

TEST_F(AlterTableTest, AColumnNameThatIsGivenTwiceChangesNothing) {
    FillTable();
    TheHost().ClearLog();
    EXPECT_FALSE(AddColumns("t", {{"c", 0, 4}, {"d", 0, 4}, {"C", 1, 4}}));
    EXPECT_EQ(Error(), "A field named 'C' already exists in table 't'");
    EXPECT_EQ(TheHost().CallCount("ovFile_MakeTemporary"), 0);
}

TEST_F(AlterTableTest, ALayoutThatNoFileCanHoldChangesNothing) {
    FillTable();
    TheHost().ClearLog();
    EXPECT_FALSE(AddColumns("t", {{"c", 0, 300}}));
    EXPECT_EQ(Error(), "Column 'c' cannot have a width of 300 (from 1 to 255)");
    EXPECT_FALSE(AddColumns("t", {{"C", 1, 6, 6}}));
    EXPECT_EQ(Error(), "Column 'C' cannot have a scale of 6 (width 6)");
    // A name in use is told first, whatever the columns in front of it are like.
    EXPECT_FALSE(AddColumns("t", {{"c", 0, 0}, {"a", 0, 4}}));
    EXPECT_EQ(Error(), "A field named 'a' already exists in table 't'");
    CollList<ColumnDefinition> columns(/*ownsItems=*/true);
    std::vector<std::string> names(257);
    for (size_t index = 0; index < names.size(); ++index) {
        names[index] = "c" + std::to_string(index);
        Fill(&columns, {{names[index].c_str(), 0, 255}});
    }
    EXPECT_FALSE(schema_->AlterTableAdd("t", columns));
    EXPECT_EQ(Error(), "Error creating table datafile: record too long (maximum 65535)");
    EXPECT_EQ(TheHost().CallCount("ovFile_MakeTemporary"), 0);
    EXPECT_EQ(Records("t").size(), 3U);
}

TEST_F(AlterTableTest, TooManyColumnsLeaveNoTemporaryFile) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 1}}));
    CollList<ColumnDefinition> columns(/*ownsItems=*/true);
    std::vector<std::string> names(2046);
    for (size_t index = 0; index < names.size(); ++index) {
        names[index] = "c" + std::to_string(index);
        Fill(&columns, {{names[index].c_str(), 0, 1}});
    }
    const std::vector<std::string> before = TheHost().FilePaths();
    EXPECT_FALSE(schema_->AlterTableAdd("t", columns));
    EXPECT_EQ(Error(), "Error creating table datafile: too many fields (maximum 2046)");
    EXPECT_EQ(TheHost().FilePaths(), before);
}

TEST_F(AlterTableTest, AMemoColumnMakesAMemoFile) {
    FillTable();
    ASSERT_TRUE(AddColumns("t", {{"text", 4, 10}}));
    EXPECT_TRUE(TheHost().HasFile("db/t.dbt"));
    EXPECT_EQ(VersionByte("db/t.dbf"), 0x83);
    Insert("t", {"w", "4", "s", "long words"});
    EXPECT_EQ(Records("t"), (Texts{"x|1|p|", "z|3|r|", "w|4|s|long words"}));
}

TEST_F(AlterTableTest, MemoTextsGoOver) {
    ASSERT_TRUE(CreateTable("t", {{"text", 4, 10}, {"a", 0, 5}}));
    Insert("t", {"first words", "x"});
    Insert("t", {"", "y"});
    ASSERT_TRUE(AddColumns("t", {{"more", 4, 10}}));
    EXPECT_EQ(Records("t"), (Texts{"first words|x|", "|y|"}));
}

// A memo column in a file that is marked as having none: the mark in memory goes with the next
// reading of the header, and the texts must not go with it.
TEST_F(AlterTableTest, MemoTextsGoOverFromAFileMarkedWithout) {
    ASSERT_TRUE(CreateTable("t", {{"text", 4, 10}, {"a", 0, 5}}));
    Insert("t", {"first words", "x"});
    Reopen();
    Bytes bytes = TheHost().FileBytes("db/t.dbf");
    bytes[0] = 0x03;
    TheHost().SetFile("db/t.dbf", bytes);
    ASSERT_TRUE(AddColumns("t", {{"b", 0, 5}})) << Error();
    EXPECT_EQ(Records("t"), Texts{"first words|x|"});
    EXPECT_EQ(VersionByte("db/t.dbf"), 0x83);
}

TEST_F(AlterTableTest, AColumnIsDroppedFromAnyPosition) {
    for (const char* column : {"A", "n", "b"}) {
        SetUp();
        FillTable();
        ASSERT_TRUE(schema_->AlterTableDrop("t", column)) << Error();
        const std::string name(column);
        const Texts expected = name == "A"   ? Texts{"1|p", "3|r"}
                               : name == "n" ? Texts{"x|p", "z|r"}
                                             : Texts{"x|1", "z|3"};
        EXPECT_EQ(Records("t"), expected) << column;
        schema_.reset();
    }
}

TEST_F(AlterTableTest, TheOnlyColumnCanBeDropped) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Insert("t", {"x"});
    ASSERT_TRUE(schema_->AlterTableDrop("t", "a")) << Error();
    EXPECT_EQ(Records("t"), Texts{""});
}

TEST_F(AlterTableTest, AnUnknownColumnIsReported) {
    FillTable();
    EXPECT_FALSE(schema_->AlterTableDrop("t", "gone"));
    EXPECT_EQ(Error(), "A field named 'gone' does not exist in table 't'");
}

TEST_F(AlterTableTest, AColumnOfAnIndexCantBeDropped) {
    FillTable();
    ASSERT_TRUE(CreateIndex("t", "ia", false, {"n", "a"}));
    EXPECT_FALSE(schema_->AlterTableDrop("t", "A"));
    EXPECT_EQ(Error(), "Column 'A' is used on index 'ia'");
    EXPECT_EQ(Records("t").size(), 3U);
    // Another column can, and the index stays whole.
    ASSERT_TRUE(schema_->AlterTableDrop("t", "b"));
    EXPECT_EQ(Keys("t", "ia"), (Texts{"0001:X=1", "0003:Z=2"}));
}

TEST_F(AlterTableTest, AnIndexThatWontOpenStopsADrop) {
    FillTable();
    ASSERT_TRUE(CreateIndex("t", "ia", false, {"a"}));
    TheHost().RemoveFile("db/ia.ovx");
    EXPECT_FALSE(schema_->AlterTableDrop("t", "b"));
    EXPECT_EQ(Error(), "Unable to open indexes for table 't'");
}

// The new files are paired with the old ones by the catalog's rows, which are read twice.
TEST_F(AlterTableTest, ACatalogThatChangesInBetweenStopsTheRebuilding) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "t_a", false, {"a"}));
    const std::string before = TheHost().FileText("db/t.dbf");
    int created = 0;
    TheHost().SetChangeHandler([&created](const FileChange& change) {
        created += change.kind == FileChangeKind::kCreate ? 1 : 0;
        if (created != 2) {  // the new index file; the new data file comes before the first reading
            return;
        }
        // The row of the index, which is the second one, as another process drops it.
        std::string catalog = TheHost().FileText("db/main.dbf");
        const auto number = [&catalog](size_t at) {
            return static_cast<uint8_t>(catalog[at]) + 256U * static_cast<uint8_t>(catalog[at + 1]);
        };
        catalog[number(8) + number(10)] = '*';  // behind the header and one record
        TheHost().SetFile("db/main.dbf", catalog);
    });
    EXPECT_FALSE(AddColumns("t", {{"b", 0, 5}}));
    TheHost().SetChangeHandler(nullptr);
    EXPECT_EQ(Error(), "Schema database is corrupt");
    EXPECT_EQ(TheHost().FileText("db/t.dbf"), before);
}

TEST_F(AlterTableTest, DroppingTheOnlyMemoColumnRemovesTheMemoFile) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"text", 4, 10}}));
    Insert("t", {"x", "words"});
    ASSERT_TRUE(schema_->AlterTableDrop("t", "text"));
    EXPECT_FALSE(TheHost().HasFile("db/t.dbt"));
    EXPECT_EQ(VersionByte("db/t.dbf"), 0x03);
    EXPECT_EQ(Records("t"), Texts{"x"});
}

TEST_F(AlterTableTest, DroppingOneOfTwoMemoColumnsKeepsTheOther) {
    ASSERT_TRUE(CreateTable("t", {{"one", 4, 10}, {"two", 4, 10}}));
    Insert("t", {"first", "second"});
    ASSERT_TRUE(schema_->AlterTableDrop("t", "one"));
    EXPECT_EQ(Records("t"), Texts{"second"});
}

TEST_F(AlterTableTest, AMemoFileThatWontGoIsReported) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"text", 4, 10}}));
    TheHost().SetErrorText("in use");
    TheHost().FailCall("ovFile_Delete", 1);
    EXPECT_FALSE(schema_->AlterTableDrop("t", "text"));
    EXPECT_EQ(Error(), "Failed to remove memo file for table 't': in use");
}

TEST_F(AlterTableTest, ATableForNameResolutionIsOpenedAnew) {
    FillTable();
    ASSERT_NE(schema_->GetTable("t"), nullptr);
    ASSERT_TRUE(AddColumns("t", {{"c", 0, 4}}));
    EXPECT_NE(schema_->GetTable("t")->Data().FindField("c"), nullptr);
}

}  // namespace
}  // namespace ovrasql
