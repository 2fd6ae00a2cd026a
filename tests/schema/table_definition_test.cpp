// CREATE TABLE and DROP TABLE: their files, their rows in the catalog, their messages.

#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class TableDefinitionTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
    }

    // The catalog's rows, "*" in front of a dead one.
    [[nodiscard]] Texts CatalogRows() {
        Texts rows;
        OvraSQLTable catalog(database_);
        EXPECT_TRUE(catalog.Open("db/main.dbf", 3));
        for (uint32_t number = 1; catalog.ReadRecord(number); ++number) {
            std::string row = catalog.IsDeleted() ? "*" : "";
            const char* between = "";
            for (OvraSQLField* field : catalog.Fields()) {
                row += between + Text(field->ValueText());
                between = "|";
            }
            rows.push_back(row);
        }
        return rows;
    }
};

TEST_F(TableDefinitionTest, ATableIsAFileAndARow) {
    ASSERT_TRUE(CreateTable("Orders", {{"id", 1, 8, 2}, {"name", 0, 20}, {"ok", 3, 1}}));
    EXPECT_EQ(CatalogRows(), Texts{"T|Orders||orders.dbf||"});
    EXPECT_FALSE(TheHost().HasFile("db/orders.dbt"));
    const std::unique_ptr<Table> table = schema_->OpenTable("orders");
    ASSERT_NE(table, nullptr);
    OvraSQLField* const id = table->Data().FindField("ID");
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(Text(id->Name()), "ID");
    EXPECT_EQ(id->Type(), kFieldNumeric);
    EXPECT_EQ(id->Length(), 8);
    EXPECT_EQ(id->Decimals(), 2);
    EXPECT_EQ(table->Data().RecordLength(), 1 + 8 + 20 + 1);
}

TEST_F(TableDefinitionTest, AMemoColumnMakesAMemoFile) {
    ASSERT_TRUE(CreateTable("t", {{"text", 4, 10}}));
    EXPECT_EQ(TheHost().FileBytes("db/t.dbt").size(), 513U);
    EXPECT_EQ(TheHost().FileBytes("db/t.dbf")[0], 0x83);
}

TEST_F(TableDefinitionTest, ANameInUseIsRefused) {
    ASSERT_TRUE(CreateTable("Orders", {{"a", 0, 5}}));
    EXPECT_FALSE(CreateTable("ORDERS", {{"b", 0, 5}}));
    EXPECT_EQ(Error(), "Table 'ORDERS' already exists");
}

TEST_F(TableDefinitionTest, AFileInTheWayIsNotOverwritten) {
    TheHost().SetFile("db/t.dbf", "mine");
    EXPECT_FALSE(CreateTable("T", {{"a", 0, 5}}));
    EXPECT_EQ(Error(), "Table 'T' cannot be created because datafile 'db/t.dbf' already exists");
    EXPECT_EQ(TheHost().FileText("db/t.dbf"), "mine");
    EXPECT_TRUE(CatalogRows().empty());
}

TEST_F(TableDefinitionTest, TheCatalogsOwnFileIsInTheWayToo) {
    EXPECT_FALSE(CreateTable("main", {{"a", 0, 5}}));
    EXPECT_EQ(Error(),
              "Table 'main' cannot be created because datafile 'db/main.dbf' already exists");
}

// The memo file is emptied without a question, so the catalog must not lie there.
TEST_F(TableDefinitionTest, AMemoFileNeverReplacesTheCatalog) {
    CreateDatabase("db/odd.dbt");
    EXPECT_FALSE(CreateTable("odd", {{"text", 4, 10}}));
    EXPECT_EQ(Error(),
              "Table 'odd' cannot be created because datafile 'db/odd.dbt' already exists");
    Reopen("db/odd.dbt");
}

TEST_F(TableDefinitionTest, AWidthThatNoFileCanHoldIsRefusedBeforeAnyFile) {
    schema_->SetSubdirChar('_');
    const Column refused[] = {{"a", 0, 256}, {"a", 0, 0}, {"a", 0, -5}, {"a", 1, -2147483647}};
    for (const Column& column : refused) {
        EXPECT_FALSE(CreateTable("x_t", {{"first", 0, 5}, column}));
        EXPECT_EQ(Error(), "Column 'a' cannot have a width of " + std::to_string(column.width) +
                               " (from 1 to 255)");
    }
    EXPECT_FALSE(TheHost().HasDirectory("db/x"));
    EXPECT_TRUE(CatalogRows().empty());
    EXPECT_TRUE(CreateTable("x_t", {{"a", 0, 255}}));
}

