#include "storage/key_compare.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "foundation/number_text.h"
#include "foundation/text_compare.h"

namespace ovrasql {

namespace {

// Whether a number can begin with this byte: no other byte is worth a call. Keys of names and of
// several columns are told apart here, most of the time.
bool CanBeginNumber(char c) {
    return IsDigit(c) || IsSpace(c) || c == '-' || c == '+' || c == '.' || c == 'I' || c == 'i' ||
           c == 'N' || c == 'n';
}

int32_t SignOf(int32_t value) { return value < 0 ? -1 : (value > 0 ? 1 : 0); }

int32_t CompareBytes(TextView first, TextView second) {
    const int32_t shared = std::min(first.length, second.length);
    return SignOf(std::memcmp(first.data, second.data, static_cast<size_t>(shared)));
}

int32_t CompareWholeText(TextView first, TextView second) {
    const int32_t result = CompareBytes(first, second);
    return result != 0 ? result : SignOf(first.length - second.length);
}

// A second text that ends inside the first stands before it, as its NUL does.
int32_t ComparePrefix(TextView first, TextView second) {
    const int32_t result = CompareBytes(first, second);
    return result == 0 && second.length < first.length ? 1 : result;
}

// By value, when both texts are numbers. Required: the overflow test of the second number looks at
// the first one's value. A second text that overflows compares by value, unless the first is an
// infinity by name. One too small for a double is in range here, though strtod sets ERANGE for it.
bool CompareByValue(const KeyNumber& first, TextView secondText, int32_t* result) {
    if (!first.isWhole || (std::isinf(first.value) && first.outOfRange)) {
        return false;
    }
    const KeyNumber second = ReadKeyNumber(secondText);
    if (!second.isWhole || (std::isinf(first.value) && second.outOfRange)) {
        return false;
    }
    if (first.value == second.value) {
        *result = 0;
    } else {
        *result = first.value > second.value ? 1 : -1;  // a NaN stands before everything
    }
    return true;
}

}  // namespace

TextView KeyText(TextView text) {
    const void* end =
        text.length == 0 ? nullptr : std::memchr(text.data, '\0', static_cast<size_t>(text.length));
    return end == nullptr
               ? text
               : TextView(text.data,
                          static_cast<int32_t>(static_cast<const char*>(end) - text.data));
}

KeyNumber ReadKeyNumber(TextView text) {
    KeyNumber number;
    if (text.length > 0 && !CanBeginNumber(text[0])) {
        return number;
    }
    int32_t error = 0;
    number.value = TextToDouble(text, &error);
    number.outOfRange = error != 0 && std::isinf(number.value);
    number.isWhole = error == 0 || number.outOfRange;
    return number;
}

SearchKey::SearchKey(TextView key, bool isExact, int32_t indexFlags)
    : text(KeyText(key)), exact(isExact), flags(indexFlags) {
    if (exact && (flags & kIndexTextOnly) == 0) {
        number = ReadKeyNumber(text);
    }
}

int32_t CompareKeys(const SearchKey& first, TextView second) {
    int32_t result = 0;
    if (!first.exact) {
        result = ComparePrefix(first.text, second);
    } else if (!CompareByValue(first.number, second, &result)) {
        result = CompareWholeText(first.text, second);
    }
    return (first.flags & kIndexDescending) != 0 ? -result : result;
}

}  // namespace ovrasql
