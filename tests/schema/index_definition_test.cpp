// CREATE INDEX and DROP INDEX: keys, flags, rows in the catalog, and what a failure leaves.

#include <algorithm>

#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class IndexDefinitionTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
        ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"n", 1, 4}, {"l", 3, 1}, {"m", 4, 10}}));
    }

    // The flags in the catalog's row of the index and in its file.
    void ExpectFlags(const char* name, const char* flags) {
        ASSERT_TRUE(schema_->IndexExists(name));
        EXPECT_EQ(CatalogText("INDEXFLAGS"), flags);
        const std::string file = "db/" + std::string(name) + ".ovx";
        EXPECT_EQ(std::to_string(TheHost().FileBytes(file)[23]), flags);
    }

    // A column of the catalog's row in hand.
    [[nodiscard]] std::string CatalogText(const char* column) {
        return Text(schema_->SchemaTable()->Data().FindField(column)->ValueText());
    }
};

TEST_F(IndexDefinitionTest, AnIndexIsAFileAndARow) {
    ASSERT_TRUE(CreateIndex("T", "ByName", true, {"A", "n"}));
    ASSERT_TRUE(schema_->IndexExists("byname"));
    EXPECT_EQ(CatalogText("TYPE"), "I");
    // The table's name as the statement wrote it, and the columns too.
    EXPECT_EQ(CatalogText("TABLE"), "T");
    EXPECT_EQ(CatalogText("INDEX"), "ByName");
    EXPECT_EQ(CatalogText("FILE"), "byname.ovx");
    EXPECT_EQ(CatalogText("COLUMNS"), "A:n");
    EXPECT_EQ(CatalogText("INDEXFLAGS"), "5");
    EXPECT_EQ(TheHost().FileBytes("db/byname.ovx").size(), 2048U);
}

TEST_F(IndexDefinitionTest, FlagsTellUniqueDescendingAndText) {
    ASSERT_TRUE(CreateIndex("t", "i1", false, {"n"}));
    ExpectFlags("i1", "0");
    ASSERT_TRUE(CreateIndex("t", "i2", true, {"n", "l"}));
    ExpectFlags("i2", "1");
    ASSERT_TRUE(CreateIndex("t", "i3", false, {"-n", "-l"}));
    ExpectFlags("i3", "2");
    ASSERT_TRUE(CreateIndex("t", "i4", false, {"n", "a"}));
    ExpectFlags("i4", "4");
    ASSERT_TRUE(CreateIndex("t", "i5", false, {"m"}));
    ExpectFlags("i5", "4");
    // Two text columns set the bit once.
    ASSERT_TRUE(CreateIndex("t", "i6", true, {"-a", "-m"}));
    ExpectFlags("i6", "7");
}

TEST_F(IndexDefinitionTest, OneOrderingServesAllColumns) {
    EXPECT_TRUE(CreateIndex("t", "i1", false, {"a", "n"}));
    EXPECT_FALSE(CreateIndex("t", "i2", false, {"-a", "n"}));
    EXPECT_EQ(Error(), "All columns in an OvraSQL index must have the same ordering");
    EXPECT_FALSE(CreateIndex("t", "i2", false, {"a", "-n"}));
    EXPECT_EQ(Error(), "All columns in an OvraSQL index must have the same ordering");
    EXPECT_FALSE(TheHost().HasFile("db/i2.ovx"));
}

TEST_F(IndexDefinitionTest, AnUnknownColumnIsRefused) {
    EXPECT_FALSE(CreateIndex("t", "i", false, {"a", "gone"}));
    EXPECT_EQ(Error(), "Unknown column 'gone'");
    EXPECT_FALSE(TheHost().HasFile("db/i.ovx"));
}

TEST_F(IndexDefinitionTest, AnUnknownTableIsRefused) {
    EXPECT_FALSE(CreateIndex("u", "i", false, {"a"}));
    EXPECT_EQ(Error(), "Unknown table 'u'");
}

