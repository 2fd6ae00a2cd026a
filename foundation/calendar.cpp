#include "foundation/calendar.h"

#include <chrono>

namespace ovrasql {

namespace {

bool BreakDown(int64_t time, bool local, std::tm* out) {
    const std::time_t seconds = static_cast<std::time_t>(time);
    *out = std::tm{};
    if (static_cast<int64_t>(seconds) != time) {
        return false;
    }
    std::tm made{};
#ifdef _WIN32
    const bool done = (local ? localtime_s(&made, &seconds) : gmtime_s(&made, &seconds)) == 0;
#else
    const bool done = (local ? localtime_r(&seconds, &made) : gmtime_r(&seconds, &made)) != nullptr;
#endif
    if (done) {
        *out = made;
    }
    return done;
}

}  // namespace

bool GmTime(int64_t time, std::tm* out) { return BreakDown(time, false, out); }

bool LocalTime(int64_t time, std::tm* out) { return BreakDown(time, true, out); }

bool CurrentTime(ClockTime* out) {
    using std::chrono::milliseconds;
    *out = ClockTime{};
    const int64_t sinceEpoch = std::chrono::duration_cast<milliseconds>(
                                   std::chrono::system_clock::now().time_since_epoch())
                                   .count();
    int64_t wholeSeconds = sinceEpoch / 1000;
    int64_t rest = sinceEpoch % 1000;
    if (rest < 0) {
        rest += 1000;
        --wholeSeconds;
    }
    // The local date and time is what the clock shows; whether summer time holds is left to the
    // library to find out from it.
    std::tm shown{};
    if (!LocalTime(wholeSeconds, &shown)) {
        return false;
    }
    shown.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&shown);
    if (seconds == std::time_t{-1}) {
        return false;
    }
    out->seconds = static_cast<int64_t>(seconds);
    out->microseconds = static_cast<int32_t>(rest * 1000);
    return true;
}

}  // namespace ovrasql
