// Rebuilding a table: its live records are copied into new files under temporary names, every index
// is built anew from the copies, and the new files are renamed over the old ones.
//
// Order: data file, memo file, indexes. The swap is not one step; a failure within it leaves a new
// data file beside old indexes, which the next pack mends. After a failure in the copying or later
// the temporary files stay on disk under the names that the host gave them.

#include <memory>

#include "foundation/ignore_result.h"
#include "foundation/number_text.h"
#include "library/host_services.h"
#include "schema/host_temporary_file.h"
#include "schema/index.h"
#include "schema/index_row_walk.h"
#include "schema/schema.h"
#include "schema/table.h"

namespace ovrasql {

namespace {

// Values go over by position and as text. New fields without an old one keep their empty state.
void CopyValues(OvraSQLTable& from, OvraSQLTable& to, int32_t dropPosition) {
    int32_t position = 0;
    int32_t target = 0;
    for (OvraSQLField* field : from.Fields()) {
        ++position;
        if (position == dropPosition) {
            continue;
        }
        OvraSQLField* const copy = to.Fields().ItemAt(target);
        ++target;
        if (copy == nullptr) {
            return;
        }
        copy->SetValue(field->ValueText());
    }
}

// Required: neither a failed append nor a key that an index refuses stops the copying.
bool CopyRecords(Table& from, Table& to, uint32_t count, int32_t dropPosition, String* error) {
    for (uint32_t number = 1; number <= count && number != 0; ++number) {
        if (!from.Data().ReadRecord(number)) {
            *error = from.Data().Error();
            return false;
        }
        if (from.Data().IsDeleted()) {
            continue;
        }
        CopyValues(from.Data(), to.Data(), dropPosition);
        IgnoreResult(to.Data().AppendRecord());
        for (Index* index : to.Indexes()) {
            IgnoreResult(index->AddCurrentRecord());
        }
    }
    return true;
}

}  // namespace

bool Schema::RebuildTable(Table& table, Collection<OvraSQLField>* fields, int32_t memoCount,
                          int32_t dropPosition) {
    // Both as the opening left them: reading can replace the header in memory.
    const uint32_t recordCount = table.Data().RecordCount();
    const int32_t oldVersion = table.Data().Version();
    if (fields == nullptr) {
        fields = &table.Data().Fields();
        memoCount = oldVersion == kVersionPlain ? 0 : 1;
    }
    const std::unique_ptr<Table> rebuilt = NewRebuildTable(table, *fields, memoCount);
    if (rebuilt == nullptr) {
        return false;
    }
    const bool listed = LoadPackIndexes(table);
    // New files are renamed to the old indexes' places pair by pair, so both lists must be of the
    // same rows. They differ when the catalog could not be read again, or was changed in between.
    if (table.Indexes().Count() != rebuilt->Indexes().Count()) {
        return listed ? Fail("Schema database is corrupt") : false;
    }
    if (!CopyRecords(table, *rebuilt, recordCount, dropPosition, &error_)) {
        return false;
    }
    rebuilds_.Note(table.Name());
    return SwapFiles(table, *rebuilt, memoCount, oldVersion);
}

bool Schema::SwapFiles(Table& old, Table& rebuilt, int32_t memoCount, int32_t oldVersion) {
    const String dataPath(old.Data().DataPath());
    const String memoPath(old.Data().MemoPath());
    const String newDataPath(rebuilt.Data().DataPath());
    const String newMemoPath(rebuilt.Data().MemoPath());
    old.Data().Close();
    rebuilt.Data().Close();
    if (!RenameFile(old.Name(), newDataPath, dataPath)) {
        return false;
    }
    if (memoCount > 0) {
        if (!RenameFile(old.Name(), newMemoPath, memoPath)) {
            return false;
        }
    } else if (oldVersion == kVersionWithMemo &&
               ovFile_Delete(program_, kDatabaseLocation, memoPath.CText(), memoPath.Length()) !=
                   0) {
        return Fail(String::Join({"Failed to remove memo file for table '", old.Name(),
                                  "': ", HostFileError(program_, nullptr)}));
    }
    return SwapIndexFiles(old, rebuilt);
}

// Both lists were filled in the order of the catalog's rows, so they pair up.
bool Schema::SwapIndexFiles(Table& old, Table& rebuilt) {
    auto oldIndex = old.Indexes().begin();
    for (Index* newIndex : rebuilt.Indexes()) {
        const auto* const packed = static_cast<const PackIndex*>(*oldIndex);
        const String newPath(newIndex->File().Path());
        newIndex->Close();
        if (!RenameFile(old.Name(), newPath, ResolvePath(packed->FilePath()))) {
            return false;
        }
        ++oldIndex;
    }
    return true;
}

std::unique_ptr<Table> Schema::NewRebuildTable(Table& table, Collection<OvraSQLField>& fields,
                                               int32_t memoCount) {
    HostTemporaryFile dataFile(program_);
    HostTemporaryFile memoFile(program_);
    if (!dataFile.Make(table.Data().DataPath())) {
        error_ = String::Join({"Failed to create data file for table '", table.Name(),
                               "': ", HostFileError(program_, nullptr)});
        return nullptr;
    }
    if (memoCount > 0 && !memoFile.Make(table.Data().MemoPath())) {
        error_ = String::Join({"Failed to create memo file for table '", table.Name(),
                               "': ", HostFileError(program_, nullptr)});
        return nullptr;
    }
    // Goes before the two files: a file is deleted after its handle is closed.
    auto rebuilt = std::make_unique<Table>(this, table.Name());
    if (!rebuilt->Data().CreateFromHandles(dataFile.Handle(), dataFile.Path(), memoFile.Handle(),
                                           memoFile.Path(), fields)) {
        error_ = rebuilt->Data().Error();
        return nullptr;
    }
    IgnoreResult(dataFile.ReleaseHandle());  // the table's own by now
    if (rebuilt->Data().HasMemoFile()) {
        IgnoreResult(memoFile.ReleaseHandle());
    }
    if (!CreateTemporaryIndexes(*rebuilt)) {
        return nullptr;
    }
    dataFile.Keep();
    memoFile.Keep();
    return rebuilt;
}

bool Schema::CreateTemporaryIndexes(Table& table) {
    IndexRowWalk walk(this, table.Name());
    bool created = true;
    while (created && walk.Next()) {
        created = CreateTemporaryIndex(table);
    }
    if (created && !walk.Failed()) {
        return true;
    }
    for (Index* index : table.Indexes()) {
        const String path(index->File().Path());
        index->Close();
        // The failure that led here has its message.
        IgnoreResult(ovFile_Delete(program_, kDatabaseLocation, path.CText(), path.Length()));
    }
    return false;
}

// For the index of the row in hand, with the columns looked up among the new table's fields.
bool Schema::CreateTemporaryIndex(Table& table) {
    std::unique_ptr<Index> index = IndexFromRow(table);
    HostTemporaryFile file(program_);
    if (!file.Make(ResolvePath(fileField_->ValueText()))) {
        return Fail(String::Join({"Failed to create index file for table '", table.Name(),
                                  "': ", HostFileError(program_, nullptr)}));
    }
    // The index takes the handle over, also where it fails, and with it the path to delete by.
    const bool created = index->CreateFromHandle(file.ReleaseHandle(), file.Path());
    if (!created) {
        error_ = index->File().Error();
    }
    table.Indexes().Add(std::move(index));
    file.Keep();
    return created;
}

// The indexes as they are listed, with the places of their files.
bool Schema::LoadPackIndexes(Table& table) {
    table.DropIndexes();
    IndexRowWalk walk(this, table.Name());
    while (walk.Next()) {
        auto index = std::make_unique<PackIndex>(&table, indexField_->ValueText(),
                                                 TextToIntegerC(flagsField_->ValueText()),
                                                 fileField_->ValueText());
        index->AddColumns(columnsField_->ValueText());
        table.Indexes().Add(std::move(index));
    }
    return !walk.Failed();
}

}  // namespace ovrasql
