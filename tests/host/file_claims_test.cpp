// A file that is replaced while a process writes to it swallows what is written. Claims keep the
// two apart, and a lock for writing is the last line of defence.

#include "host/file_claims.h"

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/host/two_programs.h"
#include "tests/support/without_locks.h"

namespace ovrahost {
namespace {

using FileClaimsTest = TwoProgramsTest;

constexpr int32_t kPatient = 10000;

TEST_F(FileClaimsTest, ManyStatementsUseAFileAtOnce) {
    auto file = Open(&one_);
    EXPECT_NE(file, nullptr);
    EXPECT_TRUE(CanOpen(&other_));
}

TEST_F(FileClaimsTest, RebuildIsRefusedWhileAnotherStatementUsesTheFile) {
    auto file = Open(&one_);
    EXPECT_FALSE(BeginRebuild(&other_));
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    EndCall(&one_, /*viewsAreOpen=*/true);
    EXPECT_FALSE(BeginRebuild(&other_));
    EndCall(&one_);
    EXPECT_TRUE(BeginRebuild(&other_));
    one_.Claims().Remove(file.get());
}

TEST_F(FileClaimsTest, StatementWaitsForTheRebuildAndGetsTheNewFile) {
    ASSERT_TRUE(BeginRebuild(&one_));
    EXPECT_FALSE(CanOpen(&other_));
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    std::thread rebuild([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::string error;
        EXPECT_EQ(RenameFile(temporary_, path_, &error), 0);
        one_.Rebuild().Settle(temporary_);
        one_.Rebuild().End();
    });
    auto file = Open(&other_, kPatient);
    rebuild.join();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Content(file.get()), "new");
}

// Otherwise statements that follow each other closely would never let a rebuild begin.
TEST_F(FileClaimsTest, RebuildThatWaitsLetsNobodyPass) {
    auto first = Open(&one_);
    HostProgram rebuilder;
    std::thread rebuild([this, &rebuilder] {
        std::string error;
        rebuilder.Claims().BeginCall(CallKind::kRebuilds);
        EXPECT_NE(rebuilder.Claims().Open(path_, kExisting, kPatient, &error), nullptr);
    });
    auto newcomer = Open(&other_);
    while (newcomer != nullptr) {  // until the rebuild has come to wait
        Close(&other_, std::move(newcomer));
        EndCall(&other_);
        newcomer = Open(&other_);
    }
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    auto again = Open(&one_);
    EXPECT_NE(again, nullptr) << "a statement that is waited for opens the table once more";
    Close(&one_, std::move(again));
    Close(&one_, std::move(first));
    rebuild.join();
}

// It waits for its turn first, and for the statements then.
TEST_F(FileClaimsTest, RebuildWaitsForItsTimeoutInAll) {
    using std::chrono::milliseconds;
    auto user = Open(&one_);
    int reason = 0;
    auto waiting = PosixFile::Open(path_, kExisting, &reason);
    constexpr int64_t turn = int64_t{1} << 62;
    ASSERT_EQ(waiting->Lock(LockMode::kExclusive, turn, 1, 0), 0);
    const auto start = std::chrono::steady_clock::now();
    std::thread givesUp([&] {
        std::this_thread::sleep_for(milliseconds(900));
        waiting->Release(turn, 1);
    });
    HostProgram rebuilder;
    rebuilder.Claims().BeginCall(CallKind::kRebuilds);
    EXPECT_EQ(rebuilder.Claims().Open(path_, kExisting, 1000, &error_), nullptr);
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(1800));
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 1000 milliseconds");
    givesUp.join();
    Close(&one_, std::move(user));
}

// Nobody could be kept out, so nothing is replaced.
TEST_F(FileClaimsTest, FilesThatCannotBeLockedAreReadButNotRebuilt) {
    const bool could = ovratest::WithoutLocks([this] {
        auto file = Open(&one_);
        ASSERT_NE(file, nullptr) << error_;
        EXPECT_EQ(Content(file.get()), "old");
        EXPECT_FALSE(BeginRebuild(&one_));
        EndCall(&one_);
        one_.Claims().BeginCall(CallKind::kRebuilds);
        EXPECT_EQ(Open(&one_), nullptr);
        EXPECT_EQ(error_, "File cannot be locked: No locks available");
        EXPECT_EQ(one_.Claims().Refusal(), error_);
        Close(&one_, std::move(file));
    });
    if (!could) {
        GTEST_SKIP() << "no filter of system calls";
    }
}