TEST_F(IndexDefinitionTest, KeysOfLiveRecordsAreBuiltInOrder) {
    for (const char* value : {"c", "a", "b"}) {
        Insert("t", {value, "1", "T", ""});
    }
    Delete("t", 2);
    ASSERT_TRUE(CreateIndex("t", "up", false, {"a"}));
    EXPECT_EQ(Keys("t", "up"), (Texts{"B=3", "C=1"}));
    ASSERT_TRUE(CreateIndex("t", "down", false, {"-a"}));
    EXPECT_EQ(Keys("t", "down"), (Texts{"C=1", "B=3"}));
}

// The keys end where a record can't be read, whatever the file's count says.
TEST_F(IndexDefinitionTest, AnUnreadableRecordEndsTheKeysWithoutAMessage) {
    for (const char* value : {"c", "a", "b"}) {
        Insert("t", {value, "1", "T", ""});
    }
    Bytes bytes = TheHost().FileBytes("db/t.dbf");
    // Four descriptors behind 32 bytes, a terminator, and one record of 1 + 5 + 4 + 1 + 10 bytes.
    bytes.resize(32 + 4 * 32 + 1 + 21 + 1);
    TheHost().SetFile("db/t.dbf", bytes);
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"})) << Error();
    EXPECT_EQ(Keys("t", "i"), Texts{"C=1"});
}

TEST_F(IndexDefinitionTest, AnIndexOnAnEmptyTableHasNoKeys) {
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    EXPECT_TRUE(Keys("t", "i").empty());
}

TEST_F(IndexDefinitionTest, DuplicatesLeaveNeitherFileNorRow) {
    Insert("t", {"x", "1", "T", ""});
    Insert("t", {"X", "2", "T", ""});
    EXPECT_FALSE(CreateIndex("t", "i", true, {"a"}));
    EXPECT_EQ(Error(),
              "Index 'db/i.ovx' was created with the UNIQUE flag and the key 'X' already exists in "
              "the index file");
    EXPECT_FALSE(TheHost().HasFile("db/i.ovx"));
    EXPECT_FALSE(schema_->IndexExists("i"));
    EXPECT_TRUE(CreateIndex("t", "i", false, {"a"}));
}

TEST_F(IndexDefinitionTest, NamesAreGlobalAndWithoutCase) {
    ASSERT_TRUE(CreateTable("u", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "Idx", false, {"a"}));
    EXPECT_FALSE(CreateIndex("u", "IDX", false, {"a"}));
    EXPECT_EQ(Error(), "Index 'IDX' already exists");
}

TEST_F(IndexDefinitionTest, AFailedFileIsReported) {
    ASSERT_NE(schema_->GetTable("t"), nullptr);
    TheHost().SetErrorText("no room");
    TheHost().FailCall("ovFile_Open", 1);
    EXPECT_FALSE(CreateIndex("t", "i", false, {"a"}));
    EXPECT_EQ(Error(), "Error creating schema index: Error creating 'db/i.ovx': no room");
    EXPECT_FALSE(schema_->IndexExists("i"));
}

TEST_F(IndexDefinitionTest, AFailedRowLeavesTheFile) {
    TheHost().SetErrorText("disk full");
    // Header and page of the new file, then the row.
    TheHost().FailCall("ovFile_Write", 3);
    EXPECT_FALSE(CreateIndex("t", "i", false, {"a"}));
    EXPECT_EQ(Error(), "Error writing to 'db/main.dbf': disk full");
    EXPECT_TRUE(TheHost().HasFile("db/i.ovx"));
    EXPECT_FALSE(schema_->IndexExists("i"));
}

TEST_F(IndexDefinitionTest, AFailedRowTakenBackLeavesTheFile) {
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    ASSERT_TRUE(schema_->DropIndex("i"));
    TheHost().SetErrorText("disk full");
    // Header and page of the new file, then the row.
    TheHost().FailCall("ovFile_Write", 3);
    EXPECT_FALSE(CreateIndex("t", "i", false, {"n"}));
    EXPECT_EQ(Error(), "Error writing to 'db/main.dbf': disk full");
    EXPECT_TRUE(TheHost().HasFile("db/i.ovx"));
    EXPECT_FALSE(schema_->IndexExists("i"));
    EXPECT_TRUE(CreateIndex("t", "i", false, {"n"})) << Error();
    ASSERT_TRUE(schema_->IndexExists("i"));
    EXPECT_EQ(CatalogText("COLUMNS"), "n");
}

