#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "tests/damage/damaged_database.h"

// Files that end too soon, that are missing, that are another file, or that go on behind their end.

namespace ovrasql {
namespace {

void AddAround(size_t place, size_t end, std::set<size_t>* lengths) {
    for (const size_t length : {place - 1, place, place + 1}) {
        if (length < end) {
            lengths->insert(length);
        }
    }
}

// Around every boundary of the format: header, descriptors, records and their cells in data files,
// blocks in memo files, pages and entries in index files.
std::set<size_t> Lengths(const std::string& path, const Bytes& bytes) {
    std::set<size_t> lengths = {0};
    const size_t end = bytes.size();
    const std::string extension = path.substr(path.size() - 4);
    if (extension == ".dbf") {
        for (size_t place = 32; place <= Get(bytes, 8, 2); place += 32) {
            AddAround(place, end, &lengths);
        }
        for (size_t place = Get(bytes, 8, 2); place <= end; place += Get(bytes, 10, 2)) {
            AddAround(place, end, &lengths);
            AddAround(place + 12, end, &lengths);
        }
    } else if (extension == ".dbt") {
        for (size_t place = 512; place <= end; place += 512) {
            AddAround(place, end, &lengths);
            AddAround(place + 4, end, &lengths);
        }
    } else {
        AddAround(427, end, &lengths);
        for (size_t place = 1024; place <= end; place += 1024) {
            AddAround(place, end, &lengths);
            for (size_t entry = place + 4; entry < place + 1024; entry += 108) {
                AddAround(entry, end, &lengths);
            }
        }
    }
    for (const size_t place : {size_t{1}, size_t{4}, size_t{5}, size_t{31}, end - 1}) {
        AddAround(place, end, &lengths);
    }
    return lengths;
}

TEST(WholeFiles, CutAtEveryBoundary) {
    DamageTally tally;
    size_t expected = 0;
    for (const auto& [path, sound] : SoundFiles()) {
        const std::set<size_t> lengths = Lengths(path, sound);
        expected += lengths.size();
        for (const size_t length : lengths) {
            Files files = SoundFiles();
            files[path].resize(length);
            RunDamaged(path + " of " + std::to_string(length) + " bytes", files, &tally);
        }
    }
    Report("truncations", tally, {808, 0});
    EXPECT_EQ(static_cast<size_t>(tally.cases), expected);
    EXPECT_EQ(tally.cases, 1095);
}

TEST(WholeFiles, MissingOrDirectories) {
    DamageTally tally;
    for (const auto& [path, sound] : SoundFiles()) {
        Files files = SoundFiles();
        files.erase(path);
        RunDamaged(path + " missing", files, &tally);
        files[path + "/inside"] = Bytes();
        RunDamaged(path + " is a folder", files, &tally);
    }
    Report("missing files", tally, {11, 0});
    EXPECT_EQ(tally.cases, 18);
}

// Each file in the place of each other one: the catalog as a table, a table as an index.
TEST(WholeFiles, InEachOthersPlace) {
    DamageTally tally;
    for (const auto& [path, sound] : SoundFiles()) {
        for (const auto& [other, content] : SoundFiles()) {
            if (path != other) {
                Files files = SoundFiles();
                files[path] = content;
                RunDamaged(path + " is " + other, files, &tally);
            }
        }
    }
    Report("exchanged files", tally, {46, 24});
    EXPECT_EQ(tally.cases, 9 * 8);
}

TEST(WholeFiles, OfOneByteOnly) {
    DamageTally tally;
    for (const auto& [path, sound] : SoundFiles()) {
        for (const int byte : {0x00, 0x03, 0x1A, 0x20, 0x2A, 0x83, 0xFF}) {
            Files files = SoundFiles();
            std::fill(files[path].begin(), files[path].end(), static_cast<uint8_t>(byte));
            RunDamaged(path + " of bytes " + std::to_string(byte), files, &tally);
        }
    }
    Report("files of one byte", tally, {33, 0});
    EXPECT_EQ(tally.cases, 9 * 7);
}

TEST(WholeFiles, WithMoreBehindTheirEnd) {
    DamageTally tally;
    for (const auto& [path, sound] : SoundFiles()) {
        for (const int byte : {0x00, 0x1A, 0x20, 0xFF}) {
            Files files = SoundFiles();
            files[path].resize(sound.size() + 3000, static_cast<uint8_t>(byte));
            RunDamaged(path + " with 3000 bytes more", files, &tally);
        }
    }
    Report("files that go on", tally, {0, 0});
    EXPECT_EQ(tally.cases, 9 * 4);
}

}  // namespace
}  // namespace ovrasql
