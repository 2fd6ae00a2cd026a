// The new files of a table get their places one after the other. Nobody may use some of them beside
// old ones, and what a process leaves undone that dies must be seen and made up for.

#include "host/table_rebuild.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/host/two_programs.h"
#include "tests/support/few_descriptors.h"

namespace ovrahost {
namespace {

using TableRebuildTest = TwoProgramsTest;

// A table has several files. The first new one must not be used with the second old one.
TEST_F(TableRebuildTest, NewFileIsClaimedUntilAllHaveTheirPlacesAndTheCallHasEnded) {
    const std::string memo = folder_.Write("t.dbt", "old memo");
    ASSERT_TRUE(BeginRebuild(&one_));
    const std::string data = temporary_;
    ASSERT_TRUE(BeginRebuild(&one_, memo));
    Rename(&one_, data, path_);
    EXPECT_FALSE(CanOpen(&other_)) << "the new data file has its place, the memo file not yet";
    Rename(&one_, temporary_, memo);
    EXPECT_FALSE(CanOpen(&other_)) << "there can be an old file to delete";
    EndCall(&one_);
    EXPECT_TRUE(CanOpen(&other_)) << error_;
}

TEST_F(TableRebuildTest, RebuildThatFailsLetsTheOthersInWhenItsCallEnds) {
    ASSERT_TRUE(BeginRebuild(&one_));
    EXPECT_FALSE(CanOpen(&other_));
    EndCall(&one_);
    EXPECT_TRUE(CanOpen(&other_));
}

TEST_F(TableRebuildTest, RebuildThatEndsWellLeavesNoMark) {
    ASSERT_TRUE(BeginRebuild(&one_));
    FinishRebuild(&one_);
    auto file = Open(&other_);
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(file->IsMarked());
}

TEST_F(TableRebuildTest, NextOneToOpenTheDataFileFinishesWhatADeadProcessBegan) {
    folder_.Write("u.dbt.of-0.1.tmp", "of another table");
    DieBetweenTheRenames(folder_.Write("t.dbt", "old memo"));
    EXPECT_EQ(folder_.Read("t.dbt"), "old memo");
    auto file = Open(&one_);
    ASSERT_NE(file, nullptr) << error_;
    EXPECT_EQ(Content(file.get()), "new");
    EXPECT_EQ(folder_.Read("t.dbt"), "new");
    EXPECT_FALSE(FileExists(temporary_));
    EXPECT_FALSE(file->IsMarked());
    EXPECT_TRUE(CanOpen(&other_)) << "the claim is a shared one again";
    EXPECT_EQ(folder_.Read("u.dbt.of-0.1.tmp"), "of another table");
}

// Somebody has kept the old and the new memo texts under names of his own.
TEST_F(TableRebuildTest, OnlyTemporaryFilesTakePlaces) {
    DieBetweenTheRenames(folder_.Write("t.dbt", "old memo"));
    const std::string copy = temporary_ + ".copy";
    std::filesystem::copy_file(temporary_, copy);
    EXPECT_TRUE(CanOpen(&one_)) << error_;
    EXPECT_EQ(folder_.Read("t.dbt"), "new");
    EXPECT_TRUE(FileExists(copy));
}

// It would be read with the texts of other rows, and lose what is written to the old files when
// they are replaced after all.
TEST_F(TableRebuildTest, TableIsNotUsedWhileItsFilesCannotGetTheirPlaces) {
    const std::string memo = folder_.Write("t.dbt", "old memo");
    DieBetweenTheRenames(memo);
    ASSERT_TRUE(std::filesystem::remove(memo));
    ASSERT_TRUE(std::filesystem::create_directory(memo));
    EXPECT_FALSE(CanOpen(&one_));
    EXPECT_EQ(error_,
              "The rebuild of the table was interrupted and can't be finished: "
              "Is a directory");
    ASSERT_TRUE(std::filesystem::remove(memo));
    auto file = Open(&one_);
    ASSERT_NE(file, nullptr) << error_;
    EXPECT_EQ(folder_.Read("t.dbt"), "new");
    EXPECT_FALSE(file->IsMarked());
}

TEST_F(TableRebuildTest, FolderThatCannotBeReadDoesNotCountAsAFinishedSwap) {
    DieBetweenTheRenames(folder_.Write("t.dbt", "old memo"));
    {
        const ovratest::FewDescriptors enoughForTheFile(1);
        EXPECT_FALSE(CanOpen(&one_));
        EXPECT_EQ(error_,
                  "The rebuild of the table was interrupted and can't be finished: "
                  "Too many open files");
    }
    auto file = Open(&one_);
    ASSERT_NE(file, nullptr) << error_;
    EXPECT_EQ(folder_.Read("t.dbt"), "new");
    EXPECT_FALSE(file->IsMarked());
}

// A copy made by hard links. Whoever has opened the file, and claims it when it is replaced, sees a
// file of one name, like any other.
TEST_F(TableRebuildTest, ReplacedFileOfTwoNamesIsNotTakenForTheNewOne) {
    const std::string copy = folder_.File("copy.dbf");
    std::filesystem::create_hard_link(path_, copy);
    int reason = 0;
    auto late = PosixFile::Open(path_, kExisting, &reason);
    ASSERT_TRUE(BeginRebuild(&one_)) << error_;
    FinishRebuild(&one_);
    ASSERT_TRUE(late->Refresh());
    EXPECT_FALSE(late->HasOtherNames());
    EXPECT_TRUE(late->IsMarked()) << "so that the path is looked up";
    auto file = Open(&other_);
    ASSERT_NE(file, nullptr) << error_;
    EXPECT_EQ(Content(file.get()), "new");
    EXPECT_FALSE(file->IsMarked());
    file = other_.Claims().Open(copy, kExisting, 0, &error_);
    ASSERT_NE(file, nullptr) << "the copy is a table of its own: " << error_;
    EXPECT_EQ(Content(file.get()), "old");
    EXPECT_FALSE(file->IsMarked());
}

TEST_F(TableRebuildTest, RebuildThatFailsLeavesNoMarkOnAFileOfTwoNames) {
    std::filesystem::create_hard_link(path_, folder_.File("copy.dbf"));
    ASSERT_TRUE(BeginRebuild(&one_)) << error_;
    EndCall(&one_);
    int reason = 0;
    EXPECT_FALSE(PosixFile::Open(path_, kExisting, &reason)->IsMarked());
}

// The claims need no descriptors of their own, which could be lacking.
TEST_F(TableRebuildTest, RebuildIsGuardedWhenItGetsTheLastDescriptors) {
    {
        const ovratest::FewDescriptors enoughForBothFiles(2);
        ASSERT_TRUE(BeginRebuild(&one_)) << error_;
    }
    EXPECT_FALSE(CanOpen(&other_));
    FinishRebuild(&one_);
    auto file = Open(&other_);
    ASSERT_NE(file, nullptr) << error_;
    EXPECT_FALSE(file->IsMarked());
}

// A program that looks at every file of the folder, for one.
TEST_F(TableRebuildTest, NewFileThatCannotBeClaimedIsNoPartOfTheRebuild) {
    std::string suffix;
    auto newFile = MakeTemporaryFile(path_, kTemporary, &suffix, &error_);
    auto looker = PosixFile::OpenClaimed(path_ + suffix, kExisting, ClaimMode::kShared, 0, &error_);
    EXPECT_FALSE(one_.Rebuild().Add(newFile.get(), nullptr, &error_));
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    EXPECT_EQ(one_.Rebuild().Suffix(), "") << "the next new file is the first";
}

// The library may keep a handle longer than the rebuild lasts.
TEST_F(TableRebuildTest, ClaimsEndBeforeTheNextTableWhateverIsOpenStill) {
    auto old = Open(&one_);
    ASSERT_TRUE(BeginRebuild(&one_)) << error_;
    EXPECT_EQ(DeleteFile(temporary_, &error_), 0);
    one_.Rebuild().Settle(temporary_);
    one_.Rebuild().BeginFile();
    EXPECT_TRUE(CanOpen(&other_)) << error_;
    EXPECT_FALSE(old->IsClaimed());
}

TEST_F(TableRebuildTest, RebuiltFileIsAsOpenToOthersAsTheOldOneWas) {
    using std::filesystem::perms;
    std::filesystem::permissions(path_, perms::owner_read | perms::owner_write | perms::group_read);
    ASSERT_TRUE(BeginRebuild(&one_));
    FinishRebuild(&one_);
    EXPECT_EQ(std::filesystem::status(path_).permissions(),
              perms::owner_read | perms::owner_write | perms::group_read);
}

TEST_F(TableRebuildTest, FileWithoutAnOldOneIsAsOpenToOthersAsItsTable) {
    using std::filesystem::perms;
    const perms wanted = perms::owner_read | perms::owner_write | perms::group_read;
    std::filesystem::permissions(path_, wanted);
    ASSERT_TRUE(BeginRebuild(&one_));
    ASSERT_TRUE(BeginRebuild(&one_, folder_.File("t.dbt")));
    EXPECT_EQ(std::filesystem::status(temporary_).permissions(), wanted);
}

// Who opens a file keeps it open, whatever its permissions become.
TEST_F(TableRebuildTest, NobodyElseCanOpenANewFileBeforeItHasThePermissionsOfTheOldOne) {
    using std::filesystem::perms;
    std::string suffix;
    ASSERT_NE(MakeTemporaryFile(path_, kTemporary, &suffix, &error_), nullptr) << error_;
    EXPECT_EQ(std::filesystem::status(path_ + suffix).permissions(),
              perms::owner_read | perms::owner_write);
}

// Or a pack that the administrator runs would shut everybody else out.
TEST_F(TableRebuildTest, RebuiltFileBelongsToTheOwnerOfTheOldOne) {
    if (::chown(path_.c_str(), 1234, 5678) != 0) {
        GTEST_SKIP() << "only the administrator may give a file away";
    }
    ASSERT_TRUE(BeginRebuild(&one_));
    FinishRebuild(&one_);
    struct stat status {};
    ASSERT_EQ(::stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1234u);
    EXPECT_EQ(status.st_gid, 5678u);
}

}  // namespace
}  // namespace ovrahost
