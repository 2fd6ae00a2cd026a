// CREATE TABLE, DROP TABLE and ALTER TABLE. A table's columns live in its data file alone; its row
// in the catalog holds the name and the file. So ALTER rewrites the file and leaves the row as it
// is.

#include <memory>

#include "foundation/coll_hash_table.h"
#include "foundation/ignore_result.h"
#include "foundation/path_text.h"
#include "foundation/text_compare.h"
#include "schema/column_definition.h"
#include "schema/index.h"
#include "schema/index_row_walk.h"
#include "schema/schema.h"
#include "schema/table.h"

namespace ovrasql {

namespace {

// A column of an index must lose the index first.
bool CheckColumnUnused(const Table& table, TextView column, String* error) {
    for (const Index* index : table.Indexes()) {
        for (const OvraSQLField* field : index->Columns()) {
            if (EqualsNoCase(field->Name(), column)) {
                *error =
                    String::Join({"Column '", column, "' is used on index '", index->Name(), "'"});
                return false;
            }
        }
    }
    return true;
}

// Puts the fields of a statement's columns behind those that the table has. What no file can hold
// is refused here, before one is made; but too many fields have a message of their own, behind
// that.
bool AddNewFields(TextView tableName, const CollList<ColumnDefinition>& columns,
                  CollHashTable<OvraSQLField>* fields, String* error) {
    for (ColumnDefinition* column : columns) {
        if (fields->Find(column->name) != nullptr) {
            *error = String::Join(
                {"A field named '", column->name, "' already exists in table '", tableName, "'"});
            return false;
        }
        IgnoreResult(fields->Add(column->MakeField()));  // its slot, which nobody asks for
    }
    for (const ColumnDefinition* column : columns) {
        if (!column->Check(error)) {
            return false;
        }
    }
    return fields->Count() > kMaximumFieldCount ||
           OvraSQLTable::CheckLayout(*fields, /*narrowest=*/0, error);
}

}  // namespace

bool Schema::CreateTable(TextView name, const CollList<ColumnDefinition>& columns) {
    const Lookup row = FindTableRow(name);
    if (row == Lookup::kFailed) {
        return false;
    }
    if (row == Lookup::kLive) {
        return Fail(String::Join({"Table '", name, "' already exists"}));
    }
    CollHashTable<OvraSQLField> fields(/*ownsItems=*/false);
    if (!AddNewFields(name, columns, &fields, &error_)) {
        return false;
    }
    String fileName = String::Join({name, ".dbf"});
    fileName.ToLower();
    String path;
    String relative;
    if (!PlaceFile(fileName, &path, &relative) || !CheckTableFiles(name, path)) {
        return false;
    }
    auto table = std::make_unique<Table>(this, name);
    if (!table->Create(path, fields)) {
        return Fail(table->Error());
    }
    // A table of that name can be in hand still if another process has dropped it.
    ForgetTable(name);
    openTables_.Add(std::move(table));
    return WriteTableRow(name, relative, /*takeBack=*/row == Lookup::kDead);
}

bool Schema::CheckTableFiles(TextView name, TextView path) {
    const String memoPath = String::Join({StripExtension(path), ".dbt"});
    const bool memoIsCatalog = IsCatalogFile(memoPath);
    if (memoIsCatalog || ovFile_Exists(program_, kDatabaseLocation, path.data, path.length) != 0) {
        return Fail(String::Join({"Table '", name, "' cannot be created because datafile '",
                                  memoIsCatalog ? memoPath.View() : path, "' already exists"}));
    }
    return true;
}

// A row taken back keeps its other columns, so that the name stays spelled as in its first CREATE.
bool Schema::WriteTableRow(TextView name, TextView relative, bool takeBack) {
    fileField_->SetValue(relative);
    flagsField_->SetValue("");
    if (takeBack) {
        return TakeRowBack();
    }
    typeField_->SetValue("T");
    tableField_->SetValue(name);
    indexField_->SetValue("");
    columnsField_->SetValue("");
    return schemaTable_->InsertRecord() || FailFromRow();
}

bool Schema::TakeRowBack() {
    OvraSQLTable& data = schemaTable_->Data();
    data.SetDeleted(false);
    return data.UpdateRecord() || Fail(data.Error());
}

// The rows go first and the files after them: a row never names a file that is not there.
bool Schema::DropTable(TextView name) {
    EmptyStatementCache();
    ForgetTable(name);
    List<String> paths(/*ownsItems=*/true);
    if (!DropIndexRows(name, &paths)) {
        return false;
    }
    if (!TableExists(name)) {
        return Fail(String::Join({"Table '", name, "' does not exist"}));
    }
    const String dataPath(ResolvePath(fileField_->ValueText()));
    paths.Insert(std::make_unique<String>(dataPath), ListPlace::kTail);
    // Whether or not the table has one; a file that does not exist is no failure.
    paths.Insert(std::make_unique<String>(String::Join({StripExtension(dataPath), ".dbt"})),
                 ListPlace::kTail);
    if (!DropRow()) {
        return false;
    }
    for (const String* path : paths) {
        if (!DeleteFile(*path)) {
            return false;
        }
    }
    return true;
}

bool Schema::DropIndexRows(TextView tableName, List<String>* paths) {
    IndexRowWalk walk(this, tableName);
    while (walk.Next()) {
        paths->Insert(std::make_unique<String>(ResolvePath(fileField_->ValueText())),
                      ListPlace::kTail);
        if (!DropRow()) {
            return false;
        }
    }
    if (walk.FailedOnFirstRow()) {
        return Fail("Schema database is corrupt");
    }
    return !walk.Failed();
}

// Flags the row in hand as deleted. Its keys stay in the catalog's indexes, for a CREATE to find
// the row by, so what the table queues for them is dropped.
bool Schema::DropRow() {
    const bool dropped = schemaTable_->DeleteRecord();
    schemaTable_->DiscardQueue();
    return dropped || FailFromRow();
}

std::unique_ptr<Table> Schema::OpenTableToAlter(TextView name) {
    EmptyStatementCache();
    ForgetTable(name);
    std::unique_ptr<Table> table = OpenTable(name);
    if (table == nullptr) {
        error_ = String::Join({"Table '", name, "' does not exist"});
    }
    return table;
}

bool Schema::AlterTableAdd(TextView name, const CollList<ColumnDefinition>& columns) {
    const std::unique_ptr<Table> table = OpenTableToAlter(name);
    if (table == nullptr) {
        return false;
    }
    // The version that the opening left in memory: the next reading of the header can drop the mark
    // that a memo field raised.
    int32_t memoCount = table->Data().Version() == kVersionWithMemo ? 1 : 0;
    for (const ColumnDefinition* column : columns) {
        memoCount += column->type == kFieldMemo ? 1 : 0;
    }
    CollHashTable<OvraSQLField> fields(/*ownsItems=*/false);
    for (OvraSQLField* field : table->Data().Fields()) {
        IgnoreResult(fields.Add(field));
    }
    return AddNewFields(name, columns, &fields, &error_) &&
           RebuildTable(*table, &fields, memoCount, /*dropPosition=*/0);
}

bool Schema::AlterTableDrop(TextView name, TextView column) {
    const std::unique_ptr<Table> table = OpenTableToAlter(name);
    if (table == nullptr) {
        return false;
    }
    if (!OpenIndexes(*table)) {
        return Fail(String::Join({"Unable to open indexes for table '", name, "'"}));
    }
    const OvraSQLField* const dropped = table->Data().FindField(column);
    if (dropped == nullptr) {
        return Fail(
            String::Join({"A field named '", column, "' does not exist in table '", name, "'"}));
    }
    if (!CheckColumnUnused(*table, column, &error_)) {
        return false;
    }
    CollList<OvraSQLField> fields(/*ownsItems=*/false);
    int32_t memoCount = 0;
    int32_t position = 0;
    int32_t dropPosition = 0;
    for (OvraSQLField* field : table->Data().Fields()) {
        ++position;
        if (field == dropped) {
            dropPosition = position;
            continue;
        }
        memoCount += field->Type() == kFieldMemo ? 1 : 0;
        fields.Insert(field, ListPlace::kTail);
    }
    table->DropIndexes();
    return RebuildTable(*table, &fields, memoCount, dropPosition);
}

}  // namespace ovrasql
