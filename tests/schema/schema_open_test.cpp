// What a new database looks like on disk, and what an old one must have to be opened.

#include <algorithm>

#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

uint32_t Little(const Bytes& bytes, size_t offset, size_t size) {
    uint32_t value = 0;
    for (size_t index = size; index > 0; --index) {
        value = value << 8 | bytes[offset + index - 1];
    }
    return value;
}

std::string NulEnded(const Bytes& bytes, size_t offset) {
    std::string text;
    while (offset < bytes.size() && bytes[offset] != 0) {
        text += static_cast<char>(bytes[offset++]);
    }
    return text;
}

class SchemaOpenTest : public SchemaTest {};

TEST_F(SchemaOpenTest, ANewDatabaseIsThreeFilesInTheFolderOfItsPath) {
    CreateDatabase("db/main.dbf");
    EXPECT_EQ(TheHost().FilePaths(), (Texts{"db/main.dbf", "db/main.ovx", "db/maini.ovx"}));
}

TEST_F(SchemaOpenTest, TheSchemaTableHasItsSixColumnsInOrder) {
    CreateDatabase();
    const Bytes bytes = TheHost().FileBytes("db/main.dbf");
    // 6 descriptors of 32 bytes, 32 bytes in front, the terminator and the end mark behind.
    ASSERT_EQ(bytes.size(), 226U);
    EXPECT_EQ(bytes[0], 0x03);
    EXPECT_EQ(Little(bytes, 8, 2), 225U);
    // The flag byte and 1 + 64 + 64 + 254 + 254 + 19.
    EXPECT_EQ(Little(bytes, 10, 2), 657U);
    const struct {
        const char* name;
        char letter;
        int width;
    } columns[] = {{"TYPE", 'C', 1},   {"TABLE", 'C', 64},    {"INDEX", 'C', 64},
                   {"FILE", 'C', 254}, {"COLUMNS", 'C', 254}, {"INDEXFLAGS", 'N', 19}};
    size_t offset = 32;
    for (const auto& column : columns) {
        EXPECT_EQ(NulEnded(bytes, offset), column.name);
        EXPECT_EQ(bytes[offset + 11], column.letter) << column.name;
        EXPECT_EQ(bytes[offset + 16], column.width) << column.name;
        EXPECT_EQ(bytes[offset + 17], 0) << column.name;
        offset += 32;
    }
}

TEST_F(SchemaOpenTest, TheCatalogsIndexesCarryFlagsAndExpressionsOfTheirOwn) {
    CreateDatabase();
    const Bytes first = TheHost().FileBytes("db/main.ovx");
    ASSERT_EQ(first.size(), 2048U);
    EXPECT_EQ(Little(first, 23, 4), 1U);
    EXPECT_EQ(NulEnded(first, 27), "toupper( d.TYPE $ ':' $ d.TABLE $ ':' $ d.INDEX )");
    const Bytes second = TheHost().FileBytes("db/maini.ovx");
    ASSERT_EQ(second.size(), 2048U);
    EXPECT_EQ(Little(second, 23, 4), 0U);
    EXPECT_EQ(NulEnded(second, 27), "toupper( d.INDEX )");
}

TEST_F(SchemaOpenTest, APathWithoutFolderOrExtensionStandsAsItIs) {
    CreateDatabase("main");
    EXPECT_EQ(TheHost().FilePaths(), (Texts{"main", "main.ovx", "maini.ovx"}));
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    EXPECT_TRUE(TheHost().HasFile("t.dbf"));
}

TEST_F(SchemaOpenTest, ABackslashEndsTheFolderToo) {
    CreateDatabase("db\\main.dbf");
    EXPECT_EQ(Text(schema_->ResolvePath("t.dbf")), "db\\t.dbf");
}

TEST_F(SchemaOpenTest, TheRootIsAFolderToo) {
    CreateDatabase("/main.dbf");
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    EXPECT_TRUE(TheHost().HasFile("/t.dbf"));
    EXPECT_EQ(Text(schema_->ResolvePath("t.dbf")), "/t.dbf");
    Reopen("/main.dbf");
    EXPECT_NE(schema_->GetTable("t"), nullptr) << Error();
    CreateDatabase("\\main.dbf");
    EXPECT_EQ(Text(schema_->ResolvePath("t.dbf")), "\\t.dbf");
}

