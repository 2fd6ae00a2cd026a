#pragma once

// How the tests of host/ open their files: sums of the flags of services.h.

#include <cstdint>

namespace ovrahost {

inline constexpr int32_t kExisting = 3;    // read and write
inline constexpr int32_t kNew = 15;        // read, write, create, emptied
inline constexpr int32_t kAppending = 22;  // write, create, append
inline constexpr int32_t kTemporary = 39;  // read, write, create, must not exist

}  // namespace ovrahost
