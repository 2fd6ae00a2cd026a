// Create, open, free, pack, options and the error text, through the function table.

#include <gtest/gtest.h>

#include <string>

#include "library/host_services.h"
#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class DatabaseEntriesTest : public ::testing::Test {
  protected:
    void SetUp() override { TheHost().Reset(); }
    void TearDown() override {
        EXPECT_EQ(TheHost().Misuses(), std::vector<std::string>());
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
    }
    static const ovra_library_table& Table() { return Library(); }
};

TEST_F(DatabaseEntriesTest, AHandleWithoutADatabaseHasTheUnknownError) {
    void* handle = TheHost().MakeDatabase();
    EXPECT_STREQ(Table().database_error(handle), "Unknown OvraSQL error");
}

TEST_F(DatabaseEntriesTest, AHandleWithoutADatabaseFailsAtEveryEntry) {
    void* handle = TheHost().MakeDatabase();
    EXPECT_EQ(Table().database_open_view(handle, "v", 1, "select 1", 8, nullptr, 0), 0);
    EXPECT_EQ(Table().database_query(handle, "select 1", 8, nullptr, 0), 0);
    EXPECT_EQ(Table().database_pack(handle), 0);
    EXPECT_EQ(Table().database_set_option(handle, "log", 3, "", 0), 0);
    Table().database_free(handle);
    EXPECT_STREQ(Table().database_error(handle), "Unknown OvraSQL error");
    EXPECT_EQ(TheHost().Database(handle)->views.size(), 0U);
}

TEST_F(DatabaseEntriesTest, ANullHandleFailsAtEveryEntry) {
    EXPECT_EQ(Table().database_create(nullptr, "main.dbf", 8), 0);
    EXPECT_EQ(Table().database_open(nullptr, "main.dbf", 8), 0);
    EXPECT_EQ(Table().database_query(nullptr, "select 1", 8, nullptr, 0), 0);
    EXPECT_EQ(Table().view_skip(nullptr, 1), 0);
    EXPECT_STREQ(Table().database_error(nullptr), "Unknown OvraSQL error");
    EXPECT_STREQ(Table().view_error(nullptr), "Unknown OvraSQL error");
    Table().database_free(nullptr);
    EXPECT_EQ(TheHost().FilePaths(), std::vector<std::string>());
}

// The host sees these calls: its program is asked for, then the word is set, then files are
// touched.
TEST_F(DatabaseEntriesTest, TheWordIsSetBehindTheProgramAndBeforeTheFirstFile) {
    static std::string order;
    order = "";
    hostServices.ovDatabase_Program = [](void* database) {
        order += "program ";
        return ::ovDatabase_Program(database);
    };
    hostServices.ovDatabase_SetData = [](void* database, void* data) {
        order += "word ";
        ::ovDatabase_SetData(database, data);
    };
    hostServices.ovFile_Open = [](void* program, int32_t location, const char* path, int32_t length,
                                  int32_t flags) {
        order += "file ";
        return ::ovFile_Open(program, location, path, length, flags);
    };
    {
        TestDatabase database;
        EXPECT_FALSE(database.Open("missing.dbf"));
    }
    BindHostServices(nullptr);
    EXPECT_EQ(order.find("program word "), 0U) << order;
    EXPECT_LT(order.find("word "), order.find("file ")) << order;
}

TEST_F(DatabaseEntriesTest, CreateMakesTheSchemaTableAndItsTwoIndexes) {
    TestDatabase database;
    ASSERT_TRUE(database.Create("main.dbf")) << database.Error();
    EXPECT_EQ(TheHost().FilePaths(),
              (std::vector<std::string>{"main.dbf", "main.ovx", "maini.ovx"}));
    EXPECT_EQ(database.Error(), "");
}

TEST_F(DatabaseEntriesTest, OpenFindsWhatCreateMade) {
    TestDatabase first;
    ASSERT_TRUE(first.Create());
    ASSERT_EQ(first.Run("create table t (a integer)"), "");
    first.Free();
    TestDatabase second;
    ASSERT_TRUE(second.Open()) << second.Error();
    EXPECT_EQ(second.Run("insert into t (a) values (5)"), "");
    EXPECT_EQ(second.RowsText("select a from t"), "5\n");
}