TEST_F(SchemaOpenTest, ACreatedDatabaseOpensAgain) {
    CreateDatabase();
    ASSERT_TRUE(CreateTable("orders", {{"a", 0, 5}}));
    Reopen();
    EXPECT_TRUE(schema_->TableExists("ORDERS"));
}

TEST_F(SchemaOpenTest, AFailedDataFileIsReported) {
    TheHost().SetErrorText("no room");
    TheHost().FailCall("ovFile_Open", 1);
    schema_ = NewSchema();
    EXPECT_FALSE(schema_->Create("db/main.dbf"));
    EXPECT_EQ(Error(), "Error creating schema database: Error creating 'db/main.dbf': no room");
}

TEST_F(SchemaOpenTest, ADatabaseInThePlaceOfItsOwnIndexIsRefused) {
    for (const std::string path : {"db/shop.ovx", "db/shopi.ovx", "shop.ovx"}) {
        SetUp();
        TheHost().SetFile(path, "mine");
        schema_ = NewSchema();
        EXPECT_FALSE(schema_->Create(path.c_str())) << path;
        EXPECT_EQ(Error(),
                  "Error creating schema database: '" + path + "' is the path of its own index");
        EXPECT_EQ(TheHost().FileText(path), "mine");
        EXPECT_EQ(TheHost().LogText(), "");
        schema_.reset();
    }
}

TEST_F(SchemaOpenTest, AFailedFirstIndexIsReportedAndTheDataFileStays) {
    TheHost().SetErrorText("no room");
    TheHost().FailCall("ovFile_Open", 2);
    schema_ = NewSchema();
    EXPECT_FALSE(schema_->Create("db/main.dbf"));
    EXPECT_EQ(Error(), "Error creating schema index: Error creating 'db/main.ovx': no room");
    EXPECT_EQ(TheHost().FilePaths(), Texts{"db/main.dbf"});
}

// The first index has no error at that time, so its text is empty.
TEST_F(SchemaOpenTest, AFailedSecondIndexIsReportedWithTheFirstOnesText) {
    TheHost().SetErrorText("no room");
    TheHost().FailCall("ovFile_Open", 3);
    schema_ = NewSchema();
    EXPECT_FALSE(schema_->Create("db/main.dbf"));
    EXPECT_EQ(Error(), "Error creating schema index: ");
    EXPECT_EQ(TheHost().FilePaths(), (Texts{"db/main.dbf", "db/main.ovx"}));
}

TEST_F(SchemaOpenTest, AMissingSchemaTableIsReported) {
    TheHost().SetErrorText("no such file");
    schema_ = NewSchema();
    EXPECT_FALSE(schema_->Open("db/main.dbf"));
    EXPECT_EQ(Error(), "Error opening schema database: Error opening 'db/main.dbf': no such file");
}

TEST_F(SchemaOpenTest, AMissingIndexIsReportedWithItsOwnText) {
    for (const char* missing : {"db/main.ovx", "db/maini.ovx"}) {
        SetUp();
        CreateDatabase();
        schema_.reset();
        TheHost().RemoveFile(missing);
        TheHost().SetErrorText("no such file");
        schema_ = NewSchema();
        EXPECT_FALSE(schema_->Open("db/main.dbf"));
        EXPECT_EQ(Error(), std::string("Error opening schema index: Error opening '") + missing +
                               "': no such file");
        schema_.reset();
    }
}

// Makes a data file of the given columns at the database's path, beside sound indexes.
void ReplaceSchemaTable(void* database, const std::vector<Column>& columns) {
    CollList<OvraSQLField> fields(/*ownsItems=*/true);
    for (const Column& column : columns) {
        fields.Insert(std::make_unique<OvraSQLField>(nullptr, column.name, column.type,
                                                     column.width, column.scale),
                      ListPlace::kTail);
    }
    OvraSQLTable table(database);
    ASSERT_TRUE(table.Create("db/main.dbf", fields));
}