// The system keeps the older lock, so it has to be given back some time.
TEST_F(FileClaimsTest, ClaimThatCannotBeExchangedIsStillThere) {
    int reason = 0;
    auto file = PosixFile::Open(path_, kExisting, &reason);
    ASSERT_EQ(file->Claim(ClaimMode::kExclusive, 0), 0);
    const bool could =
        ovratest::WithoutLocks([&file] { EXPECT_EQ(file->Claim(ClaimMode::kShared, 0), 0); });
    if (!could) {
        GTEST_SKIP() << "no filter of system calls";
    }
    EXPECT_TRUE(file->IsClaimed());
    EXPECT_FALSE(CanOpen(&one_));
    file->DropClaim();
    EXPECT_TRUE(CanOpen(&one_)) << error_;
}

TEST_F(FileClaimsTest, RebuildOfAFileThatHasGrownSinceItWasOpenedIsRefused) {
    auto file = Open(&one_);
    auto writer = Open(&other_);
    writer->Seek(3);
    EXPECT_EQ(writer->Write("!", 1), 1);
    Close(&other_, std::move(writer));
    EXPECT_FALSE(BeginRebuild(&one_));
    EXPECT_EQ(error_, kInUse);
    EXPECT_EQ(one_.Claims().Refusal(), kInUse) << "and the statement begins again, alone";
    EXPECT_TRUE(CanOpen(&other_)) << "a view may go on with the file, and others beside it";
    Close(&one_, std::move(file));
    EndCall(&one_);
    one_.Claims().BeginCall(CallKind::kRebuilds);
    EXPECT_EQ(one_.Claims().Refusal(), "");
    file = Open(&one_);
    EXPECT_FALSE(CanOpen(&other_));
    EXPECT_TRUE(BeginRebuild(&one_));
    FinishRebuild(&one_);
    Close(&one_, std::move(file));
    EXPECT_TRUE(CanOpen(&other_));
}

TEST_F(FileClaimsTest, OwnOlderHandleStandsInNoRebuildsWay) {
    auto view = Open(&one_);
    one_.Claims().BeginCall(CallKind::kRebuilds);
    auto table = Open(&one_);
    ASSERT_NE(table, nullptr);
    EXPECT_TRUE(BeginRebuild(&one_));
    FinishRebuild(&one_);
    EXPECT_EQ(Content(view.get()), "old") << "it reads what it has opened";
}

// An index, which a rebuild does not open before it makes the new one.
TEST_F(FileClaimsTest, OwnViewOfAFileThatHasChangedStandsInNoRebuildsWay) {
    auto view = Open(&one_);
    EndCall(&one_, /*viewsAreOpen=*/true);
    folder_.Write("t.dbf", "changed");
    BeginCall(&one_);
    EXPECT_TRUE(BeginRebuild(&one_)) << error_;
    FinishRebuild(&one_);
    EXPECT_EQ(Content(view.get()), "cha") << "it reads what it has opened";
    EXPECT_TRUE(CanOpen(&other_)) << error_;
}

// Its table may not be rebuilt by others while the view is open, whatever this program has tried.
TEST_F(FileClaimsTest, OwnViewHasItsClaimAgainWhenARebuildWasRefused) {
    auto view = Open(&one_);
    EndCall(&one_, /*viewsAreOpen=*/true);
    auto user = Open(&other_);
    one_.Claims().BeginCall(CallKind::kRebuilds);
    EXPECT_EQ(Open(&one_), nullptr);
    EXPECT_FALSE(BeginRebuild(&one_));
    EndCall(&one_, /*viewsAreOpen=*/true);
    Close(&other_, std::move(user));
    EXPECT_FALSE(BeginRebuild(&other_));
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    EndCall(&other_);
    EndCall(&one_);
    EXPECT_TRUE(BeginRebuild(&other_)) << "the view has ended: " << error_;
}

TEST_F(FileClaimsTest, OwnViewHasItsClaimAgainWhenARebuildHasFailed) {
    auto view = Open(&one_);
    EndCall(&one_, /*viewsAreOpen=*/true);
    BeginCall(&one_);
    ASSERT_TRUE(BeginRebuild(&one_)) << error_;
    EXPECT_FALSE(CanOpen(&other_)) << "the rebuild is at work";
    EndCall(&one_, /*viewsAreOpen=*/true);
    EXPECT_FALSE(BeginRebuild(&other_)) << "nothing has taken the file's place";
    EndCall(&other_);
}

