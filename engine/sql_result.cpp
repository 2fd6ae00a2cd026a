#include "engine/sql_result.h"

#include <cstring>

#include "engine/double_to_integer.h"
#include "engine/text_operations.h"
#include "foundation/number_text.h"
#include "library/host_services.h"

namespace ovrasql {

// Puts a copy of the text into the holder's room. The text may be the cell's own, or a part of it:
// it then fits where it is.
void SQLResult::CopyText(TextView text) {
    char* const room = holder_->TextRoom(*this, int64_t{text.length} + 1);
    std::memmove(room, text.data, static_cast<size_t>(text.length));
    room[text.length] = '\0';
    text_ = room;
    textLength_ = text.length;
    textIsOwn_ = true;
}

void SQLResult::SetString(TextView text, bool copy) {
    if (copy) {
        CopyText(text);
    } else if (text.data != text_) {
        text_ = text.data;
        textIsOwn_ = false;
    }
    textLength_ = text.length;
    flags_ = kText;
    parsed_ = Parsed::kUnknown;
    Report();
}

void SQLResult::SetInteger(int32_t value) {
    integerValue_ = value;
    flags_ = kInteger;
    Report();
}

void SQLResult::SetDouble(double value) {
    doubleValue_ = value;
    flags_ = kDouble;
    Report();
}

void SQLResult::SetFrom(const SQLResult& source) {
    if (&source != this) {
        if ((source.flags_ & kText) != 0) {
            CopyText(TextView(source.text_, source.textLength_));
        }
        integerValue_ = source.integerValue_;
        doubleValue_ = source.doubleValue_;
        flags_ = source.flags_;
        parsed_ = source.parsed_;
    }
    Report();
}

void SQLResult::KeepText() {
    if ((flags_ & kText) != 0 && !textIsOwn_) {
        CopyText(TextView(text_, textLength_));
    }
}

void SQLResult::MakeString() {
    if ((flags_ & (kInteger | kDouble)) == 0) {
        text_ = "";
        textLength_ = 0;
        textIsOwn_ = false;
    } else {
        char digits[kNumberTextRoom];
        const int32_t length = (flags_ & kDouble) != 0
                                   ? FormatDouble(doubleValue_, -1, digits, kNumberTextRoom)
                                   : FormatInteger(integerValue_, digits, kNumberTextRoom);
        CopyText(TextView(digits, length < 0 ? 0 : length));
    }
    parsed_ = Parsed::kUnknown;
    flags_ |= kText;
}

void SQLResult::MakeInteger(int32_t* error) {
    if ((flags_ & kText) != 0) {
        integerValue_ = TextToInteger(TextView(text_, textLength_), error);
    } else {
        integerValue_ = (flags_ & kDouble) != 0 ? TruncateToInteger(doubleValue_) : 0;
    }
    flags_ |= kInteger;
}

// The number that the text reads as goes into doubleValue_, once for each text.
void SQLResult::ParseText() {
    if (parsed_ == Parsed::kUnknown) {
        int32_t error = 0;
        doubleValue_ = TextToDouble(TextView(text_, textLength_), &error);
        parsed_ = error == 0 ? Parsed::kNumber : Parsed::kNoNumber;
    }
}

void SQLResult::MakeDouble(int32_t* error) {
    if ((flags_ & kText) != 0) {
        ParseText();
        if (parsed_ == Parsed::kNoNumber && error != nullptr) {
            *error = 1;
        }
    } else {
        doubleValue_ = (flags_ & kInteger) != 0 ? integerValue_ : 0.0;
    }
    flags_ |= kDouble;
}

bool SQLResult::GetDoubleChecked(double* value) {
    if ((flags_ & kText) != 0) {
        ParseText();
        *value = doubleValue_;
        if (parsed_ == Parsed::kNoNumber) {
            return false;
        }
        flags_ |= kDouble;
        return true;
    }
    if ((flags_ & kDouble) == 0) {
        if ((flags_ & kInteger) == 0) {
            *value = 0.0;
            return true;
        }
        doubleValue_ = integerValue_;
        flags_ |= kDouble;
    }
    *value = doubleValue_;
    return true;
}

bool SQLResult::IsTrue() const {
    if ((flags_ & kText) != 0) {
        return TextIsTrue(TextView(text_, textLength_));
    }
    return ((flags_ & kInteger) != 0 && integerValue_ != 0) ||
           ((flags_ & kDouble) != 0 && doubleValue_ != 0.0);
}

char* SQLKeptResult::TextRoom(const SQLResult& /*cell*/, int64_t bytes) {
    return buffer_.Room(bytes);
}

SQLViewResult::SQLViewResult(TextView name, bool visible)
    : SQLResult(this, true), name_(name), visible_(visible) {}

char* SQLViewResult::TextRoom(const SQLResult& /*cell*/, int64_t bytes) {
    return buffer_.Room(bytes);
}

void SQLViewResult::CellChanged() {
    if (hostVariable_ != nullptr) {
        ovDatabaseVariable_SetDirty(hostVariable_);
    }
}

void SQLViewResult::Register(void* view) {
    hostVariable_ =
        ovDatabaseView_AddVariable(view, name_.data, name_.length, static_cast<SQLResult*>(this));
}

void SQLViewResult::PointVariableAt(SQLResult* cell, int32_t slot) {
    pointedSlot_ = cell == nullptr ? kOwnCell : slot;
    if (hostVariable_ != nullptr) {
        ovDatabaseVariable_SetData(hostVariable_,
                                   cell == nullptr ? static_cast<SQLResult*>(this) : cell);
        ovDatabaseVariable_SetDirty(hostVariable_);
    }
}

}  // namespace ovrasql
