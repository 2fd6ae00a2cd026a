#pragma once

// Calendar time. Each fills the caller's record; on failure the record is zero-filled.

#include <cstdint>
#include <ctime>

namespace ovrasql {

// Seconds since 1970 broken down, in universal and in local time.
bool GmTime(int64_t time, std::tm* out);
bool LocalTime(int64_t time, std::tm* out);

struct ClockTime {
    int64_t seconds = 0;
    int32_t microseconds = 0;  // whole milliseconds times 1000
};

// Now, by the local clock.
bool CurrentTime(ClockTime* out);

}  // namespace ovrasql
