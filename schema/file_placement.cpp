// Where the files of a database lie, and how they go.

#include "foundation/number_text.h"
#include "library/host_services.h"
#include "schema/index.h"
#include "schema/schema.h"
#include "schema/table.h"
#include "storage/ovra_sql_field.h"

namespace ovrasql {

namespace {

// The position behind a separator and whatever separators repeat it.
int32_t SkipSeparators(TextView path, int32_t position) {
    while (position < path.length && path[position] == '/') {
        ++position;
    }
    return position;
}

// Whether two paths are one place, however many separators stand between two of their names.
bool SamePlace(TextView first, TextView second) {
    int32_t here = 0;
    int32_t there = 0;
    while (here < first.length && there < second.length && first[here] == second[there]) {
        const bool isSeparator = first[here] == '/';
        here = isSeparator ? SkipSeparators(first, here) : here + 1;
        there = isSeparator ? SkipSeparators(second, there) : there + 1;
    }
    return here == first.length && there == second.length;
}

}  // namespace

TextView Schema::ResolvePath(TextView relative) {
    pathScratch_ = directory_;
    pathScratch_.Append(relative);
    return pathScratch_;
}

bool Schema::PlaceFile(TextView name, String* path, String* relative) {
    if (!CatalogReady()) {
        return false;
    }
    // A catalog from elsewhere can have a narrow FILE column. A name cut by it would be another
    // file's.
    if (fileField_->Type() != kFieldMemo && name.length > fileField_->Length()) {
        return Fail(String::Join({"File name '", name, "' exceeds the maximum length of ",
                                  IntegerToText(fileField_->Length()), " characters"}));
    }
    *path = String::Join({directory_, name});
    const int32_t start = directory_.Length();
    for (int32_t index = start; subdirChar_ != 0 && index < path->Length(); ++index) {
        if (path->CText()[index] != subdirChar_) {
            continue;
        }
        path->Data()[index] = '/';
        const TextView above = path->View().Part(0, index);
        if (ovFile_IsDirectory(program_, kDatabaseLocation, above.data, above.length) == 0 &&
            ovFile_MakeDirectory(program_, kDatabaseLocation, above.data, above.length) != 0) {
            return Fail(String::Join({"Unable to create directory or subdirectory for ", *path,
                                      ": ", HostFileError(program_, nullptr)}));
        }
    }
    *relative = path->View().Part(start);
    return true;
}

bool Schema::DeleteFile(TextView path) {
    if (ovFile_Exists(program_, kDatabaseLocation, path.data, path.length) != 0 &&
        ovFile_Delete(program_, kDatabaseLocation, path.data, path.length) < 0) {
        // Required: one text serves for all files, those of indexes too.
        return Fail(String::Join(
            {"DROP TABLE failed to delete file '", path, "': ", HostFileError(program_, nullptr)}));
    }
    // Upward through the folders that a sub-directory character made; one in use ends the walk.
    for (int32_t length = path.length - 1; length > 0; --length) {
        if (path[length] == '/' &&
            ovFile_RemoveDirectory(program_, kDatabaseLocation, path.data, length) == -1) {
            return true;
        }
    }
    return true;
}

bool Schema::RenameFile(TextView tableName, TextView from, TextView to) {
    if (ovFile_Rename(program_, kDatabaseLocation, from.data, from.length, kDatabaseLocation,
                      to.data, to.length) == -1) {
        return Fail(String::Join({"Failed to rename datafile '", to, "' for table '", tableName,
                                  "': ", HostFileError(program_, nullptr)}));
    }
    return true;
}

// A new file at a path of the catalog itself would destroy the database.
bool Schema::IsCatalogFile(TextView path) const {
    return SamePlace(path, path_) || SamePlace(path, schemaIndex1Path_) ||
           SamePlace(path, schemaIndex2Path_);
}

// The live index whose file is at that place; the schema table stands on its row. Missing or failed
// otherwise.
Schema::Lookup Schema::FindIndexAt(TextView path) {
    uint32_t number = 0;
    bool more = schemaIndex2_->First(&number) && number != 0;
    while (more) {
        if (!ReadRow(number)) {
            return Lookup::kFailed;
        }
        if (!schemaTable_->Data().IsDeleted() && typeField_->ValueText() == TextView("I") &&
            SamePlace(ResolvePath(fileField_->ValueText()), path)) {
            return Lookup::kLive;
        }
        more = schemaIndex2_->Next(&number) && number != 0;
    }
    if (schemaIndex2_->File().Failed()) {
        error_ = schemaIndex2_->File().Error();
        return Lookup::kFailed;
    }
    return Lookup::kMissing;
}

}  // namespace ovrasql
