#pragma once

#include <string>
#include <string_view>

namespace ovrashell {

// A text of somebody's file as a message may show it: in quotes, on one line, without what drives a
// terminal, and of a longer one the beginning only.
std::string ShownText(std::string_view text);

}  // namespace ovrashell
