#include "shell/column_fit.h"

#include <utility>

#include "shell/column_guess.h"
#include "shell/plain_number.h"
#include "shell/row_writer.h"
#include "shell/shown_text.h"
#include "shell/white_space.h"

namespace ovrashell {

namespace {

std::string WithLength(const std::string& value) {
    return ShownText(value) + " (" + std::to_string(value.size()) +
           (value.size() == 1 ? " byte)" : " bytes)");
}

}  // namespace

ColumnFit::ColumnFit(Column column, Column defined)
    : column_(std::move(column)), defined_(std::move(defined)) {}

void ColumnFit::See(std::string_view value, const std::function<std::string()>& place) {
    const bool isNoValue = IsNoValue(defined_, value);
    notes_.See(isNoValue ? std::string_view() : value);
    if ((isNoValue && column_.letter == 'L') || Takes(value)) {
        return;
    }
    ++misfits_;
    if (misfits_ == 1 || value.size() > widest_.size()) {
        widest_ = value;
        widestPlace_ = place();
    }
}

bool ColumnFit::Takes(std::string_view value) {
    switch (column_.letter) {
        case 'N':
            return value.empty() || TakesNumber(value);
        case 'L':
            return ParseBoolean(value) >= 0 || value == "0" || value == "1";
        case 'M':
            return true;
        default:
            return value.find_last_not_of(kWhiteSpace) + 1 <=
                   static_cast<std::size_t>(column_.width);
    }
}

bool ColumnFit::TakesNumber(std::string_view value) {
    auto number = ReadPlainNumber(value);
    if (!number.has_value()) {
        return false;
    }
    // Zeros at the end may go where the column has no room for them.
    const auto decimals = static_cast<std::size_t>(column_.decimals);
    const auto needed = number->fraction.find_last_not_of('0') + 1;
    const bool isRewritten = !number->isCanonical || number->fraction.size() > decimals;
    number->fraction = number->fraction.substr(0, needed);
    const int32_t room = column_.width - (decimals > 0 ? column_.decimals + 1 : 0);
    if (needed > decimals || number->Places() > room || !number->FitsDouble()) {
        return false;
    }
    notes_.rewritten += isRewritten ? 1 : 0;
    return true;
}

std::string ColumnFit::Misfit() const {
    if (misfits_ == 0) {
        return {};
    }
    const bool one = misfits_ == 1;
    return std::to_string(misfits_) + (one ? " value does" : " values do") +
           " not fit into column " + OneLine(ColumnText(column_)) +
           (one ? ": " : ", the widest is ") + WithLength(widest_) + " in " + widestPlace_;
}

}  // namespace ovrashell