TEST_F(DatabaseEntriesTest, AFailedOpenHasAMessageAndIsFreedCleanly) {
    TestDatabase database;
    EXPECT_FALSE(database.Open("missing.dbf"));
    const std::string message = database.Error();
    EXPECT_NE(message.find("No such file or directory"), std::string::npos) << message;
    EXPECT_EQ(MemoryHost::Database(database.Handle())->data != nullptr, true)
        << "the context stays, for its error text";
}

// The schema table's file is refused: the context is there before a file is touched.
TEST_F(DatabaseEntriesTest, AFailedCreateHasAMessageAndIsFreedCleanly) {
    TestDatabase database;
    TheHost().SetErrorText("Disk full");
    TheHost().FailCall(1, FailureKind::kOutright, FailureSpan::kForEver);
    EXPECT_FALSE(database.Create());
    EXPECT_NE(database.Error().find("Disk full"), std::string::npos) << database.Error();
}

TEST_F(DatabaseEntriesTest, CallsAfterAFailedOpenFailWithoutHarm) {
    TestDatabase database;
    ASSERT_FALSE(database.Open("missing.dbf"));
    EXPECT_NE(database.Run("select a from t"), "");
    EXPECT_EQ(database.RowsText("select a from t"), "error: Unknown table 't'");
    EXPECT_NE(database.Run("create table t (a integer)"), "");
    EXPECT_NE(database.Run("drop table t"), "");
    EXPECT_NE(database.Run("insert into t (a) values (1)"), "");
    EXPECT_FALSE(database.Pack());
    EXPECT_TRUE(database.Option("casesensitive"));
}

TEST_F(DatabaseEntriesTest, ASecondOpenOnAHandleFreesTheFirstDatabase) {
    TestDatabase database;
    ASSERT_TRUE(database.Create("one.dbf"));
    const int32_t openFiles = TheHost().OpenFileCount();
    ASSERT_EQ(database.Run("create table t (a integer)"), "");
    ASSERT_TRUE(database.Create("two.dbf"));
    EXPECT_EQ(TheHost().OpenFileCount(), openFiles);
    EXPECT_EQ(database.RowsText("select a from t"), "error: Unknown table 't'");
    ASSERT_TRUE(database.Open("one.dbf"));
    EXPECT_EQ(database.RowsText("select a from t"), "");
}

// The library leaves the handle's word alone, so a second call comes with the old one.
TEST_F(DatabaseEntriesTest, FreeTwiceIsHarmless) {
    void* handle = TheHost().MakeDatabase();
    ASSERT_EQ(Table().database_create(handle, "main.dbf", 8), 1);
    Table().database_free(handle);
    EXPECT_NE(MemoryHost::Database(handle)->data, nullptr);
    Table().database_free(handle);
    EXPECT_STREQ(Table().database_error(handle), "Unknown OvraSQL error");
    EXPECT_EQ(Table().database_query(handle, "drop table t", 12, nullptr, 0), 0);
}

// The next database gets what the freed one has left.
TEST_F(DatabaseEntriesTest, AFreedHandleLeavesTheDatabasesThatCameLaterAlone) {
    void* freed = TheHost().MakeDatabase();
    ASSERT_EQ(Table().database_create(freed, "one.dbf", 7), 1);
    Table().database_free(freed);
    TestDatabase later;
    ASSERT_TRUE(later.Create("two.dbf"));
    ASSERT_EQ(later.Run("create table t (a integer)"), "");
    ASSERT_EQ(later.Run("insert into t (a) values (5)"), "");
    EXPECT_EQ(Table().database_query(freed, "delete from t", 13, nullptr, 0), 0);
    EXPECT_EQ(Table().database_open_view(freed, "v", 1, "select a from t", 15, nullptr, 0), 0);
    EXPECT_EQ(Table().database_pack(freed), 0);
    EXPECT_EQ(Table().database_set_option(freed, "log", 3, "", 0), 0);
    EXPECT_STREQ(Table().database_error(freed), "Unknown OvraSQL error");
    Table().database_free(freed);
    EXPECT_EQ(later.RowsText("select a from t"), "5\n");
}

