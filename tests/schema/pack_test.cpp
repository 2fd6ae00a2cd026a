// Pack, and the rebuilding of one table with its failures.

#include "library/host_services.h"
#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class PackTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
    }

    // Table t: three records, the second deleted; a unique and an ordinary index.
    void FillTable() {
        ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"text", 4, 10}}));
        ASSERT_TRUE(CreateIndex("t", "ia", true, {"a"}));
        ASSERT_TRUE(CreateIndex("t", "im", false, {"text", "a"}));
        Insert("t", {"x", "one"});
        Insert("t", {"y", "two"});
        Insert("t", {"z", "three"});
        Delete("t", 2);
    }

    // Tables one and two: two records each, the first deleted.
    void FillTwoTables() {
        for (const char* name : {"one", "two"}) {
            ASSERT_TRUE(CreateTable(name, {{"a", 0, 5}}));
            Insert(name, {"x"});
            Insert(name, {"y"});
            Delete(name, 1);
        }
    }

    // Whether there is more than the catalog's three files, the table's two and two indexes.
    [[nodiscard]] bool HasTemporaryFiles() const { return TheHost().FilePaths().size() > 7U; }
};

TEST_F(PackTest, LiveRecordsAreNumberedAnewAndIndexesFollow) {
    FillTable();
    ASSERT_TRUE(schema_->Pack()) << Error();
    EXPECT_EQ(Records("t"), (Texts{"x|one", "z|three"}));
    EXPECT_EQ(Keys("t", "ia"), (Texts{"X=1", "Z=2"}));
    EXPECT_EQ(Keys("t", "im"), (Texts{"ONE:X=1", "THREE:Z=2"}));
    EXPECT_EQ(TheHost().FilePaths(), (Texts{"db/ia.ovx", "db/im.ovx", "db/main.dbf", "db/main.ovx",
                                            "db/maini.ovx", "db/t.dbf", "db/t.dbt"}));
}

TEST_F(PackTest, MemoTextsAreWrittenWithoutHoles) {
    ASSERT_TRUE(CreateTable("t", {{"text", 4, 10}}));
    for (const char* text : {"one", "two", "three"}) {
        Insert("t", {text});
    }
    Delete("t", 1);
    Delete("t", 2);
    ASSERT_TRUE(schema_->Pack());
    EXPECT_EQ(Records("t"), Texts{"three"});
    // The header's block, and one block with the text and its two end marks.
    EXPECT_EQ(TheHost().FileBytes("db/t.dbt").size(), 512U + 5U + 2U);
    EXPECT_EQ(TheHost().FileBytes("db/t.dbf")[0], 0x83);
}

// A memo column in a file that is marked as having none: its texts must not go.
TEST_F(PackTest, MemoTextsGoOverFromAFileMarkedWithout) {
    ASSERT_TRUE(CreateTable("t", {{"text", 4, 10}}));
    Insert("t", {"one"});
    Insert("t", {"two"});
    Delete("t", 1);
    Reopen();
    Bytes bytes = TheHost().FileBytes("db/t.dbf");
    bytes[0] = 0x03;
    TheHost().SetFile("db/t.dbf", bytes);
    ASSERT_TRUE(schema_->Pack()) << Error();
    EXPECT_EQ(Records("t"), Texts{"two"});
    EXPECT_EQ(TheHost().FileBytes("db/t.dbf")[0], 0x83);
}

TEST_F(PackTest, APlainTableGetsNoMemoFile) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Insert("t", {"x"});
    TheHost().ClearLog();
    ASSERT_TRUE(schema_->Pack());
    EXPECT_EQ(TheHost().CallCount("ovFile_MakeTemporary"), 1);
    EXPECT_FALSE(TheHost().HasFile("db/t.dbt"));
    EXPECT_EQ(Records("t"), Texts{"x"});
}

TEST_F(PackTest, AnEmptyTableComesOutEmpty) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    ASSERT_TRUE(schema_->Pack());
    EXPECT_TRUE(Records("t").empty());
    EXPECT_TRUE(Keys("t", "i").empty());
    Insert("t", {"x"});
    EXPECT_EQ(Keys("t", "i"), Texts{"X=1"});
}

TEST_F(PackTest, StaleKeysAreRepaired) {
    FillTable();
    {
        const std::unique_ptr<Table> table = OpenForWriting("t");
        ASSERT_TRUE(table->Indexes().Find("ia")->File().InsertKey(77, "STALE"));
        ASSERT_TRUE(table->Indexes().Find("ia")->File().DeleteKey(1, "X"));
    }
    ASSERT_TRUE(schema_->Pack());
    EXPECT_EQ(Keys("t", "ia"), (Texts{"X=1", "Z=2"}));
}

