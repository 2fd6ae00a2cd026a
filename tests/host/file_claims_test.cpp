// A file that is replaced while a process writes to it swallows what is written. Claims keep the
// two apart, and a lock for writing is the last line of defence.

#include "host/file_claims.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "host/file_system.h"
#include "tests/support/temporary_folder.h"

namespace ovrahost {
namespace {

constexpr int32_t kExisting = 3;
constexpr int32_t kTemporary = 39;
constexpr int32_t kPatient = 10000;
constexpr char kInUse[] = "File is in use by another process or an open view";
constexpr char kReplaced[] = "File was replaced by another process; open the database again";

// Two programs that share a file: to locks, they could be in two processes.
class FileClaimsTest : public testing::Test {
  protected:
    FileClaimsTest() { path_ = folder_.Write("t.dbf", "old"); }

    std::unique_ptr<PosixFile> Open(FileClaims* program, int32_t timeout = 0) {
        error_.clear();
        auto file = program->Open(path_, kExisting, timeout, &error_);
        if (file != nullptr) {
            program->Add(file.get());
        }
        return file;
    }

    void Close(FileClaims* program, std::unique_ptr<PosixFile> file) {
        program->Remove(file.get());
        file.reset();
    }

    // What the services do for a rebuild: a new file beside the old one.
    bool BeginRebuild(FileClaims* program) { return BeginRebuild(program, path_); }
    bool BeginRebuild(FileClaims* program, const std::string& path) {
        error_.clear();
        std::unique_ptr<PosixFile> claim;
        std::string suffix;
        if (!program->BeginRebuild(path, 0, &claim, &suffix, &error_)) {
            return false;
        }
        auto file = MakeTemporaryFile(path, kTemporary, &suffix, &error_);
        program->AddTemporary(file.get(), std::move(claim));
        EXPECT_EQ(file->Write("new", 3), 3);
        temporary_ = path + suffix;
        return true;
    }

    void FinishRebuild(FileClaims* program) {
        EXPECT_EQ(RenameFile(temporary_, path_, &error_), 0);
        program->Settle(temporary_);
    }

    static std::string Content(PosixFile* file) {
        char buffer[3] = {};
        EXPECT_EQ(file->Read(buffer, 3), 3);
        return {buffer, 3};
    }

