// PosixFile is the only place of the host that touches files: what goes wrong here loses data.

#include "host/posix_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

#include "tests/host/open_modes.h"
#include "tests/support/temporary_folder.h"

namespace ovrahost {
namespace {

class PosixFileTest : public testing::Test {
  protected:
    std::unique_ptr<PosixFile> Open(const std::string& name, int32_t flags) {
        error_ = 0;
        return PosixFile::Open(folder_.File(name), flags, &error_);
    }

    ovratest::TemporaryFolder folder_;
    int error_ = 0;
};

TEST_F(PosixFileTest, ExistingFileMustExist) {
    EXPECT_EQ(Open("none", kExisting), nullptr);
    EXPECT_EQ(error_, ENOENT);
}

TEST_F(PosixFileTest, NewFileEmptiesAnOldOne) {
    folder_.Write("file", "old content");
    ASSERT_NE(Open("file", kNew), nullptr);
    EXPECT_EQ(folder_.Read("file"), "");
}

TEST_F(PosixFileTest, ExistingFileKeepsItsContent) {
    folder_.Write("file", "abcdef");
    auto file = Open("file", kExisting);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Seek(2), 2);
    EXPECT_EQ(file->Write("XY", 2), 2);
    file.reset();
    EXPECT_EQ(folder_.Read("file"), "abXYef");
}

TEST_F(PosixFileTest, AppendingWritesBehindWhatIsThere) {
    folder_.Write("log", "first\n");
    auto file = Open("log", kAppending);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Write("second\n", 7), 7);
    file.reset();
    EXPECT_EQ(folder_.Read("log"), "first\nsecond\n");
}

TEST_F(PosixFileTest, TemporaryFileMustBeNew) {
    folder_.Write("taken", "somebody's");
    EXPECT_EQ(Open("taken", kTemporary), nullptr);
    EXPECT_EQ(error_, EEXIST);
    EXPECT_EQ(folder_.Read("taken"), "somebody's");
    EXPECT_NE(Open("free", kTemporary), nullptr);
}

TEST_F(PosixFileTest, DirectoryIsNoFile) {
    EXPECT_EQ(Open(".", 1), nullptr);
    EXPECT_EQ(error_, EISDIR);
}

TEST_F(PosixFileTest, ReadStopsAtTheEndAndSaysSo) {
    folder_.Write("file", "abc");
    auto file = Open("file", kExisting);
    char buffer[8] = {};
    EXPECT_EQ(file->Read(buffer, 8), 3);
    EXPECT_EQ(std::string(buffer, 3), "abc");
    EXPECT_EQ(file->Error(), "Unexpected end of file");
}

TEST_F(PosixFileTest, PositionMovesWithReadsAndWrites) {
    folder_.Write("file", "abcdef");
    auto file = Open("file", kExisting);
    char buffer[2];
    EXPECT_EQ(file->Read(buffer, 2), 2);
    EXPECT_EQ(file->Write("X", 1), 1);
    EXPECT_EQ(file->Read(buffer, 2), 2);
    EXPECT_EQ(std::string(buffer, 2), "de");
}

TEST_F(PosixFileTest, SeekBehindTheEndLeavesAHoleOfZeros) {
    auto file = Open("file", kNew);
    EXPECT_EQ(file->Seek(4), 4);
    EXPECT_EQ(file->Write("x", 1), 1);
    file.reset();
    EXPECT_EQ(folder_.Read("file"), std::string("\0\0\0\0x", 5));
}

TEST_F(PosixFileTest, NegativeSeekFails) {
    auto file = Open("file", kNew);
    EXPECT_EQ(file->Seek(-1), -1);
    EXPECT_NE(file->Error().find("Invalid argument"), std::string::npos);
}

TEST_F(PosixFileTest, PositionsPastFourGigabytesAreExact) {
    auto file = Open("file", kNew);
    const int64_t far = (int64_t{1} << 32) + 7;
    EXPECT_EQ(file->Seek(far), far);
    EXPECT_EQ(file->Write("end", 3), 3);
    char buffer[3];
    EXPECT_EQ(file->Seek(far), far);
    EXPECT_EQ(file->Read(buffer, 3), 3);
    EXPECT_EQ(std::string(buffer, 3), "end");
}

TEST_F(PosixFileTest, FullDiskGivesAShortCountAndAReason) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    rlimit small = old;
    small.rlim_cur = 4;
    auto file = Open("file", kNew);
    ::setrlimit(RLIMIT_FSIZE, &small);
    const int32_t written = file->Write("abcdef", 6);
    ::setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(written, 4);
    EXPECT_NE(file->Error().find("File too large"), std::string::npos);
}

TEST_F(PosixFileTest, TwoHandlesOfOneProcessExcludeEachOther) {
    auto first = Open("file", kNew);
    auto second = Open("file", kExisting);
    EXPECT_EQ(first->Lock(LockMode::kExclusive, 0, 32, 0), 0);
    EXPECT_EQ(second->Lock(LockMode::kExclusive, 0, 32, 0), -1);
    EXPECT_EQ(second->Lock(LockMode::kShared, 31, 1, 0), -1);
    EXPECT_EQ(second->Lock(LockMode::kExclusive, 32, 32, 0), 0) << "another range is free";
    EXPECT_EQ(first->Release(0, 32), 0);
    EXPECT_EQ(second->Lock(LockMode::kExclusive, 0, 32, 0), 0);
}

TEST_F(PosixFileTest, SharedLocksStandSideBySide) {
    auto first = Open("file", kNew);
    auto second = Open("file", kExisting);
    EXPECT_EQ(first->Lock(LockMode::kShared, 0, 427, 0), 0);
    EXPECT_EQ(second->Lock(LockMode::kShared, 0, 427, 0), 0);
    EXPECT_EQ(second->Lock(LockMode::kExclusive, 0, 427, 0), -1);
}

TEST_F(PosixFileTest, ClosingAHandleDropsItsOwnLocksOnly) {
    auto first = Open("file", kNew);
    auto second = Open("file", kExisting);
    auto third = Open("file", kExisting);
    EXPECT_EQ(first->Lock(LockMode::kExclusive, 0, 8, 0), 0);
    EXPECT_EQ(second->Lock(LockMode::kExclusive, 8, 8, 0), 0);
    second.reset();
    EXPECT_EQ(third->Lock(LockMode::kExclusive, 8, 8, 0), 0);
    EXPECT_EQ(third->Lock(LockMode::kExclusive, 0, 8, 0), -1) << "the first handle's still stands";
}

TEST_F(PosixFileTest, RefusedLockTellsHowLongItWaited) {
    auto first = Open("file", kNew);
    auto second = Open("file", kExisting);
    ASSERT_EQ(first->Lock(LockMode::kExclusive, 0, 1, 0), 0);
    EXPECT_EQ(second->Lock(LockMode::kExclusive, 0, 1, 20), -1);
    EXPECT_EQ(second->Error(), "Lock not granted within 20 milliseconds");
}

TEST_F(PosixFileTest, WaitingLockIsGrantedWhenTheOtherLetsGo) {
    auto first = Open("file", kNew);
    auto second = Open("file", kExisting);
    ASSERT_EQ(first->Lock(LockMode::kExclusive, 0, 1, 0), 0);
    std::thread holder([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_EQ(first->Release(0, 1), 0);
    });
    EXPECT_EQ(second->Lock(LockMode::kExclusive, 0, 1, 10000), 0);
    holder.join();
}

}  // namespace
}  // namespace ovrahost