TEST_F(IndexDefinitionTest, ACatalogThatCantBeReadIsNotAFreeName) {
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    ASSERT_NE(schema_->GetTable("t"), nullptr);
    const Bytes before = TheHost().FileBytes("db/i.ovx");
    TheHost().FailCall("ovFile_Lock", 1);
    EXPECT_FALSE(CreateIndex("t", "i", false, {"n"}));
    EXPECT_EQ(Error(), "Error locking 'db/maini.ovx' for read");
    EXPECT_EQ(TheHost().FileBytes("db/i.ovx"), before);
}

// Making an index file empties what is there; these files are the catalog.
TEST_F(IndexDefinitionTest, TheCatalogsOwnFilesAreNoPlaceForAnIndex) {
    for (const char* name : {"main", "MAINI"}) {
        EXPECT_FALSE(CreateIndex("t", name, false, {"a"})) << name;
        EXPECT_EQ(Error(), "Index '" + std::string(name) + "' already exists");
    }
    // The same place by a path that is spelled otherwise: "db//main.ovx".
    schema_->SetSubdirChar('_');
    EXPECT_FALSE(CreateIndex("t", "_main", false, {"a"}));
    EXPECT_EQ(Error(), "Index '_main' already exists");
    EXPECT_TRUE(schema_->TableExists("t"));
    Reopen();
    EXPECT_TRUE(schema_->TableExists("t"));
}

TEST_F(IndexDefinitionTest, AColumnListThatTheCatalogWouldCutIsRefused) {
    // 127 columns of one letter are 253 bytes with their colons, 128 are 255.
    List<SQLIndexColumn> columns(/*ownsItems=*/true);
    for (int32_t index = 0; index < 127; ++index) {
        auto column = std::make_unique<SQLIndexColumn>();
        column->name = "a";
        columns.Insert(std::move(column), ListPlace::kTail);
    }
    EXPECT_TRUE(schema_->CreateIndex("t", "i1", false, columns)) << Error();
    auto column = std::make_unique<SQLIndexColumn>();
    column->name = "n";
    columns.Insert(std::move(column), ListPlace::kTail);
    EXPECT_FALSE(schema_->CreateIndex("t", "i2", false, columns));
    EXPECT_EQ(Error(), "Error creating schema index: column list too long (maximum 254)");
    EXPECT_FALSE(TheHost().HasFile("db/i2.ovx"));
}

// The expression is for other readers and is cut at 400 bytes; the keys are not.
TEST_F(IndexDefinitionTest, ALongKeyExpressionIsCut) {
    List<SQLIndexColumn> columns(/*ownsItems=*/true);
    for (int32_t index = 0; index < 60; ++index) {
        auto column = std::make_unique<SQLIndexColumn>();
        column->name = "a";
        columns.Insert(std::move(column), ListPlace::kTail);
    }
    ASSERT_TRUE(schema_->CreateIndex("t", "i", false, columns));
    const Bytes bytes = TheHost().FileBytes("db/i.ovx");
    EXPECT_EQ(bytes[27], 't');
    EXPECT_NE(bytes[27 + 399], 0);
    EXPECT_EQ(bytes[27 + 400], 0);
}

TEST_F(IndexDefinitionTest, ALoadedTableGetsTheNewIndex) {
    Table* const table = schema_->GetTable("t");
    ASSERT_TRUE(CreateIndex("t", "i1", false, {"a"}));
    EXPECT_EQ(table->Indexes().Find("i1"), nullptr);
    ASSERT_TRUE(schema_->LoadIndexes(*table));
    ASSERT_TRUE(CreateIndex("t", "i2", false, {"n"}));
    EXPECT_NE(table->Indexes().Find("i1"), nullptr);
    EXPECT_NE(table->Indexes().Find("i2"), nullptr);
}

TEST_F(IndexDefinitionTest, ADropRemovesTheFileAndFlagsTheRow) {
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    ASSERT_TRUE(schema_->DropIndex("I"));
    EXPECT_FALSE(TheHost().HasFile("db/i.ovx"));
    EXPECT_FALSE(schema_->IndexExists("i"));
    EXPECT_TRUE(schema_->TableExists("t"));
}