    ovratest::TemporaryFolder folder_;
    std::string path_;
    std::string temporary_;
    std::string error_;
    FileClaims one_;
    FileClaims other_;
};

TEST_F(FileClaimsTest, ManyStatementsUseAFileAtOnce) {
    EXPECT_NE(Open(&one_), nullptr);
    EXPECT_NE(Open(&other_), nullptr);
}

TEST_F(FileClaimsTest, RebuildIsRefusedWhileAnotherStatementUsesTheFile) {
    auto file = Open(&one_);
    EXPECT_FALSE(BeginRebuild(&other_));
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    one_.EndCall(/*viewsAreOpen=*/true);
    EXPECT_FALSE(BeginRebuild(&other_));
    one_.EndCall(/*viewsAreOpen=*/false);
    EXPECT_TRUE(BeginRebuild(&other_));
    one_.Remove(file.get());
}

TEST_F(FileClaimsTest, StatementWaitsForTheRebuildAndGetsTheNewFile) {
    ASSERT_TRUE(BeginRebuild(&one_));
    EXPECT_EQ(Open(&other_), nullptr);
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    std::thread rebuild([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::string error;
        EXPECT_EQ(RenameFile(temporary_, path_, &error), 0);
        one_.Settle(temporary_);
    });
    auto file = Open(&other_, kPatient);
    rebuild.join();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Content(file.get()), "new");
}

// Otherwise statements that follow each other closely would never let a rebuild begin.
TEST_F(FileClaimsTest, RebuildThatWaitsLetsNobodyPass) {
    auto first = Open(&one_);
    FileClaims rebuilder;
    std::thread rebuild([this, &rebuilder] {
        std::string error;
        rebuilder.BeginCall(/*exclusive=*/true);
        EXPECT_NE(rebuilder.Open(path_, kExisting, kPatient, &error), nullptr);
    });
    auto newcomer = Open(&other_);
    while (newcomer != nullptr) {  // until the rebuild has come to wait
        Close(&other_, std::move(newcomer));
        other_.EndCall(/*viewsAreOpen=*/false);
        newcomer = Open(&other_);
    }
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    auto again = Open(&one_);
    EXPECT_NE(again, nullptr) << "a statement that is waited for opens the table once more";
    Close(&one_, std::move(again));
    Close(&one_, std::move(first));
    rebuild.join();
}

// A table has several files. The first new one must not be used with the second old one.
TEST_F(FileClaimsTest, NewFileIsClaimedUntilTheLastOneHasItsPlace) {
    const std::string memo = folder_.Write("t.dbt", "old memo");
    ASSERT_TRUE(BeginRebuild(&one_));
    const std::string data = temporary_;
    ASSERT_TRUE(BeginRebuild(&one_, memo));
    EXPECT_EQ(RenameFile(data, path_, &error_), 0);
    one_.Settle(data);
    EXPECT_EQ(Open(&other_), nullptr) << "the new data file has its place, the memo file not yet";
    EXPECT_EQ(RenameFile(temporary_, memo, &error_), 0);
    one_.Settle(temporary_);
    EXPECT_NE(Open(&other_), nullptr);
}

TEST_F(FileClaimsTest, RebuildThatFailsLetsTheOthersInWhenItsCallEnds) {
    ASSERT_TRUE(BeginRebuild(&one_));
    EXPECT_EQ(Open(&other_), nullptr);
    one_.EndCall(/*viewsAreOpen=*/false);
    EXPECT_NE(Open(&other_), nullptr);
}

TEST_F(FileClaimsTest, RebuildOfAFileThatHasGrownSinceItWasOpenedIsRefused) {
    auto file = Open(&one_);
    auto writer = Open(&other_);
    writer->Seek(3);
    EXPECT_EQ(writer->Write("!", 1), 1);
    Close(&other_, std::move(writer));
    EXPECT_FALSE(BeginRebuild(&one_));
    EXPECT_EQ(error_, kInUse);
    EXPECT_TRUE(one_.WasRefused()) << "and the statement begins again, alone";
    Close(&one_, std::move(file));
    one_.EndCall(false);
    one_.BeginCall(/*exclusive=*/true);
    EXPECT_FALSE(one_.WasRefused());
    file = Open(&one_);
    EXPECT_EQ(Open(&other_), nullptr);
    EXPECT_TRUE(BeginRebuild(&one_));
    FinishRebuild(&one_);
    Close(&one_, std::move(file));
    EXPECT_NE(Open(&other_), nullptr);
}

TEST_F(FileClaimsTest, OwnOlderHandleStandsInNoRebuildsWay) {
    auto view = Open(&one_);
    one_.BeginCall(/*exclusive=*/true);
    auto table = Open(&one_);
    ASSERT_NE(table, nullptr);
    EXPECT_TRUE(BeginRebuild(&one_));
    FinishRebuild(&one_);
    EXPECT_EQ(Content(view.get()), "old") << "it reads what it has opened";
}

TEST_F(FileClaimsTest, ReplacedFileIsReadButNotWritten) {
    auto file = Open(&one_);
    ASSERT_EQ(file->Lock(LockMode::kExclusive, 0, 32, 0), 0);
    ASSERT_EQ(file->Release(0, 32), 0);
    one_.EndCall(/*viewsAreOpen=*/false);
    folder_.Write("new", "new");
    ASSERT_EQ(RenameFile(folder_.File("new"), path_, &error_), 0);
    EXPECT_TRUE(file->IsReplaced());
    EXPECT_EQ(file->Lock(LockMode::kShared, 0, 32, 0), 0);
    EXPECT_EQ(file->Release(0, 32), 0);
    EXPECT_EQ(file->Lock(LockMode::kExclusive, 0, 32, 0), -1);
    EXPECT_EQ(file->Error(), kReplaced);
    EXPECT_EQ(Content(file.get()), "old");
}

TEST_F(FileClaimsTest, RemovedFileIsNotWritten) {
    auto file = Open(&one_);
    one_.EndCall(/*viewsAreOpen=*/false);
    ASSERT_EQ(DeleteFile(path_, &error_), 0);
    EXPECT_EQ(file->Lock(LockMode::kExclusive, 0, 32, 0), -1);
    EXPECT_EQ(file->Error(), kReplaced);
}

// The process that was about to give the second new file its place has died.
TEST_F(FileClaimsTest, NextOneToOpenTheDataFileFinishesWhatADeadProcessBegan) {
    const std::string memo = folder_.Write("t.dbt", "old memo");
    folder_.Write("u.dbt.of-0.1.tmp", "of another table");
    {
        FileClaims dead;
        ASSERT_TRUE(BeginRebuild(&dead));
        const std::string data = temporary_;
        ASSERT_TRUE(BeginRebuild(&dead, memo));
        EXPECT_EQ(RenameFile(data, path_, &error_), 0);
        dead.Settle(data);
        EXPECT_EQ(Open(&other_), nullptr) << "it is still alive";
    }
    EXPECT_EQ(folder_.Read("t.dbt"), "old memo");
    auto file = Open(&one_);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Content(file.get()), "new");
    EXPECT_EQ(folder_.Read("t.dbt"), "new");
    EXPECT_FALSE(FileExists(temporary_));
    EXPECT_FALSE(file->IsMarked());
    EXPECT_NE(Open(&other_), nullptr) << "the claim is a shared one again";
    EXPECT_EQ(folder_.Read("u.dbt.of-0.1.tmp"), "of another table");
}

