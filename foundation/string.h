#pragma once

// String: owned text of bytes with a stored length and a NUL behind it. There is no encoding, and a
// NUL may stand inside.
//
// A string that never had a value has null text (IsNull), which differs from an empty text only in
// Capacity() and in a few operations that say so. The stated capacity moves in steps of 24 bytes;
// the memory behind it grows by doubling, so that text built piece by piece costs linear time.
// Arguments may be views of the string's own text. A text past 2 GiB is refused with
// std::bad_alloc.

#include <cstdint>
#include <initializer_list>
#include <memory>

#include "foundation/text_view.h"

namespace ovrasql {

inline constexpr int32_t kStringStep = 24;

class String {
  public:
    String() = default;
    explicit String(TextView text) { Assign(text); }
    String(const String& other) { CopyFrom(other); }
    String(String&& other) noexcept;
    // Takes a buffer over, as TakeBuffer does.
    String(std::unique_ptr<char[]> buffer, int32_t length, int32_t size);
    String& operator=(const String& other);
    String& operator=(String&& other) noexcept;
    String& operator=(TextView text) {
        Assign(text);
        return *this;
    }

    // All pieces behind one another.
    [[nodiscard]] static String Join(std::initializer_list<TextView> pieces);

    // Never null, and ends with a NUL.
    [[nodiscard]] const char* CText() const { return text_ == nullptr ? "" : text_.get(); }
    // The text to write into, exactly Length() bytes of it; null text has none.
    [[nodiscard]] char* Data() { return text_.get(); }
    [[nodiscard]] int32_t Length() const { return length_; }
    [[nodiscard]] int32_t Capacity() const { return capacity_; }
    [[nodiscard]] bool IsNull() const { return text_ == nullptr; }
    [[nodiscard]] bool IsEmpty() const { return length_ == 0; }
    [[nodiscard]] TextView View() const { return TextView(CText(), length_); }
    operator TextView() const {
        return View();
    }  // NOLINT: a string is a text wherever one is wanted

    // An empty text makes an empty string with a buffer, not null text.
    void Assign(TextView text);
    void Assign(const char* text, int32_t length) { Assign(TextView(text, length)); }
    void Append(TextView text);
    void Append(const char* text, int32_t length) { Append(TextView(text, length)); }
    void AppendChar(char c);
    void Prepend(TextView text);
    // Takes the buffer over when it holds more than `length` bytes, else copies it.
    void TakeBuffer(std::unique_ptr<char[]> buffer, int32_t length, int32_t size);
    // Back to null text.
    void Clear();

    // Position of the first match at or after `start`, or -1. An empty needle is never found.
    [[nodiscard]] int32_t Find(TextView needle, int32_t start = 0) const;
    [[nodiscard]] bool Contains(TextView needle, int32_t start = 0) const;
    // Matches, overlapping ones counted each.
    [[nodiscard]] int32_t CountOf(TextView needle) const;

    // The first `count` bytes; null text for a negative count.
    [[nodiscard]] String Left(int32_t count) const;
    // The bytes from `start` up to `end`.
    [[nodiscard]] String Slice(int32_t start, int32_t end) const;
    // The text from `index` on, and from behind `index` on.
    [[nodiscard]] String From(int32_t index) const;
    [[nodiscard]] String After(int32_t index) const;
    // Around the first match. Without one: empty, the whole text, empty.
    [[nodiscard]] String AfterMatch(TextView needle, int32_t start = 0) const;
    [[nodiscard]] String BeforeMatch(TextView needle) const;
    [[nodiscard]] String FromMatch(TextView needle, int32_t start = 0) const;

    // Replaces every match; replacements are not searched again.
    void Replace(TextView needle, TextView replacement);

    // Fills `target`, which has room for maxParts strings, with the pieces between the delimiters
    // and gives their number. An empty last piece is not counted; an empty delimiter never cuts.
    [[nodiscard]] int32_t Split(String* target, int32_t maxParts, TextView delimiter) const;

    // Whether the text from `offset` on equals the other, both in upper case.
    [[nodiscard]] bool EqualsFromNoCase(TextView text, int32_t offset) const;

    void ToLower();
    void ToUpper();
    [[nodiscard]] String Lowered() const;
    [[nodiscard]] String Uppered() const;
    // A copy filled up to `width` bytes.
    [[nodiscard]] String PadLeft(int32_t width, char c) const;
    [[nodiscard]] String PadRight(int32_t width, char c) const;

    // White space is tab, newline, carriage return and blank.
    void TrimLeft();
    void Trim();
    // Cuts each run of white space to its first character.
    void CollapseWhiteSpace();

    [[nodiscard]] String Base64Encode() const;
    [[nodiscard]] String Base64Decode() const;

    // Byte for byte; null text equals empty text.
    friend bool operator==(const String& first, TextView second) { return first.View() == second; }
    friend bool operator==(const String& first, const String& second) {
        return first.View() == second.View();
    }
    friend bool operator==(const String& first, const char* second) {
        return first.View() == TextView(second);
    }

  private:
    void CopyFrom(const String& other);
    // Makes the buffer hold `needed` bytes, the text so far in it, and states the rounded capacity.
    // Gives the old buffer when a new one was made, since the caller's argument may stand in it.
    std::unique_ptr<char[]> MakeRoom(int64_t needed);
    // Copies the text, for which there is room, behind the last byte.
    void PutAtEnd(TextView text);
    void KeepRange(int32_t start, int32_t length);

    std::unique_ptr<char[]> text_;
    int32_t room_ = 0;      // bytes in memory
    int32_t capacity_ = 0;  // bytes as stated
    int32_t length_ = 0;    // without the NUL
};

}  // namespace ovrasql
