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

namespace {

String AlreadyExists(TextView name) { return String::Join({"Index '", name, "' already exists"}); }

bool Refuse(String* error, TextView message) {
    *error = message;
    return false;
}

// Takes the columns into the index and its flags, and joins their names as written. `longest` is
// what the catalog has room for: a list cut by it would give the index other keys once it is opened
// again.
bool DefineIndex(const List<SQLIndexColumn>& columns, int32_t longest, Index* index,
                 String* columnsText, String* error) {
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
            return Refuse(error, "All columns in an OvraSQL index must have the same ordering");
        }
        OvraSQLField* const field = index->OwnerTable()->Data().FindField(column->name);
        if (field == nullptr) {
            return Refuse(error, String::Join({"Unknown column '", column->name, "'"}));
        }
        if (field->Type() == kFieldCharacter || field->Type() == kFieldMemo) {
            flags |= kIndexTextOnly;
        }
        index->AddColumn(field);
        columnsText->Append(column->name);
    }
    index->SetFlags(flags);
    return columnsText->Length() <= longest ||
           Refuse(error,
                  String::Join({"Error creating schema index: column list too long (maximum ",
                                IntegerToText(longest), ")"}));
}

// Required: the records end where a read fails, whatever the count says.
bool BuildIndexKeys(OvraSQLTable& data, Index* index, String* error) {
    for (uint32_t number = 1; data.ReadRecord(number); ++number) {
        if (!data.IsDeleted() && !index->AddCurrentRecord()) {
            return Refuse(error, index->File().Error());
        }
    }
    return true;
}

}  // namespace

bool Schema::CreateIndex(TextView tableName, TextView name, bool unique,
                         const List<SQLIndexColumn>& columns) {
    EmptyStatementCache();
    Table* const table = GetTable(tableName);
    if (table == nullptr) {
        return false;
    }
    const Lookup row = FindIndexRow(name);
    if (row == Lookup::kFailed) {
        return false;
    }
    if (row == Lookup::kLive) {
        return Fail(AlreadyExists(name));
    }
    auto index = std::make_unique<Index>(table, name, unique ? kIndexUnique : 0);
    String columnsText;
    if (!DefineIndex(columns, columnsField_->Length(), index.get(), &columnsText, &error_)) {
        return false;
    }
    String fileName = String::Join({name, ".ovx"});
    fileName.ToLower();
    String path;
    String relative;
    if (!PlaceFile(fileName, &path, &relative)) {
        return false;
    }
    if (!CheckIndexFile(name, path)) {
        return false;
    }
    if (!index->Create(path)) {
        return Fail(String::Join({"Error creating schema index: ", index->File().Error()}));
    }
    if (!BuildIndexKeys(table->Data(), index.get(), &error_)) {
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

// Making the file empties what is there, which must be neither the catalog nor another index. Two
// names can lead to one place where the sub-directory character is doubled, or is the first: a_b
// and a__b, for one. The look for that is worth a walk over the rows where there is such a
// character, and leaves the schema table on the name's row, as it was.
bool Schema::CheckIndexFile(TextView name, TextView path) {
    if (IsCatalogFile(path)) {
        return Fail(AlreadyExists(name));
    }
    if (subdirChar_ == 0) {
        return true;
    }
    const Lookup other = FindIndexAt(path);
    if (other == Lookup::kLive) {
        return Fail(String::Join({"Index '", name, "' cannot be created because file '", path,
                                  "' is that of index '", indexField_->ValueText(), "'"}));
    }
    return other != Lookup::kFailed && FindIndexRow(name) != Lookup::kFailed;
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
    // The row of a name that has moved is still that of its first table.
    ForgetTable(tableField_->ValueText());
    ForgetTablesWithIndex(name);
    // A file that won't go does not stop the drop; its message can stay.
    const String path(ResolvePath(fileField_->ValueText()));
    IgnoreResult(DeleteFile(path));
    return DropRow();
}

}  // namespace ovrasql
