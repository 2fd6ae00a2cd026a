#pragma once

// What a fuzz target does when the library breaks a promise: it says which, and ends the program as
// a crash would, so that the input is kept.

#include <cstdio>
#include <cstdlib>
#include <string>

namespace ovrasql::fuzz {

[[noreturn]] inline void Finding(const std::string& text) {
    std::fprintf(stderr, "FINDING: %s\n", text.c_str());
    std::abort();
}

inline void Require(bool holds, const char* text) {
    if (!holds) {
        Finding(text);
    }
}

}  // namespace ovrasql::fuzz
