// CREATE INDEX and DROP INDEX. Index names are global to the database: the catalog's second index
// finds a row by the index name alone.

#include <memory>

#include "foundation/ignore_result.h"
#include "foundation/number_text.h"
#include "schema/index.h"
#include "schema/schema.h"
#include "schema/sql_index_column.h"
#include "schema/table.h"
#include "storage/key_compare.h"

namespace ovrasql {

bool Schema::CreateIndex(TextView tableName, TextView name, bool unique,
                         const List<SQLIndexColumn>& columns) {
    EmptyStatementCache();
    Table* const table = GetTable(tableName);
    if (table == nullptr) {
        return false;
    }
    const Lookup row = FindRowForNewIndex(name);
    if (row == Lookup::kFailed) {
        return false;
    }
    if (row == Lookup::kLive) {
        return FailIndexExists(name);
    }
    auto index = std::make_unique<Index>(table, name, unique ? kIndexUnique : 0);
    String columnsText;
    if (!DefineIndex(columns, index.get(), &columnsText)) {
        return false;
    }
    String fileName = String::Join({name, ".ovx"});
    fileName.ToLower();
    String path;
    String relative;
    if (!PlaceFile(fileName, &path, &relative)) {
        return false;
    }
    // Making the file empties what is there, which must not be the catalog.
    if (IsCatalogFile(path)) {
        return FailIndexExists(name);
    }
    if (!index->Create(path)) {
        return Fail(String::Join({"Error creating schema index: ", index->File().Error()}));
    }
    if (!BuildIndexKeys(*table, *index)) {
        index->Close();
        IgnoreResult(DeleteFile(path));  // the CREATE has failed already
        return false;
    }
    if (!WriteIndexRow(tableName, *index, relative, columnsText,
                       /*takeBack=*/row == Lookup::kDead)) {
        return false;
    }
    if (table->IndexesLoaded()) {
        table->Indexes().Add(std::move(index));
    }
    return true;
}

bool Schema::FailIndexExists(TextView name) {
    return Fail(String::Join({"Index '", name, "' already exists"}));
}

// A row that the search does not reach must be found before its file is emptied by a new index of
// the same name, so a name that is not found is looked for in all rows.
Schema::Lookup Schema::FindRowForNewIndex(TextView name) {
    const Lookup row = FindIndexRow(name);
    return row == Lookup::kMissing ? ScanForIndexRow(name) : row;
}

// Takes the columns into the index and its flags, and joins their names as written.
bool Schema::DefineIndex(const List<SQLIndexColumn>& columns, Index* index, String* columnsText) {
    bool isFirst = true;
    bool ascending = true;
    int32_t flags = index->Flags();
    for (const SQLIndexColumn* column : columns) {
        if (isFirst) {
            ascending = column->ascending;
            flags |= ascending ? 0 : kIndexDescending;
        } else {
            columnsText->AppendChar(':');
        }
        isFirst = false;
        if (column->ascending != ascending) {
            return Fail("All columns in an OvraSQL index must have the same ordering");
        }
        OvraSQLField* const field = index->OwnerTable()->Data().FindField(column->name);
        if (field == nullptr) {
            return Fail(String::Join({"Unknown column '", column->name, "'"}));
        }
        if (field->Type() == kFieldCharacter || field->Type() == kFieldMemo) {
            flags |= kIndexTextOnly;
        }
        index->AddColumn(field);
        columnsText->Append(column->name);
    }
    index->SetFlags(flags);
    // A list cut by its column would give the index other keys when it is opened again.
    if (columnsText->Length() > columnsField_->Length()) {
        return Fail(String::Join({"Error creating schema index: column list too long (maximum ",
                                  IntegerToText(columnsField_->Length()), ")"}));
    }
    return true;
}

// Required: the records end where a read fails, whatever the count says.
bool Schema::BuildIndexKeys(Table& table, Index& index) {
    OvraSQLTable& data = table.Data();
    for (uint32_t number = 1; data.ReadRecord(number); ++number) {
        if (!data.IsDeleted() && !index.AddCurrentRecord()) {
            return FailFromIndexFile(index);
        }
    }
    return true;
}

// Required: a row taken back keeps TYPE, TABLE and INDEX, also where the index has moved to another
// table.
bool Schema::WriteIndexRow(TextView tableName, const Index& index, TextView relative,
                           TextView columnsText, bool takeBack) {
    fileField_->SetValue(relative);
    columnsField_->SetValue(columnsText);
    flagsField_->SetValue(IntegerToText(index.Flags()));
    if (takeBack) {
        return TakeRowBack();
    }
    typeField_->SetValue("I");
    tableField_->SetValue(tableName);
    indexField_->SetValue(index.Name());
    return schemaTable_->InsertRecord() || FailFromRow();
}

// The file goes first and the row after it: what a failure leaves is a row that can be dropped
// again.
bool Schema::DropIndex(TextView name) {
    if (!IndexExists(name)) {
        return Fail(String::Join({"Index name '", name, "' does not exist"}));
    }
    EmptyStatementCache();
    ForgetTable(tableField_->ValueText());
    // A file that won't go does not stop the drop; its message can stay.
    const String path(ResolvePath(fileField_->ValueText()));
    IgnoreResult(DeleteFile(path));
    return DropRow();
}

}  // namespace ovrasql
