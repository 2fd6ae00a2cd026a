#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/damage/damaged_database.h"

// Data files (.dbf) and memo files (.dbt) whose fields hold what they should not: each field of the
// header, of each descriptor, of each record, at 0, 1, around its true value and at its limits.

namespace ovrasql {
namespace {

constexpr size_t kDataHeader = 32;
constexpr size_t kDescriptor = 32;

const std::vector<std::string> kDataFiles = {"item.dbf", "part.dbf", "main.dbf"};

size_t ColumnCount(const Bytes& bytes) { return (Get(bytes, 8, 2) - 33) / kDescriptor; }

std::vector<size_t> PlacesOfDescriptors(const Bytes& sound) {
    std::vector<size_t> places;
    for (size_t column = 0; column < ColumnCount(sound); ++column) {
        places.push_back(kDataHeader + column * kDescriptor);
    }
    return places;
}

TEST(DataFields, EveryFieldOfTheHeader) {
    const std::vector<DamagedField> fields = {
        {"version", 0, 1, {0x02, 0x03, 0x04, 0x83, 0x30, 0xF5}},
        {"year", 1, 1, {}},
        {"month", 2, 1, {13}},
        {"day", 3, 1, {32}},
        {"record count", 4, 4, {2, 1000, 65535, 65536, 0x00FFFFFF}},
        {"header length", 8, 2, {31, 32, 33, 34, 64, 65, 96, 97, 65505, 65506}},
        {"record length", 10, 2, {2, 3, 254, 255, 256, 4096}},
    };
    DamageTally tally;
    TryFields(kDataFiles, PlaceOfHeader, fields, &tally);
    Report("data headers", tally, {115, 5});
    EXPECT_EQ(tally.cases, 264);
}

TEST(DataFields, EveryFieldOfEveryDescriptor) {
    const std::vector<DamagedField> fields = {
        {"name's head", 0, 1, {' ', '"', '.', '/', '\n'}},
        {"name's end", 10, 1, {}},
        {"type", 11, 1, {'C', 'N', 'D', 'L', 'M', 'F', 'B', 'c', ' '}},
        {"length", 16, 1, {2, 8, 10, 19, 20, 254}},
        {"decimals", 17, 1, {15, 19}},
    };
    DamageTally tally;
    TryFields(kDataFiles, PlacesOfDescriptors, fields, &tally);
    Report("descriptors", tally, {265, 21});
    EXPECT_EQ(tally.cases, 701);
}

// Lengths and counts that are wrong together, so that one hides the other.
TEST(DataFields, LengthsThatContradictEachOther) {
    DamageTally tally;
    for (const std::string& path : kDataFiles) {
        for (const uint32_t header : {0U, 32U, 33U, 65U, 97U, 65535U}) {
            for (const uint32_t record : {0U, 1U, 2U, 65535U}) {
                for (const uint32_t count : {0U, 1U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
                    Files files = SoundFiles();
                    Put(&files[path], 4, 4, count);
                    Put(&files[path], 8, 2, header);
                    Put(&files[path], 10, 2, record);
                    RunDamaged(path + " count " + std::to_string(count) + " header " +
                                   std::to_string(header) + " record " + std::to_string(record),
                               files, &tally);
                }
            }
        }
    }
    Report("lengths", tally, {176, 0});
    EXPECT_EQ(tally.cases, 288);
}

// Names of columns that are twice there, empty, without an end, or no words.
TEST(DataFields, NamesOfColumns) {
    DamageTally tally;
    for (const std::string& path : kDataFiles) {
        const size_t columns = ColumnCount(SoundFiles().at(path));
        for (size_t column = 0; column < columns; ++column) {
            for (const char* name : {"", "NAME", "PRICE", "TYPE", "FILE", "ELEVENBYTES", "A B", "é",
                                     "select", "TEXT.NAME", "%s%n%s", "\n"}) {
                Files files = SoundFiles();
                Bytes& bytes = files[path];
                const std::string text(name);
                for (size_t i = 0; i < 11; ++i) {
                    bytes[kDataHeader + column * kDescriptor + i] =
                        i < text.size() ? static_cast<uint8_t>(text[i]) : 0;
                }
                RunDamaged(path + " column " + std::to_string(column) + " named " + text, files,
                           &tally);
            }
        }
    }
    Report("column names", tally, {77, 0});
    EXPECT_EQ(tally.cases, 156);
}

// Cells with bytes that are no text, no number, no date, no block number.
TEST(DataFields, CellsOfRecords) {
    const size_t record = 1;  // the second
    const Bytes& sound = SoundFiles().at("item.dbf");
    const size_t start = Get(sound, 8, 2) + record * Get(sound, 10, 2);
    const struct {
        const char* name;
        size_t offset;
        size_t width;
    } cells[] = {{"flag", 0, 1},  {"name", 1, 12}, {"price", 13, 7},
                 {"sold", 20, 1}, {"made", 21, 8}, {"text", 29, 10}};
    DamageTally tally;
    for (const auto& cell : cells) {
        for (const char* value : {"",
                                  "0",
                                  "1",
                                  "-1",
                                  "9",
                                  "99",
                                  "999999999999",
                                  "2147483647",
                                  "2147483648",
                                  "4294967295",
                                  "4294967296",
                                  "8388607",
                                  "8388608",
                                  "abc",
                                  "1e308",
                                  "-1e999",
                                  "inf",
                                  "nan",
                                  "0x10",
                                  "1.5",
                                  "********",
                                  "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"}) {
            Files files = SoundFiles();
            Bytes& bytes = files["item.dbf"];
            const std::string text(value);
            for (size_t i = 0; i < cell.width; ++i) {
                const size_t pad = text.size() < cell.width ? cell.width - text.size() : 0;
                bytes[start + cell.offset + i] =
                    i < pad ? ' ' : static_cast<uint8_t>(text[i - pad]);
            }
            RunDamaged(std::string("item.dbf ") + cell.name + " = " + value, files, &tally);
        }
    }
    Report("cells", tally, {77, 0});
    EXPECT_EQ(tally.cases, 6 * 22);
}

TEST(DataFields, TheNextFreeMemoBlock) {
    const std::vector<DamagedField> fields = {
        {"next block", 0, 4, {2, 3, 7, 8, 0x00800000, 0x007FFFFF, 0x00FFFFFF}}};
    DamageTally tally;
    TryFields({"item.dbt"}, PlaceOfHeader, fields, &tally);
    Report("memo headers", tally, {0, 0});
    EXPECT_EQ(tally.cases, 14);
}

// No text has an end mark: each runs through all blocks behind it, to the end of the file.
TEST(DataFields, MemosWithoutAnEnd) {
    DamageTally tally;
    for (const size_t size : {size_t{0}, size_t{513}, size_t{100000}, size_t{250000}}) {
        Files files = SoundFiles();
        Bytes& memo = files["item.dbt"];
        std::replace(memo.begin() + static_cast<ptrdiff_t>(std::min<size_t>(512, memo.size())),
                     memo.end(), uint8_t{0x1A}, uint8_t{'x'});
        memo.resize(std::max(memo.size(), size), 'x');
        RunDamaged("item.dbt without end marks, " + std::to_string(memo.size()) + " bytes", files,
                   &tally);
    }
    Report("memos without an end", tally, {0, 0});
    EXPECT_EQ(tally.cases, 4);
}

}  // namespace
}  // namespace ovrasql
