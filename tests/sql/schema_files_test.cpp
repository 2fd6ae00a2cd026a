// The catalog's files as a host sees them: what is created, in which order, and what failures say.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

// The text of a character field of the n-th record (from 1) of the catalog main.dbf, at an offset
// in the record; the first byte of a record is its deletion mark.
constexpr size_t kHeaderLength = 32 + 6 * 32 + 1;
constexpr size_t kRecordLength = 1 + 1 + 64 + 64 + 254 + 254 + 19;

std::string CatalogText(size_t record, size_t offset, size_t length) {
    const std::string file = TheHost().FileText("main.dbf");
    std::string text = file.substr(kHeaderLength + (record - 1) * kRecordLength + offset, length);
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

// mark TYPE|TABLE|INDEX|FILE|COLUMNS|INDEXFLAGS, for example "- T|t||t.dbf||".
std::string CatalogRow(size_t record) {
    std::string flags = CatalogText(record, 638, 19);
    flags.erase(0, flags.find_first_not_of(' '));
    return std::string(CatalogText(record, 0, 1) == "*" ? "* " : "- ") + CatalogText(record, 1, 1) +
           "|" + CatalogText(record, 2, 64) + "|" + CatalogText(record, 66, 64) + "|" +
           CatalogText(record, 130, 254) + "|" + CatalogText(record, 384, 254) + "|" + flags;
}

size_t CatalogRowCount() {
    return (TheHost().FileBytes("main.dbf").size() - kHeaderLength) / kRecordLength;
}

class SchemaFilesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
    }

    void Run(const std::string& sql) { ASSERT_EQ(database_->Run(sql), "") << sql; }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(SchemaFilesTest, RowsKeepTheSpellingOfTheStatement) {
    Run("create table Orders (Id integer, Name char(5))");
    Run("create index ById on ORDERS (id)");
    Run("create unique index ByName on orders (NAME, Id)");
    ASSERT_EQ(CatalogRowCount(), 3U);
    EXPECT_EQ(CatalogRow(1), "- T|Orders||orders.dbf||");
    EXPECT_EQ(CatalogRow(2), "- I|ORDERS|ById|byid.ovx|id|0");
    EXPECT_EQ(CatalogRow(3), "- I|orders|ByName|byname.ovx|NAME:Id|5");
}

TEST_F(SchemaFilesTest, IndexFlagsTellUniqueDescendingAndText) {
    Run("create table t (a integer, b boolean, s char(5), m memo)");
    Run("create index i0 on t (a, b)");
    Run("create unique index i1 on t (a)");
    Run("create index i2 on t (a desc, b desc)");
    Run("create index i4 on t (a, s, m)");
    Run("create unique index i7 on t (m desc)");
    const std::string expected[] = {"0", "1", "2", "4", "7"};
    for (size_t i = 0; i < 5; ++i) {
        const std::string row = CatalogRow(i + 2);
        EXPECT_EQ(row.substr(row.rfind('|') + 1), expected[i]);
        // The same value stands in the index file.
        const std::string file = "i" + expected[i] + ".ovx";
        EXPECT_EQ(TheHost().FileBytes(file)[23], std::stoi(expected[i])) << file;
    }
}

TEST_F(SchemaFilesTest, TheCatalogsOwnIndexesHaveOneAndNoFlag) {
    EXPECT_EQ(TheHost().FileBytes("main.ovx")[23], 1);
    EXPECT_EQ(TheHost().FileBytes("maini.ovx")[23], 0);
}

TEST_F(SchemaFilesTest, ADroppedRowIsTakenBackWithItsSpelling) {
    Run("create table Orders (a integer)");
    Run("create index Ix on Orders (a)");
    Run("drop table ORDERS");
    EXPECT_EQ(CatalogRow(1).substr(0, 2), "* ");
    EXPECT_EQ(CatalogRow(2).substr(0, 2), "* ");
    Run("create table oRDERs (a integer)");
    EXPECT_EQ(CatalogRowCount(), 2U);
    EXPECT_EQ(CatalogRow(1), "- T|Orders||orders.dbf||");
    Run("create table other (b integer, c integer)");
    Run("create unique index iX on other (c, b)");
    EXPECT_EQ(CatalogRowCount(), 3U);
    EXPECT_EQ(CatalogRow(2), "- I|Orders|Ix|ix.ovx|c:b|1") << "the old table's name stays";
}

TEST_F(SchemaFilesTest, ARowTakenBackGetsItsNewPlace) {
    Run("create table a_b (n integer)");
    Run("drop table a_b");
    ASSERT_TRUE(database_->Option("subdir_char", "_"));
    Run("create table a_b (n integer)");
    EXPECT_EQ(CatalogRow(1), "- T|a_b||a/b.dbf||");
}