TEST_F(PackTest, TheTraceTellsTheProgress) {
    ASSERT_TRUE(CreateTable("Orders", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateTable("gone", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("Orders", "i", false, {"a"}));
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(schema_->DropTable("gone"));
    ASSERT_TRUE(schema_->OpenTrace("trace.log"));
    ASSERT_TRUE(schema_->Pack());
    EXPECT_EQ(TheHost().FileText("trace.log"),
              "Starting Packing\nPacking Orders...done\nPacking t...done\nPacking done\n");
}

TEST_F(PackTest, ADatabaseWithoutTablesIsPacked) {
    ASSERT_TRUE(schema_->OpenTrace("trace.log"));
    TheHost().ClearLog();
    ASSERT_TRUE(schema_->Pack());
    EXPECT_EQ(TheHost().FileText("trace.log"), "Starting Packing\nPacking done\n");
    // No row is asked for where there is none: the question would lock the header once more.
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), 1);
    EXPECT_EQ(TheHost().CallCount("ovFile_Release"), 1);
}

TEST_F(PackTest, TheHeaderOfTheSchemaTableStaysLockedThroughout) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    Insert("t", {"x"});
    TheHost().SetSelfConflict(true);
    TheHost().ClearLog();
    ASSERT_TRUE(schema_->Pack()) << Error();
    std::string locksOfTheSchemaTable;
    for (const HostCall& call : TheHost().Calls()) {
        if (call.path == "db/main.dbf" &&
            (call.name == "ovFile_Lock" || call.name == "ovFile_Release")) {
            locksOfTheSchemaTable += call.Text() + "\n";
        }
    }
    EXPECT_EQ(locksOfTheSchemaTable,
              "ovFile_Lock db/main.dbf mode 2 at 0 length 32\n"
              "ovFile_Release db/main.dbf at 0 length 32\n");
    TheHost().SetSelfConflict(false);
}

TEST_F(PackTest, ABusySchemaIsReported) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    // The lock itself leaves no text: what follows the colon is what was told last of the table.
    EXPECT_FALSE(schema_->SchemaTable()->ReadRecord(7));
    TheHost().FailCall("ovFile_Lock", 1);
    EXPECT_FALSE(schema_->Pack());
    EXPECT_EQ(Error(), "Unable to lock schema for pack:Invalid record number");
}

TEST_F(PackTest, ATableOfAnotherProcessIsPackedToo) {
    const std::unique_ptr<Schema> other = NewSchema();
    ASSERT_TRUE(other->Open("db/main.dbf"));
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Insert("t", {"x"});
    Insert("t", {"y"});
    Delete("t", 1);
    ASSERT_TRUE(other->Pack());
    EXPECT_EQ(Records("t"), Texts{"y"});
}

TEST_F(PackTest, ATableThatWontOpenIsReportedAndTheLockGivenBack) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Reopen();
    TheHost().RemoveFile("db/t.dbf");
    TheHost().SetErrorText("no such file");
    EXPECT_FALSE(schema_->Pack());
    EXPECT_EQ(Error(), "Unable to open data file: Error opening 'db/t.dbf': no such file");
    EXPECT_TRUE(TheHost().Locks().empty());
}

// Rows of the catalog that can't be read: the first is passed over, any later one is the end.
TEST_F(PackTest, AnUnreadableFirstRowIsPassedOver) {
    FillTwoTables();
    // The header of the schema table, then its first row.
    TheHost().FailCall("ovFile_Read", 2);
    EXPECT_TRUE(schema_->Pack()) << Error();
    EXPECT_EQ(Records("one"), (Texts{"*x", "y"}));
    EXPECT_EQ(Records("two"), Texts{"y"});
}

TEST_F(PackTest, AnUnreadableLaterRowEndsThePackWithoutAMessage) {
    FillTwoTables();
    ASSERT_TRUE(CreateTable("three", {{"a", 0, 5}}));
    schema_.reset();
    const Bytes whole = TheHost().FileBytes("db/main.dbf");
    Bytes cut = whole;
    const size_t headerLength = whole[8] + 256U * whole[9];
    const size_t recordLength = whole[10] + 256U * whole[11];
    cut.resize(headerLength + recordLength + 1);
    TheHost().SetFile("db/main.dbf", cut);
    Reopen();
    ASSERT_TRUE(schema_->OpenTrace("trace.log"));
    EXPECT_TRUE(schema_->Pack()) << Error();
    EXPECT_EQ(TheHost().FileText("trace.log"),
              "Starting Packing\nPacking one...done\nPacking done\n");
    EXPECT_TRUE(TheHost().Locks().empty());
    schema_.reset();
    TheHost().SetFile("db/main.dbf", whole);
    Reopen();
    EXPECT_EQ(Records("one"), Texts{"y"});
    EXPECT_EQ(Records("two"), (Texts{"*x", "y"}));
}

