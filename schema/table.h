#pragma once

// Table: an open table of a database, with the record upkeep that keeps its indexes in step.
//
// A Table is made by the Schema. One that a statement walks comes from Schema::OpenTable and
// belongs to the statement's cursor; one that names are resolved against belongs to the Schema and
// can go with any DDL, so that nothing of it may be kept beyond the step that asked for it.
//
// Order of writes. Insert: unique tests, data file, then every index at once. Update: unique tests
// and queue, data file. Delete: data file, queue. What update and delete have queued is applied
// after the statement's row loop, so that a walk along an index never meets its own changes. There
// is no rollback: each step is durable as it is done.
//
// All operations give their message in Error().

#include <cstdint>

#include "foundation/hash_table.h"
#include "foundation/list.h"
#include "foundation/string.h"
#include "foundation/text_view.h"
#include "schema/index.h"
#include "storage/ovra_sql_table.h"

namespace ovrasql {

class Schema;

// A key that a deleted record leaves behind.
struct IndexDelete {
    IndexDelete(TextView keyText, Index* ofIndex, uint32_t record);
    virtual ~IndexDelete();

    String key;
    Index* index;  // borrowed; the table that holds this entry owns it
    uint32_t recordNumber;
};

// A key that an updated record has changed.
struct IndexUpdate {
    IndexUpdate(TextView oldText, TextView newText, Index* ofIndex, uint32_t record);
    virtual ~IndexUpdate();

    String oldKey;
    String newKey;
    Index* index;  // borrowed; the table that holds this entry owns it
    uint32_t recordNumber;
};

class Table {
  public:
    Table(Schema* schema, TextView name);
    virtual ~Table();
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    [[nodiscard]] bool Create(TextView path, Collection<OvraSQLField>& fields);
    [[nodiscard]] bool Open(TextView path);

    // The data file's operations of the same names, with the message copied to Error().
    [[nodiscard]] bool ReadRecord(uint32_t recordNumber);
    [[nodiscard]] bool LockAndReadRecord();

    // The field values become a new record. A table without open indexes gets no keys: call
    // Schema::OpenIndexes first. This holds for the two below as well.
    [[nodiscard]] bool InsertRecord();

    // The field values replace the current record; the fields' saved values are the old ones.
    // Required: after a failure the changes queued before it are still to be applied.
    [[nodiscard]] bool UpdateRecord();

    // Sets the current record's deleted flag. A record already deleted is rewritten, and nothing is
    // queued for it.
    [[nodiscard]] bool DeleteRecord();

    // Apply what was queued, up to the first failure. The queues keep their entries, so that each
    // is applied once in a Table's life. A failure replaces Error(): keep an earlier message first.
    [[nodiscard]] bool ApplyIndexDeletes();
    [[nodiscard]] bool ApplyIndexUpdates();

    // Drops the queued changes without applying them.
    void DiscardQueue();

    // Drops the indexes and whatever is queued for them.
    void DropIndexes();

    [[nodiscard]] Schema* OwnerSchema() const { return schema_; }
    [[nodiscard]] TextView Name() const { return name_.View(); }
    // Whether the database's own pack or ALTER TABLE has replaced the files since this was made.
    [[nodiscard]] bool IsReplaced() const;
    [[nodiscard]] const String& Error() const { return error_; }
    [[nodiscard]] OvraSQLTable& Data() { return data_; }
    [[nodiscard]] HashTable<Index>& Indexes() { return indexes_; }
    [[nodiscard]] const HashTable<Index>& Indexes() const { return indexes_; }
    // True once Indexes() reflects the catalog (Schema::LoadIndexes).
    [[nodiscard]] bool IndexesLoaded() const { return indexesLoaded_; }
    void SetIndexesLoaded(bool loaded) { indexesLoaded_ = loaded; }
    [[nodiscard]] int32_t PendingUpdateCount() const { return pendingUpdates_.Count(); }
    [[nodiscard]] int32_t PendingDeleteCount() const { return pendingDeletes_.Count(); }

  private:
    [[nodiscard]] bool Fail(TextView message);
    [[nodiscard]] bool FailFromData();
    [[nodiscard]] bool FailFromIndex(const Index& index);
    [[nodiscard]] bool CheckUniqueForInsert(Index& index);
    [[nodiscard]] bool CheckUniqueForUpdate(Index& index);
    void BuildUpdateKeys();

    Schema* schema_;
    String name_;
    uint64_t made_;  // by the schema's count of rebuilds
    OvraSQLTable data_;
    HashTable<Index> indexes_;
    bool indexesLoaded_ = false;
    List<IndexUpdate> pendingUpdates_;
    List<IndexDelete> pendingDeletes_;
    String error_;
};

// The key of a Table in a hash table.
inline TextView ItemName(const Table& table) { return table.Name(); }

}  // namespace ovrasql
