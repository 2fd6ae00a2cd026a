#include "shell/plain_number.h"

#include <algorithm>

namespace ovrashell {

namespace {

// A double has all integers up to 2 to the power of 53.
constexpr std::string_view kLastExactInteger = "9007199254740992";

bool IsDigits(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

int32_t Length(std::string_view text) { return static_cast<int32_t>(text.size()); }

}  // namespace

int32_t PlainNumber::Places() const { return std::max(Length(integer), 1) + (isNegative ? 1 : 0); }

bool PlainNumber::FitsDouble() const {
    return Length(integer) + Length(fraction) <= kDigitsOfADouble ||
           (fraction.empty() && integer.size() == kLastExactInteger.size() &&
            integer <= kLastExactInteger);
}

std::optional<PlainNumber> ReadPlainNumber(std::string_view text) {
    PlainNumber number;
    const bool hasPlus = !text.empty() && text.front() == '+';
    number.isNegative = !text.empty() && text.front() == '-';
    text.remove_prefix(hasPlus || number.isNegative ? 1 : 0);
    const auto point = std::min(text.find('.'), text.size());
    const std::string_view integer = text.substr(0, point);
    const bool hasPoint = point < text.size();
    number.fraction = text.substr(point + (hasPoint ? 1 : 0));
    if (integer.size() + number.fraction.size() == 0 || !IsDigits(integer) ||
        !IsDigits(number.fraction)) {
        return std::nullopt;
    }
    number.integer = integer.substr(std::min(integer.find_first_not_of('0'), integer.size()));
    const bool hasUsualZeros = integer == "0" || integer == number.integer;
    number.isCanonical =
        !hasPlus && !integer.empty() && hasUsualZeros && (!hasPoint || !number.fraction.empty());
    return number;
}

}  // namespace ovrashell
