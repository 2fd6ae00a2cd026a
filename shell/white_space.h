#pragma once

#include <string_view>

namespace ovrashell {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

}  // namespace ovrashell
