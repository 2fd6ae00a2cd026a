#pragma once

// How the engine makes an integer of a double.

#include <cstdint>
#include <limits>

namespace ovrasql {

// Towards zero. What does not fit, a NaN included, is the least integer.
[[nodiscard]] inline int32_t TruncateToInteger(double value) {
    constexpr double kBeyond = 2147483648.0;
    return value > -kBeyond - 1.0 && value < kBeyond ? static_cast<int32_t>(value)
                                                     : std::numeric_limits<int32_t>::min();
}

}  // namespace ovrasql
