#pragma once

// MemoText: one long text of a memo field, or the fact that it has not been loaded. It owns its
// buffer and keeps it from one record to the next; growth doubles, so that a text of any size costs
// few copies.

#include <cstdint>
#include <memory>

#include "foundation/text_view.h"

namespace ovrasql {

class MemoText {
  public:
    [[nodiscard]] bool IsLoaded() const { return loaded_; }

    // All bytes, NUL-ended, NUL bytes inside included. Empty when not loaded.
    [[nodiscard]] TextView Bytes() const;

    // The bytes in front of the first NUL: what everybody reads, and what is stored.
    [[nodiscard]] TextView Text() const;

    // Back to "not loaded". The buffer stays.
    void Unload();

    // Loads a copy of the bytes.
    void Assign(TextView bytes);

    // Loads the empty text, or adds to what is loaded. False when the text would pass the greatest
    // length; what was there stays then.
    [[nodiscard]] bool Append(const char* bytes, int32_t count);

    void Swap(MemoText& other) noexcept;

  private:
    void Reserve(int32_t length);

    std::unique_ptr<char[]> buffer_;
    int32_t capacity_ = 0;  // bytes in the buffer, the NUL's included
    int32_t length_ = 0;
    bool loaded_ = false;
};

}  // namespace ovrasql
