#pragma once

// InputBytes: the input of a fuzz target, taken piece by piece from its front. Behind its end every
// number is 0 and every text empty, so a shorter input is always a whole one, too. It borrows the
// bytes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ovrasql::fuzz {

class InputBytes {
  public:
    InputBytes(const uint8_t* bytes, size_t size)
        : rest_(reinterpret_cast<const char*>(bytes), size) {}

    [[nodiscard]] bool IsEmpty() const { return rest_.empty(); }

    uint8_t Byte() {
        if (rest_.empty()) {
            return 0;
        }
        const auto byte = static_cast<uint8_t>(rest_.front());
        rest_.remove_prefix(1);
        return byte;
    }
    uint32_t Word() {
        const uint32_t low = Byte();
        return low + (static_cast<uint32_t>(Byte()) << 8U);
    }
    std::string_view Take(size_t length) {
        const std::string_view taken = rest_.substr(0, std::min(length, rest_.size()));
        rest_.remove_prefix(taken.size());
        return taken;
    }
    std::string_view Line() {
        const size_t length = std::min(rest_.find('\n'), rest_.size());
        const std::string_view line = rest_.substr(0, length);
        rest_.remove_prefix(std::min(length + 1, rest_.size()));
        return line;
    }
    std::string_view Rest() { return Take(rest_.size()); }

  private:
    std::string_view rest_;
};

}  // namespace ovrasql::fuzz
