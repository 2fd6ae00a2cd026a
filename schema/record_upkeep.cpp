// The operations of Table that change one record and keep the indexes in step. table.h tells the
// order of the writes.

#include <memory>

#include "schema/table.h"

namespace ovrasql {

bool Table::InsertRecord() {
    for (Index* index : indexes_) {
        if (index->IsUnique() && !CheckUniqueForInsert(*index)) {
            return false;
        }
    }
    if (!data_.AppendRecord()) {
        return FailFromData();
    }
    for (Index* index : indexes_) {
        if (!index->AddCurrentRecord()) {
            return FailFromIndex(*index);
        }
    }
    return true;
}

// The test and the write behind it are not one step: another process can come between.
bool Table::CheckUniqueForInsert(Index& index) {
    uint32_t recordNumber = 0;
    bool found = false;
    index.BuildKey(&index.NewKey());
    // A test that could not be made must not pass for a free key.
    if (!index.Seek(index.NewKey(), /*exact=*/true, &recordNumber, &found) ||
        index.File().Failed()) {
        return FailFromIndex(index);
    }
    if (found) {
        return Fail(String::Join(
            {"Inserted record violates UNIQUE constraint on index '", index.Name(), "'"}));
    }
    return true;
}

bool Table::UpdateRecord() {
    if (indexes_.Count() != 0) {
        BuildUpdateKeys();
    }
    for (Index* index : indexes_) {
        if (index->NewKey() == index->OldKey()) {
            continue;
        }
        if (index->IsUnique() && !CheckUniqueForUpdate(*index)) {
            return false;
        }
        pendingUpdates_.Insert(std::make_unique<IndexUpdate>(index->OldKey(), index->NewKey(),
                                                             index, data_.CurrentRecord()),
                               ListPlace::kTail);
    }
    return data_.UpdateRecord() || FailFromData();
}

// All new keys come before the exchange of the values and all old ones behind it, so that the
// values are exchanged once for a record and not once for an index.
void Table::BuildUpdateKeys() {
    for (Index* index : indexes_) {
        index->BuildKey(&index->NewKey());
    }
    data_.SwapFieldValues();
    for (Index* index : indexes_) {
        index->BuildKey(&index->OldKey());
    }
    data_.SwapFieldValues();
}

bool Table::CheckUniqueForUpdate(Index& index) {
    uint32_t recordNumber = 0;
    bool found = false;
    if (!index.Seek(index.NewKey(), /*exact=*/true, &recordNumber, &found) ||
        index.File().Failed()) {
        return FailFromIndex(index);
    }
    if (found && recordNumber != data_.CurrentRecord()) {
        return Fail(String::Join(
            {"Updated record violates UNIQUE constraint on index '", index.Name(), "'"}));
    }
    // A statement may be walking this very index, and the search above has ended its walk. This one
    // puts the walk back on the record in hand, so it is made also where its answer is known.
    if (!index.File().SeekRecord(index.OldKey(), data_.CurrentRecord(), /*lock=*/true)) {
        return index.File().Failed() ? FailFromIndex(index)
                                     : Fail("Key not found during update in seek of UNIQUE index");
    }
    return true;
}

bool Table::DeleteRecord() {
    // A join can delete one record twice. The second time its keys are queued already.
    const bool wasDeleted = data_.IsDeleted();
    data_.SetDeleted(true);
    if (!data_.UpdateRecord()) {
        data_.SetDeleted(wasDeleted);
        return FailFromData();
    }
    if (wasDeleted) {
        return true;
    }
    for (Index* index : indexes_) {
        index->BuildKey(&index->OldKey());
        pendingDeletes_.Insert(
            std::make_unique<IndexDelete>(index->OldKey(), index, data_.CurrentRecord()),
            ListPlace::kTail);
    }
    return true;
}

bool Table::ApplyIndexDeletes() {
    for (const IndexDelete* pending : pendingDeletes_) {
        if (!pending->index->File().DeleteKey(pending->recordNumber, pending->key)) {
            return FailFromIndex(*pending->index);
        }
    }
    return true;
}

bool Table::ApplyIndexUpdates() {
    for (const IndexUpdate* pending : pendingUpdates_) {
        OvraSQLIndex& file = pending->index->File();
        if (!file.DeleteKey(pending->recordNumber, pending->oldKey) ||
            !file.InsertKey(pending->recordNumber, pending->newKey)) {
            return FailFromIndex(*pending->index);
        }
    }
    return true;
}

}  // namespace ovrasql
