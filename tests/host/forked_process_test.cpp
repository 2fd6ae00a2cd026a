// fork gives a process the open files of its parent, and locks belong to the open file. A child
// that lives on, a daemon for one, must neither keep what its parent has given back nor give back
// what its parent holds.

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

#include "tests/host/two_programs.h"

namespace ovrahost {
namespace {

class ForkedProcessTest : public TwoProgramsTest {
  protected:
    ~ForkedProcessTest() override {
        if (child_ > 0) {
            ::kill(child_, SIGKILL);
            ::waitpid(child_, nullptr, 0);
        }
    }

    // A child that runs `work` and then lives on. Whether the work gave true.
    template <class Work>
    bool Fork(Work work) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe(ends), 0);
        child_ = ::fork();
        if (child_ == 0) {
            const char answer = work() ? 'y' : 'n';
            ::_exit(::write(ends[1], &answer, 1) == 1 && ::pause() == 0 ? 0 : 1);
        }
        ::close(ends[1]);  // a child that dies early ends the reading
        char answer = 0;
        EXPECT_EQ(::read(ends[0], &answer, 1), 1);
        ::close(ends[0]);
        return answer == 'y';
    }

    pid_t child_ = 0;
};

TEST_F(ForkedProcessTest, KilledProcessHoldsNoLocks) {
    EXPECT_TRUE(Fork([this] {
        std::unique_ptr<PosixFile> claim;
        return one_.Claims().ClaimForRebuild(path_, 0, &claim, &error_) &&
               claim.release()->Lock(LockMode::kExclusive, 0, 32, 0) == 0;
    }));
    EXPECT_FALSE(CanOpen(&one_));
    int reason = 0;
    auto file = PosixFile::Open(path_, kExisting, &reason);
    EXPECT_EQ(file->Lock(LockMode::kExclusive, 31, 1, 0), -1);
    ::kill(child_, SIGKILL);
    ::waitpid(std::exchange(child_, 0), nullptr, 0);
    EXPECT_EQ(file->Lock(LockMode::kExclusive, 31, 1, 0), 0);
    EXPECT_TRUE(CanOpen(&one_));
}

TEST_F(ForkedProcessTest, ClaimThatIsGivenBackIsNotHeldByAChild) {
    auto file = Open(&one_);
    EXPECT_TRUE(Fork([] { return true; }));
    Close(&one_, std::move(file));
    EndCall(&one_);
    EXPECT_TRUE(BeginRebuild(&other_)) << error_;
}

TEST_F(ForkedProcessTest, RebuildThatHasEndedIsNotGuardedByAChild) {
    ASSERT_TRUE(BeginRebuild(&one_)) << error_;
    EXPECT_TRUE(Fork([] { return true; }));
    FinishRebuild(&one_);
    EXPECT_TRUE(CanOpen(&other_)) << error_;
}

TEST_F(ForkedProcessTest, LockOfAClosedFileIsNotHeldByAChild) {
    auto file = Open(&one_);
    ASSERT_EQ(file->Lock(LockMode::kExclusive, 0, 32, 0), 0);
    EXPECT_TRUE(Fork([] { return true; }));
    Close(&one_, std::move(file));
    file = Open(&other_);
    EXPECT_EQ(file->Lock(LockMode::kExclusive, 0, 32, 0), 0) << file->Error();
}

TEST_F(ForkedProcessTest, ChildThatClosesTheFilesLeavesTheClaimsToItsParent) {
    auto file = Open(&one_);
    EXPECT_TRUE(Fork([&] {
        Close(&one_, std::move(file));
        EndCall(&one_);
        return true;
    }));
    EXPECT_FALSE(BeginRebuild(&other_));
}

// With the parent's descriptor it would give back the parent's locks.
TEST_F(ForkedProcessTest, ChildHasNoneOfItsParentsFiles) {
    auto file = Open(&one_);
    EXPECT_TRUE(Fork([&] {
        char byte = 0;
        return file->Read(&byte, 1) == 0 && file->Error() == "Bad file descriptor" &&
               file->Lock(LockMode::kShared, 0, 1, 0) == -1 && Open(&one_) != nullptr;
    }));
    EXPECT_EQ(Content(file.get()), "old");
}

// The locks go with the process that took them, and not with the last of its children.
TEST_F(ForkedProcessTest, KilledProcessHoldsNoLocksThroughItsChild) {
    int test[2] = {-1, -1};
    ASSERT_EQ(::pipe(test), 0);
    EXPECT_TRUE(Fork([&] {
        const bool opened = Open(&one_).release() != nullptr;
        int started[2] = {-1, -1};
        if (::pipe(started) != 0) {
            return false;
        }
        char byte = 'y';
        if (::fork() == 0) {
            ::close(test[1]);
            const bool told = ::write(started[1], &byte, 1) == 1;
            ::_exit(told && ::read(test[0], &byte, 1) == 0 ? 0 : 1);  // until the test has ended
        }
        return opened && ::read(started[0], &byte, 1) == 1;
    }));
    EXPECT_FALSE(BeginRebuild(&other_));
    ::kill(child_, SIGKILL);
    ::waitpid(std::exchange(child_, 0), nullptr, 0);
    EXPECT_TRUE(BeginRebuild(&other_)) << error_;
    ::close(test[0]);
    ::close(test[1]);
}

// A child may get a file that a thread has just opened, or is about to close.
TEST_F(ForkedProcessTest, ForkBesideThreadsThatOpenAndCloseKeepsNoLock) {
    std::atomic<bool> enough{false};
    std::atomic<int> refused{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&, path = folder_.Write("file" + std::to_string(i), "")] {
            std::string error;
            while (!enough) {
                const auto file = PosixFile::OpenClaimed(path, kExisting, ClaimMode::kExclusive,
                                                         /*timeoutMilliseconds=*/10000, &error);
                refused += file == nullptr ? 1 : 0;
            }
        });
    }
    int test[2] = {-1, -1};
    ASSERT_EQ(::pipe(test), 0);
    std::vector<pid_t> children;
    for (int i = 0; i < 50; ++i) {
        const pid_t child = ::fork();
        if (child == 0) {
            char byte = 0;
            ::close(test[1]);
            ::_exit(::read(test[0], &byte, 1) == 0 ? 0 : 1);  // until the threads have ended
        }
        children.push_back(child);
    }
    enough = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(refused, 0);
    ::close(test[1]);
    ::close(test[0]);
    for (const pid_t child : children) {
        ::waitpid(child, nullptr, 0);
    }
}

}  // namespace
}  // namespace ovrahost
