#include "schema/table.h"

#include "library/host_services.h"
#include "schema/schema.h"

namespace ovrasql {

IndexDelete::IndexDelete(TextView keyText, Index* ofIndex, uint32_t record)
    : key(keyText), index(ofIndex), recordNumber(record) {}

IndexDelete::~IndexDelete() = default;

IndexUpdate::IndexUpdate(TextView oldText, TextView newText, Index* ofIndex, uint32_t record)
    : oldKey(oldText), newKey(newText), index(ofIndex), recordNumber(record) {}

IndexUpdate::~IndexUpdate() = default;

Table::Table(Schema* schema, TextView name)
    : schema_(schema),
      name_(name),
      made_(schema->Rebuilds().Now()),
      data_(schema->Database()),
      indexes_(/*ownsItems=*/true, /*ignoreCase=*/true),
      pendingUpdates_(/*ownsItems=*/true),
      pendingDeletes_(/*ownsItems=*/true) {}

Table::~Table() = default;

bool Table::Create(TextView path, Collection<OvraSQLField>& fields) {
    return data_.Create(path, fields) || FailFromData();
}

bool Table::Open(TextView path) { return data_.Open(path, kOpenExisting) || FailFromData(); }

bool Table::ReadRecord(uint32_t recordNumber) {
    return data_.ReadRecord(recordNumber) || FailFromData();
}

bool Table::LockAndReadRecord() { return data_.LockAndReadRecord() || FailFromData(); }

bool Table::IsReplaced() const { return schema_->Rebuilds().HasRebuilt(name_, made_); }

void Table::DropIndexes() {
    // What is queued points at the indexes.
    DiscardQueue();
    indexes_.RemoveAll();
}

void Table::DiscardQueue() {
    pendingUpdates_.RemoveAll();
    pendingDeletes_.RemoveAll();
}

bool Table::Fail(TextView message) {
    error_ = message;
    return false;
}

bool Table::FailFromData() { return Fail(data_.Error()); }

bool Table::FailFromIndex(const Index& index) { return Fail(index.File().Error()); }

}  // namespace ovrasql
