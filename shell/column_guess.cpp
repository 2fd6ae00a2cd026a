#include "shell/column_guess.h"

#include <algorithm>
#include <array>

#include "shell/plain_number.h"
#include "shell/shown_text.h"

namespace ovrashell {

namespace {

constexpr int32_t kWidestNumber = 19;  // the language allows no wider number column
constexpr int32_t kMemoFieldWidth = 10;

bool IsTrueOrFalse(std::string_view text) {
    return EqualNoCase(text, "true") || EqualNoCase(text, "false");
}

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

void ColumnGuess::See(std::string_view value, const std::function<std::string()>& place) {
    longest_ = std::max(longest_, static_cast<int32_t>(value.size()));
    const bool isNoValue = IsNoValue(defined_, value);
    notes_.See(isNoValue ? std::string_view() : value);
    if (isNoValue) {
        return;
    }
    ++values_;
    allNumbers_ = allNumbers_ && SeeNumber(value);
    allBooleans_ = allBooleans_ && (IsDefined() ? ParseBoolean(value) >= 0 : IsTrueOrFalse(value));
    if (notes_.whyText.empty() && !IsOfDefinedType()) {
        notes_.whyText = WhyText(ShownText(value) + " in " + place());
    }
}

std::string ColumnGuess::WhyText(const std::string& shownValue) const {
    if (defined_.letter == 'L') {
        return shownValue + " is no boolean";
    }
    if (!allNumbers_) {
        return shownValue + " is no number";
    }
    return "with " + shownValue + " its numbers have " + std::to_string(Digits()) +
           " digits (maximum " + std::to_string(kDigitsOfADouble) + ")";
}

bool ColumnGuess::SeeNumber(std::string_view value) {
    const auto number = ReadPlainNumber(value);
    if (!number.has_value() || (!IsDefined() && !number->isCanonical)) {
        return false;
    }
    auto fraction = static_cast<int32_t>(number->fraction.size());
    if (IsDefined()) {
        // What is rewritten anyway is not counted once more for its zeros.
        notes_.rewritten += number->isCanonical ? 0 : 1;
        fractions_[fraction] += number->isCanonical ? 1 : 0;
        fraction = static_cast<int32_t>(number->fraction.find_last_not_of('0') + 1);
    }
    integerDigits_ = std::max(integerDigits_, static_cast<int32_t>(number->integer.size()));
    integerPlaces_ = std::max(integerPlaces_, number->Places());
    fractionPlaces_ = std::max(fractionPlaces_, fraction);
    return true;
}

bool ColumnGuess::FitsNumber() const { return allNumbers_ && Digits() <= kDigitsOfADouble; }

bool ColumnGuess::IsOfDefinedType() const {
    return defined_.letter == 'N' ? FitsNumber() : defined_.letter != 'L' || allBooleans_;
}

// What the values need always fits; what the file or the usual room adds to it is cut to what a
// column can have.
int32_t ColumnGuess::Decimals() const {
    const int32_t room = kWidestNumber - 1 - integerPlaces_;
    const int32_t written = fractions_.empty() ? 0 : fractions_.rbegin()->first;
    return std::max(fractionPlaces_, std::min(std::max(written, defined_.decimals), room));
}

Column ColumnGuess::NumberColumn(const std::string& name) const {
    const int32_t decimals = Decimals();
    const int32_t behind = decimals > 0 ? 1 + decimals : 0;
    const int32_t usual = IsDefined() ? defined_.width : kUsualPlaces + behind;
    return {name, 'N', std::max(integerPlaces_ + behind, std::min(usual, kWidestNumber)), decimals};
}

ValueNotes ColumnGuess::Notes() const {
    ValueNotes notes = notes_;
    for (auto more = fractions_.upper_bound(Decimals()); more != fractions_.end(); ++more) {
        notes.rewritten += more->second;
    }
    return notes;
}

Column ColumnGuess::Result(const std::string& name) const {
    const bool mayBeNumber = IsDefined() ? defined_.letter == 'N' : values_ > 0;
    const bool mayBeBoolean = IsDefined() ? defined_.letter == 'L' : values_ > 0;
    if (IsDefined() && defined_.letter == 'M') {
        return {name, 'M', kMemoFieldWidth, 0};
    }
    if (mayBeNumber && FitsNumber()) {
        return NumberColumn(name);
    }
    if (mayBeBoolean && allBooleans_) {
        return {name, 'L', 1, 0};
    }
    const int32_t width = std::max({longest_, defined_.width, 1});
    if (longest_ > kLongestCharacterColumn) {
        return {name, 'M', kMemoFieldWidth, 0};
    }
    return {name, 'C', std::min(width, kLongestCharacterColumn), 0};
}

}  // namespace ovrashell
