#pragma once

#include <cstdint>
#include <string_view>

namespace ovrahost {

// What the statement text says of its parameters, outside quoted texts. The library compares the
// count that it is given with the parameters that number themselves, and lets the numbered ones
// (`:n`) reach into the list without being counted.
struct ParameterUse {
    int32_t selfNumbered = 0;  // each `?`, and each `:` with the number 0
    bool hasNumbered = false;  // some `:n` with n above 0
};

ParameterUse FindParameters(std::string_view statement);

}  // namespace ovrahost
