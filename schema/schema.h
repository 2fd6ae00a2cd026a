#pragma once

// Schema: the open database. It owns the catalog (the schema table with its two indexes), the
// tables that statements are compiled against, the cache of compiled statements and the trace log.
//
// Owner: the database's context, from create or open until the database is freed. A failed Create
// or Open leaves an object whose Error() can be read and whose other operations fail. One thread at
// a time; other processes are met through the locks of the files alone, so nothing of the catalog
// is cached here but what names are resolved against.
//
// All operations that can fail give their message in Error(). Nothing is rolled back. Safety lies
// in the order: a catalog row is written after its file exists, and dropped before its file goes
// (for an index the other way round). A dropped row stays, flagged deleted, with its keys in both
// indexes, so that every look-up tests the flag; a CREATE of the same name takes the row back.
//
//   file           path                      key
//   schema table   as given                  -
//   Schema_1       less extension, ".ovx"    TYPE:TABLE:INDEX, unique; "T:<table>:" for a table
//   Schema_2       less extension, "i.ovx"   INDEX; empty for a table

#include <cstdint>
#include <memory>

#include "foundation/coll_list.h"
#include "foundation/collection.h"
#include "foundation/hash_table.h"
#include "foundation/list.h"
#include "foundation/string.h"
#include "foundation/text_view.h"
#include "foundation/trace_log.h"
#include "schema/rebuild_log.h"

namespace ovrasql {

class Index;
class IndexRowWalk;
class OvraSQLField;
class PreparedStatement;
class Table;
struct ColumnDefinition;
struct SQLIndexColumn;

class Schema {
  public:
    static constexpr int32_t kDefaultStatementCacheSize = 10;
    // The widths of the name columns, and the limit of names where a catalog has no such column.
    static constexpr int32_t kNameWidth = 64;

    Schema(void* program, void* database, int32_t statementCacheSize);
    ~Schema();
    Schema(const Schema&) = delete;
    Schema& operator=(const Schema&) = delete;

    [[nodiscard]] bool Create(TextView path);
    [[nodiscard]] bool Open(TextView path);

    // Catalog. Names are found without regard to case.
    // True when the table (index) is listed; the schema table then stands on its row.
    [[nodiscard]] bool TableExists(TextView name);
    [[nodiscard]] bool IndexExists(TextView name);
    // A new table, open, for the caller alone; null on failure.
    [[nodiscard]] std::unique_ptr<Table> OpenTable(TextView name);
    // The table that names are resolved against, opened on first use. It is owned here and goes
    // with DDL and pack: keep no pointer to it beyond one compilation.
    [[nodiscard]] Table* GetTable(TextView name);
    // Lists the table's indexes without opening their files, once for the table.
    [[nodiscard]] bool LoadIndexes(Table& table);
    // Lists the table's indexes anew and opens their files, as writing needs them.
    [[nodiscard]] bool OpenIndexes(Table& table);
    // One index of the table, opened on demand and owned by the table. Null with an empty Error()
    // when there is no such index or the table was rebuilt since it was opened, null with a message
    // when its file fails.
    [[nodiscard]] Index* OpenIndex(Table& table, TextView name);

    // Definition. The statement's lists are walked and not kept.
    [[nodiscard]] bool CreateTable(TextView name, const CollList<ColumnDefinition>& columns);
    [[nodiscard]] bool DropTable(TextView name);
    [[nodiscard]] bool AlterTableAdd(TextView name, const CollList<ColumnDefinition>& columns);
    [[nodiscard]] bool AlterTableDrop(TextView name, TextView column);
    [[nodiscard]] bool CreateIndex(TextView tableName, TextView name, bool unique,
                                   const List<SQLIndexColumn>& columns);
    [[nodiscard]] bool DropIndex(TextView name);

    // Rebuilds every table from its live records. Tables done before a failure stay packed.
    [[nodiscard]] bool Pack();
    // Copies the live records into new files and renames those into place. Null `fields`: the
    // table's own fields. `memoCount` above 0: the new table has a memo file. `dropPosition`: the
    // 1-based position of an old field to leave out, 0 for none. The table is closed afterwards.
    [[nodiscard]] bool RebuildTable(Table& table, Collection<OvraSQLField>* fields,
                                    int32_t memoCount, int32_t dropPosition);

    // Files. `relative` is a path as the FILE column holds it.
    // The result is valid until the next call.
    [[nodiscard]] TextView ResolvePath(TextView relative);
    [[nodiscard]] bool PlaceFile(TextView name, String* path, String* relative);
    [[nodiscard]] bool DeleteFile(TextView path);

    // Statements. Prepare gives a compiled statement for the exact text, from the cache or anew;
    // the caller owns it until Release takes it back. Null on failure.
    [[nodiscard]] PreparedStatement* Prepare(TextView text);
    void Release(PreparedStatement* statement);
    void EmptyStatementCache();

    // Options. A change of the case setting empties the cache, since programs have it built in.
    void SetStatementCacheSize(int32_t size);
    void SetCaseInsensitive(bool caseInsensitive);
    void SetSubdirChar(char subdirChar) { subdirChar_ = subdirChar; }
    [[nodiscard]] bool CaseInsensitive() const { return caseInsensitive_; }
    // Opens the trace file in place of the one that is open; an empty path means "sql.log".
    [[nodiscard]] bool OpenTrace(TextView path);
    [[nodiscard]] TraceLog& Trace() { return trace_; }

