#include "schema/index_row_walk.h"

#include "schema/index.h"
#include "schema/schema.h"
#include "schema/table.h"

namespace ovrasql {

IndexRowWalk::IndexRowWalk(Schema* schema, TextView tableName)
    : schema_(schema), tableName_(tableName), key_(String::Join({"I:", tableName, ":"})) {
    key_.ToUpper();
}

bool IndexRowWalk::Next() {
    failed_ = failed_ || !schema_->CatalogReady();
    uint32_t recordNumber = 0;
    while (!failed_ && StepToEntry(&recordNumber)) {
        onRow_ = true;
        if (!schema_->ReadRow(recordNumber)) {
            failed_ = true;
            return false;
        }
        ++rowsRead_;
        if (!schema_->schemaTable_->Data().IsDeleted() && schema_->IsRowOfTable(tableName_)) {
            return true;
        }
    }
    return false;
}

bool IndexRowWalk::StepToEntry(uint32_t* recordNumber) {
    Index& index = *schema_->schemaIndex1_;
    bool found = true;
    if (started_) {
        found = index.NextMatching(key_, /*exact=*/false, recordNumber);
    } else {
        started_ = true;
        if (!index.Seek(key_, /*exact=*/false, recordNumber, &found)) {
            found = false;
        }
    }
    if (index.File().Failed()) {
        failed_ = true;
        return schema_->FailFromIndexFile(index);
    }
    return found;
}

}  // namespace ovrasql
