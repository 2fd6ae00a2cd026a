#include "foundation/alloc_hash_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <thread>
#include <vector>

namespace ovrasql {
namespace {

const std::string kBegin = "----------[Begin Session]----------\n";
const std::string kEnd = "----------[End Session]----------\n";

class AllocationReport : public ::testing::Test {
  protected:
    void SetUp() override {
        path_ = (std::filesystem::temp_directory_path() /
                 ("ovra_allocations_" +
                  std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name()))
                    .string();
        std::filesystem::remove(path_);
        ForgetTrackedAllocations();
    }
    void TearDown() override { std::filesystem::remove(path_); }

    [[nodiscard]] std::string Report() const {
        WriteAllocationReport(path_.c_str());
        std::ifstream file(path_);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    static std::string Line(const char* file, int line, int size, const void* address) {
        char text[300];
        std::snprintf(text, sizeof(text), "%s( %d ): %d bytes @ %p\n", file, line, size, address);
        return text;
    }

    std::string path_;
};

TEST_F(AllocationReport, OfAnEmptyTrackerHoldsTheTwoSessionLines) {
    EXPECT_EQ(Report(), kBegin + kEnd);
    EXPECT_EQ(Report(), kBegin + kEnd + kBegin + kEnd) << "sessions are appended";
}

TEST_F(AllocationReport, ShowsEachAllocationInOrder) {
    char* first = static_cast<char*>(TrackedNew(3, "one.cpp", 12));
    char* second = static_cast<char*>(TrackedNew(6, "two.cpp", 7));
    std::copy_n("abc", 3, first);
    std::copy_n("\x01z\xff ~\x7f", 6, second);
    EXPECT_EQ(Report(), kBegin + Line("one.cpp", 12, 3, first) + "\tabc\n" +
                            Line("two.cpp", 7, 6, second) + "\t<0x01>z<0xff> ~<0x7f>\n" + kEnd);
    TrackedDelete(first);
    TrackedDelete(second);
}

// The allocator of a sanitizer ends the program instead, and two GiB can be had on 32 bits.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(AllocationReport, WithoutMemoryThereIsNoAllocationToNote) {
    if (sizeof(void*) < 8) {
        GTEST_SKIP();
    }
    const volatile size_t size = std::numeric_limits<size_t>::max() / 2;
    EXPECT_EQ(TrackedNew(size, "huge.cpp", 1), nullptr);
    EXPECT_EQ(Report(), kBegin + kEnd);
}
#endif

TEST_F(AllocationReport, ShowsAtMostFiftyBytes) {
    void* memory = TrackedNew(60, "big.cpp", 1);
    std::memset(memory, 'x', 60);
    EXPECT_EQ(Report(),
              kBegin + Line("big.cpp", 1, 60, memory) + "\t" + std::string(50, 'x') + "\n" + kEnd);
    TrackedDelete(memory);
}

TEST_F(AllocationReport, LeavesOutWhatWasFreed) {
    void* kept = TrackedNew(0, "kept.cpp", 1);
    void* freed = TrackedNew(1, "freed.cpp", 2);
    TrackedDelete(freed);
    EXPECT_EQ(Report(), kBegin + Line("kept.cpp", 1, 0, kept) + "\t\n" + kEnd);
    TrackedDelete(kept);
}

TEST_F(AllocationReport, CutsAFileNameThatIsTooLong) {
    const std::string name(500, 'n');
    void* memory = TrackedNew(1, name.c_str(), 1);
    *static_cast<char*>(memory) = 'm';
    EXPECT_EQ(Report(),
              kBegin + Line(std::string(127, 'n').c_str(), 1, 1, memory) + "\tm\n" + kEnd);
    TrackedDelete(memory);
}

TEST_F(AllocationReport, AFileThatCannotBeOpenedIsLeftAlone) {
    const std::string path = path_ + "/no/such/folder";
    WriteAllocationReport(path.c_str());
    EXPECT_FALSE(std::filesystem::exists(path));
}

// The sanitizer run shows that the address is given back; here it must not disturb the record.
TEST_F(AllocationReport, AnAddressThatWasNeverTrackedIsFreedAllTheSame) {
    void* tracked = TrackedNew(1, "t.cpp", 1);
    *static_cast<char*>(tracked) = 't';
    TrackedDelete(std::malloc(8));
    TrackedDelete(nullptr);
    EXPECT_EQ(Report(), kBegin + Line("t.cpp", 1, 1, tracked) + "\tt\n" + kEnd);
    TrackedDelete(tracked);
}

TEST_F(AllocationReport, ForgettingLeavesTheAllocationsUsable) {
    char* memory = static_cast<char*>(TrackedNew(4, "t.cpp", 1));
    ForgetTrackedAllocations();
    std::memcpy(memory, "abc", 4);
    EXPECT_STREQ(memory, "abc");
    EXPECT_EQ(Report(), kBegin + kEnd);
    TrackedDelete(memory);
}

TEST_F(AllocationReport, ManyThreadsTrackAtOnce) {
    constexpr int32_t kThreads = 4;
    constexpr int32_t kRounds = 2000;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int32_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([] {
            std::vector<void*> held;
            held.reserve(kRounds);
            for (int32_t round = 0; round < kRounds; ++round) {
                held.push_back(TrackedNew(8, "thread.cpp", round));
            }
            for (void* memory : held) {
                TrackedDelete(memory);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Report(), kBegin + kEnd);
}

}  // namespace
}  // namespace ovrasql