TEST_F(PackTest, TablesDoneBeforeAFailureStayPacked) {
    FillTwoTables();
    TheHost().FailCall("ovFile_Rename", 2);
    TheHost().SetErrorText("refused");
    EXPECT_FALSE(schema_->Pack());
    EXPECT_EQ(Error(),
              "Error packing table 'two': Failed to rename datafile 'db/two.dbf' for "
              "table 'two': refused");
    EXPECT_EQ(Records("one"), Texts{"y"});
    EXPECT_EQ(Records("two"), (Texts{"*x", "y"}));
    EXPECT_TRUE(TheHost().Locks().empty());
}

TEST_F(PackTest, TemporaryFilesThatCantBeMadeAreReported) {
    const char* const messages[] = {
        "Error packing table 't': Failed to create data file for table 't': no room",
        "Error packing table 't': Failed to create memo file for table 't': no room",
        "Error packing table 't': Failed to create index file for table 't': no room",
        "Error packing table 't': Failed to create index file for table 't': no room",
    };
    for (int32_t call = 1; call <= 4; ++call) {
        SetUp();
        FillTable();
        TheHost().SetErrorText("no room");
        TheHost().FailCall("ovFile_MakeTemporary", call);
        EXPECT_FALSE(schema_->Pack());
        EXPECT_EQ(Error(), messages[call - 1]);
        EXPECT_FALSE(HasTemporaryFiles()) << call;
        EXPECT_EQ(Records("t"), (Texts{"x|one", "*y|two", "z|three"}));
        schema_.reset();
    }
}

// Such a file could be neither renamed nor deleted.
TEST_F(PackTest, ATemporaryFileWithoutANameIsOfNoUse) {
    static const auto make = hostServices.ovFile_MakeTemporary;
    for (const bool hasText : {false, true}) {
        SetUp();
        FillTable();
        const auto withoutText = [](void* program, int32_t location, const char* path,
                                    int32_t length, int32_t flags, char** name,
                                    int32_t* nameLength) -> void* {
            void* const file = make(program, location, path, length, flags, name, nameLength);
            ovProgram_Free(program, *name);
            *name = nullptr;
            return file;
        };
        const auto withoutLength = [](void* program, int32_t location, const char* path,
                                      int32_t length, int32_t flags, char** name,
                                      int32_t* nameLength) -> void* {
            void* const file = make(program, location, path, length, flags, name, nameLength);
            *nameLength = 0;
            return file;
        };
        hostServices.ovFile_MakeTemporary = hasText ? +withoutLength : +withoutText;
        EXPECT_FALSE(schema_->Pack());
        EXPECT_EQ(Error().substr(0, 62),
                  "Error packing table 't': Failed to create data file for table ");
        EXPECT_EQ(Records("t"), (Texts{"x|one", "*y|two", "z|three"}));
        hostServices.ovFile_MakeTemporary = make;
        EXPECT_TRUE(schema_->Pack()) << Error();
        schema_.reset();
    }
}

// Every failure before the first record is copied leaves no file behind, and the table as it was.
TEST_F(PackTest, AFailedWriteIntoANewFileLeavesNothingBehind) {
    // Header, descriptors and end mark of the data file, header and end mark of the memo file,
    // header and page of each index.
    for (int32_t call = 1; call <= 9; ++call) {
        SetUp();
        FillTable();
        TheHost().SetErrorText("disk full");
        TheHost().FailCall("ovFile_Write", call);
        EXPECT_FALSE(schema_->Pack()) << call;
        EXPECT_EQ(Error().substr(0, 43), "Error packing table 't': Error writing to '") << call;
        EXPECT_FALSE(HasTemporaryFiles()) << call;
        EXPECT_EQ(Records("t"), (Texts{"x|one", "*y|two", "z|three"}));
        schema_.reset();
    }
}