// The point stands before the last digits, so a number has one byte more than its scale at least.
TEST_F(TableDefinitionTest, AScaleThatItsWidthCantHoldIsRefusedBeforeAnyFile) {
    schema_->SetSubdirChar('_');
    const Column refused[] = {{"N", 1, 5, -1}, {"N", 1, 5, 5}, {"N", 1, 1, 300}};
    for (const Column& column : refused) {
        EXPECT_FALSE(CreateTable("x_t", {{"first", 0, 5}, column}));
        EXPECT_EQ(Error(), "Column 'N' cannot have a scale of " + std::to_string(column.scale) +
                               " (width " + std::to_string(column.width) + ")");
    }
    EXPECT_FALSE(TheHost().HasDirectory("db/x"));
    EXPECT_TRUE(CatalogRows().empty());
    EXPECT_TRUE(CreateTable("x_t", {{"n", 1, 5, 4}, {"m", 1, 1, 0}}));
}

// The second one could never be named.
TEST_F(TableDefinitionTest, AColumnNameThatIsGivenTwiceIsRefusedBeforeAnyFile) {
    schema_->SetSubdirChar('_');
    EXPECT_FALSE(CreateTable("x_t", {{"name", 0, 5}, {"a", 0, 5}, {"Name", 1, 5}}));
    EXPECT_EQ(Error(), "A field named 'Name' already exists in table 'x_t'");
    EXPECT_FALSE(TheHost().HasDirectory("db/x"));
    EXPECT_TRUE(CatalogRows().empty());
}

// 257 columns of 255 bytes are 65535 bytes, and the flag byte is one more.
TEST_F(TableDefinitionTest, TheLongestRecordHas65535Bytes) {
    for (const int32_t last : {254, 255}) {
        CollList<ColumnDefinition> columns(/*ownsItems=*/true);
        std::vector<std::string> names(257);
        for (size_t index = 0; index < names.size(); ++index) {
            names[index] = "c" + std::to_string(index);
            Fill(&columns, {{names[index].c_str(), 0, index == 0 ? last : 255}});
        }
        EXPECT_EQ(schema_->CreateTable("t", columns), last == 254) << Error();
        EXPECT_EQ(schema_->DropTable("t"), last == 254);
    }
}

TEST_F(TableDefinitionTest, TooManyColumnsHaveTheDataFilesMessage) {
    CollList<ColumnDefinition> columns(/*ownsItems=*/true);
    std::vector<std::string> names(2047);
    for (size_t index = 0; index < names.size(); ++index) {
        names[index] = "c" + std::to_string(index);
        Fill(&columns, {{names[index].c_str(), 0, 1}});
    }
    EXPECT_FALSE(schema_->CreateTable("t", columns));
    EXPECT_EQ(Error(), "Error creating table datafile: too many fields (maximum 2046)");
    EXPECT_TRUE(CatalogRows().empty());
}

TEST_F(TableDefinitionTest, AFailedFileIsReportedAndNotListed) {
    TheHost().SetErrorText("no room");
    TheHost().FailCall("ovFile_Open", 1);
    EXPECT_FALSE(CreateTable("t", {{"a", 0, 5}}));
    EXPECT_EQ(Error(), "Error creating 'db/t.dbf': no room");
    EXPECT_TRUE(CatalogRows().empty());
}

TEST_F(TableDefinitionTest, ACatalogThatCantBeReadIsNotAFreeName) {
    TheHost().FailCall("ovFile_Lock", 1);
    EXPECT_FALSE(CreateTable("t", {{"a", 0, 5}}));
    EXPECT_EQ(Error(), "Error locking 'db/main.ovx' for read");
    EXPECT_FALSE(TheHost().HasFile("db/t.dbf"));
}

