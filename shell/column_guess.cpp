#include "shell/column_guess.h"

#include <algorithm>
#include <array>

namespace ovrashell {

namespace {

constexpr int32_t kWidestNumber = 19;     // the language allows no wider number column
constexpr int32_t kDigitsOfADouble = 15;  // decimal digits that a double always keeps
constexpr int32_t kMemoFieldWidth = 10;

constexpr std::string_view kDigits = "0123456789";

int32_t Length(std::string_view text) { return static_cast<int32_t>(text.size()); }

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

void ColumnGuess::See(std::string_view value) {
    longest_ = std::max(longest_, Length(value));
    if (value.empty()) {
        ++emptyValues_;
        return;
    }
    ++values_;
    allNumbers_ = allNumbers_ && SeeNumber(value);
    allBooleans_ = allBooleans_ && ParseBoolean(value) >= 0;
}

// Takes [-]digits[.digits] without a leading zero that a number would lose.
bool ColumnGuess::SeeNumber(std::string_view value) {
    const bool negative = value.front() == '-';
    value.remove_prefix(negative ? 1 : 0);
    const auto point = value.find('.');
    const std::string_view integer = value.substr(0, point);
    const std::string_view fraction =
        point == std::string_view::npos ? std::string_view() : value.substr(point + 1);
    if (integer.empty() || integer.find_first_not_of(kDigits) != std::string_view::npos ||
        fraction.find_first_not_of(kDigits) != std::string_view::npos) {
        return false;
    }
    if ((integer.size() > 1 && integer.front() == '0') ||
        (point != std::string_view::npos && fraction.empty())) {
        return false;
    }
    integerPlaces_ = std::max(integerPlaces_, Length(integer) + (negative ? 1 : 0));
    fractionPlaces_ = std::max(fractionPlaces_, Length(fraction));
    return true;
}

bool ColumnGuess::FitsNumber() const {
    return allNumbers_ && integerPlaces_ + fractionPlaces_ <= kDigitsOfADouble;
}

Column ColumnGuess::Result(const std::string& name) const {
    const bool isDefined = defined_.width > 0;
    const bool mayBeNumber = isDefined ? defined_.letter == 'N' : values_ > 0;
    const bool mayBeBoolean = isDefined ? defined_.letter == 'L' && emptyValues_ == 0 : values_ > 0;
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
