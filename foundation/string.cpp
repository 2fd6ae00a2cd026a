#include "foundation/string.h"

#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "foundation/base64.h"
#include "foundation/text_compare.h"

namespace ovrasql {

namespace {

// Bytes of the longest text with its NUL; rounding up must stay inside 32 bits.
constexpr int64_t kLongestText = std::numeric_limits<int32_t>::max() - kStringStep;

int32_t RoundUp(int64_t bytes) {
    return static_cast<int32_t>((bytes + kStringStep - 1) / kStringStep * kStringStep);
}

void CheckLength(int64_t bytes) {
    if (bytes > kLongestText) {
        throw std::bad_alloc();
    }
}

// memmove and memcpy with counts that may be 0.
void CopyBytes(char* to, const char* from, int32_t count) {
    if (count > 0) {
        std::memmove(to, from, static_cast<size_t>(count));
    }
}

int32_t FindIn(TextView text, TextView needle, int32_t start) {
    if (needle.length == 0 || needle.length > text.length || start >= text.length) {
        return -1;
    }
    const int32_t last = text.length - needle.length;
    for (int32_t from = start < 0 ? 0 : start; from <= last;) {
        const size_t places = static_cast<size_t>(last - from) + 1;
        const void* hit = std::memchr(text.data + from, needle[0], places);
        if (hit == nullptr) {
            return -1;
        }
        from = static_cast<int32_t>(static_cast<const char*>(hit) - text.data);
        if (text.Part(from, needle.length) == needle) {
            return from;
        }
        ++from;
    }
    return -1;
}

}  // namespace

String::String(String&& other) noexcept
    : text_(std::move(other.text_)),
      room_(std::exchange(other.room_, 0)),
      capacity_(std::exchange(other.capacity_, 0)),
      length_(std::exchange(other.length_, 0)) {}

String::String(std::unique_ptr<char[]> buffer, int32_t length, int32_t size) {
    TakeBuffer(std::move(buffer), length, size);
}

String& String::operator=(const String& other) {
    if (this != &other) {
        CopyFrom(other);
    }
    return *this;
}

String& String::operator=(String&& other) noexcept {
    if (this != &other) {
        text_ = std::move(other.text_);
        room_ = std::exchange(other.room_, 0);
        capacity_ = std::exchange(other.capacity_, 0);
        length_ = std::exchange(other.length_, 0);
    }
    return *this;
}

String String::Join(std::initializer_list<TextView> pieces) {
    int64_t length = 0;
    for (const TextView& piece : pieces) {
        length += piece.length;
    }
    String joined;
    joined.MakeRoom(length + 1);
    for (const TextView& piece : pieces) {
        joined.PutAtEnd(piece);
    }
    return joined;
}

void String::CopyFrom(const String& other) {
    if (other.IsNull()) {
        Clear();
    } else {
        Assign(other.View());
    }
}

std::unique_ptr<char[]> String::MakeRoom(int64_t needed) {
    CheckLength(needed);
    const int32_t stated = needed > capacity_ ? RoundUp(needed) : capacity_;
    std::unique_ptr<char[]> old;
    if (stated > room_) {
        const int64_t doubled = int64_t{room_} * 2;
        const bool doubles = doubled > stated && doubled <= kLongestText;
        const int32_t room = doubles ? static_cast<int32_t>(doubled) : stated;
        auto fresh = std::make_unique_for_overwrite<char[]>(static_cast<size_t>(room));
        CopyBytes(fresh.get(), text_.get(), length_);
        fresh[length_] = '\0';
        old = std::exchange(text_, std::move(fresh));
        room_ = room;
    }
    capacity_ = stated;
    return old;
}

void String::PutAtEnd(TextView text) {
    CopyBytes(text_.get() + length_, text.data, text.length);
    length_ += text.length;
    text_[length_] = '\0';
}

void String::KeepRange(int32_t start, int32_t length) {
    CopyBytes(text_.get(), text_.get() + start, length);
    length_ = length;
    text_[length_] = '\0';
}

void String::Assign(TextView text) {
    // The text may stand in the old buffer, which is held until the copy is made.
    const std::unique_ptr<char[]> old = MakeRoom(int64_t{text.length} + 1);
    length_ = 0;
    PutAtEnd(text);
}

void String::Append(TextView text) {
    const std::unique_ptr<char[]> old = MakeRoom(int64_t{length_} + text.length + 1);
    PutAtEnd(text);
}

void String::AppendChar(char c) {
    if (IsNull()) {
        MakeRoom(1);
    }
    if (length_ + 2 >= capacity_) {
        MakeRoom(int64_t{capacity_} + 1);
    }
    text_[length_++] = c;
    text_[length_] = '\0';
}

void String::Prepend(TextView text) {
    String longer;
    longer.MakeRoom(int64_t{text.length} + length_ + 1);
    longer.PutAtEnd(text);
    longer.PutAtEnd(View());
    *this = std::move(longer);
}

void String::TakeBuffer(std::unique_ptr<char[]> buffer, int32_t length, int32_t size) {
    if (buffer == nullptr || size < 0) {
        Clear();
        return;
    }
    if (length < 0) {
        const void* end = std::memchr(buffer.get(), '\0', static_cast<size_t>(size));
        length = end == nullptr
                     ? size
                     : static_cast<int32_t>(static_cast<const char*>(end) - buffer.get());
    }
    if (size > length) {
        text_ = std::move(buffer);
        room_ = size;
        capacity_ = size;
        length_ = length;
        text_[length_] = '\0';
        return;
    }
    Clear();
    Assign(TextView(buffer.get(), size));
}

void String::Clear() {
    text_ = nullptr;
    room_ = 0;
    capacity_ = 0;
    length_ = 0;
}

int32_t String::Find(TextView needle, int32_t start) const { return FindIn(View(), needle, start); }

bool String::Contains(TextView needle, int32_t start) const { return Find(needle, start) >= 0; }

int32_t String::CountOf(TextView needle) const {
    int32_t count = 0;
    for (int32_t hit = Find(needle); hit >= 0; hit = Find(needle, hit + 1)) {
        ++count;
    }
    return count;
}

String String::Left(int32_t count) const {
    return count < 0 ? String() : String(View().Part(0, count));
}

String String::Slice(int32_t start, int32_t end) const {
    const int32_t from = start < 0 ? 0 : start;
    return String(end <= from ? TextView() : View().Part(from, end - from));
}

String String::From(int32_t index) const { return String(View().Part(index)); }

String String::After(int32_t index) const {
    return String(index >= length_ ? TextView() : View().Part(index + 1));
}

String String::AfterMatch(TextView needle, int32_t start) const {
    const int32_t hit = Find(needle, start);
    return String(hit < 0 ? TextView() : View().Part(hit + needle.length));
}

String String::BeforeMatch(TextView needle) const {
    const int32_t hit = Find(needle);
    return String(hit < 0 ? View() : View().Part(0, hit));
}

String String::FromMatch(TextView needle, int32_t start) const {
    const int32_t hit = Find(needle, start);
    return String(hit < 0 ? TextView() : View().Part(hit));
}

void String::Replace(TextView needle, TextView replacement) {
    int32_t hit = Find(needle);
    if (hit < 0) {
        return;
    }
    String replaced;
    int32_t done = 0;
    for (; hit >= 0; hit = Find(needle, done)) {
        replaced.Append(View().Part(done, hit - done));
        replaced.Append(replacement);
        done = hit + needle.length;
    }
    replaced.Append(View().Part(done));
    *this = std::move(replaced);
}

int32_t String::Split(String* target, int32_t maxParts, TextView delimiter) const {
    int32_t count = 0;
    int32_t start = 0;
    while (count < maxParts && start < length_) {
        const int32_t hit = Find(delimiter, start);
        const int32_t end = hit < 0 ? length_ : hit;
        target[count++].Assign(View().Part(start, end - start));
        start = hit < 0 ? length_ : hit + delimiter.length;
    }
    return count;
}

bool String::EqualsFromNoCase(TextView text, int32_t offset) const {
    if (offset < 0 || offset > length_ || text.length != length_ - offset) {
        return false;
    }
    return CompareNoCaseUpper(CText() + offset, text.data, text.length) == 0;
}

void String::ToLower() { LowerText(text_.get(), length_); }

void String::ToUpper() { UpperText(text_.get(), length_); }

String String::Lowered() const {
    String copy(*this);
    copy.ToLower();
    return copy;
}

String String::Uppered() const {
    String copy(*this);
    copy.ToUpper();
    return copy;
}

String String::PadLeft(int32_t width, char c) const {
    if (width <= length_) {
        return *this;
    }
    String padded;
    padded.MakeRoom(int64_t{width} + 1);
    std::memset(padded.text_.get(), c, static_cast<size_t>(width - length_));
    padded.length_ = width - length_;
    padded.PutAtEnd(View());
    return padded;
}

String String::PadRight(int32_t width, char c) const {
    if (width <= length_) {
        return *this;
    }
    String padded;
    padded.MakeRoom(int64_t{width} + 1);
    padded.PutAtEnd(View());
    std::memset(padded.text_.get() + length_, c, static_cast<size_t>(width - length_));
    padded.length_ = width;
    padded.text_[width] = '\0';
    return padded;
}

void String::TrimLeft() {
    int32_t start = 0;
    while (start < length_ && IsTrimSpace(text_[start])) {
        ++start;
    }
    if (start > 0) {
        KeepRange(start, length_ - start);
    }
}

void String::Trim() {
    int32_t length = length_;
    while (length > 0 && IsTrimSpace(text_[length - 1])) {
        --length;
    }
    if (length < length_) {
        KeepRange(0, length);
    }
    TrimLeft();
}

void String::CollapseWhiteSpace() {
    int32_t kept = 0;
    bool inRun = false;
    for (int32_t index = 0; index < length_; ++index) {
        const char c = text_[index];
        if (!inRun || !IsTrimSpace(c)) {
            text_[kept++] = c;
        }
        inRun = IsTrimSpace(c);
    }
    if (kept < length_) {
        KeepRange(0, kept);
    }
}

String String::Base64Encode() const { return EncodeBase64(View()); }

String String::Base64Decode() const { return DecodeBase64(View()); }

}  // namespace ovrasql
