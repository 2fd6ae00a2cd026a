#pragma once

// SQLCursor: the run's position in one open table. It walks the record numbers, or one index within
// a key prefix and optionally from a lower bound. It passes over deleted records. Its current
// record is the table's own; a column slot is a field of that table.
//
// Owner: the run loop's cursor slot. The table goes with the cursor. Which index, which bounds and
// which filters are used is the compiled code's business; the upper bound of a range is unknown
// here.
//
// A read or a step that fails ends the walk and looks like the end of the table. At its end a
// cursor's columns count as NULL, which gives an outer join its unmatched side.

#include <cstdint>
#include <memory>

#include "foundation/array.h"
#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

class Index;
class OvraSQLField;
class SQL_Stack;
class Table;

class SQLCursor {
  public:
    explicit SQLCursor(std::unique_ptr<Table> table);
    virtual ~SQLCursor();
    SQLCursor(const SQLCursor&) = delete;
    SQLCursor& operator=(const SQLCursor&) = delete;

    // False when the table has no field of that name. The slot was checked.
    [[nodiscard]] bool BindColumn(int32_t slot, TextView name);
    // Null for a slot that was never bound.
    [[nodiscard]] OvraSQLField* Column(int32_t slot) const { return columns_.Get(slot); }

    // Takes the index for the coming walk and builds its keys from the popped values: `partCount`
    // key parts with the first on top, and the lower bound below them if `isRange`. False, with
    // everything popped, if the index has fewer columns.
    [[nodiscard]] bool SelectIndex(Index* index, int32_t partCount, bool isRange, SQL_Stack* stack);
    // Null unless the index was selected last under this very name, the program's own text: an
    // inner loop selects its index again for each outer row.
    [[nodiscard]] Index* IndexSelectedAs(const char* name) const {
        return name == indexName_ ? index_ : nullptr;
    }
    void RememberIndexName(const char* name) { indexName_ = name; }

    // Whether a live record was found.
    [[nodiscard]] bool First();
    [[nodiscard]] bool Next();

    [[nodiscard]] bool AtEnd() const { return atEnd_; }
    [[nodiscard]] Index* SelectedIndex() const { return index_; }
    [[nodiscard]] Table* GetTable() const { return table_.get(); }
    [[nodiscard]] const String& Key() const { return key_; }
    [[nodiscard]] const String& RangeKey() const { return rangeKey_; }

  private:
    [[nodiscard]] bool ReadLive(uint32_t recordNumber, bool* isLive);
    [[nodiscard]] bool WalkRecords(uint32_t recordNumber);
    [[nodiscard]] bool WalkIndex(uint32_t recordNumber);
    [[nodiscard]] bool WalkMatching(uint32_t recordNumber, const String& key, bool keyIsFull);
    [[nodiscard]] bool FirstOfIndex();

    std::unique_ptr<Table> table_;
    Index* index_ = nullptr;  // the table's
    const char* indexName_ = nullptr;
    Array<OvraSQLField> columns_;
    String key_;
    String rangeKey_;
    bool keyIsFull_ = false;
    bool isRange_ = false;
    bool rangeKeyIsFull_ = false;
    bool atEnd_ = false;
};

}  // namespace ovrasql
