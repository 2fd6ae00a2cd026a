// Several processes with one index file: every change is made under the lock of its header, and a
// walk finds its place again when the generation has moved.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "host/host_database.h"
#include "library/host_services.h"
#include "storage/ovra_sql_index.h"
#include "tests/support/child_processes.h"
#include "tests/support/temporary_folder.h"

namespace {

using ovrasql::OvraSQLIndex;
using ovrasql::TextView;
using Statuses = std::vector<int>;

constexpr int32_t kOpenFlags = 3;
constexpr int32_t kTextKeys = 4;

std::string Key(int process, int number) {
    char text[32];
    std::snprintf(text, sizeof text, "K%05d-%02d", number * 37 % 10007, process);
    return text;
}

uint32_t RecordNumber(int process, int number) {
    return static_cast<uint32_t>(process * 10000 + number + 1);
}

class IndexProcessesTest : public testing::TestWithParam<int> {
  protected:
    IndexProcessesTest() : path_(folder_.File("keys.ovx")) {
        ovrasql::BindHostServices(nullptr);
        OvraSQLIndex index(&database_);
        created_ = index.Create(Path(), "toupper( d.K )", kTextKeys);
    }

    TextView Path() const { return {path_.c_str(), static_cast<int32_t>(path_.size())}; }

    // Each process inserts its own keys. 0 when all went in.
    int InsertKeys(int process, int count) {
        ovrahost::HostDatabase database;
        OvraSQLIndex index(&database);
        if (!index.Open(Path(), kOpenFlags)) {
            return 1;
        }
        for (int number = 0; number < count; ++number) {
            if (!index.InsertKey(RecordNumber(process, number), Key(process, number).c_str())) {
                return 2;
            }
        }
        return 0;
    }

    ovratest::TemporaryFolder folder_;
    std::string path_;
    ovrahost::HostDatabase database_;
    bool created_ = false;
};

TEST_P(IndexProcessesTest, EveryKeyInsertedByAnyProcessIsFound) {
    constexpr int kKeys = 200;
    ASSERT_TRUE(created_);
    const auto statuses = ovratest::RunProcesses(
        GetParam(), [this](int process) { return InsertKeys(process, kKeys); });
    EXPECT_EQ(statuses, Statuses(static_cast<std::size_t>(GetParam()), 0));

    OvraSQLIndex index(&database_);
    ASSERT_TRUE(index.Open(Path(), kOpenFlags));
    for (int process = 0; process < GetParam(); ++process) {
        for (int number = 0; number < kKeys; ++number) {
            uint32_t record = 0;
            bool found = false;
            ASSERT_TRUE(index.Seek(Key(process, number).c_str(), true, &record, &found, true));
            EXPECT_TRUE(found) << Key(process, number);
            EXPECT_EQ(record, RecordNumber(process, number));
        }
    }
    int walked = 0;
    std::string last;
    uint32_t record = 0;
    ASSERT_TRUE(index.First(&record, true));
    while (record != 0) {
        ++walked;
        TextView key;
        ASSERT_TRUE(index.Next(&record, &key, true));
        if (record != 0) {
            const std::string current(key.data, static_cast<std::size_t>(key.length));
            EXPECT_LT(last, current);
            last = current;
        }
    }
    EXPECT_EQ(walked, GetParam() * kKeys);
}

INSTANTIATE_TEST_SUITE_P(TwoAndEight, IndexProcessesTest, testing::Values(2, 8));

TEST_F(IndexProcessesTest, WalkMeetsEveryOldKeyWhileAnotherProcessInserts) {
    constexpr int kKeys = 300;
    ASSERT_TRUE(created_);
    ASSERT_EQ(InsertKeys(0, kKeys), 0);
    const auto statuses = ovratest::RunProcesses(2, [this](int process) {
        if (process == 1) {
            return InsertKeys(1, kKeys);
        }
        OvraSQLIndex index(&database_);
        if (!index.Open(Path(), kOpenFlags)) {
            return 1;
        }
        for (int round = 0; round < 20; ++round) {
            int oldKeys = 0;
            uint32_t record = 0;
            bool good = index.First(&record, true);
            while (good && record != 0) {
                oldKeys += record <= kKeys ? 1 : 0;
                good = index.Next(&record, nullptr, true);
            }
            if (!good || index.Failed()) {
                return 2;
            }
            if (oldKeys != kKeys) {
                return 3;
            }
        }
        return 0;
    });
    EXPECT_EQ(statuses, (Statuses{0, 0}));
}

}  // namespace
