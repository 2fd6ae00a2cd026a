// Where the files of a database go, with and without sub-directories, and how they are removed.

#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class FilePlacementTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
    }

    [[nodiscard]] bool Place(const char* name) {
        path_.Clear();
        relative_.Clear();
        return schema_->PlaceFile(name, &path_, &relative_);
    }

    String path_;
    String relative_;
};

TEST_F(FilePlacementTest, WithoutTheOptionNamesStandAsTheyAre) {
    ASSERT_TRUE(Place("my_data_set.dbf"));
    EXPECT_EQ(Text(path_), "db/my_data_set.dbf");
    EXPECT_EQ(Text(relative_), "my_data_set.dbf");
}

TEST_F(FilePlacementTest, TheCharacterMakesSubDirectories) {
    schema_->SetSubdirChar('_');
    ASSERT_TRUE(Place("my_data_set.dbf"));
    EXPECT_EQ(Text(path_), "db/my/data/set.dbf");
    EXPECT_EQ(Text(relative_), "my/data/set.dbf");
    EXPECT_TRUE(TheHost().HasDirectory("db/my/data"));
    TheHost().ClearLog();
    // Directories that exist are not made again.
    ASSERT_TRUE(Place("my_data_other.dbf"));
    EXPECT_EQ(TheHost().CallCount("ovFile_MakeDirectory"), 0);
}

TEST_F(FilePlacementTest, TheDatabasesOwnFolderIsNotSearchedForTheCharacter) {
    TheHost().AddDirectory("d_b");
    schema_ = NewSchema();
    ASSERT_TRUE(schema_->Create("d_b/main.dbf"));
    schema_->SetSubdirChar('_');
    ASSERT_TRUE(Place("a_b.dbf"));
    EXPECT_EQ(Text(path_), "d_b/a/b.dbf");
    EXPECT_EQ(Text(relative_), "a/b.dbf");
}

TEST_F(FilePlacementTest, AFailedDirectoryIsReportedWithThePathSoFar) {
    schema_->SetSubdirChar('_');
    TheHost().SetErrorText("read only");
    TheHost().FailCall("ovFile_MakeDirectory", 2);
    EXPECT_FALSE(Place("my_data_set.dbf"));
    EXPECT_EQ(Error(),
              "Unable to create directory or subdirectory for db/my/data/set.dbf: read only");
    // The one made before it stays.
    EXPECT_TRUE(TheHost().HasDirectory("db/my"));
}

TEST_F(FilePlacementTest, AnIndexWhoseDirectoryFailsIsNotMade) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}})) << Error();
    schema_->SetSubdirChar('_');
    TheHost().SetErrorText("No room");
    TheHost().FailCall("ovFile_MakeDirectory", 1);
    EXPECT_FALSE(CreateIndex("t", "by_a", false, {"a"}));
    EXPECT_EQ(Error(), "Unable to create directory or subdirectory for db/by/a.ovx: No room");
    EXPECT_FALSE(TheHost().HasFile("db/by/a.ovx"));
    TheHost().ClearFailures();
    EXPECT_TRUE(CreateIndex("t", "by_a", false, {"a"})) << Error();
    EXPECT_TRUE(TheHost().HasFile("db/by/a.ovx"));
}

TEST_F(FilePlacementTest, ATableInASubDirectoryIsFoundWithoutTheOption) {
    schema_->SetSubdirChar('_');
    ASSERT_TRUE(CreateTable("a_b", {{"a", 0, 5}}));
    EXPECT_TRUE(TheHost().HasFile("db/a/b.dbf"));
    Insert("a_b", {"x"});
    Reopen();
    EXPECT_EQ(Records("a_b"), Texts{"x"});
}

