#pragma once

// SQLResult: a typed value cell that outlives the instruction that fills it. Result columns, cells
// of temporary tables and values of aggregates are such cells.
//
// A cell holds up to three representations of its value at once, a text, an integer and a double;
// flags say which are up to date. A reader that converts adds its result beside the value that it
// came from. A cell with no flag holds nothing: it is NULL, as is the empty text.
//
// Required: reading an empty cell as a number makes it that number, so that it is NULL no more.
//
// A cell asks its holder for room when it keeps a text of its own, and tells it of each store, if
// the holder wants that. A text can also be borrowed: then whoever stored it sees that it outlives
// the cell's use. Own texts are NUL-ended. Text that a reader gives is valid until the next store.
// The class itself owns nothing and is trivially destructible, so that rows can lie in an arena.

#include <cstdint>

#include "engine/text_buffer.h"
#include "foundation/text_view.h"

namespace ovrasql {

class SQLResult;

// What a cell needs of its holder, which outlives it.
class SQLResultHolder {
  public:
    // Room for `bytes` bytes of the cell's text. The cell's own text of now stays where it is if
    // that is long enough.
    virtual char* TextRoom(const SQLResult& cell, int64_t bytes) = 0;
    // The cell has been stored into and is consistent. Called only if the cell was made to report.
    virtual void CellChanged() {}

  protected:
    ~SQLResultHolder() = default;
};

class SQLResult {
  public:
    static constexpr uint8_t kText = 1;
    static constexpr uint8_t kInteger = 2;
    static constexpr uint8_t kDouble = 4;

    explicit SQLResult(SQLResultHolder* holder, bool reports = false)
        : holder_(holder), reports_(reports) {}
    SQLResult(const SQLResult&) = delete;
    SQLResult& operator=(const SQLResult&) = delete;

    // With `copy` the cell keeps a copy of its own, else it borrows. A borrowed text of the cell
    // itself is left alone.
    void SetString(TextView text, bool copy);
    void SetInteger(int32_t value);
    void SetDouble(double value);
    // Takes the value of another cell with all its representations, copying the text.
    void SetFrom(const SQLResult& source);
    // Turns a borrowed text into a copy of its own. The value does not change.
    void KeepText();

    // Bring one representation up to date from the others. `error` may be null; it is set to 1 when
    // a text is no such number, and otherwise left alone.
    void MakeString();
    void MakeInteger(int32_t* error);
    void MakeDouble(int32_t* error);

    [[nodiscard]] TextView GetString() {
        if ((flags_ & kText) == 0) {
            MakeString();
        }
        return TextView(text_, textLength_);
    }
    [[nodiscard]] int32_t GetInteger(int32_t* error = nullptr) {
        if ((flags_ & kInteger) == 0) {
            MakeInteger(error);
        }
        return integerValue_;
    }
    [[nodiscard]] double GetDouble(int32_t* error = nullptr) {
        if ((flags_ & kDouble) == 0) {
            MakeDouble(error);
        }
        return doubleValue_;
    }
    // For comparing and sorting: a text counts before any number kept beside it. Whether the cell
    // is a number; `value` is 0 for an empty cell, which stays empty.
    [[nodiscard]] bool GetDoubleChecked(double* value);

    [[nodiscard]] bool IsNull() const {
        return (flags_ & kText) != 0 ? textLength_ == 0 : (flags_ & (kInteger | kDouble)) == 0;
    }
    [[nodiscard]] bool IsTrue() const;
    [[nodiscard]] uint8_t Flags() const { return flags_; }
    // The cell's own text, or null if it borrows or has none.
    [[nodiscard]] const char* OwnText() const { return textIsOwn_ ? text_ : nullptr; }
    [[nodiscard]] int32_t OwnTextLength() const { return textIsOwn_ ? textLength_ : 0; }

  private:
    enum class Parsed : uint8_t { kUnknown, kNumber, kNoNumber };

    void CopyText(TextView text);
    void ParseText();
    void Report() {
        if (reports_) {
            holder_->CellChanged();
        }
    }

    const char* text_ = "";
    double doubleValue_ = 0.0;
    SQLResultHolder* holder_;
    int32_t textLength_ = 0;
    int32_t integerValue_ = 0;
    uint8_t flags_ = 0;
    // Whether doubleValue_ is what the text reads as.
    Parsed parsed_ = Parsed::kUnknown;
    bool reports_;
    bool textIsOwn_ = false;
};

// A cell that stands by itself, with a text buffer that it reuses: the value of an aggregate.
class SQLKeptResult final : private SQLResultHolder, public SQLResult {
  public:
    SQLKeptResult() : SQLResult(this) {}

  private:
    char* TextRoom(const SQLResult& cell, int64_t bytes) override;

    TextBuffer buffer_;
};

// A column of a view: a cell with a name, tied to a variable of the host's view.
class SQLViewResult final : private SQLResultHolder, public SQLResult {
  public:
    // The name is borrowed from the program.
    SQLViewResult(TextView name, bool visible);

    // Makes the variable in the host's view. Its data word is this cell, as an SQLResult.
    void Register(void* view);
    // Points the variable at a cell of the temporary table in `slot`, or back at this one with
    // null.
    void PointVariableAt(SQLResult* cell, int32_t slot);

    [[nodiscard]] TextView Name() const { return name_; }
    // A hidden result is left out of the view's structure.
    [[nodiscard]] bool Visible() const { return visible_; }
    // The temporary table that the variable points into.
    static constexpr int32_t kOwnCell = -1;
    [[nodiscard]] int32_t PointedSlot() const { return pointedSlot_; }

  private:
    char* TextRoom(const SQLResult& cell, int64_t bytes) override;
    void CellChanged() override;

    TextView name_;
    void* hostVariable_ = nullptr;
    TextBuffer buffer_;
    bool visible_;
    int32_t pointedSlot_ = kOwnCell;
};

}  // namespace ovrasql