TEST_F(SchemaFilesTest, PackLeavesTheCatalogAlone) {
    Run("create table t (a integer)");
    Run("drop table t");
    Run("create table u (a integer)");
    const Bytes before = TheHost().FileBytes("main.dbf");
    ASSERT_TRUE(database_->Pack());
    EXPECT_EQ(TheHost().FileBytes("main.dbf"), before);
}

TEST_F(SchemaFilesTest, ADatabaseInAFolderKeepsItsFilesThere) {
    TheHost().AddDirectory("data/shop");
    TestDatabase other;
    ASSERT_TRUE(other.Create("data/shop/my.db.dbf"));
    EXPECT_EQ(other.Run("create table T (a integer)"), "");
    EXPECT_TRUE(TheHost().HasFile("data/shop/my.db.ovx"));
    EXPECT_TRUE(TheHost().HasFile("data/shop/my.dbi.ovx"));
    EXPECT_TRUE(TheHost().HasFile("data/shop/t.dbf"));
}

TEST_F(SchemaFilesTest, AnExtraColumnDoesNotMatter) {
    // The catalog with a seventh field of one byte behind the six: one more field descriptor in the
    // header, and one more byte in the record.
    Bytes file = TheHost().FileBytes("main.dbf");
    ASSERT_EQ(file.size(), kHeaderLength + 1) << "no records yet, and the mark of the end";
    Bytes extra(file.begin() + 32, file.begin() + 64);  // TYPE, one character
    extra[0] = 'X';
    file.insert(file.begin() + static_cast<int>(kHeaderLength) - 1, extra.begin(), extra.end());
    const size_t header = kHeaderLength + 32;
    file[8] = static_cast<uint8_t>(header & 0xFF);
    file[9] = static_cast<uint8_t>(header >> 8);
    file[10] = static_cast<uint8_t>((kRecordLength + 1) & 0xFF);
    file[11] = static_cast<uint8_t>((kRecordLength + 1) >> 8);
    database_->Free();
    TheHost().SetFile("main.dbf", file);
    TestDatabase other;
    ASSERT_TRUE(other.Open()) << other.Error();
    EXPECT_EQ(other.Run("create table t (a integer)"), "");
    EXPECT_EQ(other.Run("insert into t values (1)"), "");
    EXPECT_EQ(other.RowsText("select a from t"), "1\n");
}

TEST_F(SchemaFilesTest, UnknownColumnsOfAnIndexRowAreSkipped) {
    Run("create table t (a integer, b integer)");
    Run("create index ix on t (a, b)");
    database_->Free();
    std::string file = TheHost().FileText("main.dbf");
    file.replace(kHeaderLength + kRecordLength + 384, 3, "a:z");
    TheHost().SetFile("main.dbf", file);
    TestDatabase other;
    ASSERT_TRUE(other.Open());
    EXPECT_EQ(other.Run("insert into t values (1, 2)"), "");
    EXPECT_EQ(other.RowsText("select b from t where a = 1"), "2\n");
}

TEST_F(SchemaFilesTest, CreateThatFailsSaysWhichFile) {
    const std::string expected[] = {"Error creating schema database: Error creating 'x.dbf': full",
                                    "Error creating schema index: Error creating 'x.ovx': full",
                                    // Required: the second index reports the first one's text.
                                    "Error creating schema index: "};
    for (int opened = 1; opened <= 3; ++opened) {
        TestDatabase other;
        TheHost().SetErrorText("full");
        TheHost().FailCall("ovFile_Open", opened);
        EXPECT_FALSE(other.Create("x.dbf"));
        EXPECT_EQ(other.Error(), expected[opened - 1]);
        TheHost().ClearFailures();
    }
    EXPECT_TRUE(TheHost().HasFile("x.dbf")) << "what earlier steps made stays";
}

TEST_F(SchemaFilesTest, OpenThatFailsSaysWhichFile) {
    database_->Free();
    const std::string expected[] = {"Error opening schema database: Error opening 'main.dbf': no",
                                    "Error opening schema index: Error opening 'main.ovx': no",
                                    "Error opening schema index: Error opening 'maini.ovx': no"};
    for (int opened = 1; opened <= 3; ++opened) {
        TestDatabase other;
        TheHost().SetErrorText("no");
        TheHost().FailCall("ovFile_Open", opened);
        EXPECT_FALSE(other.Open());
        EXPECT_EQ(other.Error(), expected[opened - 1]);
        TheHost().ClearFailures();
    }
}

TEST_F(SchemaFilesTest, AFailedOpenAnswersWithErrors) {
    TestDatabase other;
    ASSERT_FALSE(other.Open("nowhere.dbf"));
    EXPECT_EQ(other.Run("insert into t values (1)"), "Unknown table 't'");
    EXPECT_EQ(other.RowsText("select a from t"), "error: Unknown table 't'");
    EXPECT_NE(other.Run("create table t (a integer)"), "");
}