TEST_F(FileClaimsTest, OwnViewOfAFileThatWasReplacedHasNoClaim) {
    auto view = Open(&one_);
    EndCall(&one_, /*viewsAreOpen=*/true);
    BeginCall(&one_);
    ASSERT_TRUE(BeginRebuild(&one_)) << error_;
    Rename(&one_, temporary_, path_);
    EndCall(&one_, /*viewsAreOpen=*/true);
    EXPECT_FALSE(view->IsClaimed());
    EXPECT_TRUE(BeginRebuild(&other_)) << error_;
}

// A table's header is locked for writing to read it.
TEST_F(FileClaimsTest, ReplacedFileIsLockedToReadAndIsNotWrittenThen) {
    auto file = Open(&one_);
    EndCall(&one_);
    EXPECT_EQ(file->Lock(LockMode::kExclusiveToRead, 0, 3, 0), 0);
    EXPECT_EQ(file->Write("same", 1), 1) << "it has its place still";
    EXPECT_EQ(file->Release(0, 3), 0);
    folder_.Write("new", "new");
    ASSERT_EQ(RenameFile(folder_.File("new"), path_, &error_), 0);
    EXPECT_EQ(file->Lock(LockMode::kExclusiveToRead, 0, 3, 0), 0);
    EXPECT_EQ(file->Seek(0), 0);
    EXPECT_EQ(Content(file.get()), "sld");
    EXPECT_EQ(file->Write("!", 1), 0);
    EXPECT_EQ(file->Error(), kReplaced);
    EXPECT_EQ(file->Release(0, 3), 0);
    EXPECT_EQ(file->Lock(LockMode::kExclusive, 0, 3, 0), -1);
    EXPECT_EQ(folder_.Read("t.dbf"), "new");
}

TEST_F(FileClaimsTest, ReplacedFileIsReadButNotWritten) {
    auto file = Open(&one_);
    ASSERT_EQ(file->Lock(LockMode::kExclusive, 0, 32, 0), 0);
    ASSERT_EQ(file->Release(0, 32), 0);
    EndCall(&one_);
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
    EndCall(&one_);
    ASSERT_EQ(DeleteFile(path_, &error_), 0);
    EXPECT_EQ(file->Lock(LockMode::kExclusive, 0, 32, 0), -1);
    EXPECT_EQ(file->Error(), kReplaced);
}

// The library keeps tables open for the names of their columns, and CREATE INDEX reads the records
// through such a handle.
TEST_F(FileClaimsTest, FileOfAnEarlierCallIsClaimedWhenItIsUsedAgain) {
    auto file = Open(&one_);
    EndCall(&one_);
    BeginCall(&one_);
    EXPECT_TRUE(one_.Claims().ClaimAgain(file.get(), 0));
    EXPECT_FALSE(BeginRebuild(&other_));
    EXPECT_EQ(error_, std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    EXPECT_EQ(one_.Claims().WhyNotToWrite(), "");
    EndCall(&one_);
    EXPECT_TRUE(BeginRebuild(&other_));
}

TEST_F(FileClaimsTest, CallMustNotWriteThatUsesAFileWithoutItsClaim) {
    auto file = Open(&one_);
    EndCall(&one_);
    ASSERT_TRUE(BeginRebuild(&other_));
    BeginCall(&one_);
    EXPECT_FALSE(one_.Claims().ClaimAgain(file.get(), 0));
    EXPECT_EQ(one_.Claims().WhyNotToWrite(),
              std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    FinishRebuild(&other_);
    BeginCall(&one_);
    EXPECT_EQ(one_.Claims().WhyNotToWrite(), "");
    EXPECT_TRUE(one_.Claims().ClaimAgain(file.get(), 0)) << "it can be read to its end";
    EXPECT_EQ(one_.Claims().WhyNotToWrite(), kReplaced);
    EndCall(&one_, /*viewsAreOpen=*/true);
    BeginCall(&one_);
    EXPECT_TRUE(one_.Claims().ClaimAgain(file.get(), 0));
    EXPECT_EQ(one_.Claims().WhyNotToWrite(), kReplaced) << "nor must the next call write";
}

}  // namespace
}  // namespace ovrahost
