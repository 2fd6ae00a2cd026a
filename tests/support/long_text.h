#pragma once

// LongText: a NUL-ended text of gigabytes that takes two megabytes of memory, the same pages mapped
// behind one another. Only where addresses are wider than 32 bits.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

namespace ovratest {

class LongText {
  public:
    // `length` letters 'x' and the NUL.
    explicit LongText(std::size_t length) : room_((length / kStep + 1) * kStep) {
        auto* const place = static_cast<char*>(
            mmap(nullptr, room_, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        if (place == MAP_FAILED) {
            return;
        }
        start_ = place;
        const int file = memfd_create("long text", 0);
        if (file < 0 || ftruncate(file, kStep) != 0 || !Fill(file)) {
            Unmap();
        }
        for (std::size_t offset = 0; start_ != nullptr && offset < room_; offset += kStep) {
            const bool last = offset + kStep == room_;
            if (mmap(start_ + offset, kStep, PROT_READ | (last ? PROT_WRITE : 0),
                     MAP_PRIVATE | MAP_FIXED, file, 0) == MAP_FAILED) {
                Unmap();
            }
        }
        if (file >= 0) {
            close(file);
        }
        if (start_ != nullptr) {
            start_[length] = '\0';
        }
    }
    ~LongText() { Unmap(); }
    LongText(const LongText&) = delete;
    LongText& operator=(const LongText&) = delete;

    // Null where the system could not map it.
    [[nodiscard]] const char* CText() const { return start_; }

  private:
    static constexpr std::size_t kStep = std::size_t{1} << 21;

    static bool Fill(int file) {
        void* const page = mmap(nullptr, kStep, PROT_WRITE, MAP_SHARED, file, 0);
        if (page == MAP_FAILED) {
            return false;
        }
        std::memset(page, 'x', kStep);
        return munmap(page, kStep) == 0;
    }
    void Unmap() {
        if (start_ != nullptr) {
            munmap(start_, room_);
            start_ = nullptr;
        }
    }

    std::size_t room_;
    char* start_ = nullptr;
};

}  // namespace ovratest
