#pragma once

// Hosts run statements on threads of their own, and a thread of a script engine may have 1 MiB of
// stack. These run a function on a thread with a stack of a given size, with a guard page below it,
// and tell how many bytes of it were touched.

#include <cstddef>
#include <functional>
#include <string>

namespace ovrasql {

inline constexpr size_t kMebibyte = 1024 * 1024;

#if defined(__SANITIZE_ADDRESS__)
// Red zones make every frame several times as large.
inline constexpr size_t kSmallStack = 8 * kMebibyte;
inline constexpr int32_t kSlowness = 10;
#else
inline constexpr size_t kSmallStack = kMebibyte;
inline constexpr int32_t kSlowness = 1;
#endif

#if defined(__clang__)
// A level takes up to 1,725 bytes of little optimised code, and 684 of GCC's.
inline constexpr size_t kPartOfHost = 8;
#else
inline constexpr size_t kPartOfHost = 4;
#endif

// Bytes of stack that `function` used, the start of the thread counted.
size_t OnStack(size_t size, const std::function<void()>& function);

std::string Repeat(const std::string& piece, int32_t count);

}  // namespace ovrasql