// Making a file empties what is there, so a path of the catalog is refused; one that only begins
// like it, or that it begins like, is another file.
TEST_F(FilePlacementTest, AFileIsTheCatalogsByItsWholePathAlone) {
    CreateDatabase("db/t.ovx.dbf");
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}})) << Error();
    ASSERT_TRUE(CreateIndex("t", "t", false, {"a"})) << Error();
    EXPECT_TRUE(TheHost().HasFile("db/t.ovx"));
    Insert("t", {"x"});
    Reopen("db/t.ovx.dbf");
    EXPECT_EQ(Records("t"), (std::vector<std::string>{"x"}));

    CreateDatabase("db/u");
    ASSERT_TRUE(CreateTable("u", {{"a", 0, 5}, {"m", 4, 10}})) << Error();
    EXPECT_TRUE(TheHost().HasFile("db/u.dbt"));
    Reopen("db/u");
    EXPECT_EQ(Records("u"), (std::vector<std::string>{}));
    EXPECT_FALSE(CreateIndex("u", "u", false, {"a"}));
    EXPECT_EQ(Error(), "Index 'u' already exists");

    // A host may have a file whose name ends with a separator.
    TheHost().AddDirectory("db/v");
    CreateDatabase("db/v/");
    ASSERT_TRUE(CreateTable("w", {{"a", 0, 5}})) << Error();
    EXPECT_TRUE(TheHost().HasFile("db/v/w.dbf"));
}

TEST_F(FilePlacementTest, FileNamesAreInLowerCase) {
    ASSERT_TRUE(CreateTable("Orders", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("Orders", "ByA", false, {"a"}));
    EXPECT_TRUE(TheHost().HasFile("db/orders.dbf"));
    EXPECT_TRUE(TheHost().HasFile("db/bya.ovx"));
}

TEST_F(FilePlacementTest, DeletingAFileRemovesEmptyDirectoriesAboveIt) {
    schema_->SetSubdirChar('_');
    ASSERT_TRUE(CreateTable("a_b_c", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateTable("a_d", {{"a", 0, 5}}));
    ASSERT_TRUE(schema_->DropTable("a_b_c"));
    EXPECT_FALSE(TheHost().HasDirectory("db/a/b"));
    // One in use ends the walk.
    EXPECT_TRUE(TheHost().HasDirectory("db/a"));
    EXPECT_TRUE(TheHost().HasFile("db/a/d.dbf"));
    EXPECT_TRUE(TheHost().HasFile("db/main.dbf"));
}

TEST_F(FilePlacementTest, TheWalkUpwardEndsAtTheFirstDirectoryThatStays) {
    TheHost().AddDirectory("top/in");
    TheHost().SetFile("top/in/file", "");
    TheHost().ClearLog();
    TheHost().FailCall("ovFile_RemoveDirectory", 1);
    EXPECT_TRUE(schema_->DeleteFile("top/in/file"));
    EXPECT_EQ(TheHost().CallCount("ovFile_RemoveDirectory"), 1);
    EXPECT_FALSE(TheHost().HasFile("top/in/file"));
}

TEST_F(FilePlacementTest, TheWalkUpwardNeverAsksForAnEmptyPath) {
    TheHost().ClearLog();
    EXPECT_TRUE(schema_->DeleteFile("/gone"));
    EXPECT_EQ(TheHost().CallCount("ovFile_RemoveDirectory"), 0);
    EXPECT_TRUE(schema_->DeleteFile("gone"));
    EXPECT_EQ(TheHost().CallCount("ovFile_RemoveDirectory"), 0);
    EXPECT_TRUE(schema_->DeleteFile(""));
}

TEST_F(FilePlacementTest, AFileThatWontGoIsReported) {
    TheHost().SetFile("db/file", "");
    TheHost().SetErrorText("in use");
    TheHost().FailCall("ovFile_Delete", 1);
    EXPECT_FALSE(schema_->DeleteFile("db/file"));
    EXPECT_EQ(Error(), "DROP TABLE failed to delete file 'db/file': in use");
    EXPECT_TRUE(TheHost().HasFile("db/file"));
}

}  // namespace
}  // namespace ovrasql
