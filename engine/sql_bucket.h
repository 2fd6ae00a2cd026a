#pragma once

// SQLBucket: the groups of an aggregating query, each with a fixed number of accumulators; also the
// set of rows seen by DISTINCT and UNION, which use no accumulator.
//
// Owner: the run loop's slot of buckets. Groups are found by their key text, without regard to case
// on a case-insensitive database, and come out in the order of their first appearance with the
// first spelling of their key. The default group, of a query without GROUP BY, is not among them.

#include <cstdint>
#include <memory>

#include "engine/sql_result.h"
#include "foundation/arena.h"
#include "foundation/hash_table.h"
#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

// A value that COUNT(DISTINCT) has seen.
struct SQLBucketDistinctEntry {
    explicit SQLBucketDistinctEntry(TextView text) { value.Assign(text); }

    String value;
};

inline TextView ItemName(const SQLBucketDistinctEntry& entry) { return entry.value.View(); }

// One accumulator of one group.
struct SQLBucketEntry {
    SQLKeptResult value;
    double sum = 0.0;
    int32_t count = 0;
    // Made with the first value, since most accumulators never need it.
    std::unique_ptr<HashTable<SQLBucketDistinctEntry>> distinctValues;

    // Adds 1, wrapping.
    void Count();
    void CountDistinct(TextView text, bool caseInsensitive);
    void Average(double number);
    void Sum(double number);
};

// One group.
struct SQLBucketRecord {
    TextView key;  // in the bucket's arena
    // Made when one of them is first asked for.
    std::unique_ptr<SQLBucketEntry[]> entries;
};

inline TextView ItemName(const SQLBucketRecord& record) { return record.key; }

class SQLBucket {
  public:
    SQLBucket(int32_t accumulatorCount, bool caseInsensitive);
    virtual ~SQLBucket();
    SQLBucket(const SQLBucket&) = delete;
    SQLBucket& operator=(const SQLBucket&) = delete;

    // Replaces the default group by an empty one, which becomes current.
    void MakeDefault();
    // Makes the group of the key current. Whether it was there already.
    [[nodiscard]] bool FindOrCreate(TextView key);

    // Make the first or the next group current, or none. Without groups the walk is over the
    // default group alone, if there is one.
    [[nodiscard]] bool First();
    [[nodiscard]] bool Next();

    // An accumulator of the current group; null without one. The number was checked.
    [[nodiscard]] SQLBucketEntry* Entry(int32_t accumulator) {
        if (currentRecord_ == nullptr) {
            return nullptr;
        }
        if (currentRecord_->entries == nullptr) {
            MakeEntries(currentRecord_);
        }
        return &currentRecord_->entries[static_cast<size_t>(accumulator)];
    }

    [[nodiscard]] bool HasAccumulator(int32_t accumulator) const {
        return accumulator >= 0 && accumulator < accumulatorCount_;
    }
    [[nodiscard]] const SQLBucketRecord* CurrentRecord() const { return currentRecord_; }

  private:
    [[nodiscard]] static std::unique_ptr<SQLBucketRecord> NewRecord(TextView key);
    void MakeEntries(SQLBucketRecord* record) const;

    // The walk's position when it is over the default group, or has not begun.
    static constexpr int32_t kOverDefault = -1;

    int32_t accumulatorCount_;
    Arena keys_;
    std::unique_ptr<SQLBucketRecord> defaultRecord_;
    SQLBucketRecord* currentRecord_ = nullptr;
    HashTable<SQLBucketRecord> records_;
    int32_t walkPosition_ = kOverDefault;
};

}  // namespace ovrasql