TEST_F(SchemaOpenTest, AFileWithAnExtraColumnPasses) {
    CreateDatabase();
    schema_.reset();
    ReplaceSchemaTable(database_, {{"extra", 0, 3},
                                   {"type", 0, 1},
                                   {"table", 0, 32},
                                   {"index", 0, 20},
                                   {"file", 0, 254},
                                   {"columns", 0, 254},
                                   {"indexflags", 1, 19}});
    Reopen();
    EXPECT_EQ(schema_->TableNameLimit(), 32);
    EXPECT_EQ(schema_->IndexNameLimit(), 20);
}

// The row would point to another file once the database is opened again.
TEST_F(SchemaOpenTest, AFileNameThatTheCatalogWouldCutIsRefusedBeforeAnyFile) {
    CreateDatabase();
    schema_.reset();
    ReplaceSchemaTable(database_, {{"TYPE", 0, 1},
                                   {"TABLE", 0, 64},
                                   {"INDEX", 0, 64},
                                   {"FILE", 0, 8},
                                   {"COLUMNS", 0, 254},
                                   {"INDEXFLAGS", 1, 19}});
    Reopen();
    ASSERT_TRUE(CreateTable("fits", {{"a", 0, 5}})) << Error();
    ASSERT_TRUE(CreateIndex("fits", "fitx", false, {"a"})) << Error();
    schema_->SetSubdirChar('_');
    const Texts before = TheHost().FilePaths();
    EXPECT_FALSE(CreateTable("lo_ng", {{"a", 0, 5}}));
    EXPECT_EQ(Error(), "File name 'lo_ng.dbf' exceeds the maximum length of 8 characters");
    EXPECT_FALSE(CreateIndex("fits", "lo_nx", false, {"a"}));
    EXPECT_EQ(Error(), "File name 'lo_nx.ovx' exceeds the maximum length of 8 characters");
    EXPECT_EQ(TheHost().FilePaths(), before);
    EXPECT_FALSE(TheHost().HasDirectory("db/lo"));
}

// A memo cuts nothing, however narrow its cell.
TEST_F(SchemaOpenTest, ACatalogThatKeepsFileNamesInAMemoTakesLongOnes) {
    CreateDatabase();
    schema_.reset();
    ReplaceSchemaTable(database_, {{"TYPE", 0, 1},
                                   {"TABLE", 0, 64},
                                   {"INDEX", 0, 64},
                                   {"FILE", 4, 10},
                                   {"COLUMNS", 0, 254},
                                   {"INDEXFLAGS", 1, 19}});
    Reopen();
    ASSERT_TRUE(CreateTable("a_name_of_many_letters", {{"a", 0, 5}})) << Error();
    Reopen();
    EXPECT_NE(schema_->GetTable("a_name_of_many_letters"), nullptr) << Error();
}

TEST_F(SchemaOpenTest, AFileWithoutOneOfTheColumnsIsNoDatabase) {
    CreateDatabase();
    const std::vector<Column> all = {{"TYPE", 0, 1},   {"TABLE", 0, 64},    {"INDEX", 0, 64},
                                     {"FILE", 0, 254}, {"COLUMNS", 0, 254}, {"INDEXFLAGS", 1, 19}};
    for (size_t missing = 0; missing < all.size(); ++missing) {
        std::vector<Column> others = all;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(missing));
        schema_.reset();
        ReplaceSchemaTable(database_, others);
        schema_ = NewSchema();
        EXPECT_FALSE(schema_->Open("db/main.dbf")) << all[missing].name;
        EXPECT_EQ(Error(), "File 'db/main.dbf' is not a valid OvraSQL schema database");
        EXPECT_EQ(schema_->TableNameLimit(), 64);
        EXPECT_EQ(schema_->IndexNameLimit(), 64);
    }
}

TEST_F(SchemaOpenTest, NamesAreLimitedByTheCatalogsColumns) {
    CreateDatabase();
    EXPECT_EQ(schema_->TableNameLimit(), 64);
    EXPECT_EQ(schema_->IndexNameLimit(), 64);
}

