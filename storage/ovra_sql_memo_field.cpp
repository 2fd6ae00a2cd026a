#include "storage/ovra_sql_memo_field.h"

#include <charconv>

#include "storage/ovra_sql_table.h"

namespace ovrasql {

OvraSQLMemoField::OvraSQLMemoField(OvraSQLTable* table, TextView name, int32_t length,
                                   int32_t decimals)
    : OvraSQLField(HoldsLongText(), table, name, length, decimals) {}

bool OvraSQLMemoField::ReadFromRecord(const char* record) {
    dirty_ = false;
    text_.Unload();
    savedText_.Unload();
    return OvraSQLField::ReadFromRecord(record);
}

const char* OvraSQLMemoField::SetValue(TextView text) {
    EnsureDecoded();
    ForgetNumber();
    text_.Assign(text);
    dirty_ = true;
    return text_.Bytes().data;
}

TextView OvraSQLMemoField::LongText() {
    if (!text_.IsLoaded()) {
        Load();
    }
    return text_.Text();
}

// A failure leaves its message with the table, and here what was read of the text. The text is
// loaded aside, so that nothing is taken for the whole when memory runs out in the middle.
void OvraSQLMemoField::Load() {
    MemoText loading;
    loading.Swap(text_);
    const int32_t block = TextToIntegerC(CellText());
    bool succeeded = true;
    if (block == 0) {
        loading.Assign(TextView());
    } else {
        succeeded = OwningTable() != nullptr && OwningTable()->ReadMemo(block, loading);
    }
    if (succeeded && !dirty_) {
        savedText_.Assign(loading.Bytes());
    }
    text_.Swap(loading);
}

bool OvraSQLMemoField::WriteToRecord(char* record) {
    EnsureDecoded();
    return Store() && OvraSQLField::WriteToRecord(record);
}

// Stores a text that was set, and makes its block number the cell's text.
bool OvraSQLMemoField::Store() {
    // A text that is not loaded, for it was not set or its values stand exchanged, is the one that
    // the cell points to already.
    if (!dirty_ || !text_.IsLoaded()) {
        return true;
    }
    const TextView text = text_.Text();
    if (text.IsEmpty()) {
        SetCellText(TextView());
        return true;
    }
    const int32_t block = OwningTable() == nullptr ? -1 : OwningTable()->WriteMemo(text);
    if (block < 0) {
        return false;
    }
    char digits[16];
    const char* end = std::to_chars(digits, digits + sizeof digits, block).ptr;
    const TextView number(digits, static_cast<int32_t>(end - digits));
    // A number cut to a narrow cell would point to another text.
    if (number.length > Length()) {
        return false;
    }
    SetCellText(number);
    return true;
}

const char* OvraSQLMemoField::SwapValues() {
    EnsureDecoded();
    ForgetNumber();
    text_.Swap(savedText_);
    return text_.Bytes().data;
}

void OvraSQLMemoField::SaveValue() {
    EnsureDecoded();
    if (text_.IsLoaded()) {
        savedText_.Assign(text_.Bytes());
    }
}

}  // namespace ovrasql
