#pragma once

// SQL_Stack: the operands of a running program. An entry is a tagged value; most entries only refer
// to data that lives elsewhere, so that pushing copies nothing.
//
// A column entry holds the field, not its text: its value is the field's at the moment of use, and
// CopyTop is what fixes it. A text that an entry owns stands in a buffer that belongs to the
// entry's place on the stack and is reused by the next owned text there. So a text that a pop gives
// is valid until something is pushed or the stack is cleared.
//
// What an entry borrows must outlive it: literals and parameters live as long as the program runs,
// and whoever destroys a cursor, a temporary table or a bucket calls ForgetHolder first. A result
// then goes on in a cell of the stack's own: a sub-query leaves its value here, and its loops go
// on.
//
// The stack never grows. A pop of an empty stack gives a neutral value, a push onto a full one
// pushes nothing; both report through the EngineFailure and carry on. Owned by one run loop.

#include <cstdint>
#include <memory>

#include "engine/engine_failure.h"
#include "engine/number_cache.h"
#include "engine/sql_result.h"
#include "engine/text_buffer.h"
#include "foundation/number_text.h"
#include "foundation/text_view.h"

namespace ovrasql {

class OvraSQLField;

// What a column or a result belongs to.
enum class StackHolder : uint8_t { kCursor, kTemporary, kBucket, kStack };

enum class StackTag : uint8_t { kInteger, kDouble, kString, kColumn, kResult, kNothing };

// Flags of an entry.
inline constexpr uint8_t kOwnedText = 1;  // the text stands in the place's own buffer
inline constexpr uint8_t kTextOnly = 2;   // never compared as a number
inline constexpr uint8_t kExactText = 4;  // never compared with case folding

struct StackEntry {
    union {
        int32_t integer;
        double number;
        const char* text;
        OvraSQLField* field;
        SQLResult* result;
    };
    NumberCache* parsed;  // of a string: where its number is kept; may be null
    int32_t length;       // of a string; of a column or a result the slot of its holder
    StackTag tag;
    uint8_t flags;
    StackHolder holder;  // of a column or a result
};

class SQL_Stack {
  public:
    static constexpr int32_t kCapacity = 2046;

    SQL_Stack(EngineFailure* failure, bool caseInsensitive, int32_t capacity = kCapacity);
    virtual ~SQL_Stack() = default;
    SQL_Stack(const SQL_Stack&) = delete;
    SQL_Stack& operator=(const SQL_Stack&) = delete;

    [[nodiscard]] int32_t Count() const { return count_; }
    [[nodiscard]] const StackEntry& EntryAt(int32_t index) const {
        return entries_[static_cast<size_t>(index)];
    }
    // Empties the stack between two runs. Room for large texts is given back.
    void Clear();

    // Nothing refers to this holder any more, since it is about to go: its results keep the values
    // that they have now, its columns become NULLs. If memory runs out, some may refer to it still.
    void ForgetHolder(StackHolder kind, int32_t slot);

    void PushInteger(int32_t value) {
        if (StackEntry* const entry = NewEntry(StackTag::kInteger)) {
            entry->integer = value;
        }
    }
    void PushDouble(double value) {
        if (StackEntry* const entry = NewEntry(StackTag::kDouble)) {
            entry->number = value;
        }
    }
    // Borrows the text; `parsed` is where its number is kept.
    void PushString(TextView text, NumberCache* parsed = nullptr) {
        if (StackEntry* const entry = NewEntry(StackTag::kString)) {
            entry->text = text.data;
            entry->length = text.length;
            entry->parsed = parsed;
        }
    }
    void PushNull() { PushString(TextView()); }
    // Copies the text, which may be one that was just popped. `flags` go beside kOwnedText.
    void PushCopy(TextView text, uint8_t flags = 0);
    void PushResult(SQLResult* result, StackHolder kind, int32_t slot);
    void PushColumn(OvraSQLField* field, int32_t cursorSlot);
    // Counts as NULL, zero and false.
    void PushNothing() { IgnoreEntry(NewEntry(StackTag::kNothing)); }

