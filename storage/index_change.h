#pragma once

// A key on its way into or out of the tree: what the recursions of index_insert.cpp and
// index_delete.cpp carry along. It lives as long as one InsertKey or DeleteKey, under the
// exclusive header lock. Both recursions are bounded by the path, which has kIndexMaximumDepth
// places.

#include <algorithm>
#include <cstdint>

#include "storage/ovra_sql_index.h"

namespace ovrasql {

struct OvraSQLIndex::Change {
    Change(const IndexHeader& header, TextView cutKey, uint32_t record)
        : key(cutKey, true, header.Flags()), recordNumber(record), pageCount(header.PageCount()) {}

    // Each page of an undamaged tree is loaded once on the way down, and up to two siblings of each
    // page of the path on the way up.
    static constexpr uint64_t kSiblingLoads = 3 * kIndexMaximumDepth;

    // One load more. False when there have been more than the pages allow: no more pages than the
    // highest number among them have been seen, whatever the header says.
    [[nodiscard]] bool CountLoad() {
        ++loads;
        return loads <= std::min(highestPage, pageCount) + kSiblingLoads;
    }

    [[nodiscard]] bool IsOnPath(uint32_t number) const {
        for (int32_t index = 0; index < depth; ++index) {
            if (path[index] == number) {
                return true;
            }
        }
        return false;
    }

    // Goes down to the page. False when the path cannot be that of an undamaged tree. A page on the
    // path stays there until the recursion goes on beside it.
    [[nodiscard]] bool Enter(uint32_t number) {
        if (depth == kIndexMaximumDepth || IsOnPath(number)) {
            return false;
        }
        path[depth] = number;
        ++depth;
        return true;
    }

    void Leave() { --depth; }

    SearchKey key;  // borrows the caller's text
    uint32_t recordNumber;
    uint32_t pageCount;
    uint64_t loads = 0;
    uint32_t highestPage = 0;  // among the pages loaded
    uint32_t path[kIndexMaximumDepth] = {};
    int32_t depth = 0;

    // What a level hands up to its parent, with the key in promotedKey_: an entry, and the page
    // that becomes the child right of it.
    uint32_t newPage = 0;
    uint32_t newRecord = 0;
};

}  // namespace ovrasql
