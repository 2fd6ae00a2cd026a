// The checker ends, and in good time, on any bytes at all; and of an index no byte that is in use
// can change without being noticed.

#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "tests/checker/planted_database.h"
#include "tests/support/script_session.h"

namespace ovrasql {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int kMutations = 300;
#else
constexpr int kMutations = 2000;
#endif

std::vector<checker::Finding> Check(const FileMap& files) {
    (void)checker::ReadTables(files, "main.dbf");
    return checker::CheckDatabase(files, "main.dbf");
}

std::string AnyPath(const FileMap& files, std::mt19937& random) {
    return std::next(files.begin(), static_cast<std::ptrdiff_t>(random() % files.size()))->first;
}

TEST(AnyBytes, ChangedAtRandomAreTaken) {
    std::mt19937 random(7);
    for (int round = 0; round < kMutations; ++round) {
        FileMap files = HealthyFiles();
        for (size_t count = 1 + random() % 20; count > 0; --count) {
            FileBytes& bytes = files[AnyPath(files, random)];
            // Mostly in the headers, where lengths and numbers stand.
            const size_t reach =
                random() % 2 == 0 ? std::min<size_t>(bytes.size(), 200) : bytes.size();
            bytes[random() % reach] = static_cast<uint8_t>(random() % 3 == 0 ? 0xFF : random());
        }
        (void)Check(files);
    }
}

TEST(AnyBytes, CutAnywhereAreTaken) {
    std::mt19937 random(8);
    for (int round = 0; round < kMutations / 4; ++round) {
        FileMap files = HealthyFiles();
        FileBytes& bytes = files[AnyPath(files, random)];
        bytes.resize(random() % bytes.size());
        EXPECT_FALSE(Check(files).empty());
    }
}

TEST(AnyBytes, ThatAreNoiseAreTaken) {
    std::mt19937 random(9);
    for (int round = 0; round < kMutations / 20; ++round) {
        FileMap files = HealthyFiles();
        for (auto& [path, bytes] : files) {
            if (path != "main.dbf" || round % 2 == 0) {
                std::generate(bytes.begin(), bytes.end(),
                              [&] { return static_cast<uint8_t>(random()); });
            }
        }
        EXPECT_FALSE(Check(files).empty());
    }
}

// A memo file without any end mark, and 50,000 records that each point into it.
TEST(AnyBytes, OfOneEndlessTextForAllRecordsTakeNoQuadraticTime) {
    FileMap files = HealthyFiles();
    FileBytes& data = files["people.dbf"];
    FileBytes record(data.begin() + 193, data.begin() + 228);
    data.resize(193);
    for (int number = 0; number < 50000; ++number) {
        const std::string block = std::to_string(1000000 + number % 2000 + 1).substr(1);
        std::copy(block.begin(), block.end(), record.end() - 6);
        data.insert(data.end(), record.begin(), record.end());
    }
    data.push_back(0x1A);
    Planter(&files).Set32("people.dbf", 4, 50000);
    files["people.dbt"] = FileBytes(2001 * 512, 'x');
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Check(files).empty());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

// A small database with an index of two levels.
FileMap SmallFiles() {
    TheHost().Reset();
    TestDatabase database;
    EXPECT_TRUE(database.Create());
    EXPECT_EQ(database.Run("create table t (a char(4))"), "");
    EXPECT_EQ(database.Run("create index ta on t (a)"), "");
    for (int number = 1; number <= 9; ++number) {
        EXPECT_EQ(database.Run("insert into t values (?)", {"k" + std::to_string(number)}), "");
    }
    return TakeFiles();
}

bool IsGeneration(size_t offset) { return offset >= 5 && offset < 9; }

// What lies behind a page's last child, and behind a key's end, is left from earlier.
bool IsInUse(const Planter& planter, size_t offset) {
    const uint32_t page = static_cast<uint32_t>(offset / 1024);
    if (page == 0) {
        return !IsGeneration(offset);
    }
    const size_t within = offset % 1024;
    const uint32_t entry = within < 4 ? 0 : static_cast<uint32_t>((within - 4) / 108);
    const uint32_t count = planter.Count("ta.ovx", page);
    const bool isKey = within >= 4 && (within - 4) % 108 >= 8;
    if (entry >= count) {
        return entry == count && !isKey && offset < Planter::RecordOf(page, entry);
    }
    return !isKey || offset <= Planter::KeyOf(page, entry) + 2;
}

TEST(AnyBytes, OfAnIndexThatAreInUseCannotChangeUnnoticed) {
    const FileMap healthy = SmallFiles();
    FileMap files = healthy;
    Planter planter(&files);
    const size_t size = planter.File("ta.ovx").size();
    ASSERT_EQ(size, 4U * 1024);
    size_t noticed = 0;
    for (size_t offset = 0; offset < size; ++offset) {
        if (!IsInUse(planter, offset)) {
            continue;
        }
        for (const uint32_t change : {0x01U, 0x80U}) {
            planter.Set8("ta.ovx", offset, healthy.at("ta.ovx")[offset] ^ change);
            EXPECT_FALSE(checker::CheckDatabase(files, "main.dbf").empty()) << offset;
            ++noticed;
        }
        planter.Set8("ta.ovx", offset, healthy.at("ta.ovx")[offset]);
    }
    EXPECT_GT(noticed, 2000U);
}

}  // namespace
}  // namespace ovrasql
