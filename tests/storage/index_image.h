#pragma once

// IndexImage: what the bytes of an index file say, read without the library. Models of searches and
// changes work on it. Files with the usual sizes of page and entry alone, and undamaged ones.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/storage/index_support.h"

namespace ovrasql {

struct PageImage {
    std::vector<Entry> entries;
    uint32_t rightmost = 0;  // the child behind the last entry

    [[nodiscard]] size_t Count() const { return entries.size(); }
    // Of the entry at the position, or the rightmost one.
    [[nodiscard]] uint32_t Child(size_t position) const {
        return position < Count() ? entries[position].child : rightmost;
    }
    void SetChild(size_t position, uint32_t child) {
        (position < Count() ? entries[position].child : rightmost) = child;
    }
};

struct IndexImage {
    uint32_t generation = 0;
    uint32_t root = 1;
    uint32_t flags = 0;
    std::vector<PageImage> pages = std::vector<PageImage>(2);  // by number; the header is page 0
};

inline PageImage ReadPageImage(const std::string& bytes, size_t number) {
    PageImage page;
    const uint32_t count = LittleAt(bytes, number * 1024, 4);
    size_t offset = number * 1024 + 4;
    for (uint32_t position = 0; position < count; ++position, offset += 108) {
        page.entries.push_back({LittleAt(bytes, offset, 4), LittleAt(bytes, offset + 4, 4),
                                bytes.c_str() + offset + 8});
    }
    page.rightmost = LittleAt(bytes, offset, 4);
    return page;
}

inline IndexImage ReadIndexImage(const std::string& bytes) {
    IndexImage image;
    image.generation = LittleAt(bytes, 5, 4);
    image.root = LittleAt(bytes, 13, 4);
    image.flags = LittleAt(bytes, 23, 4);
    image.pages.resize(LittleAt(bytes, 9, 4));
    for (size_t number = 1; number < image.pages.size(); ++number) {
        image.pages[number] = ReadPageImage(bytes, number);
    }
    return image;
}

}  // namespace ovrasql