    void PopDiscard() {
        if (count_ == 0) {
            Underflow();
        } else {
            --count_;
        }
    }
    [[nodiscard]] bool PopBoolean();
    [[nodiscard]] int32_t PopInteger() {
        if (count_ > 0 && Top().tag == StackTag::kInteger) {
            return entries_[static_cast<size_t>(--count_)].integer;
        }
        return PopIntegerConverted();
    }
    [[nodiscard]] double PopDouble();
    [[nodiscard]] TextView PopText();
    // Without `copy` literals, parameters and plain field values are borrowed. Texts of memos,
    // temporary tables and buckets may go before the cell does, and are always copied.
    void PopResult(SQLResult* target, bool copy);
    void PopField(OvraSQLField* field);
    [[nodiscard]] bool IsTopNull();
    [[nodiscard]] bool PopIsNull();

    // Appends the texts of the top `count` entries to `key` in the order of their pushing, each
    // followed by ":", and drops them.
    void PopKey(int32_t count, String* key);

    // The one comparison: negative, 0 or positive as the left operand is less, equal or greater.
    // `keep` operands stay, the left one first. `fold` ignores case also on an exact database.
    [[nodiscard]] int32_t Compare(int32_t keep, bool fold);

    // The instructions that work on the stack alone.
    void CopyTop();
    void Add();
    void Subtract();
    void Multiply();
    void Divide();
    void And();
    void Or();
    void Not() { PushInteger(PopBoolean() ? 0 : 1); }
    void Like();
    void Upper() { Fold(true); }
    void Lower() { Fold(false); }
    void Length();
    void IfNull();
    void Substring(bool withLength);

  private:
    static void IgnoreEntry(const StackEntry*) {}

    [[nodiscard]] StackEntry& Top() { return entries_[static_cast<size_t>(count_ - 1)]; }
    [[nodiscard]] StackEntry* NewEntry(StackTag tag) {
        if (count_ == capacity_) {
            Overflow();
            return nullptr;
        }
        StackEntry* const entry = &entries_[static_cast<size_t>(count_++)];
        entry->tag = tag;
        entry->flags = 0;
        return entry;
    }
    void Overflow();
    void Underflow();

    // The buffer of a place on the stack.
    [[nodiscard]] TextBuffer& BufferAt(int32_t index);
    [[nodiscard]] int32_t PopIntegerConverted();
    // The entry's text; a number is rendered into `room`, which holds kNumberTextRoom bytes.
    [[nodiscard]] static TextView TextOf(const StackEntry& entry, char* room);
    [[nodiscard]] static bool IsNull(const StackEntry& entry);
    // Whether the entry reads as a number; `value` is that number, or what a bad text counts as.
    [[nodiscard]] static bool NumberOf(const StackEntry& entry, double* value);
    [[nodiscard]] int32_t CompareTexts(const StackEntry& left, const StackEntry& right,
                                       bool fold) const;
    // Makes the entry at the place an owned string.
    void OwnText(int32_t index, TextView text, uint8_t flags);
    // Gives the result at the place a cell of the stack's own, with its value of now.
    void KeepResult(int32_t index);
    void StoreText(const StackEntry& entry, OvraSQLField* field);
    void Fold(bool upper);

    EngineFailure* failure_;  // borrowed
    bool caseInsensitive_;
    int32_t capacity_;
    int32_t count_ = 0;
    std::unique_ptr<StackEntry[]> entries_;
    // One for each place that has ever owned a text; made on demand.
    std::unique_ptr<TextBuffer[]> buffers_;
    int32_t bufferCount_ = 0;
    // One for each place whose result has ever lost its holder in this run; made on demand.
    std::unique_ptr<std::unique_ptr<SQLKeptResult>[]> keptResults_;
};

}  // namespace ovrasql
