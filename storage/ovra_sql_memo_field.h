#pragma once

// OvraSQLMemoField: a column of long text. Its cell in the record holds the number of the memo
// block where the text begins (data_format.h); the text itself is fetched on the first ValueText()
// after a read, and stored when the record is written.
//
// Two rules shape it:
//   - A text that was not set costs nothing: the block number read with the record goes back
//     unchanged.
//   - "Dirty" is set by SetValue and cleared by a read only. Writing a record twice after one
//     SetValue stores the text twice, and the record ends with the second block.
//
// The current and the saved text each carry their own length. While dirty, loading the stored text
// into one of the two leaves the other alone: after SwapValues that other one is the new text.

#include "storage/memo_text.h"
#include "storage/ovra_sql_field.h"

namespace ovrasql {

class OvraSQLMemoField final : public OvraSQLField {
  public:
    OvraSQLMemoField(OvraSQLTable* table, TextView name, int32_t length, int32_t decimals);

    bool ReadFromRecord(const char* record) override;
    [[nodiscard]] bool WriteToRecord(char* record) override;
    const char* SetValue(TextView text) override;
    const char* SwapValues() override;
    void SaveValue() override;

    [[nodiscard]] bool IsDirty() {
        EnsureDecoded();
        return dirty_;
    }

  protected:
    TextView LongText() override;

  private:
    void Load();
    [[nodiscard]] bool Store();

    bool dirty_ = false;
    MemoText text_;
    MemoText savedText_;
};

}  // namespace ovrasql
