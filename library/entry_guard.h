#pragma once

// What every entry point does with its arguments and its failures.

#include <utility>

#include "foundation/text_view.h"

namespace ovrasql {

// A text as the host passes it: -1 says that it ends with a NUL, any other negative length is 0.
[[nodiscard]] inline TextView EntryText(const char* text, int32_t length) {
    return length < -1 ? TextView() : TextView(text, length);
}

// Stores an output of an entry, unless the host asked for none.
template <class Value>
inline void StoreOutput(Value* output, Value value) {
    if (output != nullptr) {
        *output = value;
    }
}

// Runs the body of an entry. Nothing that is thrown reaches the host, who need not be written in a
// language that knows exceptions. The library throws only when there is no memory; `otherwise` runs
// then, and must not allocate.
template <class Body, class Otherwise>
inline auto GuardEntry(Body&& body, Otherwise&& otherwise) noexcept -> decltype(body()) {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return std::forward<Otherwise>(otherwise)();
    }
}

}  // namespace ovrasql