// Everything must answer with an error, and nothing may crash, before Create and after a failure.
void ExpectAllFail(Schema& schema) {
    CollList<ColumnDefinition> columns(/*ownsItems=*/true);
    List<SQLIndexColumn> parts(/*ownsItems=*/true);
    EXPECT_FALSE(schema.TableExists("t"));
    EXPECT_FALSE(schema.IndexExists("t"));
    EXPECT_EQ(schema.OpenTable("t"), nullptr);
    EXPECT_EQ(Text(schema.Error()), "Unknown table 't'");
    EXPECT_EQ(schema.GetTable("t"), nullptr);
    EXPECT_FALSE(schema.CreateTable("t", columns));
    EXPECT_FALSE(schema.DropTable("t"));
    EXPECT_FALSE(schema.AlterTableAdd("t", columns));
    EXPECT_FALSE(schema.AlterTableDrop("t", "a"));
    EXPECT_FALSE(schema.CreateIndex("t", "i", false, parts));
    EXPECT_FALSE(schema.DropIndex("i"));
    EXPECT_FALSE(schema.Pack());
    String path;
    String relative;
    EXPECT_FALSE(schema.PlaceFile("t.dbf", &path, &relative));
    EXPECT_FALSE(schema.Error().IsEmpty());
}

TEST_F(SchemaOpenTest, ASchemaThatWasNeverOpenedAnswersWithErrors) {
    schema_ = NewSchema();
    ExpectAllFail(*schema_);
}

TEST_F(SchemaOpenTest, ASchemaThatFailedToOpenAnswersWithErrors) {
    schema_ = NewSchema();
    ASSERT_FALSE(schema_->Open("db/main.dbf"));
    ExpectAllFail(*schema_);
}

TEST_F(SchemaOpenTest, ASchemaWhoseTableFailedAnswersWithErrors) {
    TheHost().FailCall("ovFile_Open", 1);
    schema_ = NewSchema();
    ASSERT_FALSE(schema_->Create("db/main.dbf"));
    ExpectAllFail(*schema_);
}

// A catalog with one index must not be written to: the other one would lack the keys.
TEST_F(SchemaOpenTest, ASchemaWhoseIndexesFailedAnswersWithErrors) {
    for (int32_t call = 2; call <= 3; ++call) {
        SetUp();
        TheHost().FailCall("ovFile_Open", call);
        schema_ = NewSchema();
        ASSERT_FALSE(schema_->Create("db/main.dbf"));
        const Texts files = TheHost().FilePaths();
        EXPECT_FALSE(CreateTable("t", {{"a", 0, 5}})) << call;
        EXPECT_EQ(Error(), "File 'db/main.dbf' is not a valid OvraSQL schema database") << call;
        EXPECT_EQ(TheHost().FilePaths(), files) << call;
        EXPECT_FALSE(schema_->DropTable("t")) << call;
        ExpectAllFail(*schema_);
        schema_.reset();
    }
}

TEST_F(SchemaOpenTest, CreatingTwiceStartsAnew) {
    CreateDatabase();
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(schema_->Create("db/other.dbf"));
    EXPECT_FALSE(schema_->TableExists("t"));
    EXPECT_EQ(schema_->GetTable("t"), nullptr);
}

TEST_F(SchemaOpenTest, TheTraceOpensUnderItsDefaultName) {
    schema_ = NewSchema();
    ASSERT_TRUE(schema_->OpenTrace(""));
    schema_->Trace().Write("line\n");
    EXPECT_EQ(TheHost().FileText("sql.log"), "line\n");
}

// Whatever closing the catalog has to tell finds the trace open.
TEST_F(SchemaOpenTest, TheTraceIsClosedBehindTheCatalog) {
    CreateDatabase();
    ASSERT_TRUE(schema_->OpenTrace("trace.log"));
    TheHost().ClearLog();
    schema_.reset();
    Texts closed;
    for (const HostCall& call : TheHost().Calls()) {
        if (call.name == "ovFile_Close") {
            closed.push_back(call.path);
        }
    }
    ASSERT_EQ(closed.size(), 4U);
    EXPECT_EQ(closed.back(), "trace.log");
    std::sort(closed.begin(), closed.end());
    EXPECT_EQ(closed, (Texts{"db/main.dbf", "db/main.ovx", "db/maini.ovx", "trace.log"}));
}

TEST_F(SchemaOpenTest, ATraceThatDoesNotOpenIsReported) {
    schema_ = NewSchema();
    TheHost().FailCall("ovFile_Open", 1);
    EXPECT_FALSE(schema_->OpenTrace("trace.log"));
    EXPECT_EQ(Error(), "Unable to open logfile");
}

}  // namespace
}  // namespace ovrasql
