// The two owners of what the host has given out: an open file and a locked range.

#include "storage/host_file.h"

#include <utility>

#include "storage/range_lock.h"
#include "tests/storage/data_support.h"

namespace ovrasql {
namespace {

class HostFileTest : public DataTest {
  protected:
    static void* OpenNew() {
        return ovFile_Open(TheHost().Program(), kDatabaseLocation, "f", 1, kOpenNew);
    }
    static std::string Releases() { return TheHost().LogText({"ovFile_Release"}); }
};

TEST_F(HostFileTest, AFileThatIsNotOpenFailsWithoutACall) {
    HostFile file;
    char bytes[4] = {};
    TheHost().ClearLog();
    EXPECT_FALSE(file.Seek(0));
    EXPECT_FALSE(file.Read(bytes, 4));
    EXPECT_EQ(file.ReadSome(bytes, 4), -1);
    EXPECT_FALSE(file.Write(bytes, 4));
    file.Close();
    EXPECT_EQ(TheHost().LogText(), "");
}

TEST_F(HostFileTest, ALockThatMovesIsReleasedOnceWhereItWent) {
    const HostFile file(OpenNew());
    {
        RangeLock first(file.Handle(), LockMode::kExclusive, 3, 5);
        RangeLock second(std::move(first));
        EXPECT_TRUE(second.Held());
        first.Release();  // NOLINT: a lock that has moved holds nothing
        EXPECT_EQ(Releases(), "");
    }
    EXPECT_EQ(Releases(), "ovFile_Release f at 3 length 5\n");
}

TEST_F(HostFileTest, ALockMovedToItselfIsStillHeld) {
    const HostFile file(OpenNew());
    RangeLock lock(file.Handle(), LockMode::kShared, 0, 1);
    RangeLock& same = lock;
    lock = std::move(same);
    EXPECT_TRUE(lock.Held());
    EXPECT_EQ(Releases(), "");
}

}  // namespace
}  // namespace ovrasql
