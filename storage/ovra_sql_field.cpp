#include "storage/ovra_sql_field.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "storage/ovra_sql_table.h"

namespace ovrasql {

namespace {

// What a field looks at that stands in no table: a record that never changes.
const RecordImage kNoRecord{};

// The text in front of the first NUL, or all of it.
int32_t TextLength(const char* bytes, int32_t count) {
    const void* end = std::memchr(bytes, '\0', static_cast<size_t>(count));
    return end == nullptr ? count : static_cast<int32_t>(static_cast<const char*>(end) - bytes);
}

bool IsRightJustified(int32_t type) { return type == kFieldNumeric || type == kFieldMemo; }

bool IsKnownType(int32_t type) { return type >= kFieldCharacter && type <= kFieldMemo; }

}  // namespace

OvraSQLField::OvraSQLField(OvraSQLTable* table, TextView name, int32_t type, int32_t length,
                           int32_t decimals)
    : table_(table),
      image_(&kNoRecord),
      sequence_(kNoRecord.sequence),
      nameLength_(name.length),
      type_(type),
      length_(length),
      room_(std::clamp(length, 0, kMaximumRecordLength)),
      decimals_(decimals) {
    const size_t nameSize = static_cast<size_t>(nameLength_) + 1;
    const size_t valueSize = static_cast<size_t>(room_) + 1;
    storage_ = std::make_unique<char[]>(nameSize + 2 * valueSize);  // zero-filled: empty values
    name_ = storage_.get();
    value_ = name_ + nameSize;
    savedValue_ = value_ + valueSize;
    std::memcpy(name_, name.data, static_cast<size_t>(nameLength_));
}

OvraSQLField::OvraSQLField(HoldsLongText, OvraSQLTable* table, TextView name, int32_t length,
                           int32_t decimals)
    : OvraSQLField(table, name, kFieldMemo, length, decimals) {
    holdsLongText_ = true;
}

void OvraSQLField::Attach(const RecordImage* image, int32_t offset) {
    image_ = image;
    sequence_ = image->sequence;
    offset_ = offset;
}

void OvraSQLField::Decode() { ReadFromRecord(image_->bytes + offset_); }

bool OvraSQLField::ReadFromRecord(const char* record) {
    sequence_ = image_->sequence;
    int32_t first = 0;
    int32_t last = room_;
    if (type_ == kFieldCharacter) {
        while (last > 0 && record[last - 1] == ' ') {
            --last;
        }
    } else if (IsRightJustified(type_)) {
        while (first < last && record[first] == ' ') {
            ++first;
        }
    }
    if (IsKnownType(type_)) {
        Fill(record + first, last - first);
    }
    return true;
}

void OvraSQLField::Fill(const char* bytes, int32_t count) {
    ForgetNumber();
    savedIsValue_ = true;
    const int32_t length = TextLength(bytes, count);
    if (length < count) {
        FillUpToNul(bytes, length);
        return;
    }
    valueLength_ = count;
    std::memcpy(value_, bytes, static_cast<size_t>(count));
    value_[count] = '\0';
}

// A value that a NUL ends becomes what is read from the same record once that is written anew: else
// its key in an index would not be found again. A number is that already, as its blanks go in
// front.
void OvraSQLField::FillUpToNul(const char* bytes, int32_t length) {
    std::memcpy(value_, bytes, static_cast<size_t>(length));
    if (type_ == kFieldCharacter) {
        while (length > 0 && value_[length - 1] == ' ') {
            --length;
        }
    } else if (!IsRightJustified(type_)) {
        std::memset(value_ + length, ' ', static_cast<size_t>(room_ - length));
        length = room_;
    }
    valueLength_ = length;
    value_[length] = '\0';
}

bool OvraSQLField::WriteToRecord(char* record) {
    EnsureDecoded();
    if (!IsKnownType(type_)) {
        return true;
    }
    const size_t textSize = static_cast<size_t>(valueLength_);
    const size_t blanks = static_cast<size_t>(room_ - valueLength_);
    if (IsRightJustified(type_)) {
        std::memset(record, ' ', blanks);
        std::memcpy(record + blanks, value_, textSize);
    } else {
        std::memcpy(record, value_, textSize);
        std::memset(record + textSize, ' ', blanks);
    }
    return true;
}

void OvraSQLField::SetCellText(TextView text) {
    EnsureDecoded();
    ForgetNumber();
    if (savedIsValue_) {
        std::memcpy(savedValue_, value_, static_cast<size_t>(valueLength_) + 1);
        savedLength_ = valueLength_;
        savedIsValue_ = false;
    }
    valueLength_ = TextLength(text.data, std::min(text.length, room_));
    // The text may be this field's own.
    std::memmove(value_, text.data, static_cast<size_t>(valueLength_));
    value_[valueLength_] = '\0';
}

const char* OvraSQLField::SetValue(TextView text) {
    SetCellText(text);
    return value_;
}

const char* OvraSQLField::SwapValues() {
    EnsureDecoded();
    if (!savedIsValue_) {
        ForgetNumber();
        std::swap(value_, savedValue_);
        std::swap(valueLength_, savedLength_);
    }
    return value_;
}

void OvraSQLField::SaveValue() {
    EnsureDecoded();
    savedIsValue_ = true;
}

const ParsedNumber& OvraSQLField::Number() {
    EnsureDecoded();
    if (!numberIsKnown_) {
        number_ = ParseNumber(ValueText());
        numberIsKnown_ = true;
    }
    return number_;
}

}  // namespace ovrasql
