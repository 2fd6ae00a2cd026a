#include "engine/sql_cursor.h"

#include <utility>

#include "engine/sql_stack.h"
#include "foundation/number_text.h"
#include "foundation/text_compare.h"
#include "schema/index.h"
#include "schema/table.h"

namespace ovrasql {

SQLCursor::SQLCursor(std::unique_ptr<Table> table) : table_(std::move(table)), columns_(false) {}

SQLCursor::~SQLCursor() = default;

bool SQLCursor::BindColumn(int32_t slot, TextView name) {
    OvraSQLField* const field = table_->Data().FindField(name);
    if (field == nullptr) {
        return false;
    }
    columns_.Set(slot, field);
    return true;
}

namespace {

// Adds the value on top of the stack as the key text of one column of the index.
void PopKeyPart(const OvraSQLField& column, SQL_Stack* stack, String* key) {
    if (column.Type() == kFieldLogical) {
        Index::AppendKeyPart(column, stack->PopBoolean() ? "T" : "F", key);
    } else if (column.Type() == kFieldNumeric && column.Decimals() > 0) {
        char digits[kNumberTextRoom];
        const int32_t length =
            FormatDouble(stack->PopDouble(), column.Decimals(), digits, kNumberTextRoom);
        Index::AppendKeyPart(column, TextView(digits, length < 0 ? 0 : length), key);
    } else {
        Index::AppendKeyPart(column, stack->PopText(), key);
    }
}

void UpperCase(String* key) { UpperText(key->Data(), key->Length()); }

}  // namespace

bool SQLCursor::SelectIndex(Index* index, int32_t partCount, bool isRange, SQL_Stack* stack) {
    const int32_t columnCount = index->Columns().Count();
    // The definition may have changed since the program was compiled.
    if (partCount + (isRange ? 1 : 0) > columnCount) {
        for (int32_t i = 0; i < partCount + (isRange ? 1 : 0); ++i) {
            stack->PopDiscard();
        }
        return false;
    }
    index_ = index;
    isRange_ = isRange;
    keyIsFull_ = partCount == columnCount;
    key_.Assign(TextView());
    auto column = index->Columns().begin();
    for (int32_t part = 0; part < partCount; ++part, ++column) {
        if (part > 0) {
            key_.AppendChar(':');
        }
        PopKeyPart(**column, stack, &key_);
    }
    if (partCount > 0) {
        if (!keyIsFull_) {
            key_.AppendChar(':');
        }
        UpperCase(&key_);
    }
    if (!isRange) {
        return true;
    }
    rangeKeyIsFull_ = partCount + 1 == columnCount;
    rangeKey_.Assign(key_.View());
    PopKeyPart(**column, stack, &rangeKey_);
    if (!rangeKeyIsFull_) {
        rangeKey_.AppendChar(':');
    }
    UpperCase(&rangeKey_);
    return true;
}

bool SQLCursor::ReadLive(uint32_t recordNumber, bool* isLive) {
    if (recordNumber == 0 || !table_->ReadRecord(recordNumber)) {
        return false;
    }
    *isLive = !table_->Data().IsDeleted();
    return true;
}

bool SQLCursor::WalkRecords(uint32_t recordNumber) {
    bool isLive = false;
    while (ReadLive(recordNumber, &isLive)) {
        if (isLive) {
            return true;
        }
        ++recordNumber;
    }
    return false;
}

bool SQLCursor::WalkIndex(uint32_t recordNumber) {
    bool isLive = false;
    while (ReadLive(recordNumber, &isLive)) {
        if (isLive) {
            return true;
        }
        if (!index_->Next(&recordNumber)) {
            return false;
        }
    }
    return false;
}

bool SQLCursor::WalkMatching(uint32_t recordNumber, const String& key, bool keyIsFull) {
    bool isLive = false;
    while (ReadLive(recordNumber, &isLive)) {
        if (isLive) {
            return true;
        }
        if (!index_->NextMatching(key.View(), keyIsFull, &recordNumber)) {
            return false;
        }
    }
    return false;
}

// Required: within a range the search for the first live record goes on over entries that match the
// lower bound only, so a range whose first entry is a deleted record reads as empty.
bool SQLCursor::FirstOfIndex() {
    uint32_t recordNumber = 0;
    bool found = false;
    if (isRange_) {
        return index_->Seek(rangeKey_.View(), rangeKeyIsFull_, &recordNumber, &found) &&
               WalkMatching(recordNumber, rangeKey_, rangeKeyIsFull_);
    }
    if (key_.IsEmpty()) {
        return index_->First(&recordNumber) && WalkIndex(recordNumber);
    }
    return index_->Seek(key_.View(), keyIsFull_, &recordNumber, &found) && found &&
           WalkMatching(recordNumber, key_, keyIsFull_);
}

bool SQLCursor::First() {
    const bool isFound = index_ == nullptr ? WalkRecords(1) : FirstOfIndex();
    atEnd_ = !isFound;
    return isFound;
}

bool SQLCursor::Next() {
    bool isFound = false;
    uint32_t recordNumber = 0;
    if (index_ == nullptr) {
        isFound = WalkRecords(table_->Data().CurrentRecord() + 1);
    } else if (key_.IsEmpty()) {
        isFound = index_->Next(&recordNumber) && WalkIndex(recordNumber);
    } else {
        isFound = index_->NextMatching(key_.View(), keyIsFull_, &recordNumber) &&
                  WalkMatching(recordNumber, key_, keyIsFull_);
    }
    atEnd_ = !isFound;
    return isFound;
}

}  // namespace ovrasql