// Neither a live row nor a dead one: what it says about the name is not known.
TEST_F(TableDefinitionTest, ARowThatCantBeReadIsNotAFreeName) {
    for (const bool dropped : {false, true}) {
        SetUp();
        ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
        if (dropped) {
            ASSERT_TRUE(schema_->DropTable("t"));
        }
        TheHost().RemoveFile("db/t.dbf");  // the row alone stands in the way
        TheHost().SetErrorText("bad disk");
        // Header and page of the index, then the row.
        TheHost().FailCall("ovFile_Read", 3);
        EXPECT_FALSE(CreateTable("t", {{"a", 0, 5}})) << dropped;
        EXPECT_EQ(Error(), "Error reading from 'db/main.dbf': bad disk") << dropped;
        EXPECT_FALSE(TheHost().HasFile("db/t.dbf")) << dropped;
        schema_.reset();
    }
}

TEST_F(TableDefinitionTest, AFailedRowLeavesTheFile) {
    TheHost().SetErrorText("disk full");
    // Header, descriptors and end mark of the table, then the row.
    TheHost().FailCall("ovFile_Write", 4);
    EXPECT_FALSE(CreateTable("t", {{"a", 0, 5}}));
    EXPECT_EQ(Error(), "Error writing to 'db/main.dbf': disk full");
    EXPECT_TRUE(TheHost().HasFile("db/t.dbf"));
    EXPECT_NE(schema_->GetTable("t"), nullptr);  // as it was made, for want of a row
    EXPECT_FALSE(CreateTable("t", {{"a", 0, 5}}));
    EXPECT_EQ(Error(), "Table 't' cannot be created because datafile 'db/t.dbf' already exists");
}

TEST_F(TableDefinitionTest, ACreatedTableIsReadyForNameResolution) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    TheHost().ClearLog();
    ASSERT_NE(schema_->GetTable("T"), nullptr);
    EXPECT_EQ(TheHost().CallCount("ovFile_Open"), 0);
}

TEST_F(TableDefinitionTest, ADropRemovesFilesAndFlagsRows) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"text", 4, 10}}));
    ASSERT_TRUE(CreateIndex("t", "i1", false, {"a"}));
    ASSERT_TRUE(CreateIndex("t", "i2", false, {"a"}));
    ASSERT_TRUE(CreateTable("t2", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t2", "i3", false, {"a"}));
    ASSERT_TRUE(schema_->DropTable("T"));
    EXPECT_EQ(TheHost().FilePaths(),
              (Texts{"db/i3.ovx", "db/main.dbf", "db/main.ovx", "db/maini.ovx", "db/t2.dbf"}));
    EXPECT_EQ(CatalogRows(), (Texts{"*T|t||t.dbf||", "*I|t|i1|i1.ovx|a|4", "*I|t|i2|i2.ovx|a|4",
                                    "T|t2||t2.dbf||", "I|t2|i3|i3.ovx|a|4"}));
    EXPECT_FALSE(schema_->TableExists("t"));
    EXPECT_EQ(schema_->GetTable("t"), nullptr);
}

TEST_F(TableDefinitionTest, ADropOfAnUnknownTableTouchesNoFile) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    const std::vector<std::string> before = TheHost().FilePaths();
    EXPECT_FALSE(schema_->DropTable("u"));
    EXPECT_EQ(Error(), "Table 'u' does not exist");
    EXPECT_EQ(TheHost().FilePaths(), before);
    EXPECT_FALSE(schema_->DropTable(""));
    EXPECT_EQ(Error(), "Table '' does not exist");
}

// The first CREATE's spelling stays, and FILE is written anew.
TEST_F(TableDefinitionTest, ACreateTakesADeadRowBack) {
    ASSERT_TRUE(CreateTable("Orders_x", {{"a", 0, 5}}));
    ASSERT_TRUE(schema_->DropTable("orders_x"));
    schema_->SetSubdirChar('_');
    ASSERT_TRUE(CreateTable("ORDERS_X", {{"b", 0, 5}}));
    EXPECT_EQ(CatalogRows(), Texts{"T|Orders_x||orders/x.dbf||"});
    EXPECT_TRUE(schema_->TableExists("orders_x"));
    const std::unique_ptr<Table> table = schema_->OpenTable("orders_x");
    EXPECT_NE(table->Data().FindField("b"), nullptr);
}

