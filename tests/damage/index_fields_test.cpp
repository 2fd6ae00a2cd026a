#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/damage/damaged_database.h"

// Index files (.ovx): fields of the header and of pages at their limits, and pages that lead to
// themselves, to each other, to pages of another level, or nowhere.

namespace ovrasql {
namespace {

constexpr size_t kPage = 1024;
constexpr size_t kEntry = 108;

const std::vector<std::string> kIndexFiles = {"item_name.ovx", "item_price.ovx", "part_item.ovx",
                                              "main.ovx", "maini.ovx"};

size_t PageCount(const Bytes& bytes) { return bytes.size() / kPage; }

std::vector<size_t> PlacesOfPages(const Bytes& sound) {
    std::vector<size_t> places;
    for (size_t page = 1; page < PageCount(sound); ++page) {
        places.push_back(page * kPage);
    }
    return places;
}

// Of those that are in use; each begins with the child in front of its key.
std::vector<size_t> PlacesOfEntries(const Bytes& sound) {
    std::vector<size_t> places;
    for (const size_t page : PlacesOfPages(sound)) {
        for (size_t slot = 0; slot < Get(sound, page, 4); ++slot) {
            places.push_back(page + 4 + slot * kEntry);
        }
    }
    return places;
}

TEST(IndexFields, EveryFieldOfTheHeader) {
    const std::vector<DamagedField> fields = {
        {"magic", 0, 4, {}},
        {"version", 4, 1, {2, 3, 4}},
        {"generation", 5, 4, {}},
        {"next page", 9, 4, {2, 3, 1000, 0x003FFFFF, 0x00400000}},
        {"root", 13, 4, {2, 3, 4, 5, 6, 7, 8, 9, 0x003FFFFF, 0x00400000}},
        {"order", 17, 2, {2, 3, 4, 7, 9, 10}},
        {"page size", 19, 2, {2, 3, 4, 8, 12, 116, 117, 425, 426, 427, 428, 512, 975, 976, 980}},
        {"entry size", 21, 2, {2, 4, 7, 8, 9, 10, 100, 112, 113, 114, 500, 1016, 1020, 1021, 1024}},
        {"flags", 23, 4, {2, 3, 4, 5, 6, 7, 8}},
    };
    DamageTally tally;
    TryFields(kIndexFiles, PlaceOfHeader, fields, &tally);
    Report("index headers", tally, {367, 145});
    EXPECT_EQ(tally.cases, 640);
}

// Sizes that are wrong together: the one would be refused, the other hides it.
TEST(IndexFields, PageAndEntrySizesAndOrders) {
    DamageTally tally;
    for (const std::string& path : kIndexFiles) {
        for (const uint32_t page : {0U, 1U, 16U, 17U, 64U, 1024U, 4096U, 65535U}) {
            for (const uint32_t entry : {0U, 8U, 9U, 10U, 12U, 60U, 1010U, 65535U}) {
                for (const uint32_t order : {0U, 1U, 2U, 8U, 65535U}) {
                    Files files = SoundFiles();
                    Put(&files[path], 17, 2, order);
                    Put(&files[path], 19, 2, page);
                    Put(&files[path], 21, 2, entry);
                    RunDamaged(path + " pages of " + std::to_string(page) + ", entries of " +
                                   std::to_string(entry) + ", order " + std::to_string(order),
                               files, &tally);
                }
            }
        }
    }
    Report("index sizes", tally, {1040, 160});
    EXPECT_EQ(tally.cases, 5 * 8 * 8 * 5);
}

TEST(IndexFields, TheKeyCountOfEveryPage) {
    DamageTally tally;
    TryFields(kIndexFiles, PlacesOfPages, {{"key count", 0, 4, {7, 8, 9, 10, 100}}}, &tally);
    Report("key counts", tally, {127, 13});
    EXPECT_EQ(tally.cases, 234);
}

// Every child slot that is in use leads to every page: itself, its parent, its siblings (so that a
// page is shared), the header, the next page number and beyond.
TEST(IndexFields, EveryChildLeadsToEveryPage) {
    DamageTally tally;
    for (const std::string& path : kIndexFiles) {
        const Bytes& sound = SoundFiles().at(path);
        const size_t pages = PageCount(sound);
        for (size_t page = 1; page < pages; ++page) {
            for (size_t slot = 0; slot <= Get(sound, page * kPage, 4); ++slot) {
                const size_t offset = page * kPage + 4 + slot * kEntry;
                for (uint32_t target = 0; target <= pages + 1; ++target) {
                    if (target == Get(sound, offset, 4)) {
                        continue;
                    }
                    Files files = SoundFiles();
                    Put(&files[path], offset, 4, target);
                    RunDamaged(path + " page " + std::to_string(page) + " child " +
                                   std::to_string(slot) + " is page " + std::to_string(target),
                               files, &tally);
                }
            }
        }
    }
    Report("child pages", tally, {328, 0});
    EXPECT_EQ(tally.cases, 712);
}

TEST(IndexFields, WildChildrenAndRecordNumbers) {
    DamageTally tally;
    TryFields(kIndexFiles, PlacesOfEntries,
              {{"child", 0, 4, {}}, {"record number", 4, 4, {31, 32}}}, &tally);
    Report("children and record numbers", tally, {469, 23});
    EXPECT_EQ(tally.cases, 1332);
}

// Keys that fill their room without a NUL, are empty, or out of order.
TEST(IndexFields, Keys) {
    const std::string keys[] = {std::string(100, 'K'),
                                std::string(99, 'Z'),
                                std::string(100, '\xFF'),
                                std::string(),
                                std::string(100, '9'),
                                "NAN",
                                "1E400",
                                std::string(50, ':')};
    DamageTally tally;
    for (const std::string& path : kIndexFiles) {
        for (const size_t entry : PlacesOfEntries(SoundFiles().at(path))) {
            for (const std::string& key : keys) {
                Files files = SoundFiles();
                for (size_t i = 0; i < 100; ++i) {
                    files[path][entry + 8 + i] =
                        i < key.size() ? static_cast<uint8_t>(key[i]) : uint8_t{0};
                }
                RunDamaged(path + " key at " + std::to_string(entry) + " = " + key, files, &tally);
            }
        }
    }
    Report("keys", tally, {312, 0});
    EXPECT_EQ(tally.cases, 664);
}

// All pages are one: every page number of the file leads to the same few keys.
TEST(IndexFields, PagesThatAreCopiesOfEachOther) {
    DamageTally tally;
    for (const std::string& path : kIndexFiles) {
        const Bytes& sound = SoundFiles().at(path);
        const size_t pages = PageCount(sound);
        for (size_t from = 0; from < pages; ++from) {
            for (size_t to = 0; to < pages; ++to) {
                if (from != to) {
                    Files files = SoundFiles();
                    std::copy_n(sound.begin() + static_cast<ptrdiff_t>(from * kPage), kPage,
                                files[path].begin() + static_cast<ptrdiff_t>(to * kPage));
                    RunDamaged(path + " page " + std::to_string(to) + " is a copy of page " +
                                   std::to_string(from),
                               files, &tally);
                }
            }
        }
    }
    Report("copied pages", tally, {84, 0});
    EXPECT_EQ(tally.cases, 110);
}

}  // namespace
}  // namespace ovrasql
