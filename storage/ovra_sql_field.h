#pragma once

// OvraSQLField: one column of a table, and the cell that holds that column's value of the record in
// hand. It turns record bytes into text and text back into record bytes; whether a text fits its
// type is not looked at here.
//
// How a value stands in the record, `length` bytes wide:
//
//   number  letter  in the record                                    what a read takes off
//   0       C       text, left-justified, blanks behind it           the trailing blanks
//   1       N       text, right-justified, blanks in front           the leading blanks
//   2       D       text, left-justified, blanks behind it           nothing
//   3       L       text, left-justified, blanks behind it           nothing
//   4       M       memo block number, right-justified               the leading blanks
//
// A text ends at its first NUL. In types 0, 2 and 3 a NUL and what stands behind it read as blanks,
// which is what the next write of the record makes of them: the value, and with it the key in an
// index, is the same before and after. A field of any other type number reads and writes nothing.
//
// There are two values, the current one and a saved one, so that record upkeep can build the old
// and the new key of an index. Both equal the record after a read. Decoding is lazy: the table
// raises its record's sequence number at each read, and the field takes its bytes on its first use
// after that, so a column that nobody asks for costs nothing.
//
// A field in a table is owned by the table and lives until the table's fields are read or made
// anew; value buffers stay at their place as long. A field that stands in no table keeps only what
// it is given.

#include <cstdint>
#include <memory>

#include "foundation/number_text.h"
#include "foundation/text_view.h"

namespace ovrasql {

class OvraSQLTable;

inline constexpr int32_t kFieldCharacter = 0;
inline constexpr int32_t kFieldNumeric = 1;
inline constexpr int32_t kFieldDate = 2;
inline constexpr int32_t kFieldLogical = 3;
inline constexpr int32_t kFieldMemo = 4;

// The bytes of the record in hand. The table owns one and its fields look at it; `sequence` rises
// with every record that is read. `bytes` reaches to the end of the last field at least.
struct RecordImage {
    const char* bytes = nullptr;
    uint64_t sequence = 0;
};

class OvraSQLField {
  public:
    // Copies the name. `table` is borrowed and is null for a field that only describes a column.
    OvraSQLField(OvraSQLTable* table, TextView name, int32_t type, int32_t length,
                 int32_t decimals);
    virtual ~OvraSQLField() = default;

    OvraSQLField(const OvraSQLField&) = delete;
    OvraSQLField& operator=(const OvraSQLField&) = delete;

    [[nodiscard]] TextView Name() const { return TextView(name_, nameLength_); }
    [[nodiscard]] int32_t Type() const { return type_; }
    [[nodiscard]] int32_t Length() const { return length_; }  // bytes in a record
    [[nodiscard]] int32_t Decimals() const { return decimals_; }

    // The current value, NUL-ended; for a memo field the memo text. Valid until the next read of a
    // record, SetValue or SwapValues; the buffer itself stays as long as the field.
    [[nodiscard]] TextView ValueText() {
        EnsureDecoded();
        return holdsLongText_ ? LongText() : TextView(value_, valueLength_);
    }
    [[nodiscard]] const char* Value() { return ValueText().data; }

    // The current value read as a number, parsed once for each value.
    [[nodiscard]] const ParsedNumber& Number();

    // Takes `length` bytes at `record` as both values. Always succeeds.
    virtual bool ReadFromRecord(const char* record);

    // Writes exactly `length` bytes at `record`. Fails only for a memo that could not be stored,
    // and leaves the bytes alone then.
    [[nodiscard]] virtual bool WriteToRecord(char* record);

    // Makes the text the current value, cut to the field's length without a message. Gives the
    // value.
    virtual const char* SetValue(TextView text);

    // Exchanges the current and the saved value, and gives the new current one.
    virtual const char* SwapValues();

    // The saved value becomes the current one.
    virtual void SaveValue();

    // Called by the table that takes the field in: where the field's bytes stand in its record.
    void Attach(const RecordImage* image, int32_t offset);
    [[nodiscard]] int32_t Offset() const { return offset_; }

    // Whether the name filled all 11 bytes of the descriptor it was read from, so that there was no
    // room for a NUL; such a name is written back as it was.
    [[nodiscard]] bool NameFillsDescriptor() const { return nameFillsDescriptor_; }
    void SetNameFillsDescriptor(bool fills) { nameFillsDescriptor_ = fills; }

  protected:
    // For memo fields: ValueText() goes to LongText().
    struct HoldsLongText {};
    OvraSQLField(HoldsLongText, OvraSQLTable* table, TextView name, int32_t length,
                 int32_t decimals);

    virtual TextView LongText() { return TextView(value_, valueLength_); }

    void EnsureDecoded() {
        if (sequence_ != image_->sequence) {
            Decode();
        }
    }
    void ForgetNumber() { numberIsKnown_ = false; }
    [[nodiscard]] OvraSQLTable* OwningTable() const { return table_; }

    // The text in the record cell itself: for a memo field the block number.
    [[nodiscard]] TextView CellText() const { return TextView(value_, valueLength_); }
    void SetCellText(TextView text);

  private:
    void Decode();
    void Fill(const char* bytes, int32_t count);
    void FillUpToNul(const char* bytes, int32_t length);

    OvraSQLTable* table_;       // borrowed
    const RecordImage* image_;  // borrowed; never null
    uint64_t sequence_;         // the record that the values were taken from
    // One block: the name, the value and the saved value, each with its NUL.
    std::unique_ptr<char[]> storage_;
    char* name_;
    char* value_;
    char* savedValue_;
    int32_t nameLength_;
    int32_t valueLength_ = 0;
    int32_t savedLength_ = 0;
    int32_t type_;
    int32_t length_;
    int32_t room_;  // bytes that a value buffer holds: the length, kept to what a record can have
    int32_t decimals_;
    int32_t offset_ = 0;
    // The saved value equals the current one, whatever its own buffer holds: it is copied when the
    // current one is about to change, so that a read copies each cell once.
    bool savedIsValue_ = true;
    bool holdsLongText_ = false;
    bool nameFillsDescriptor_ = false;
    bool numberIsKnown_ = false;
    ParsedNumber number_{};
};

// The key under which containers keep a field.
inline TextView ItemName(const OvraSQLField& field) { return field.Name(); }

}  // namespace ovrasql