TEST_F(TableDefinitionTest, AFileThatWontGoEndsTheDropWithItsRowsGone) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    TheHost().SetErrorText("in use");
    TheHost().FailCall("ovFile_Delete", 1);
    EXPECT_FALSE(schema_->DropTable("t"));
    EXPECT_EQ(Error(), "DROP TABLE failed to delete file 'db/i.ovx': in use");
    EXPECT_TRUE(TheHost().HasFile("db/t.dbf"));
    EXPECT_FALSE(schema_->TableExists("t"));
    EXPECT_FALSE(schema_->IndexExists("i"));
}

// Index rows without their table: the rows go, then the missing table is noticed.
TEST_F(TableDefinitionTest, ADropDeletesIndexRowsBeforeItFindsTheTableMissing) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    ASSERT_TRUE(schema_->TableExists("t"));
    ASSERT_TRUE(schema_->SchemaTable()->Data().MarkDeleted(true));
    EXPECT_FALSE(schema_->DropTable("t"));
    EXPECT_EQ(Error(), "Table 't' does not exist");
    EXPECT_FALSE(schema_->IndexExists("i"));
    EXPECT_TRUE(TheHost().HasFile("db/i.ovx"));
    EXPECT_TRUE(TheHost().HasFile("db/t.dbf"));
}

TEST_F(TableDefinitionTest, AnUnreadableFirstIndexRowMeansACorruptCatalog) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i1", false, {"a"}));
    ASSERT_TRUE(CreateIndex("t", "i2", false, {"a"}));
    TheHost().SetErrorText("bad disk");
    // Header and page of the index, then the first row.
    TheHost().FailCall("ovFile_Read", 3);
    EXPECT_FALSE(schema_->DropTable("t"));
    EXPECT_EQ(Error(), "Schema database is corrupt");
    EXPECT_TRUE(schema_->IndexExists("i1"));
}

TEST_F(TableDefinitionTest, AnUnreadableLaterIndexRowHasTheSchemaTablesMessage) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i1", false, {"a"}));
    ASSERT_TRUE(CreateIndex("t", "i2", false, {"a"}));
    TheHost().SetErrorText("bad disk");
    // As above, then the header for the row's own update, the index's header, the second row.
    TheHost().FailCall("ovFile_Read", 6);
    EXPECT_FALSE(schema_->DropTable("t"));
    EXPECT_EQ(Error(), "Error reading from 'db/main.dbf': bad disk");
    EXPECT_FALSE(schema_->IndexExists("i1"));
    EXPECT_TRUE(schema_->IndexExists("i2"));
}

TEST_F(TableDefinitionTest, AnIndexThatCantBeWalkedStopsTheDrop) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    TheHost().FailCall("ovFile_Lock", 1);
    EXPECT_FALSE(schema_->DropTable("t"));
    EXPECT_EQ(Error(), "Error locking 'db/main.ovx' for read");
    EXPECT_TRUE(schema_->TableExists("t"));
    EXPECT_TRUE(schema_->IndexExists("i"));
}

// A second process keeps a table open that the first one has dropped and made anew.
TEST_F(TableDefinitionTest, ATableMadeAnewReplacesTheOneInHand) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_NE(schema_->GetTable("t"), nullptr);
    const std::unique_ptr<Schema> other = NewSchema();
    ASSERT_TRUE(other->Open("db/main.dbf"));
    ASSERT_TRUE(other->DropTable("t"));
    ASSERT_TRUE(CreateTable("t", {{"b", 0, 5}}));
    EXPECT_NE(schema_->GetTable("t")->Data().FindField("b"), nullptr);
}

TEST_F(TableDefinitionTest, MakingAFieldTwiceReplacesTheFirst) {
    ColumnDefinition column;
    column.name = "Name";
    column.type = 1;
    column.width = 9;
    column.scale = 2;
    EXPECT_NE(column.MakeField(), nullptr);
    const OvraSQLField* const field = column.MakeField();
    EXPECT_EQ(Text(field->Name()), "NAME");
    EXPECT_EQ(field->Type(), 1);
    EXPECT_EQ(field->Length(), 9);
    EXPECT_EQ(field->Decimals(), 2);
}

}  // namespace
}  // namespace ovrasql
