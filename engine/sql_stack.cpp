#include "engine/sql_stack.h"

#include <cstring>
#include <utility>

#include "engine/double_to_integer.h"
#include "engine/text_operations.h"
#include "foundation/string.h"
#include "foundation/text_compare.h"
#include "storage/ovra_sql_field.h"

namespace ovrasql {

namespace {

[[nodiscard]] bool HoldsPlainText(const OvraSQLField& field) {
    return field.Type() == kFieldCharacter || field.Type() == kFieldMemo;
}

}  // namespace

SQL_Stack::SQL_Stack(EngineFailure* failure, bool caseInsensitive, int32_t capacity)
    : failure_(failure),
      caseInsensitive_(caseInsensitive),
      capacity_(capacity),
      entries_(std::make_unique_for_overwrite<StackEntry[]>(static_cast<size_t>(capacity))) {}

void SQL_Stack::Overflow() { failure_->Fail("Stack overflow"); }

void SQL_Stack::Underflow() { failure_->Fail("Stack underflow"); }

void SQL_Stack::Clear() {
    count_ = 0;
    keptResults_.reset();
    for (int32_t i = 0; i < bufferCount_; ++i) {
        buffers_[static_cast<size_t>(i)].Rest();
    }
}

TextBuffer& SQL_Stack::BufferAt(int32_t index) {
    if (index >= bufferCount_) {
        const int32_t doubled = bufferCount_ * 2;
        const int32_t count = index < doubled ? doubled : index + 1;
        auto buffers = std::make_unique<TextBuffer[]>(static_cast<size_t>(count));
        for (int32_t i = 0; i < bufferCount_; ++i) {
            buffers[static_cast<size_t>(i)].Swap(buffers_[static_cast<size_t>(i)]);
        }
        buffers_ = std::move(buffers);
        bufferCount_ = count;
    }
    return buffers_[static_cast<size_t>(index)];
}

void SQL_Stack::ForgetHolder(StackHolder kind, int32_t slot) {
    for (int32_t i = 0; i < count_; ++i) {
        StackEntry& entry = entries_[static_cast<size_t>(i)];
        const bool refers = entry.tag == StackTag::kColumn || entry.tag == StackTag::kResult;
        if (!refers || entry.holder != kind || entry.length != slot) {
            continue;
        }
        if (entry.tag == StackTag::kResult) {
            KeepResult(i);
        } else {
            entry.tag = StackTag::kNothing;
        }
    }
}

// The entry stays a result, because a result is stored, compared and folded by rules of its own.
void SQL_Stack::KeepResult(int32_t index) {
    if (keptResults_ == nullptr) {
        keptResults_ =
            std::make_unique<std::unique_ptr<SQLKeptResult>[]>(static_cast<size_t>(capacity_));
    }
    std::unique_ptr<SQLKeptResult>& kept = keptResults_[static_cast<size_t>(index)];
    if (kept == nullptr) {
        kept = std::make_unique<SQLKeptResult>();
    }
    StackEntry& entry = entries_[static_cast<size_t>(index)];
    kept->SetFrom(*entry.result);
    entry.result = kept.get();
    entry.holder = StackHolder::kStack;
}

// The text may stand in the place's own buffer already: it is then no longer than the buffer, which
// so stays where it is.
void SQL_Stack::OwnText(int32_t index, TextView text, uint8_t flags) {
    char* const room = BufferAt(index).Room(text.length);
    if (text.length > 0) {
        std::memmove(room, text.data, static_cast<size_t>(text.length));
    }
    StackEntry& entry = entries_[static_cast<size_t>(index)];
    entry.tag = StackTag::kString;
    entry.flags = static_cast<uint8_t>(flags | kOwnedText);
    entry.text = room;
    entry.length = text.length;
    entry.parsed = nullptr;
}

// The entry counts only when its text is there: making room may run out of memory.
void SQL_Stack::PushCopy(TextView text, uint8_t flags) {
    if (count_ == capacity_) {
        Overflow();
        return;
    }
    OwnText(count_, text, flags);
    ++count_;
}

void SQL_Stack::PushResult(SQLResult* result, StackHolder kind, int32_t slot) {
    if (StackEntry* const entry = NewEntry(StackTag::kResult)) {
        entry->result = result;
        entry->holder = kind;
        entry->length = slot;
    }
}

void SQL_Stack::PushColumn(OvraSQLField* field, int32_t cursorSlot) {
    if (StackEntry* const entry = NewEntry(StackTag::kColumn)) {
        entry->field = field;
        entry->holder = StackHolder::kCursor;
        entry->length = cursorSlot;
        entry->flags = HoldsPlainText(*field) ? kTextOnly : uint8_t{0};
    }
}

bool SQL_Stack::PopBoolean() {
    if (count_ == 0) {
        Underflow();
        return false;
    }
    const StackEntry& entry = entries_[static_cast<size_t>(--count_)];
    switch (entry.tag) {
        case StackTag::kInteger:
            return entry.integer != 0;
        case StackTag::kDouble:
            return entry.number != 0.0;
        case StackTag::kString:
            return TextIsTrue(TextView(entry.text, entry.length));
        case StackTag::kColumn:
            return TextIsTrue(entry.field->ValueText());
        case StackTag::kResult:
            return entry.result->IsTrue();
        case StackTag::kNothing:
            break;
    }
    return false;
}

int32_t SQL_Stack::PopIntegerConverted() {
    if (count_ == 0) {
        Underflow();
        return 0;
    }
    const StackEntry& entry = entries_[static_cast<size_t>(--count_)];
    switch (entry.tag) {
        case StackTag::kInteger:
            return entry.integer;
        case StackTag::kDouble:
            return TruncateToInteger(entry.number);
        case StackTag::kString:
            return TextToInteger(TextView(entry.text, entry.length), nullptr);
        case StackTag::kColumn:
            return TextToInteger(entry.field->ValueText(), nullptr);
        case StackTag::kResult:
            return entry.result->GetInteger();
        case StackTag::kNothing:
            break;
    }
    return 0;
}

double SQL_Stack::PopDouble() {
    if (count_ == 0) {
        Underflow();
        return 0.0;
    }
    const StackEntry& entry = entries_[static_cast<size_t>(--count_)];
    if (entry.tag == StackTag::kResult) {
        return entry.result->GetDouble();
    }
    double value = 0.0;
    static_cast<void>(NumberOf(entry, &value));  // a bad text counts as what it gave
    return value;
}

bool SQL_Stack::NumberOf(const StackEntry& entry, double* value) {
    switch (entry.tag) {
        case StackTag::kInteger:
            *value = entry.integer;
            return true;
        case StackTag::kDouble:
            *value = entry.number;
            return true;
        case StackTag::kString: {
            NumberCache own;
            NumberCache* const cache = entry.parsed == nullptr ? &own : entry.parsed;
            const bool isNumber = cache->Parse(TextView(entry.text, entry.length));
            *value = cache->value;
            return isNumber;
        }
        case StackTag::kColumn: {
            const ParsedNumber& number = entry.field->Number();
            *value = number.value;
            return number.valid;
        }
        case StackTag::kResult:
            return entry.result->GetDoubleChecked(value);
        case StackTag::kNothing:
            break;
    }
    *value = 0.0;
    return true;
}

TextView SQL_Stack::TextOf(const StackEntry& entry, char* room) {
    switch (entry.tag) {
        case StackTag::kInteger:
            return TextView(room, FormatInteger(entry.integer, room, kNumberTextRoom));
        case StackTag::kDouble:
            return TextView(room, FormatDouble(entry.number, -1, room, kNumberTextRoom));
        case StackTag::kString:
            return TextView(entry.text, entry.length);
        case StackTag::kColumn:
            return entry.field->ValueText();
        case StackTag::kResult:
            return entry.result->GetString();
        case StackTag::kNothing:
            break;
    }
    return TextView();
}

TextView SQL_Stack::PopText() {
    if (count_ == 0) {
        Underflow();
        return TextView();
    }
    const StackEntry& entry = entries_[static_cast<size_t>(--count_)];
    const bool isRendered = entry.tag == StackTag::kInteger || entry.tag == StackTag::kDouble;
    return TextOf(entry, isRendered ? BufferAt(count_).Room(kNumberTextRoom) : nullptr);
}

void SQL_Stack::PopKey(int32_t count, String* key) {
    if (count > count_) {
        Underflow();
        count_ = 0;
        return;
    }
    char room[kNumberTextRoom];
    for (int32_t i = count_ - count; i < count_; ++i) {
        key->Append(TextOf(entries_[static_cast<size_t>(i)], room));
        key->AppendChar(':');
    }
    count_ -= count;
}

void SQL_Stack::PopResult(SQLResult* target, bool copy) {
    if (count_ == 0) {
        Underflow();
        return;
    }
    const StackEntry& entry = entries_[static_cast<size_t>(--count_)];
    switch (entry.tag) {
        case StackTag::kInteger:
            target->SetInteger(entry.integer);
            break;
        case StackTag::kDouble:
            target->SetDouble(entry.number);
            break;
        case StackTag::kString:
            target->SetString(TextView(entry.text, entry.length),
                              copy || (entry.flags & kOwnedText) != 0);
            break;
        case StackTag::kColumn:
            target->SetString(entry.field->ValueText(), copy || entry.field->Type() == kFieldMemo);
            break;
        case StackTag::kResult:
            target->SetFrom(*entry.result);
            break;
        case StackTag::kNothing:
            break;
    }
}

bool SQL_Stack::IsNull(const StackEntry& entry) {
    switch (entry.tag) {
        case StackTag::kInteger:
        case StackTag::kDouble:
            return false;
        case StackTag::kString:
            return entry.length == 0;
        case StackTag::kColumn:
            return entry.field->ValueText().IsEmpty();
        case StackTag::kResult:
            return entry.result->IsNull();
        case StackTag::kNothing:
            break;
    }
    return true;
}

bool SQL_Stack::IsTopNull() {
    if (count_ == 0) {
        Underflow();
        return true;
    }
    return IsNull(Top());
}

bool SQL_Stack::PopIsNull() {
    const bool isNull = IsTopNull();
    if (count_ > 0) {
        --count_;
    }
    return isNull;
}

void SQL_Stack::CopyTop() {
    if (count_ == 0) {
        Underflow();
    } else if (Top().tag == StackTag::kColumn) {
        OwnText(count_ - 1, Top().field->ValueText(), 0);
    }
}

void SQL_Stack::Add() {
    const double right = PopDouble();
    PushDouble(PopDouble() + right);
}

void SQL_Stack::Subtract() {
    const double right = PopDouble();
    PushDouble(PopDouble() - right);
}

void SQL_Stack::Multiply() {
    const double right = PopDouble();
    PushDouble(PopDouble() * right);
}

void SQL_Stack::Divide() {
    const double right = PopDouble();
    PushDouble(PopDouble() / right);
}

void SQL_Stack::And() {
    const bool right = PopBoolean();
    const bool left = PopBoolean();
    PushInteger(left && right ? 1 : 0);
}

void SQL_Stack::Or() {
    const bool right = PopBoolean();
    const bool left = PopBoolean();
    PushInteger(left || right ? 1 : 0);
}

void SQL_Stack::Like() {
    const TextView pattern = PopText();
    const TextView text = PopText();
    PushInteger(TextIsLike(text, pattern, caseInsensitive_) ? 1 : 0);
}

void SQL_Stack::Fold(bool upper) {
    if (count_ == 0) {
        Underflow();
        return;
    }
    StackEntry& top = Top();
    const bool isText = top.tag == StackTag::kString || top.tag == StackTag::kResult ||
                        (top.tag == StackTag::kColumn && HoldsPlainText(*top.field));
    if (!isText) {
        return;
    }
    const uint8_t textOnly = static_cast<uint8_t>(top.flags & kTextOnly);
    OwnText(count_ - 1, TextOf(top, nullptr), static_cast<uint8_t>(kExactText | textOnly));
    char* const text = BufferAt(count_ - 1).Room(top.length);
    if (upper) {
        UpperText(text, top.length);
    } else {
        LowerText(text, top.length);
    }
}

void SQL_Stack::Length() {
    const int32_t length = PopText().length;
    PushInteger(length);
}

// A column's or a cell's text is copied, because the string outlives what it came from.
void SQL_Stack::IfNull() {
    if (count_ == 0) {
        Underflow();
        return;
    }
    const StackEntry replacement = Top();
    char room[kNumberTextRoom];
    const TextView text = TextOf(replacement, room);
    --count_;
    if (!IsTopNull() || count_ == 0) {
        return;
    }
    const bool isString = replacement.tag == StackTag::kString;
    if (isString && (replacement.flags & kOwnedText) == 0) {
        StackEntry& top = Top();
        top = replacement;
        top.flags = 0;
    } else {
        OwnText(count_ - 1, text, 0);
    }
}

void SQL_Stack::Substring(bool withLength) {
    const int32_t length = withLength ? PopInteger() : 0;
    const int32_t start = PopInteger();
    const TextView text = PopText();
    const TextView part = SubstringOf(text, start, withLength ? length : text.length);
    if (part.IsEmpty()) {
        PushNull();
    } else {
        PushCopy(part, kTextOnly);
    }
}

}  // namespace ovrasql
