#pragma once

// TextView: counted text that somebody else owns. It is a pointer with a 32-bit length, the form in
// which all text travels between the layers; it is often not NUL-ended and may hold any byte.
//
// A view never owns. It is valid for as long as the text that it was taken from; whoever hands one
// out says how long that is.

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

namespace ovrasql {

struct TextView {
    const char* data = "";
    int32_t length = 0;

    constexpr TextView() = default;

    // A length of -1 means that the text ends with a NUL and is to be measured; one of 2 GiB or
    // more is refused with std::bad_alloc, as no length can tell it. A null text is empty.
    constexpr TextView(const char* text, int32_t textLength)
        : data(text == nullptr ? "" : text),
          length(text == nullptr ? 0 : (textLength < 0 ? Measure(text) : textLength)) {}

    // Implicit on purpose: literals and NUL-ended texts stand wherever a view is wanted.
    constexpr TextView(const char* text) : TextView(text, -1) {}  // NOLINT

    [[nodiscard]] constexpr bool IsEmpty() const { return length == 0; }
    [[nodiscard]] constexpr const char* begin() const { return data; }
    [[nodiscard]] constexpr const char* end() const { return data + length; }
    constexpr char operator[](int32_t index) const { return data[index]; }

    // The bytes from `start` on, at most `count` of them (-1: all). Both are cut to what is there.
    [[nodiscard]] constexpr TextView Part(int32_t start, int32_t count = -1) const {
        const int32_t from = start < 0 ? 0 : (start > length ? length : start);
        const int32_t rest = length - from;
        return TextView(data + from, count < 0 || count > rest ? rest : count);
    }

    // Byte for byte; the lengths count.
    friend bool operator==(TextView first, TextView second) {
        return first.length == second.length &&
               std::memcmp(first.data, second.data, static_cast<size_t>(first.length)) == 0;
    }

  private:
    static constexpr int32_t Measure(const char* text) {
        size_t count = 0;
        if (std::is_constant_evaluated()) {
            while (text[count] != '\0') {
                ++count;
            }
        } else {
            count = std::strlen(text);
        }
        if (count > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
            throw std::bad_alloc();
        }
        return static_cast<int32_t>(count);
    }
};

}  // namespace ovrasql
