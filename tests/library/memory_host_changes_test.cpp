// What the in-memory host can play beyond a plain system: locks that nobody can pass by, waits that
// time out, many open files, and a report of each change.

#include <gtest/gtest.h>

#include <chrono>

#include "library/host_services.h"
#include "tests/support/memory_host.h"

namespace ovrasql {
namespace {

class MemoryHostChanges : public ::testing::Test {
  protected:
    void SetUp() override { TheHost().Reset(); }

    static void* Open(TextView path, int32_t flags = kOpenNew) {
        return ovFile_Open(TheHost().Program(), kDatabaseLocation, path.data, path.length, flags);
    }
};

TEST_F(MemoryHostChanges, MandatoryLocksStopReadsAndWritesOfOtherHandles) {
    TheHost().SetFile("f", "0123456789");
    TheHost().SetMandatoryLocks(true);
    void* holder = Open("f", kOpenExisting);
    void* other = Open("f", kOpenExisting);
    char bytes[10];
    ASSERT_EQ(ovFile_Lock(holder, kLockExclusive, 4, 2), 0);
    EXPECT_EQ(ovFile_Read(other, bytes, 4), 4) << "up to the range";
    EXPECT_EQ(ovFile_Read(other, bytes, 1), -1) << "into it";
    EXPECT_TRUE(HostFileError(TheHost().Program(), other) == TextView("The range is locked"));
    EXPECT_EQ(ovFile_Write(other, "x", 1), -1);
    EXPECT_EQ(ovFile_Read(holder, bytes, 10), 10) << "the holder goes on";
    ASSERT_EQ(ovFile_Release(holder, 4, 2), 0);
    EXPECT_EQ(ovFile_Read(other, bytes, 6), 6);
}

TEST_F(MemoryHostChanges, MandatorySharedLocksStopWritesAlone) {
    TheHost().SetFile("f", "0123456789");
    TheHost().SetMandatoryLocks(true);
    void* holder = Open("f", kOpenExisting);
    void* other = Open("f", kOpenExisting);
    char bytes[10];
    ASSERT_EQ(ovFile_Lock(holder, kLockShared, 0, 10), 0);
    EXPECT_EQ(ovFile_Read(other, bytes, 10), 10);
    ASSERT_EQ(ovFile_Seek(other, 0), 0);
    EXPECT_EQ(ovFile_Write(other, "x", 1), -1);
    EXPECT_EQ(TheHost().FileText("f"), "0123456789");
}

TEST_F(MemoryHostChanges, ALockIsRefusedOrTimesOutWithItsOwnText) {
    void* file = Open("f");
    TheHost().RefuseLocks(true);
    EXPECT_LT(ovFile_Lock(file, kLockShared, 0, 1), 0);
    EXPECT_TRUE(HostFileError(TheHost().Program(), file) == TextView("The range is locked"));
    TheHost().TimeOutLocks(true);
    EXPECT_LT(ovFile_Lock(file, kLockShared, 0, 1), 0);
    EXPECT_TRUE(HostFileError(TheHost().Program(), file) ==
                TextView("Timed out waiting for a lock"));
    TheHost().TimeOutLocks(false);
    EXPECT_EQ(ovFile_Lock(file, kLockShared, 0, 1), 0);
    TheHost().FailCall("ovFile_Lock", 1, FailureKind::kTimedOut);
    EXPECT_LT(ovFile_Lock(file, kLockShared, 2, 1), 0);
    EXPECT_TRUE(HostFileError(TheHost().Program(), file) ==
                TextView("Timed out waiting for a lock"));
}

// Twenty thousand files open at once, each with a lock, took minutes when every call looked at all
// of them.
TEST_F(MemoryHostChanges, ManyOpenFilesTakeNoLongerEach) {
    TheHost().SetLogging(false);
    const auto start = std::chrono::steady_clock::now();
    std::vector<void*> files;
    for (int number = 0; number < 20000; ++number) {
        files.push_back(Open(number % 2 == 0 ? "even" : "odd"));
        ASSERT_EQ(ovFile_Lock(files.back(), kLockShared, number, 1), 0);
        ASSERT_EQ(ovFile_Write(files.back(), "x", 1), 1);
        ASSERT_EQ(ovFile_Release(files.back(), number, 1), 0);
    }
    EXPECT_EQ(TheHost().OpenFileCount(), 20000);
    for (void* file : files) {
        ovFile_Close(file);
    }
    EXPECT_EQ(TheHost().OpenFileCount(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(MemoryHostChanges, AreReportedInTheirOrder) {
    std::string report;
    TheHost().SetChangeHandler([&](const FileChange& change) {
        static const char* const kWords[] = {"create", "truncate",    "write",        "rename",
                                             "delete", "make folder", "remove folder"};
        report += std::string(kWords[static_cast<int>(change.kind)]) + " " + change.path;
        report += change.newPath.empty() ? "" : " to " + change.newPath;
        if (change.kind == FileChangeKind::kWrite) {
            report += " at " + std::to_string(change.offset) + ": " +
                      std::string(change.bytes.begin(), change.bytes.end());
        }
        report += "\n";
    });
    void* const program = TheHost().Program();
    EXPECT_EQ(ovFile_MakeDirectory(program, kDatabaseLocation, "d", 1), 0);
    void* file = Open("d/f");
    EXPECT_EQ(ovFile_Write(file, "abc", 3), 3);
    EXPECT_EQ(ovFile_Rename(program, kDatabaseLocation, "d/f", 3, kDatabaseLocation, "g", 1), 0);
    EXPECT_EQ(ovFile_Write(file, "de", 2), 2);
    TheHost().FailCall("ovFile_Write", 1, FailureKind::kShortByOne);
    EXPECT_EQ(ovFile_Write(file, "fg", 2), 1);
    EXPECT_NE(Open("g"), nullptr);
    EXPECT_EQ(ovFile_Delete(program, kDatabaseLocation, "g", 1), 0);
    EXPECT_EQ(ovFile_Write(file, "nobody's", 8), 8);
    EXPECT_EQ(ovFile_RemoveDirectory(program, kDatabaseLocation, "d", 1), 0);
    EXPECT_EQ(report,
              "make folder d\ncreate d/f\nwrite d/f at 0: abc\nrename d/f to g\n"
              "write g at 3: de\nwrite g at 5: f\ntruncate g\ndelete g\nremove folder d\n");
}

}  // namespace
}  // namespace ovrasql