TEST_F(PackTest, AnUnreadableRecordEndsTheRebuildAndKeepsTheTable) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Insert("t", {"x"});
    Insert("t", {"y"});
    TheHost().SetErrorText("bad disk");
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    // The listing of indexes twice over, header and page each, then the first record.
    TheHost().FailCall("ovFile_Read", 5);
    EXPECT_FALSE(schema_->RebuildTable(*table, nullptr, 0, 0));
    EXPECT_EQ(Error(), "Error reading from 'db/t.dbf': bad disk");
    TheHost().ClearFailures();
    EXPECT_EQ(Records("t"), (Texts{"x", "y"}));
    // The catalog's three, the table and the temporary file, which stays under the host's name.
    EXPECT_EQ(TheHost().FilePaths().size(), 5U);
}

// The indexes are listed twice. Where a listing is cut short, an old index would be left on records
// that have been numbered anew.
TEST_F(PackTest, AListingOfIndexesThatFailsKeepsTheTable) {
    FillTable();
    const std::unique_ptr<Table> table = OpenForWriting("t");
    // A search and two steps for each listing.
    for (int32_t call = 1; call <= 5; ++call) {
        TheHost().FailCall("ovFile_Lock", call);
        EXPECT_FALSE(schema_->RebuildTable(*table, nullptr, 0, 0)) << call;
        EXPECT_EQ(Error(), "Error locking 'db/main.ovx' for read") << call;
        EXPECT_EQ(Records("t"), (Texts{"x|one", "*y|two", "z|three"})) << call;
    }
}

TEST_F(PackTest, AFailedRenameOfAnyFileIsReported) {
    const char* const files[] = {"db/t.dbf", "db/t.dbt", "db/ia.ovx", "db/im.ovx"};
    for (int32_t call = 1; call <= 4; ++call) {
        SetUp();
        FillTable();
        TheHost().SetErrorText("refused");
        TheHost().FailCall("ovFile_Rename", call);
        EXPECT_FALSE(schema_->Pack());
        EXPECT_EQ(Error(), "Error packing table 't': Failed to rename datafile '" +
                               std::string(files[call - 1]) + "' for table 't': refused");
        schema_.reset();
    }
}

TEST_F(PackTest, AnAppendThatFailsDoesNotStopTheRebuild) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    for (const char* value : {"x", "y", "z"}) {
        Insert("t", {value});
    }
    // Header, descriptors and end mark of the new file, then the first record.
    TheHost().FailCall("ovFile_Write", 4);
    EXPECT_TRUE(schema_->Pack()) << Error();
    EXPECT_TRUE(TheHost().FailureHappened());
    EXPECT_EQ(Records("t"), (Texts{"y", "z"}));
}

TEST_F(PackTest, ADuplicateInAUniqueIndexDoesNotStopTheRebuild) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Insert("t", {"x"});
    Insert("t", {"x"});
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    ASSERT_TRUE(schema_->IndexExists("i"));
    Table& catalog = *schema_->SchemaTable();
    catalog.Data().FindField("INDEXFLAGS")->SetValue("5");
    ASSERT_TRUE(catalog.Data().UpdateRecord());
    ASSERT_TRUE(schema_->Pack());
    EXPECT_EQ(Records("t"), (Texts{"x", "x"}));
    EXPECT_EQ(Keys("t", "i"), Texts{"X=1"});
}

TEST_F(PackTest, AnOpenTableForNameResolutionIsOpenedAnew) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Insert("t", {"x"});
    Delete("t", 1);
    // It has seen the record that pack takes away.
    ASSERT_TRUE(schema_->GetTable("t")->ReadRecord(1));
    ASSERT_TRUE(schema_->Pack());
    EXPECT_EQ(schema_->GetTable("t")->Data().RecordCount(), 0U);
}

// Each call of the host fails once. Whatever it is, pack ends, and nothing is leaked or misused.
TEST_F(PackTest, AFailureAtAnyCallIsSurvived) {
    for (int64_t call = 1;; ++call) {
        SetUp();
        FillTable();
        TheHost().FailCall(call);
        const bool packed = schema_->Pack();
        const bool failed = TheHost().FailureHappened();
        TheHost().ClearFailures();
        if (!failed) {
            EXPECT_TRUE(packed);
            EXPECT_GT(call, 50);
            break;
        }
        EXPECT_TRUE(schema_->TableExists("t")) << call;
        schema_.reset();
        ASSERT_EQ(TheHost().OpenFileCount(), 0) << call;
        ASSERT_EQ(TheHost().AllocatedCount(), 0) << call;
        ASSERT_TRUE(TheHost().Misuses().empty()) << call << TheHost().Misuses().front();
    }
}

}  // namespace
}  // namespace ovrasql
