#include "engine/sql_bucket.h"

#include <utility>

namespace ovrasql {

void SQLBucketEntry::Count() {
    const uint32_t next = static_cast<uint32_t>(value.GetInteger()) + 1;
    value.SetInteger(static_cast<int32_t>(next));
}

void SQLBucketEntry::CountDistinct(TextView text, bool caseInsensitive) {
    if (distinctValues == nullptr) {
        distinctValues = std::make_unique<HashTable<SQLBucketDistinctEntry>>(true, caseInsensitive);
    }
    const uint32_t hash = distinctValues->HashKey(text);
    if (distinctValues->FindHashed(text, hash) == nullptr) {
        Count();
        distinctValues->AddHashed(std::make_unique<SQLBucketDistinctEntry>(text), hash);
    }
}

void SQLBucketEntry::Average(double number) {
    sum += number;
    count = static_cast<int32_t>(static_cast<uint32_t>(count) + 1);
    value.SetDouble(sum / count);
}

void SQLBucketEntry::Sum(double number) {
    sum += number;
    value.SetDouble(sum);
}

SQLBucket::SQLBucket(int32_t accumulatorCount, bool caseInsensitive)
    : accumulatorCount_(accumulatorCount), records_(true, caseInsensitive) {}

SQLBucket::~SQLBucket() = default;

std::unique_ptr<SQLBucketRecord> SQLBucket::NewRecord(TextView key) {
    auto record = std::make_unique<SQLBucketRecord>();
    record->key = key;
    return record;
}

void SQLBucket::MakeEntries(SQLBucketRecord* record) const {
    record->entries = std::make_unique<SQLBucketEntry[]>(static_cast<size_t>(accumulatorCount_));
}

void SQLBucket::MakeDefault() {
    currentRecord_ = nullptr;
    defaultRecord_ = NewRecord(TextView());
    currentRecord_ = defaultRecord_.get();
}

bool SQLBucket::FindOrCreate(TextView key) {
    const uint32_t hash = records_.HashKey(key);
    currentRecord_ = records_.FindHashed(key, hash);
    if (currentRecord_ != nullptr) {
        return true;
    }
    std::unique_ptr<SQLBucketRecord> made = NewRecord(keys_.Copy(key));
    SQLBucketRecord* const record = made.get();
    records_.AddHashed(std::move(made), hash);
    currentRecord_ = record;
    return false;
}

bool SQLBucket::First() {
    currentRecord_ = records_.ItemAt(0);
    walkPosition_ = 0;
    if (currentRecord_ == nullptr) {
        currentRecord_ = defaultRecord_.get();
        walkPosition_ = kOverDefault;
    }
    return currentRecord_ != nullptr;
}

bool SQLBucket::Next() {
    currentRecord_ = nullptr;
    if (walkPosition_ != kOverDefault && walkPosition_ < records_.Count()) {
        currentRecord_ = records_.ItemAt(++walkPosition_);
    }
    return currentRecord_ != nullptr;
}

}  // namespace ovrasql