TEST_F(DatabaseEntriesTest, AFreedHandleOpensAgainAndLeavesOtherDatabasesAlone) {
    void* first = TheHost().MakeDatabase();
    ASSERT_EQ(Table().database_create(first, "one.dbf", 7), 1);
    Table().database_free(first);
    TestDatabase second;
    ASSERT_TRUE(second.Create("two.dbf"));
    ASSERT_EQ(second.Run("create table t (a integer)"), "");
    ASSERT_EQ(Table().database_open(first, "one.dbf", 7), 1);
    EXPECT_EQ(second.RowsText("select a from t"), "");
    Table().database_free(first);
}

TEST_F(DatabaseEntriesTest, ALengthOfMinusOneMeasuresTheText) {
    void* handle = TheHost().MakeDatabase();
    EXPECT_EQ(Table().database_create(handle, "main.dbf", -1), 1) << Table().database_error(handle);
    EXPECT_EQ(Table().database_query(handle, "create table t (a integer)", -1, nullptr, 0), 1);
    EXPECT_EQ(Table().database_set_option(handle, "log", -1, "trace.txt", -1), 1);
    EXPECT_TRUE(TheHost().HasFile("trace.txt"));
    // Any other negative length is an empty text, and an empty key is no option.
    EXPECT_EQ(Table().database_set_option(handle, "subdir_char", -2, "toolong", -1), 1);
    EXPECT_EQ(Table().database_query(handle, "drop table t", -7, nullptr, 0), 0);
    Table().database_free(handle);
}

TEST_F(DatabaseEntriesTest, TextsAreCountedAndNeedNoNul) {
    void* handle = TheHost().MakeDatabase();
    EXPECT_EQ(Table().database_create(handle, "main.dbf and more", 8), 1);
    EXPECT_TRUE(TheHost().HasFile("main.dbf"));
    EXPECT_EQ(Table().database_query(handle, "create table t (a integer) and more", 26, nullptr, 0),
              1);
    Table().database_free(handle);
}

TEST_F(DatabaseEntriesTest, ASuccessLeavesTheErrorTextInPlace) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    EXPECT_FALSE(database.Query("drop table nothing"));
    const std::string message = database.Error();
    EXPECT_NE(message, "");
    EXPECT_TRUE(database.Query("create table t (a integer)"));
    EXPECT_EQ(database.Error(), message);
}

// The message is no format: a name with a conversion in it comes out as it is.
TEST_F(DatabaseEntriesTest, APercentSignInAMessageIsPrintedAsItIs) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    EXPECT_FALSE(database.Query("drop table '%s%n%d'"));
    EXPECT_NE(database.Error().find("%s%n%d"), std::string::npos) << database.Error();
}

TEST_F(DatabaseEntriesTest, AMessageIsCutAt1023Bytes) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    const std::string name(3000, 'x');
    EXPECT_FALSE(database.Query("drop table " + name));
    EXPECT_EQ(database.Error().size(), 1023U);
}

TEST_F(DatabaseEntriesTest, TheTraceHasTheMessageAsItWasCut) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    ASSERT_TRUE(database.Option("log", "trace.txt"));
    EXPECT_FALSE(database.Query("drop table " + std::string(3000, 'x')));
    const Bytes bytes = TheHost().FileBytes("trace.txt");
    const std::string trace(bytes.begin(), bytes.end());
    const std::string start = "*** Error: ";
    const size_t error = trace.find(start);
    ASSERT_NE(error, std::string::npos);
    EXPECT_EQ(trace.substr(error + start.size()).rfind(database.Error(), 0), 0U);
    EXPECT_EQ(trace.find(database.Error() + "x"), std::string::npos);
}

TEST_F(DatabaseEntriesTest, ErrorsOfTwoDatabasesAreApart) {
    TestDatabase first;
    TestDatabase second;
    ASSERT_TRUE(first.Create("one.dbf"));
    ASSERT_TRUE(second.Create("two.dbf"));
    EXPECT_FALSE(first.Query("drop table a"));
    EXPECT_EQ(second.Error(), "");
}

// --- Options ---

TEST_F(DatabaseEntriesTest, LogOpensTheTraceFileForAppending) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    TheHost().ClearLog();
    EXPECT_TRUE(database.Option("log", "trace.txt"));
    EXPECT_EQ(TheHost().LogText({"ovFile_Open"}), "ovFile_Open trace.txt flags 22\n");
}

