#include "storage/memo_text.h"

#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace ovrasql {

namespace {

// The first buffer holds a text of one block; one that grew past the second figure is given back
// when its text is no longer wanted.
constexpr int32_t kFirstCapacity = 512;
constexpr int32_t kKeptCapacity = 256 * 1024;
constexpr int32_t kGreatestLength = std::numeric_limits<int32_t>::max() - 1024;

}  // namespace

TextView MemoText::Bytes() const { return loaded_ ? TextView(buffer_.get(), length_) : TextView(); }

TextView MemoText::Text() const {
    const TextView bytes = Bytes();
    const void* end = std::memchr(bytes.data, '\0', static_cast<size_t>(bytes.length));
    return end == nullptr
               ? bytes
               : bytes.Part(0, static_cast<int32_t>(static_cast<const char*>(end) - bytes.data));
}

void MemoText::Unload() {
    loaded_ = false;
    length_ = 0;
    if (capacity_ > kKeptCapacity) {
        buffer_.reset();
        capacity_ = 0;
    }
}

void MemoText::Assign(TextView bytes) {
    const int32_t length = bytes.length;
    if (length > kGreatestLength) {
        throw std::bad_alloc();
    }
    // The bytes may be this text's own, so the old buffer lives until they have been moved; and
    // when there is no room for a new one, the old text stays as it was.
    std::unique_ptr<char[]> old;
    if (length >= capacity_) {
        const int32_t capacity = length < kFirstCapacity ? kFirstCapacity : length + 1;
        old.reset(new char[static_cast<size_t>(capacity)]);
        buffer_.swap(old);
        capacity_ = capacity;
    }
    std::memmove(buffer_.get(), bytes.data, static_cast<size_t>(length));
    buffer_[static_cast<size_t>(length)] = '\0';
    length_ = length;
    loaded_ = true;
}

bool MemoText::Append(const char* bytes, int32_t count) {
    if (count > kGreatestLength - length_) {
        return false;
    }
    Reserve(length_ + count);
    std::memcpy(buffer_.get() + length_, bytes, static_cast<size_t>(count));
    length_ += count;
    buffer_[static_cast<size_t>(length_)] = '\0';
    loaded_ = true;
    return true;
}

void MemoText::Reserve(int32_t length) {
    if (length < capacity_) {
        return;
    }
    int64_t wanted = capacity_ < kFirstCapacity ? kFirstCapacity : int64_t{2} * capacity_;
    while (wanted <= length) {
        wanted *= 2;
    }
    const int32_t capacity =
        wanted > kGreatestLength ? kGreatestLength + 1 : static_cast<int32_t>(wanted);
    std::unique_ptr<char[]> grown(new char[static_cast<size_t>(capacity)]);
    if (length_ > 0) {
        std::memcpy(grown.get(), buffer_.get(), static_cast<size_t>(length_));
    }
    buffer_ = std::move(grown);
    capacity_ = capacity;
}

void MemoText::Swap(MemoText& other) noexcept {
    std::swap(buffer_, other.buffer_);
    std::swap(capacity_, other.capacity_);
    std::swap(length_, other.length_);
    std::swap(loaded_, other.loaded_);
}

}  // namespace ovrasql
