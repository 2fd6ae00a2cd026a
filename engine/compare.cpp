// The one comparison of values, and the conversion of a value for a field: SQL_Stack's members that
// decide between numbers and texts.
//
// Two operands compare as numbers if both read as one whole and neither is a text by its kind (a
// character column, the result of SUBSTRING). Otherwise their texts compare, byte by byte, folded
// on a case-insensitive database unless one of them has gone through UPPER or LOWER. The empty text
// reads as 0, so NULL equals 0 and needs no path of its own.

#include <cstring>

#include "engine/sql_stack.h"
#include "engine/text_operations.h"
#include "foundation/text_compare.h"
#include "storage/ovra_sql_field.h"

namespace ovrasql {

int32_t SQL_Stack::Compare(int32_t keep, bool fold) {
    if (count_ < 2) {
        Underflow();
        return 0;
    }
    const StackEntry& left = entries_[static_cast<size_t>(count_ - 2)];
    const StackEntry& right = entries_[static_cast<size_t>(count_ - 1)];
    count_ += keep - 2;
    double leftNumber = 0.0;
    double rightNumber = 0.0;
    if (((left.flags | right.flags) & kTextOnly) == 0 && NumberOf(left, &leftNumber) &&
        NumberOf(right, &rightNumber)) {
        if (leftNumber == rightNumber) {
            return 0;
        }
        // Required: a comparison with a NaN counts as greater.
        return rightNumber > leftNumber ? -1 : 1;
    }
    return CompareTexts(left, right, fold);
}

int32_t SQL_Stack::CompareTexts(const StackEntry& left, const StackEntry& right, bool fold) const {
    char leftRoom[kNumberTextRoom];
    char rightRoom[kNumberTextRoom];
    const bool isExact = ((left.flags | right.flags) & kExactText) != 0;
    const bool folds = !isExact && (caseInsensitive_ || fold);
    const TextView leftText = TextOf(left, leftRoom);
    return CompareBytes(leftText, TextOf(right, rightRoom), folds);
}

namespace {

void StoreNumber(OvraSQLField* field, double value, int32_t decimals) {
    char digits[kNumberTextRoom];
    const int32_t length = FormatDouble(value, decimals, digits, kNumberTextRoom);
    field->SetValue(TextView(digits, length < 0 ? 0 : length));
}

void StoreBoolean(OvraSQLField* field, bool value) { field->SetValue(value ? "T" : "F"); }

// Required: a double is true by the low half of its bits, so that 1.0 stores "F".
[[nodiscard]] bool LowHalfIsSet(double value) {
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return (bits & 0xFFFFFFFFU) != 0;
}

[[nodiscard]] TextView WithoutTrailingSpace(TextView text) {
    int32_t length = text.length;
    while (length > 0 && IsSpace(text[length - 1])) {
        --length;
    }
    return text.Part(0, length);
}

[[nodiscard]] TextView WithoutTrailingBlanks(TextView text) {
    int32_t length = text.length;
    while (length > 0 && text[length - 1] == ' ') {
        --length;
    }
    return text.Part(0, length);
}

// Blanks that a cut lays bare, at the field's width or at a NUL, go too, so that the value in hand
// equals the one that a later read of the record gives.
void StoreCharacters(OvraSQLField* field, TextView text) {
    field->SetValue(text);
    const TextView stored = field->ValueText();
    if (stored.length < text.length) {
        field->SetValue(WithoutTrailingBlanks(stored));
    }
}

}  // namespace

void SQL_Stack::PopField(OvraSQLField* field) {
    if (count_ == 0) {
        Underflow();
        return;
    }
    const StackEntry& entry = entries_[static_cast<size_t>(--count_)];
    const bool isBoolean = field->Type() == kFieldLogical;
    switch (entry.tag) {
        case StackTag::kInteger:
            if (isBoolean) {
                StoreBoolean(field, entry.integer != 0);
            } else {
                StoreNumber(field, entry.integer, field->Decimals());
            }
            break;
        case StackTag::kDouble:
            if (isBoolean) {
                StoreBoolean(field, LowHalfIsSet(entry.number));
            } else {
                StoreNumber(field, entry.number,
                            field->Type() == kFieldNumeric ? field->Decimals() : -1);
            }
            break;
        case StackTag::kColumn:
            if (entry.field != field) {
                StoreText(entry, field);
            }
            break;
        case StackTag::kString:
        case StackTag::kResult:
            StoreText(entry, field);
            break;
        case StackTag::kNothing:
            break;
    }
}

void SQL_Stack::StoreText(const StackEntry& entry, OvraSQLField* field) {
    const TextView text = TextOf(entry, nullptr);
    switch (field->Type()) {
        case kFieldLogical:
            StoreBoolean(field, TextIsTrue(text));
            break;
        case kFieldNumeric: {
            double value = 0.0;
            if (NumberOf(entry, &value)) {
                StoreNumber(field, value, field->Decimals());
            } else {
                failure_->Fail("Data type mismatch");
            }
            break;
        }
        case kFieldMemo:
            field->SetValue(text);
            break;
        case kFieldCharacter:
            StoreCharacters(field, WithoutTrailingSpace(text));
            break;
        default:
            // A read of such a field takes nothing off, so what the cut lays bare stays.
            field->SetValue(WithoutTrailingSpace(text));
            break;
    }
}

}  // namespace ovrasql
