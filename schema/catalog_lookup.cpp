// Finding tables and indexes by name. A dropped row keeps its keys, so that every look-up tests the
// deleted flag of the row that it lands on.

#include <memory>

#include "foundation/number_text.h"
#include "foundation/text_compare.h"
#include "schema/index.h"
#include "schema/index_row_walk.h"
#include "schema/schema.h"
#include "schema/table.h"

namespace ovrasql {

bool Schema::ReadRow(uint32_t recordNumber) {
    return schemaTable_->ReadRecord(recordNumber) || FailFromRow();
}

// A key ends at a zero byte, and DROP TABLE takes any text for a name: only the row itself tells
// whose it is.
bool Schema::IsRowOfTable(TextView name) { return EqualsNoCase(tableField_->ValueText(), name); }

Schema::Lookup Schema::FindTableRow(TextView name) {
    if (!CatalogReady()) {
        return Lookup::kFailed;
    }
    keyScratch_ = String::Join({"T:", name, ":"});
    keyScratch_.ToUpper();
    uint32_t recordNumber = 0;
    bool found = false;
    if (!schemaIndex1_->Seek(keyScratch_, /*exact=*/true, &recordNumber, &found) ||
        schemaIndex1_->File().Failed()) {
        error_ = schemaIndex1_->File().Error();
        return Lookup::kFailed;
    }
    if (!found) {
        return Lookup::kMissing;
    }
    if (!ReadRow(recordNumber)) {
        return Lookup::kFailed;
    }
    if (!IsRowOfTable(name)) {
        return Lookup::kMissing;
    }
    return schemaTable_->Data().IsDeleted() ? Lookup::kDead : Lookup::kLive;
}

// The index orders keys that read as numbers by value, and that order puts names such as "nan", and
// others beside them, out of the search's reach. They must be found all the same: or CREATE INDEX
// would empty their files and DROP INDEX leave them. So a miss, and only a miss, costs all rows.
Schema::Lookup Schema::FindIndexRow(TextView name) {
    if (!CatalogReady()) {
        return Lookup::kFailed;
    }
    const Lookup row = SearchIndexRows(name, SearchScope::kEqualKeys);
    return row == Lookup::kMissing ? SearchIndexRows(name, SearchScope::kAllRows) : row;
}

// Table rows have the empty key, and keys that read as numbers are equal by value: an empty name,
// "0" or "infinity" finds rows of other names. So the row itself must bear the name, and the search
// goes on over all entries that count as equal, or over all there are.
//
// A dead row is reported only if no live one follows; the schema table then stands on it.
Schema::Lookup Schema::SearchIndexRows(TextView name, SearchScope scope) {
    keyScratch_ = name;
    keyScratch_.ToUpper();
    const bool all = scope == SearchScope::kAllRows;
    uint32_t number = 0;
    uint32_t deadRow = 0;
    bool more = true;
    const bool began = all ? schemaIndex2_->First(&number)
                           : schemaIndex2_->Seek(keyScratch_, /*exact=*/true, &number, &more);
    more = began && more && number != 0;
    while (more) {
        if (!ReadRow(number)) {
            return Lookup::kFailed;
        }
        if (IsIndexRow(name)) {
            if (!schemaTable_->Data().IsDeleted()) {
                return Lookup::kLive;
            }
            deadRow = number;
        }
        more = all ? schemaIndex2_->Next(&number) && number != 0
                   : schemaIndex2_->NextEqual(keyScratch_, &number);
    }
    if (schemaIndex2_->File().Failed()) {
        error_ = schemaIndex2_->File().Error();
        return Lookup::kFailed;
    }
    if (deadRow == 0) {
        return Lookup::kMissing;
    }
    return ReadRow(deadRow) ? Lookup::kDead : Lookup::kFailed;
}

bool Schema::IsIndexRow(TextView name) {
    return typeField_->ValueText() == TextView("I") && EqualsNoCase(indexField_->ValueText(), name);
}

bool Schema::TableExists(TextView name) { return FindTableRow(name) == Lookup::kLive; }

bool Schema::IndexExists(TextView name) { return FindIndexRow(name) == Lookup::kLive; }

std::unique_ptr<Table> Schema::OpenTable(TextView name) {
    if (!TableExists(name)) {
        error_ = String::Join({"Unknown table '", name, "'"});
        return nullptr;
    }
    auto table = std::make_unique<Table>(this, tableField_->ValueText());
    if (!table->Open(ResolvePath(fileField_->ValueText()))) {
        error_ = table->Error();
        return nullptr;
    }
    return table;
}

Table* Schema::GetTable(TextView name) {
    Table* table = openTables_.Find(name);
    if (table == nullptr) {
        std::unique_ptr<Table> opened = OpenTable(name);
        table = opened.get();
        openTables_.Add(std::move(opened));
    }
    return table;
}

void Schema::ForgetTable(TextView name) {
    const std::unique_ptr<Table> forgotten(openTables_.Remove(name));
}

void Schema::ForgetTablesWithIndex(TextView name) {
    for (const Table* table : openTables_) {
        if (table->Indexes().Find(name) != nullptr) {
            ForgetTable(table->Name());
        }
    }
}

bool Schema::LoadIndexes(Table& table) {
    if (table.IndexesLoaded()) {
        return true;
    }
    table.DropIndexes();
    IndexRowWalk walk(this, table.Name());
    while (walk.Next()) {
        table.Indexes().Add(IndexFromRow(table));
    }
    table.SetIndexesLoaded(!walk.Failed());
    return !walk.Failed();
}

bool Schema::OpenIndexes(Table& table) {
    table.DropIndexes();
    IndexRowWalk walk(this, table.Name());
    while (walk.Next()) {
        std::unique_ptr<Index> index = IndexFromRow(table);
        if (!OpenIndexFile(*index)) {
            return false;
        }
        table.Indexes().Add(std::move(index));
    }
    return !walk.Failed();
}

Index* Schema::OpenIndex(Table& table, TextView name) {
    // An unknown name has no message of its own, and must not show an old one.
    error_.Clear();
    Index* known = table.Indexes().Find(name);
    if (known != nullptr) {
        return known;
    }
    // What the catalog lists are the keys of other records by then.
    if (table.IsReplaced() || !IndexExists(name)) {
        return nullptr;
    }
    std::unique_ptr<Index> index = IndexFromRow(table);
    if (!OpenIndexFile(*index)) {
        return nullptr;
    }
    known = index.get();
    table.Indexes().Add(std::move(index));
    return known;
}

std::unique_ptr<Index> Schema::IndexFromRow(Table& table) {
    auto index = std::make_unique<Index>(&table, indexField_->ValueText(),
                                         TextToIntegerC(flagsField_->ValueText()));
    index->AddColumns(columnsField_->ValueText());
    return index;
}

bool Schema::OpenIndexFile(Index& index) {
    return index.Open(ResolvePath(fileField_->ValueText())) || FailFromIndexFile(index);
}

}  // namespace ovrasql
