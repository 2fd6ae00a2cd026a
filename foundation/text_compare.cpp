#include "foundation/text_compare.h"

namespace ovrasql {

namespace {

int32_t CompareFolded(const char* first, const char* second, int32_t count,
                      const character_tables::Table& folding) {
    for (int32_t index = 0; index < count; ++index) {
        const uint8_t left = folding.entry[static_cast<uint8_t>(first[index])];
        const uint8_t right = folding.entry[static_cast<uint8_t>(second[index])];
        if (left != right) {
            return left < right ? -1 : 1;
        }
    }
    return 0;
}

}  // namespace

void LowerText(char* text, int32_t length) {
    for (int32_t index = 0; index < length; ++index) {
        text[index] = ToLower(text[index]);
    }
}

void UpperText(char* text, int32_t length) {
    for (int32_t index = 0; index < length; ++index) {
        text[index] = ToUpper(text[index]);
    }
}

int32_t CompareNoCase(const char* first, const char* second, int32_t count) {
    return CompareFolded(first, second, count, character_tables::kLower);
}

int32_t CompareNoCaseUpper(const char* first, const char* second, int32_t count) {
    return CompareFolded(first, second, count, character_tables::kUpper);
}

}  // namespace ovrasql
