// The host that all other tests trust: its files, locks, processes, failures and log.

#include "tests/support/memory_host.h"

#include <gtest/gtest.h>

#include "library/host_services.h"

namespace ovrasql {
namespace {

class MemoryHostTest : public ::testing::Test {
  protected:
    void SetUp() override { TheHost().Reset(); }

    static void* Open(TextView path, int32_t flags = kOpenNew) {
        return ovFile_Open(TheHost().Program(), kDatabaseLocation, path.data, path.length, flags);
    }
};

TEST_F(MemoryHostTest, OpenFlagsAreObeyed) {
    EXPECT_EQ(Open("f", kOpenExisting), nullptr);
    TheHost().SetFile("f", "old");
    void* existing = Open("f", kOpenExisting);
    ASSERT_NE(existing, nullptr);
    EXPECT_EQ(TheHost().FileText("f"), "old");
    void* trace = Open("f", kOpenTrace);
    EXPECT_EQ(ovFile_Write(trace, "er", 2), 2);
    EXPECT_EQ(TheHost().FileText("f"), "older") << "the trace file is written at its end";
    EXPECT_NE(Open("f", kOpenNew), nullptr);
    EXPECT_EQ(TheHost().FileText("f"), "");
}

TEST_F(MemoryHostTest, AFileGrowsNoLongerThanTheDiskHasRoom) {
    void* file = Open("f");
    TheHost().SetLongestFile(4);
    EXPECT_EQ(ovFile_Write(file, "abcd", 4), 4);
    EXPECT_EQ(ovFile_Write(file, "e", 1), 0);
    int32_t length = 0;
    EXPECT_STREQ(ovFile_Error(TheHost().Program(), file, &length), "No space left on device");
    EXPECT_EQ(ovFile_Seek(file, 3), 3);
    EXPECT_EQ(ovFile_Write(file, "xy", 2), 0);
    EXPECT_EQ(TheHost().FileText("f"), "abcd");
}

TEST_F(MemoryHostTest, ClearForgetsEverythingButTheBinding) {
    Open("f");
    TheHost().Clear();
    EXPECT_FALSE(TheHost().HasFile("f"));
    EXPECT_EQ(TheHost().OpenFileCount(), 0);
    EXPECT_NE(Open("f"), nullptr);
}

TEST_F(MemoryHostTest, AFileIsReadAndWrittenAtThePosition) {
    void* file = Open("f");
    EXPECT_EQ(ovFile_Seek(file, 3), 3);
    EXPECT_EQ(ovFile_Write(file, "ab", 2), 2);
    EXPECT_EQ(TheHost().FileBytes("f"), (Bytes{0, 0, 0, 'a', 'b'}));
    EXPECT_EQ(ovFile_Seek(file, 4), 4);
    char buffer[4] = {};
    EXPECT_EQ(ovFile_Read(file, buffer, 4), 1);
    EXPECT_EQ(buffer[0], 'b');
    EXPECT_EQ(ovFile_Read(file, buffer, 4), 0);
    EXPECT_LT(ovFile_Seek(file, -1), 0);
}

TEST_F(MemoryHostTest, FoldersAreMadeAndRemovedOneByOne) {
    void* program = TheHost().Program();
    EXPECT_EQ(Open("a/f"), nullptr);
    EXPECT_NE(ovFile_MakeDirectory(program, 2, "a/b", 3), 0) << "the folder above is missing";
    EXPECT_EQ(ovFile_MakeDirectory(program, 2, "a", 1), 0);
    EXPECT_NE(ovFile_IsDirectory(program, 2, "a", 1), 0);
    EXPECT_NE(Open("a/f"), nullptr);
    EXPECT_EQ(ovFile_RemoveDirectory(program, 2, "a", 1), -1) << "it is not empty";
    EXPECT_EQ(ovFile_Delete(program, 2, "a/f", 3), 0);
    EXPECT_EQ(ovFile_RemoveDirectory(program, 2, "a", 1), 0);
    EXPECT_EQ(ovFile_Exists(program, 2, "a", 1), 0);
}

TEST_F(MemoryHostTest, AnOpenHandleKeepsADeletedFile) {
    TheHost().SetFile("f", "text");
    void* file = Open("f", kOpenExisting);
    EXPECT_EQ(ovFile_Delete(TheHost().Program(), 2, "f", 1), 0);
    EXPECT_LT(ovFile_Delete(TheHost().Program(), 2, "f", 1), 0);
    char buffer[4] = {};
    EXPECT_EQ(ovFile_Read(file, buffer, 4), 4);
}

TEST_F(MemoryHostTest, ATemporaryFileStandsBesideThePathUnderANameOfItsOwn) {
    TheHost().SetFile("a/f", "");
    char* name = nullptr;
    int32_t length = 0;
    void* file = ovFile_MakeTemporary(TheHost().Program(), 2, "a/f", 3, 39, &name, &length);
    ASSERT_NE(file, nullptr);
    const std::string path(name, static_cast<size_t>(length));
    EXPECT_EQ(path.substr(0, 2), "a/");
    EXPECT_TRUE(TheHost().HasFile(path));
    EXPECT_EQ(TheHost().AllocatedCount(), 1);
    ovProgram_Free(TheHost().Program(), name);
    EXPECT_EQ(TheHost().AllocatedCount(), 0);
    EXPECT_TRUE(TheHost().Misuses().empty());
}

// --- Locks ---

TEST_F(MemoryHostTest, TwoHandlesConflictOnOverlappingExclusiveRanges) {
    void* first = Open("f");
    void* second = Open("f", kOpenExisting);
    EXPECT_EQ(ovFile_Lock(first, kLockExclusive, 10, 5), 0);
    EXPECT_LT(ovFile_Lock(second, kLockShared, 14, 1), 0);
    EXPECT_EQ(ovFile_Lock(second, kLockExclusive, 15, 1), 0);
    EXPECT_EQ(ovFile_Release(first, 10, 5), 0);
    EXPECT_EQ(ovFile_Lock(second, kLockShared, 14, 1), 0);
    EXPECT_EQ(ovFile_Lock(first, kLockShared, 14, 1), 0) << "readers share";
    EXPECT_LT(ovFile_Lock(first, kLockExclusive, 14, 1), 0);
}

TEST_F(MemoryHostTest, ALockGoesWithItsHandleAndWithItsProcess) {
    TheHost().SetCurrentProcess(1);
    void* first = Open("f");
    TheHost().SetCurrentProcess(2);
    void* second = Open("f", kOpenExisting);
    EXPECT_EQ(ovFile_Lock(first, kLockExclusive, 0, 1), 0);
    EXPECT_EQ(TheHost().Locks()[0].process, 1);
    EXPECT_LT(ovFile_Lock(second, kLockExclusive, 0, 1), 0);
    TheHost().KillProcess(1);
    EXPECT_EQ(ovFile_Lock(second, kLockExclusive, 0, 1), 0);
    ovFile_Close(second);
    EXPECT_TRUE(TheHost().Locks().empty());
}

TEST_F(MemoryHostTest, OneHandlesOwnOverlapIsGrantedUnlessTold) {
    void* file = Open("f");
    EXPECT_EQ(ovFile_Lock(file, kLockExclusive, 0, 10), 0);
    EXPECT_EQ(ovFile_Lock(file, kLockExclusive, 5, 10), 0);
    TheHost().SetSelfConflict(true);
    EXPECT_LT(ovFile_Lock(file, kLockExclusive, 7, 1), 0);
}

TEST_F(MemoryHostTest, TheHolderCanGoOnWhileAnotherWaits) {
    void* first = Open("f");
    void* second = Open("f", kOpenExisting);
    EXPECT_EQ(ovFile_Lock(first, kLockExclusive, 0, 1), 0);
    TheHost().SetConflictHandler([first] { EXPECT_EQ(ovFile_Release(first, 0, 1), 0); });
    EXPECT_EQ(ovFile_Lock(second, kLockExclusive, 0, 1), 0);
}

// --- Misuse ---

TEST_F(MemoryHostTest, MisuseIsNoticedAndHarmless) {
    void* file = Open("f");
    EXPECT_LT(ovFile_Release(file, 0, 1), 0);
    ovFile_Close(file);
    char byte = 0;
    EXPECT_LT(ovFile_Read(file, &byte, 1), 0);
    ovFile_Close(file);
    ovProgram_Free(TheHost().Program(), &byte);
    EXPECT_EQ(
        TheHost().Misuses(),
        (std::vector<std::string>{"ovFile_Release of a range that is not locked in f",
                                  "ovFile_Read on the closed f", "ovFile_Close on the closed f",
                                  "ovProgram_Free of an unknown block"}));
}

// --- Failures ---

TEST_F(MemoryHostTest, TheNthCallOfANamedServiceFailsOnce) {
    void* file = Open("f");
    TheHost().FailCall("ovFile_Write", 2);
    EXPECT_EQ(ovFile_Write(file, "abcd", 4), 4);
    EXPECT_EQ(ovFile_Seek(file, 4), 4);
    EXPECT_FALSE(TheHost().FailureHappened());
    EXPECT_EQ(ovFile_Write(file, "abcd", 4), 0);
    EXPECT_TRUE(TheHost().FailureHappened());
    EXPECT_EQ(ovFile_Write(file, "abcd", 4), 4);
    EXPECT_EQ(TheHost().FileText("f"), "abcdabcd");
    EXPECT_TRUE(HostFileError(TheHost().Program(), file) == TextView("Injected failure"));
}

TEST_F(MemoryHostTest, AFailureMayBeShortAndMayStay) {
    void* file = Open("f");
    TheHost().FailCall("ovFile_Write", 1, FailureKind::kShortByOne);
    EXPECT_EQ(ovFile_Write(file, "abcd", 4), 3);
    TheHost().ClearFailures();
    TheHost().FailCall("ovFile_Write", 1, FailureKind::kHalf, FailureSpan::kForEver);
    EXPECT_EQ(ovFile_Write(file, "defg", 4), 2);
    EXPECT_EQ(ovFile_Write(file, "fghi", 4), 2);
    EXPECT_EQ(TheHost().FileText("f"), "abcdefg");
}

TEST_F(MemoryHostTest, TheNthCallOfAnyServiceFails) {
    TheHost().FailCall(2);
    void* file = Open("f");
    EXPECT_NE(ovFile_Exists(TheHost().Program(), 2, "f", 1), 0) << "not counted";
    EXPECT_LT(ovFile_Lock(file, kLockShared, 0, 1), 0);
    EXPECT_EQ(TheHost().FallibleCalls(), 2);
    EXPECT_EQ(ovFile_Lock(file, kLockShared, 0, 1), 0);
}

TEST_F(MemoryHostTest, TheLogMarksFailedCalls) {
    EXPECT_EQ(Open("f", kOpenExisting), nullptr);
    EXPECT_EQ(TheHost().LogText(), "ovFile_Open f flags 3 failed\n");
    TheHost().ClearLog();
    EXPECT_EQ(TheHost().LogText(), "");
}

}  // namespace
}  // namespace ovrasql
