// Pack: every table of the database rebuilt from its live records, under the schema table's header
// lock. The schema table itself is not packed.

#include <memory>
#include <new>

#include "foundation/ignore_result.h"
#include "schema/schema.h"
#include "schema/table.h"

namespace ovrasql {

bool Schema::Pack() {
    trace_.Write("Starting Packing\n");
    if (!CatalogReady()) {
        return false;
    }
    OvraSQLTable& data = schemaTable_->Data();
    if (!data.LockHeader(LockMode::kExclusive)) {
        return Fail(String::Join({"Unable to lock schema for pack:", data.Error()}));
    }
    openTables_.RemoveAll();
    EmptyStatementCache();
    // For the rows that other processes have added. Without it the count in memory stands.
    IgnoreResult(data.ReadHeader());
    bool packed = false;
    try {
        packed = PackTables(data.RecordCount());
    } catch (const std::bad_alloc&) {
        IgnoreResult(data.ReleaseHeader());  // or other processes would wait for ever
        throw;
    }
    // What pack has done stands whether or not the lock can be given back.
    IgnoreResult(data.ReleaseHeader());
    if (packed) {
        trace_.Write("Packing done\n");
    }
    return packed;
}

// Required: the first row that can't be read is passed over, and any later one ends the walk like
// the last row, both without a message.
bool Schema::PackTables(uint32_t rowCount) {
    OvraSQLTable& data = schemaTable_->Data();
    for (uint32_t row = 1; row <= rowCount && row != 0; ++row) {
        const bool wasRead = data.ReadRecord(row);
        if (!wasRead && row > 1) {
            return true;
        }
        const TextView type = wasRead ? typeField_->ValueText() : TextView();
        if (type.IsEmpty() || type[0] != 'T' || data.IsDeleted()) {
            continue;
        }
        // A copy of the name: opening the table moves the schema table to another row.
        if (!PackTable(String(tableField_->ValueText()))) {
            return false;
        }
    }
    return true;
}

bool Schema::PackTable(const String& name) {
    trace_.Print("Packing %.*s...", name.Length(), name.CText());
    const std::unique_ptr<Table> table = OpenTable(name);
    if (table == nullptr) {
        return Fail(String::Join({"Unable to open data file: ", error_}));
    }
    if (!RebuildTable(*table, /*fields=*/nullptr, /*memoCount=*/0, /*dropPosition=*/0)) {
        return Fail(String::Join({"Error packing table '", name, "': ", error_}));
    }
    trace_.Write("done\n");
    return true;
}

}  // namespace ovrasql
