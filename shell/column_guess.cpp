#include "shell/column_guess.h"

#include <algorithm>
#include <array>

#include "shell/plain_number.h"

namespace ovrashell {

namespace {

constexpr int32_t kWidestNumber = 19;  // the language allows no wider number column
constexpr int32_t kMemoFieldWidth = 10;

}  // namespace

int32_t ParseBoolean(std::string_view text) {
    static constexpr std::array<std::string_view, 4> kTrue = {"true", "t", "yes", "y"};
    static constexpr std::array<std::string_view, 4> kFalse = {"false", "f", "no", "n"};
    const std::string lowered = Lowered(text);
    if (std::find(kTrue.begin(), kTrue.end(), lowered) != kTrue.end()) {
        return 1;
    }
    return std::find(kFalse.begin(), kFalse.end(), lowered) != kFalse.end() ? 0 : -1;
}

bool IsNoValue(const Column& defined, std::string_view text) {
    return text.empty() || (defined.letter == 'L' && text == "?");
}

void ColumnGuess::See(std::string_view value) {
    longest_ = std::max(longest_, static_cast<int32_t>(value.size()));
    const bool isNoValue = IsNoValue(defined_, value);
    notes_.See(isNoValue ? std::string_view() : value);
    if (isNoValue) {
        return;
    }
    ++values_;
    allNumbers_ = allNumbers_ && SeeNumber(value);
    allBooleans_ = allBooleans_ && ParseBoolean(value) >= 0;
}

bool ColumnGuess::SeeNumber(std::string_view value) {
    const auto number = ReadPlainNumber(value);
    if (!number.has_value() || !number->isCanonical) {
        return false;
    }
    integerPlaces_ = std::max(integerPlaces_, number->Places());
    fractionPlaces_ = std::max(fractionPlaces_, static_cast<int32_t>(number->fraction.size()));
    return true;
}

bool ColumnGuess::FitsNumber() const {
    return allNumbers_ && integerPlaces_ + fractionPlaces_ <= kDigitsOfADouble;
}

Column ColumnGuess::Result(const std::string& name) const {
    const bool isDefined = defined_.width > 0;
    const bool mayBeNumber = isDefined ? defined_.letter == 'N' : values_ > 0;
    const bool mayBeBoolean = isDefined ? defined_.letter == 'L' : values_ > 0;
    if (isDefined && defined_.letter == 'M') {
        return {name, 'M', kMemoFieldWidth, 0};
    }
    if (mayBeNumber && FitsNumber()) {
        const int32_t decimals = std::max(fractionPlaces_, isDefined ? defined_.decimals : 0);
        const int32_t measured = integerPlaces_ + (decimals > 0 ? 1 + decimals : 0);
        const int32_t width = std::max(measured, isDefined ? defined_.width : 0);
        if (width <= kWidestNumber) {
            return {name, 'N', width, decimals};
        }
    }
    if (mayBeBoolean && allBooleans_) {
        return {name, 'L', 1, 0};
    }
    const int32_t width = std::max({longest_, isDefined ? defined_.width : 0, 1});
    if (longest_ > kLongestCharacterColumn) {
        return {name, 'M', kMemoFieldWidth, 0};
    }
    return {name, 'C', std::min(width, kLongestCharacterColumn), 0};
}

}  // namespace ovrashell