TEST_F(DatabaseEntriesTest, LogWithAnEmptyValueIsSqlLog) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    EXPECT_TRUE(database.Option("log", ""));
    EXPECT_TRUE(TheHost().HasFile("sql.log"));
}

TEST_F(DatabaseEntriesTest, ASecondLogClosesTheFirstFile) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    ASSERT_TRUE(database.Option("log", "one.txt"));
    TheHost().ClearLog();
    ASSERT_TRUE(database.Option("log", "two.txt"));
    EXPECT_EQ(TheHost().LogText(), "ovFile_Close one.txt\novFile_Open two.txt flags 22\n");
}

TEST_F(DatabaseEntriesTest, ALogThatCannotBeOpenedLeavesNoTraceFile) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    ASSERT_TRUE(database.Option("log", "one.txt"));
    EXPECT_FALSE(database.Option("log", "no folder/two.txt"));
    EXPECT_EQ(database.Error(), "Unable to open logfile");
    const Bytes before = TheHost().FileBytes("one.txt");
    EXPECT_FALSE(database.Query("drop table nothing"));
    EXPECT_EQ(TheHost().FileBytes("one.txt"), before);
}

TEST_F(DatabaseEntriesTest, SubdirCharTakesOneByte) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    EXPECT_TRUE(database.Option("subdir_char", "_"));
    EXPECT_EQ(database.Run("create table a_b (c integer)"), "");
    EXPECT_TRUE(TheHost().HasFile("a/b.dbf"));
}

TEST_F(DatabaseEntriesTest, OtherOptionsAreTakenInAnyCase) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    EXPECT_TRUE(database.Option("Subdir_Char", "_"));
    EXPECT_EQ(database.Run("create table a_b (c integer)"), "");
    EXPECT_TRUE(TheHost().HasFile("a/b.dbf"));
    EXPECT_TRUE(database.Option("LOG", "trace.txt"));
    EXPECT_TRUE(TheHost().HasFile("trace.txt"));
    EXPECT_TRUE(database.Option("STATEMENT_cache_SIZE", "0"));
    EXPECT_EQ(database.Run("delete from a_b"), "");
    EXPECT_EQ(database.Run("delete from a_b"), "");
    const Bytes trace = TheHost().FileBytes("trace.txt");
    EXPECT_EQ(std::string(trace.begin(), trace.end()).find("*** Using Cached"), std::string::npos);
}

TEST_F(DatabaseEntriesTest, SubdirCharOfAnotherLengthIsRefusedAndChangesNothing) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    ASSERT_TRUE(database.Option("subdir_char", "_"));
    EXPECT_FALSE(database.Option("subdir_char", "--"));
    EXPECT_EQ(database.Error(), "subdir_char parameter must be single character");
    EXPECT_FALSE(database.Option("subdir_char", ""));
    EXPECT_EQ(database.Run("create table a_b (c integer)"), "");
    EXPECT_TRUE(TheHost().HasFile("a/b.dbf"));
}

TEST_F(DatabaseEntriesTest, UnknownKeysAreIgnored) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    EXPECT_TRUE(database.Option("", "x"));
    EXPECT_TRUE(database.Option("logs", "x"));
    EXPECT_TRUE(database.Option("casesensitivf", "x"));
    EXPECT_EQ(TheHost().FilePaths().size(), 3U);
}

TEST_F(DatabaseEntriesTest, CaseOptionsAreTakenInAnyCase) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    ASSERT_EQ(database.Run("create table t (a char(5))"), "");
    ASSERT_EQ(database.Run("insert into t (a) values ('Abc')"), "");
    EXPECT_EQ(database.RowsText("select a from t where a = 'aBC'"), "");
    EXPECT_TRUE(database.Option("CaseInSensitive"));
    EXPECT_EQ(database.RowsText("select a from t where a = 'aBC'"), "Abc\n");
    EXPECT_TRUE(database.Option("CASESENSITIVE"));
    EXPECT_EQ(database.RowsText("select a from t where a = 'aBC'"), "");
}

}  // namespace
}  // namespace ovrasql
