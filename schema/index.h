#pragma once

// Index: one index of a table, as the catalog knows it. It joins an index file with the fields that
// its keys are made of, and builds those keys.
//
// Flags are the bits of storage/key_compare.h: 1 UNIQUE, 2 all columns descending, 4 a character or
// memo column among them. The same number stands in the catalog and in the index file.
//
// The `indexes` of a Table own their Index objects. The columns are fields of that table's data
// file and are borrowed: an index never outlives its table. A running statement keeps no pointer to
// an index beyond its own Table, because DDL destroys the catalog's tables while views are open.
//
// The key of a record is text: the values of the columns in order, ":" between them, a numeric
// value padded on the left with "0" up to its field's width, a date or logical with the blanks that
// a read of it has, the whole in upper case.

#include <cstdint>

#include "foundation/coll_list.h"
#include "foundation/string.h"
#include "foundation/text_view.h"
#include "storage/ovra_sql_index.h"

namespace ovrasql {

class OvraSQLField;
class Table;

class Index {
  public:
    Index(Table* table, TextView name, int32_t flags);
    virtual ~Index();
    Index(const Index&) = delete;
    Index& operator=(const Index&) = delete;

    // Files. A failure leaves its message in File().Error().
    [[nodiscard]] bool Create(TextView path);
    [[nodiscard]] bool CreateFromHandle(void* file, TextView path);
    [[nodiscard]] bool Open(TextView path);
    void Close();

    // Adds the columns named in `text`, joined by ":". A name that the table does not have is
    // passed over, and an empty text adds nothing.
    void AddColumns(TextView text);
    void AddColumn(OvraSQLField* field);

    // The text that tells other readers how keys are made; this library never evaluates it.
    void KeyExpression(String* text) const;

    // Replaces `key` by the key of the values that the fields hold at the moment.
    void BuildKey(String* key);

    // Adds one column's value to a key in the making: padded when the field is numeric or logical,
    // not folded.
    static void AppendKeyPart(const OvraSQLField& field, TextView value, String* key);

    // Builds the key of the field values and inserts it with the table's current record number.
    [[nodiscard]] bool AddCurrentRecord();

    // Walks. Each step locks and reloads the file's header by itself. `exact` asks for the whole
    // key, otherwise for a key that begins with the given one. Record number 0 is no record. False
    // from NextMatching is the end of the matches, or a failure: File().Failed() tells the two
    // apart after any of these, and File().Error() is the message then.
    [[nodiscard]] bool Seek(TextView key, bool exact, uint32_t* recordNumber, bool* found);
    [[nodiscard]] bool First(uint32_t* recordNumber);
    [[nodiscard]] bool Next(uint32_t* recordNumber);
    [[nodiscard]] bool NextMatching(TextView prefixKey, bool exact, uint32_t* recordNumber);
    // The next entry, if the index orders its key as equal to this one. Keys that read as numbers
    // are equal by value, so the texts can differ.
    [[nodiscard]] bool NextEqual(TextView key, uint32_t* recordNumber);

    [[nodiscard]] TextView Name() const { return name_.View(); }
    [[nodiscard]] int32_t Flags() const { return flags_; }
    void SetFlags(int32_t flags) { flags_ = flags; }
    // By the flag in the file, which all writers go by; Flags() is what the catalog says.
    [[nodiscard]] bool IsUnique() const { return file_.IsUnique(); }
    [[nodiscard]] Table* OwnerTable() const { return table_; }
    [[nodiscard]] OvraSQLIndex& File() { return file_; }
    [[nodiscard]] const OvraSQLIndex& File() const { return file_; }
    [[nodiscard]] CollList<OvraSQLField>& Columns() { return columns_; }
    [[nodiscard]] const CollList<OvraSQLField>& Columns() const { return columns_; }

    // The two keys of a record that is being written, kept here to use their memory again.
    [[nodiscard]] String& NewKey() { return newKey_; }
    [[nodiscard]] String& OldKey() { return oldKey_; }

  private:
    Table* table_;
    String name_;
    OvraSQLIndex file_;
    CollList<OvraSQLField> columns_;
    int32_t flags_;
    String newKey_;
    String oldKey_;
};

// An existing index during a rebuild. It keeps the FILE text of its catalog row, so that the index
// built anew can be renamed to the old one's place.
class PackIndex : public Index {
  public:
    PackIndex(Table* table, TextView name, int32_t flags, TextView filePath);
    ~PackIndex() override;

    [[nodiscard]] TextView FilePath() const { return filePath_.View(); }

  private:
    String filePath_;
};

// The key of an Index in a hash table.
inline TextView ItemName(const Index& index) { return index.Name(); }

}  // namespace ovrasql
