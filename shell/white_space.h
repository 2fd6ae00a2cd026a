#pragma once

#include <algorithm>
#include <string_view>

namespace ovrashell {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

constexpr std::string_view WithoutLeadingBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
}

}  // namespace ovrashell
