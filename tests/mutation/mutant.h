#pragma once
#include <cstdlib>
#include <type_traits>

// Put into a copy of the source whose conditions ask whether they are to be wrong in this process.
// OVRA_MUTANT names the one that is; without it the program does what the source says.

namespace ovra_mutant {

inline const int chosen = [] {
    const char* number = std::getenv("OVRA_MUTANT");
    return number == nullptr ? 0 : std::atoi(number);
}();

// What is worked out while compiling is never wrong.
constexpr bool Is(int number) { return !std::is_constant_evaluated() && chosen == number; }

}  // namespace ovra_mutant