TEST_F(IndexDefinitionTest, ADropOfAnUnknownNameIsReported) {
    EXPECT_FALSE(schema_->DropIndex("gone"));
    EXPECT_EQ(Error(), "Index name 'gone' does not exist");
}

// Table rows have the empty key, which equals "0" by value: their files must be safe.
TEST_F(IndexDefinitionTest, ADropWithoutANameRemovesNoTable) {
    for (const char* name : {"", "0", "0x0", " "}) {
        EXPECT_FALSE(schema_->DropIndex(name));
        EXPECT_EQ(Error(), "Index name '" + std::string(name) + "' does not exist");
    }
    EXPECT_TRUE(TheHost().HasFile("db/t.dbf"));
    EXPECT_TRUE(schema_->TableExists("t"));
}

TEST_F(IndexDefinitionTest, AFileThatWontGoDoesNotStopTheDrop) {
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    TheHost().SetErrorText("in use");
    TheHost().FailCall("ovFile_Delete", 1);
    EXPECT_TRUE(schema_->DropIndex("i"));
    EXPECT_EQ(Error(), "DROP TABLE failed to delete file 'db/i.ovx': in use");
    EXPECT_FALSE(schema_->IndexExists("i"));
}

TEST_F(IndexDefinitionTest, ADropForgetsTheTableForNameResolution) {
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    ASSERT_TRUE(schema_->LoadIndexes(*schema_->GetTable("t")));
    ASSERT_TRUE(schema_->DropIndex("i"));
    Table* const table = schema_->GetTable("t");
    ASSERT_TRUE(schema_->LoadIndexes(*table));
    EXPECT_EQ(table->Indexes().Find("i"), nullptr);
}

