#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/damage/damaged_database.h"

// Rows of the catalog that make no sense: names that are paths, empty, too long or twice there,
// files that are the catalog itself, columns that no table has. The keys of the catalog's indexes
// are as they were, unless a test changes them as well.

namespace ovrasql {
namespace {

constexpr size_t kCatalogHeader = 32 * 6 + 33;
constexpr size_t kRow = 1 + 1 + 64 + 64 + 254 + 254 + 19;
constexpr size_t kRows = 5;

struct Column {
    const char* name;
    size_t offset;  // in a row
    size_t width;
    std::vector<std::string> texts;
};

const std::string kLong(300, 'x');

const Column kColumns[] = {
    {"TYPE", 1, 1, {"", "T", "I", "X", "t", "*"}},
    {"TABLE",
     2,
     64,
     {"", "item", "ITEM", "part", "Schema", "unknown", ":", "item:", "a/b", "../item", kLong,
      "select", "%s", "\xFF\xFE", " item", "item_name"}},
    {"INDEX",
     66,
     64,
     {"", "item", "item_name", "part_item", "Schema_1", "unknown", ":", "../x", kLong, "%n", " x"}},
    {"FILE",
     130,
     254,
     {"",
      "/",
      ".",
      "..",
      "main.dbf",
      "main.ovx",
      "maini.ovx",
      "item.dbf",
      "item.dbt",
      "part.dbf",
      "part_item.ovx",
      "item_name.ovx",
      "missing.dbf",
      "folder",
      "a/b/c",
      "../../../etc/passwd",
      "/etc/passwd",
      "item",
      ".dbf",
      "ITEM.DBF",
      kLong,
      "%s%s%s%n",
      "item.dbf/",
      "\xFF"}},
    {"COLUMNS",
     384,
     254,
     {"", ":", ":::::", "NAME", "NAME:NAME", "UNKNOWN", "UNKNOWN:NAME", "NAME:UNKNOWN", "name",
      "PRICE:NAME:SOLD:MADE:TEXT", "TEXT", "ITEM:AMOUNT", kLong, " NAME", "TYPE:TABLE:INDEX",
      "NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME:NAME"}},
    {"INDEXFLAGS",
     638,
     19,
     {"", "0", "1", "2", "3", "4", "7", "-1", "8", "2147483647", "2147483648", "4294967295",
      "99999999999999999999", "abc", "1e5", "0x7"}},
};

void PutCell(Files* files, size_t row, const Column& column, const std::string& text) {
    Bytes& bytes = (*files)["main.dbf"];
    const size_t start = kCatalogHeader + row * kRow + column.offset;
    for (size_t i = 0; i < column.width; ++i) {
        bytes[start + i] = i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{' '};
    }
}

std::string CaseName(size_t row, const Column& column, const std::string& text) {
    return "main.dbf row " + std::to_string(row + 1) + " " + column.name + " = " + text;
}

TEST(CatalogRows, HaveTheLayoutThatTheTestsExpect) {
    const Bytes& bytes = SoundFiles().at("main.dbf");
    EXPECT_EQ(Get(bytes, 4, 4), kRows);
    EXPECT_EQ(Get(bytes, 8, 2), kCatalogHeader);
    EXPECT_EQ(Get(bytes, 10, 2), kRow);
}

TEST(CatalogRows, EveryCellWithNonsense) {
    DamageTally tally;
    int32_t expected = 0;
    for (size_t row = 0; row < kRows; ++row) {
        for (const Column& column : kColumns) {
            for (const std::string& text : column.texts) {
                Files files = SoundFiles();
                files["folder/file"] = Bytes();
                PutCell(&files, row, column, text);
                RunDamaged(CaseName(row, column, text), files, &tally);
                ++expected;
            }
        }
    }
    Report("catalog cells", tally, {195, 84});
    EXPECT_EQ(tally.cases, expected);
    EXPECT_EQ(tally.cases, 5 * (6 + 16 + 11 + 24 + 16 + 16));
}

// The same nonsense in all rows at once: two tables in one file, all indexes in one file.
TEST(CatalogRows, EveryRowWithTheSameNonsense) {
    DamageTally tally;
    for (const Column& column : kColumns) {
        for (const std::string& text : column.texts) {
            Files files = SoundFiles();
            for (size_t row = 0; row < kRows; ++row) {
                PutCell(&files, row, column, text);
            }
            RunDamaged("main.dbf all rows " + std::string(column.name) + " = " + text, files,
                       &tally);
        }
    }
    Report("catalog columns", tally, {55, 84});
    EXPECT_EQ(tally.cases, 6 + 16 + 11 + 24 + 16 + 16);
}

TEST(CatalogRows, EveryRowInThePlaceOfEveryOther) {
    DamageTally tally;
    const Bytes& sound = SoundFiles().at("main.dbf");
    for (size_t from = 0; from < kRows; ++from) {
        for (size_t to = 0; to < kRows; ++to) {
            if (from != to) {
                Files files = SoundFiles();
                std::copy_n(
                    sound.begin() + static_cast<ptrdiff_t>(kCatalogHeader + from * kRow), kRow,
                    files["main.dbf"].begin() + static_cast<ptrdiff_t>(kCatalogHeader + to * kRow));
                RunDamaged("main.dbf row " + std::to_string(to + 1) + " is a copy of row " +
                               std::to_string(from + 1),
                           files, &tally);
            }
        }
    }
    Report("copied rows", tally, {18, 0});
    EXPECT_EQ(tally.cases, 20);
}

// A key and the cell that it was made from change together, so that the name is found.
TEST(CatalogRows, NamesThatTheIndexesKnow) {
    DamageTally tally;
    for (const char* name : {"schema", "part", "    ", "::::", "../.", "\xFF\xFF\xFF\xFF"}) {
        Files files = SoundFiles();
        const std::string text = std::string(name).substr(0, 4);
        const std::string from = "ITEM";
        for (const char* path : {"main.dbf", "main.ovx", "maini.ovx"}) {
            Bytes& bytes = files[path];
            for (const std::string& old : {std::string("item"), from}) {
                auto place = bytes.begin();
                while ((place = std::search(place, bytes.end(), old.begin(), old.end())) !=
                       bytes.end()) {
                    place = std::copy(text.begin(), text.end(), place);
                }
            }
        }
        RunDamaged(std::string("main.dbf names of ") + name, files, &tally);
    }
    Report("catalog names", tally, {5, 0});
    EXPECT_EQ(tally.cases, 6);
}

}  // namespace
}  // namespace ovrasql