TEST_F(SchemaFilesTest, DropTableAlwaysAsksForTheMemoFile) {
    Run("create table t (a integer)");
    Run("create index ia on t (a)");
    TheHost().ClearLog();
    Run("drop table t");
    EXPECT_EQ(TheHost().LogText({"ovFile_Exists", "ovFile_Delete"}),
              "ovFile_Exists ia.ovx\n"
              "ovFile_Delete ia.ovx\n"
              "ovFile_Exists t.dbf\n"
              "ovFile_Delete t.dbf\n"
              "ovFile_Exists t.dbt\n");
}

TEST_F(SchemaFilesTest, AFileThatWillNotGo) {
    Run("create table t (a integer)");
    Run("create index ia on t (a)");
    TheHost().SetErrorText("busy");
    TheHost().FailCall("ovFile_Delete", 1);
    EXPECT_EQ(database_->Run("drop table t"), "DROP TABLE failed to delete file 'ia.ovx': busy");
    TheHost().ClearFailures();
    EXPECT_EQ(database_->Run("drop table t"), "Table 't' does not exist") << "the rows went first";
    EXPECT_TRUE(TheHost().HasFile("t.dbf")) << "later files stay";
}

TEST_F(SchemaFilesTest, AnIndexFileThatWillNotGoDoesNotStopTheDrop) {
    Run("create table t (a integer)");
    Run("create index ia on t (a)");
    TheHost().FailCall("ovFile_Delete", 1);
    Run("drop index ia");
    EXPECT_TRUE(TheHost().FailureHappened());
    EXPECT_TRUE(TheHost().HasFile("ia.ovx"));
    EXPECT_EQ(database_->Run("drop index ia"), "Index name 'ia' does not exist");
}

TEST_F(SchemaFilesTest, AFolderThatCanNotBeMade) {
    ASSERT_TRUE(database_->Option("subdir_char", "_"));
    TheHost().SetErrorText("read only");
    TheHost().FailCall("ovFile_MakeDirectory", 2);
    const std::string expected = "Unable to create directory or subdirectory for a/b";
    const std::string found = database_->Run("create table a_b_c (n integer)");
    EXPECT_EQ(found.substr(0, expected.size()), expected);
    EXPECT_EQ(found.substr(found.size() - 11), ": read only");
    EXPECT_TRUE(TheHost().HasDirectory("a")) << "the earlier folder stays";
}

TEST_F(SchemaFilesTest, DroppingRemovesEmptyFolders) {
    ASSERT_TRUE(database_->Option("subdir_char", "_"));
    Run("create table a_b_c (n integer)");
    Run("create table a_d (n integer)");
    Run("drop table a_b_c");
    EXPECT_FALSE(TheHost().HasDirectory("a/b"));
    EXPECT_TRUE(TheHost().HasDirectory("a")) << "a folder in use stays";
    Run("drop table a_d");
    EXPECT_FALSE(TheHost().HasDirectory("a"));
}

TEST_F(SchemaFilesTest, AnUnopenableIndexStopsTheStatement) {
    Run("create table t (a integer)");
    Run("create index ia on t (a)");
    TheHost().RemoveFile("ia.ovx");
    EXPECT_EQ(database_->Run("insert into t values (1)"),
              "Error opening 'ia.ovx': No such file or directory");
    EXPECT_EQ(database_->Run("alter table t drop column a"),
              "Unable to open indexes for table 't'");
    Run("drop index ia");
    Run("insert into t values (1)");
}

// Whoever writes the catalog says which files are opened.
TEST_F(SchemaFilesTest, TheFileOfATableIsTakenAsTheCatalogNamesIt) {
    Run("create table t (a integer)");
    Run("insert into t values (7)");
    database_->Free();
    const Bytes data = TheHost().FileBytes("t.dbf");
    TheHost().RemoveFile("t.dbf");
    TheHost().SetFile("/elsewhere/some.file", data);
    Bytes catalog = TheHost().FileBytes("main.dbf");
    const std::string path = "/elsewhere/some.file";
    std::copy(path.begin(), path.end(), catalog.begin() + kHeaderLength + 130);
    TheHost().SetFile("main.dbf", catalog);
    TestDatabase other;
    ASSERT_TRUE(other.Open());
    EXPECT_EQ(other.RowsText("select a from t"), "7\n");
}

TEST_F(SchemaFilesTest, AMissingDataFile) {
    Run("create table t (a integer)");
    database_->Free();
    TheHost().RemoveFile("t.dbf");
    TestDatabase other;
    ASSERT_TRUE(other.Open());
    EXPECT_EQ(other.RowsText("select a from t"),
              "error: Error opening 't.dbf': No such file or directory");
    EXPECT_EQ(other.Run("insert into t values (1)"), "Unknown table 't'") << "whatever the reason";
    EXPECT_EQ(other.Run("alter table t add b integer"), "Table 't' does not exist");
    EXPECT_FALSE(other.Pack());
    EXPECT_EQ(other.Error(),
              "Unable to open data file: Error opening 't.dbf': No such file or directory");
}

}  // namespace
}  // namespace ovrasql
