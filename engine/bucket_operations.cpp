// The instructions on buckets: groups and their accumulators. Without a current group an
// accumulator reads as NULL, and what would go into one is dropped.

#include "engine/run_loop.h"

namespace ovrasql {

// Code for an aggregate that stands outside a select list has no bucket: its slot is -1.
SQLBucket* RunLoop::BucketAt(int32_t slot) {
    SQLBucket* const bucket = buckets_.Get(slot);
    if (bucket == nullptr) {
        Error(slot == -1 ? "Aggregate is not valid in this context" : "Invalid instruction");
    }
    return bucket;
}

// The accumulator that the operands name. False if they name none; `entry` is null without a
// current group.
bool RunLoop::FindEntry(const Instruction& in, SQLBucketEntry** entry) {
    SQLBucket* const bucket = BucketAt(in.operand1);
    if (bucket == nullptr) {
        return false;
    }
    if (!bucket->HasAccumulator(in.operand2)) {
        return Invalid();
    }
    *entry = bucket->Entry(in.operand2);
    return true;
}

bool RunLoop::MakeBucket(const Instruction& in) {
    if (in.operand1 == -1) {
        return BucketAt(in.operand1) != nullptr;
    }
    if (!SlotIsSane(in.operand1) || !SlotIsSane(in.operand2)) {
        return Invalid();
    }
    stack_->ForgetHolder(StackHolder::kBucket, in.operand1);
    buckets_.Set(in.operand1, std::make_unique<SQLBucket>(in.operand2, caseInsensitive_));
    return true;
}

bool RunLoop::MakeDefaultGroup(const Instruction& in) {
    SQLBucket* const bucket = BucketAt(in.operand1);
    if (bucket == nullptr) {
        return false;
    }
    stack_->ForgetHolder(StackHolder::kBucket, in.operand1);
    bucket->MakeDefault();
    return true;
}

bool RunLoop::FindGroup(const Instruction& in, int32_t* next) {
    SQLBucket* const bucket = BucketAt(in.operand1);
    if (bucket == nullptr) {
        return false;
    }
    if (in.operand2 < 0) {
        return Invalid();
    }
    groupKey_.Assign(TextView());
    stack_->PopKey(in.operand2, &groupKey_);
    if (bucket->FindOrCreate(groupKey_.View()) && in.operand3 != 0) {
        *next = in.operand3;
    }
    return true;
}

bool RunLoop::BucketFirst(const Instruction& in, int32_t* next) {
    SQLBucket* const bucket = BucketAt(in.operand1);
    if (bucket == nullptr) {
        return false;
    }
    if (!bucket->First()) {
        *next = in.operand2;
    }
    return true;
}

bool RunLoop::BucketNext(const Instruction& in, int32_t* next) {
    SQLBucket* const bucket = BucketAt(in.operand1);
    if (bucket == nullptr) {
        return false;
    }
    if (bucket->Next()) {
        *next = in.operand2;
    }
    return true;
}

bool RunLoop::CountRow(const Instruction& in) {
    SQLBucketEntry* entry = nullptr;
    if (!FindEntry(in, &entry)) {
        return false;
    }
    if (entry != nullptr) {
        entry->Count();
    }
    return true;
}

bool RunLoop::CountDistinct(const Instruction& in) {
    SQLBucketEntry* entry = nullptr;
    if (!FindEntry(in, &entry)) {
        return false;
    }
    const TextView text = stack_->PopText();
    if (entry != nullptr) {
        entry->CountDistinct(text, caseInsensitive_);
    }
    return true;
}

bool RunLoop::Average(const Instruction& in) {
    SQLBucketEntry* entry = nullptr;
    if (!FindEntry(in, &entry)) {
        return false;
    }
    if (entry == nullptr || stack_->IsTopNull()) {
        stack_->PopDiscard();
    } else {
        entry->Average(stack_->PopDouble());
    }
    return true;
}

bool RunLoop::Sum(const Instruction& in) {
    SQLBucketEntry* entry = nullptr;
    if (!FindEntry(in, &entry)) {
        return false;
    }
    if (entry == nullptr || stack_->IsTopNull()) {
        stack_->PopDiscard();
    } else {
        entry->Sum(stack_->PopDouble());
    }
    return true;
}

// `wanted` is the sign of a comparison that lets the new value in: -1 for MIN, 1 for MAX.
bool RunLoop::KeepExtreme(const Instruction& in, int32_t wanted) {
    SQLBucketEntry* entry = nullptr;
    if (!FindEntry(in, &entry)) {
        return false;
    }
    if (entry == nullptr || stack_->IsTopNull()) {
        stack_->PopDiscard();
        return true;
    }
    if (!entry->value.IsNull()) {
        stack_->PushResult(&entry->value, StackHolder::kBucket, in.operand1);
        const int32_t order = stack_->Compare(1, false);
        if (wanted < 0 ? order >= 0 : order <= 0) {
            stack_->PopDiscard();
            return true;
        }
    }
    stack_->PopResult(&entry->value, true);
    return true;
}

bool RunLoop::PushBucket(const Instruction& in) {
    SQLBucketEntry* entry = nullptr;
    if (!FindEntry(in, &entry)) {
        return false;
    }
    if (entry == nullptr) {
        stack_->PushNull();
    } else {
        stack_->PushResult(&entry->value, StackHolder::kBucket, in.operand1);
    }
    return true;
}

bool RunLoop::PopBucket(const Instruction& in) {
    SQLBucketEntry* entry = nullptr;
    if (!FindEntry(in, &entry)) {
        return false;
    }
    if (entry == nullptr) {
        stack_->PopDiscard();
    } else {
        stack_->PopResult(&entry->value, true);
    }
    return true;
}

}  // namespace ovrasql