// The row of a name that was used before still tells the first table.
TEST_F(IndexDefinitionTest, ADropForgetsTheTableThatTheNameHasMovedTo) {
    ASSERT_TRUE(CreateTable("u", {{"b", 1, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    ASSERT_TRUE(schema_->DropIndex("i"));
    ASSERT_TRUE(schema_->LoadIndexes(*schema_->GetTable("u")));
    ASSERT_TRUE(CreateIndex("u", "i", false, {"b"}));
    ASSERT_NE(schema_->GetTable("u")->Indexes().Find("i"), nullptr);
    ASSERT_TRUE(schema_->DropIndex("I"));
    EXPECT_EQ(schema_->GetTable("u")->Indexes().Find("i"), nullptr);
}

TEST_F(IndexDefinitionTest, AFailedRowInADropIsReported) {
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    TheHost().SetErrorText("disk full");
    TheHost().FailCall("ovFile_Write", 1);
    EXPECT_FALSE(schema_->DropIndex("i"));
    EXPECT_EQ(Error(), "Error writing to 'db/main.dbf': disk full");
    // The file went first, so the row still names it until it is dropped again.
    EXPECT_FALSE(TheHost().HasFile("db/i.ovx"));
    EXPECT_TRUE(schema_->DropIndex("i"));
}

// The row taken back keeps TYPE, TABLE and INDEX, even where the index is on another table now.
TEST_F(IndexDefinitionTest, ACreateTakesADeadRowBackWithItsOldTable) {
    ASSERT_TRUE(CreateTable("u", {{"b", 1, 5}}));
    ASSERT_TRUE(CreateIndex("t", "Idx", false, {"a"}));
    ASSERT_TRUE(schema_->DropIndex("idx"));
    ASSERT_TRUE(CreateIndex("u", "IDX", true, {"b"}));
    ASSERT_TRUE(schema_->IndexExists("idx"));
    EXPECT_EQ(CatalogText("TABLE"), "t");
    EXPECT_EQ(CatalogText("INDEX"), "Idx");
    EXPECT_EQ(CatalogText("COLUMNS"), "b");
    EXPECT_EQ(CatalogText("INDEXFLAGS"), "1");
}

// An index called "nan" is out of reach of the search by key. Its file must be safe all the same.
TEST_F(IndexDefinitionTest, ANameThatTheSearchMissesIsNotMadeTwice) {
    Insert("t", {"x", "1", "T", ""});
    ASSERT_TRUE(CreateIndex("t", "nan", false, {"a"}));
    const Bytes before = TheHost().FileBytes("db/nan.ovx");
    EXPECT_FALSE(CreateIndex("t", "NAN", false, {"n"}));
    EXPECT_EQ(Error(), "Index 'NAN' already exists");
    EXPECT_EQ(TheHost().FileBytes("db/nan.ovx"), before);
}

// The key of such an index stands in front of all and ends each search that comes upon it.
TEST_F(IndexDefinitionTest, AnIndexCalledNanHidesNoOther) {
    ASSERT_TRUE(CreateTable("u", {{"b", 0, 5}}));
    ASSERT_TRUE(CreateIndex("u", "abc", false, {"b"}));
    ASSERT_TRUE(CreateIndex("t", "nan", false, {"a"}));
    EXPECT_TRUE(schema_->IndexExists("ABC"));
    {
        const std::unique_ptr<Table> table = schema_->OpenTable("u");
        EXPECT_NE(schema_->OpenIndex(*table, "abc"), nullptr) << Error();
    }
    EXPECT_TRUE(schema_->DropIndex("abc")) << Error();
    EXPECT_FALSE(TheHost().HasFile("db/abc.ovx"));
    EXPECT_TRUE(schema_->IndexExists("nan"));
    EXPECT_TRUE(schema_->DropIndex("nan")) << Error();
    EXPECT_FALSE(TheHost().HasFile("db/nan.ovx"));
    EXPECT_FALSE(schema_->IndexExists("nan"));
    EXPECT_FALSE(schema_->IndexExists("abc"));
    EXPECT_TRUE(CreateIndex("u", "nan", false, {"b"})) << Error();
}

// "inf" and "infinity" are one number, "infant" is a text: no order suits all of them.
TEST_F(IndexDefinitionTest, NamesThatAreNumbersHideNoOther) {
    Texts names = {"abc", "inf", "infant", "infinity", "zebra"};
    do {
        SetUp();
        for (const std::string& name : names) {
            ASSERT_TRUE(CreateIndex("t", name.c_str(), false, {"a"})) << Error();
        }
        for (const std::string& name : names) {
            EXPECT_TRUE(schema_->IndexExists(name.c_str())) << name;
            EXPECT_EQ(CatalogText("INDEX"), name);
        }
        for (const std::string& name : names) {
            EXPECT_TRUE(schema_->DropIndex(name.c_str())) << Error();
            EXPECT_FALSE(TheHost().HasFile("db/" + name + ".ovx"));
        }
        schema_.reset();
    } while (std::next_permutation(names.begin(), names.end()));
}

TEST_F(IndexDefinitionTest, ANameThatIsFoundCostsOneRow) {
    for (const char* name : {"i1", "i2", "i3", "i4"}) {
        ASSERT_TRUE(CreateIndex("t", name, false, {"a"}));
    }
    TheHost().ClearLog();
    ASSERT_TRUE(schema_->IndexExists("i3"));
    EXPECT_EQ(std::count_if(TheHost().Calls().begin(), TheHost().Calls().end(),
                            [](const HostCall& call) {
                                return call.name == "ovFile_Read" && call.path == "db/main.dbf";
                            }),
              1);
}

// Keys are cut at 99 bytes: of a table and an index with 64 letters each, 32 of the index's count.
TEST_F(IndexDefinitionTest, LongNamesThatAgreeInTheCatalogsKeyAreRefused) {
    const std::string table(64, 't');
    const std::string first = std::string(32, 'i') + "a";
    const std::string second = std::string(32, 'i') + "b";
    ASSERT_TRUE(CreateTable(table.c_str(), {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex(table.c_str(), first.c_str(), false, {"a"}));
    EXPECT_FALSE(CreateIndex(table.c_str(), second.c_str(), false, {"a"}));
    EXPECT_EQ(Error(), "Inserted record violates UNIQUE constraint on index 'Schema_1'");
    EXPECT_FALSE(schema_->IndexExists(second.c_str()));
    // The first one is as it was, and a name that differs within the key is free.
    Insert(table.c_str(), {"x"});
    EXPECT_EQ(Keys(table.c_str(), first.c_str()), Texts{"X=1"});
    const std::string third = std::string(31, 'i') + "c";
    EXPECT_TRUE(CreateIndex(table.c_str(), third.c_str(), false, {"a"})) << Error();
}

}  // namespace
}  // namespace ovrasql
