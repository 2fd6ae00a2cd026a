#pragma once

#include <cstdint>

// The test program counts the bytes that are allocated: what one statement takes at its peak is
// bounded, whatever a file says about its own sizes.
namespace ovratest {

extern int64_t liveBytes;
extern int64_t peakBytes;  // since it was last set to liveBytes

// An allocation beyond this much fails instead of taking the machine down.
inline constexpr int64_t kMostLiveBytes = int64_t{1} << 30;

}  // namespace ovratest