    // The longest name that a CREATE may give: the width of the catalog's column.
    [[nodiscard]] int32_t TableNameLimit() const;
    [[nodiscard]] int32_t IndexNameLimit() const;

    [[nodiscard]] const String& Error() const { return error_; }
    [[nodiscard]] void* Database() const { return database_; }
    [[nodiscard]] const RebuildLog& Rebuilds() const { return rebuilds_; }
    // The catalog itself; null before Create or Open.
    [[nodiscard]] Table* SchemaTable() const { return schemaTable_.get(); }
    [[nodiscard]] int32_t CachedStatementCount() const;

  private:
    friend class IndexRowWalk;

    enum class Lookup { kMissing, kDead, kLive, kFailed };
    enum class SearchScope { kEqualKeys, kAllRows };

    // schema_open.cpp
    void StartCatalog(TextView path);
    void DropCatalog();
    [[nodiscard]] bool ValidateFields();
    [[nodiscard]] bool CatalogReady();
    [[nodiscard]] bool FailNoCatalog();
    [[nodiscard]] bool Fail(TextView message);
    [[nodiscard]] bool FailFromRow();
    [[nodiscard]] bool FailFromIndexFile(const Index& index);

    // catalog_lookup.cpp: each leaves the schema table on the row that it tells of
    [[nodiscard]] bool ReadRow(uint32_t recordNumber);
    [[nodiscard]] Lookup FindTableRow(TextView name);
    [[nodiscard]] Lookup FindIndexRow(TextView name);
    [[nodiscard]] Lookup SearchIndexRows(TextView name, SearchScope scope);
    [[nodiscard]] bool IsIndexRow(TextView name);
    [[nodiscard]] bool IsRowOfTable(TextView name);
    [[nodiscard]] std::unique_ptr<Index> IndexFromRow(Table& table);
    [[nodiscard]] bool OpenIndexFile(Index& index);
    void ForgetTable(TextView name);
    void ForgetTablesWithIndex(TextView name);
    // file_placement.cpp
    [[nodiscard]] bool IsCatalogFile(TextView path) const;
    [[nodiscard]] Lookup FindIndexAt(TextView path);
    [[nodiscard]] bool RenameFile(TextView tableName, TextView from, TextView to);
    // table_definition.cpp, index_definition.cpp
    [[nodiscard]] bool CheckTableFiles(TextView name, TextView path);
    [[nodiscard]] bool WriteTableRow(TextView name, TextView relative, bool takeBack);
    [[nodiscard]] bool TakeRowBack();
    [[nodiscard]] bool DropIndexRows(TextView tableName, List<String>* paths);
    [[nodiscard]] bool DropRow();
    [[nodiscard]] std::unique_ptr<Table> OpenTableToAlter(TextView name);
    [[nodiscard]] bool CheckIndexFile(TextView name, TextView path);
    [[nodiscard]] bool WriteIndexRow(TextView tableName, const Index& index, TextView relative,
                                     TextView columnsText, bool takeBack);
    // pack.cpp, table_rebuild.cpp
    [[nodiscard]] bool PackTables(uint32_t rowCount);
    [[nodiscard]] bool PackTable(const String& name);
    [[nodiscard]] std::unique_ptr<Table> NewRebuildTable(Table& table,
                                                         Collection<OvraSQLField>& fields,
                                                         int32_t memoCount);
    [[nodiscard]] bool CreateTemporaryIndexes(Table& table);
    [[nodiscard]] bool CreateTemporaryIndex(Table& table);
    [[nodiscard]] bool LoadPackIndexes(Table& table);
    [[nodiscard]] bool SwapFiles(Table& old, Table& rebuilt, int32_t memoCount, int32_t oldVersion);
    [[nodiscard]] bool SwapIndexFiles(Table& old, Table& rebuilt);
    // statement_cache.cpp
    void ShrinkStatementCache(int32_t count);

    void* program_;
    void* database_;
    std::unique_ptr<Table> schemaTable_;
    Index* schemaIndex1_ = nullptr;  // owned by the schema table
    Index* schemaIndex2_ = nullptr;
    OvraSQLField* typeField_ = nullptr;  // the six fields of the schema table, once validated
    OvraSQLField* tableField_ = nullptr;
    OvraSQLField* indexField_ = nullptr;
    OvraSQLField* fileField_ = nullptr;
    OvraSQLField* columnsField_ = nullptr;
    OvraSQLField* flagsField_ = nullptr;
    bool catalogReady_ = false;
    String directory_;
    String path_;
    String schemaIndex1Path_;
    String schemaIndex2Path_;
    String error_;
    HashTable<Table> openTables_;
    RebuildLog rebuilds_;
    List<PreparedStatement> statements_;
    int32_t statementCacheSize_;
    TraceLog trace_;
    String pathScratch_;
    String keyScratch_;
    char subdirChar_ = 0;
    bool caseInsensitive_ = false;
};

}  // namespace ovrasql