// A place that cannot be taken now can be taken later.
TEST_F(FileClaimsTest, MarkStaysUntilTheFilesHaveTheirPlaces) {
    const std::string memo = folder_.Write("t.dbt", "old memo");
    {
        FileClaims dead;
        ASSERT_TRUE(BeginRebuild(&dead));
        const std::string data = temporary_;
        ASSERT_TRUE(BeginRebuild(&dead, memo));
        EXPECT_EQ(RenameFile(data, path_, &error_), 0);
        dead.Settle(data);
    }
    ASSERT_TRUE(std::filesystem::remove(memo));
    ASSERT_TRUE(std::filesystem::create_directory(memo));
    auto file = Open(&one_);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(file->IsMarked());
    Close(&one_, std::move(file));
    ASSERT_TRUE(std::filesystem::remove(memo));
    file = Open(&one_);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(folder_.Read("t.dbt"), "new");
    EXPECT_FALSE(file->IsMarked());
}

TEST_F(FileClaimsTest, RebuildThatEndsWellLeavesNoMark) {
    ASSERT_TRUE(BeginRebuild(&one_));
    FinishRebuild(&one_);
    auto file = Open(&other_);
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(file->IsMarked());
}

TEST_F(FileClaimsTest, RebuiltFileIsAsOpenToOthersAsTheOldOneWas) {
    using std::filesystem::perms;
    std::filesystem::permissions(path_, perms::owner_read | perms::owner_write | perms::group_read);
    ASSERT_TRUE(BeginRebuild(&one_));
    FinishRebuild(&one_);
    EXPECT_EQ(std::filesystem::status(path_).permissions(),
              perms::owner_read | perms::owner_write | perms::group_read);
}

// Or a pack that the administrator runs would shut everybody else out.
TEST_F(FileClaimsTest, RebuiltFileBelongsToTheOwnerOfTheOldOne) {
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

// A process that takes a lock and a claim and then waits to be killed.
TEST_F(FileClaimsTest, KilledProcessHoldsNoLocks) {
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        std::unique_ptr<PosixFile> claim;
        std::string suffix;
        std::string error;
        FileClaims claims;
        const bool held = claims.BeginRebuild(path_, 0, &claim, &suffix, &error) &&
                          claim->Lock(LockMode::kExclusive, 0, 32, 0) == 0;
        const char answer = held ? 'y' : 'n';
        ::_exit(::write(ready[1], &answer, 1) == 1 && ::pause() == 0 ? 0 : 1);
    }
    char answer = 0;
    ASSERT_EQ(::read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    EXPECT_EQ(Open(&one_), nullptr);
    int reason = 0;
    auto file = PosixFile::Open(path_, kExisting, &reason);
    EXPECT_EQ(file->Lock(LockMode::kExclusive, 31, 1, 0), -1);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_EQ(file->Lock(LockMode::kExclusive, 31, 1, 0), 0);
    EXPECT_NE(Open(&one_), nullptr);
    ::close(ready[0]);
    ::close(ready[1]);
}

}  // namespace
}  // namespace ovrahost
