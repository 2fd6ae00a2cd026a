#include "language/keyword_lookup.h"

#include "foundation/text_compare.h"

// A perfect hash made by the compiler: words fall into buckets by the low bits of their hash, and
// each bucket has a multiplier under which its words take slots that no other word has (hash and
// displace: Belazzougui, Botelho, Dietzfelbinger, 2009). Big buckets choose first.

namespace ovrasql {

namespace {

constexpr SQLKeyword kRows[] = {
#define KEYWORD(code, name, text) {code, static_cast<int32_t>(sizeof(text)) - 1, text},
#include "ovrasql/keywords.def"
#undef KEYWORD
};
constexpr int32_t kRowCount = static_cast<int32_t>(sizeof(kRows) / sizeof(kRows[0]));
static_assert(kRowCount == 242, "the table of words is closed");

constexpr uint32_t kBucketCount = 128;
constexpr int32_t kSlotBits = 9;
constexpr uint32_t kMultiplierLimit = 256;
constexpr uint8_t kNoRow = 255;
static_assert(kRowCount < kNoRow);

// FNV-1a over the lower-cased bytes.
constexpr uint32_t HashWord(const char* text, int32_t length) {
    uint32_t hash = 2166136261U;
    for (int32_t index = 0; index < length; ++index) {
        hash = (hash ^ static_cast<uint8_t>(ToLower(text[index]))) * 16777619U;
    }
    return hash;
}

constexpr uint32_t SlotOf(uint32_t hash, uint32_t multiplier) {
    return (hash * (2 * multiplier + 1)) >> (32 - kSlotBits);
}

struct PerfectHash {
    uint8_t multipliers[kBucketCount] = {};
    uint8_t rows[1U << kSlotBits] = {};
    bool complete = true;
};

// Tries to put every word of the bucket into free slots of their own; all or none are placed.
constexpr bool PlaceBucket(PerfectHash& made, const uint32_t* hashes, uint32_t bucket,
                           uint32_t multiplier) {
    for (int32_t row = 0; row < kRowCount; ++row) {
        if (hashes[row] % kBucketCount != bucket) {
            continue;
        }
        uint8_t& slot = made.rows[SlotOf(hashes[row], multiplier)];
        if (slot == kNoRow) {
            slot = static_cast<uint8_t>(row);
            continue;
        }
        for (int32_t placed = 0; placed < row; ++placed) {
            uint8_t& taken = made.rows[SlotOf(hashes[placed], multiplier)];
            if (hashes[placed] % kBucketCount == bucket && taken == placed) {
                taken = kNoRow;
            }
        }
        return false;
    }
    return true;
}

constexpr PerfectHash MakePerfectHash() {
    PerfectHash made;
    for (uint8_t& row : made.rows) {
        row = kNoRow;
    }
    uint32_t hashes[kRowCount] = {};
    int32_t sizes[kBucketCount] = {};
    for (int32_t row = 0; row < kRowCount; ++row) {
        hashes[row] = HashWord(kRows[row].text, kRows[row].length);
        ++sizes[hashes[row] % kBucketCount];
    }
    for (int32_t size = 10; size > 0; --size) {
        for (uint32_t bucket = 0; bucket < kBucketCount; ++bucket) {
            if (sizes[bucket] != size) {
                continue;
            }
            uint32_t multiplier = 0;
            while (multiplier < kMultiplierLimit &&
                   !PlaceBucket(made, hashes, bucket, multiplier)) {
                ++multiplier;
            }
            made.complete = made.complete && multiplier < kMultiplierLimit;
            made.multipliers[bucket] = static_cast<uint8_t>(multiplier);
        }
    }
    return made;
}

constexpr PerfectHash kHash = MakePerfectHash();
static_assert(kHash.complete, "every bucket has its slots");

constexpr int32_t LongestRow() {
    int32_t longest = 0;
    for (const SQLKeyword& row : kRows) {
        longest = row.length > longest ? row.length : longest;
    }
    return longest;
}
constexpr int32_t kLongestRow = LongestRow();

}  // namespace

const SQLKeyword* SQLKeywordLookup::Lookup(TextView text) {
    if (text.length > kLongestRow) {
        return nullptr;
    }
    const uint32_t hash = HashWord(text.data, text.length);
    const uint8_t index = kHash.rows[SlotOf(hash, kHash.multipliers[hash % kBucketCount])];
    if (index == kNoRow) {
        return nullptr;
    }
    const SQLKeyword& row = kRows[index];
    return EqualsNoCase(TextView(row.text, row.length), text) ? &row : nullptr;
}

int32_t SQLKeywordLookup::Count() { return kRowCount; }

const SQLKeyword& SQLKeywordLookup::Row(int32_t index) { return kRows[index]; }

}  // namespace ovrasql
