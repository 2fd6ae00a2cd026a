// Making and opening a database: the schema table with its two indexes. The options.

#include <memory>

#include "foundation/path_text.h"
#include "schema/index.h"
#include "schema/schema.h"
#include "schema/table.h"
#include "storage/key_compare.h"

namespace ovrasql {

namespace {

constexpr int32_t kFileWidth = 254;
constexpr int32_t kColumnsWidth = 254;
constexpr int32_t kFlagsWidth = 19;

// The path up to and including its last separator. Byte 0, which DirectoryPart does not look at,
// stands before a database right under the root.
String DirectoryOf(TextView path) {
    const TextView first = path.Part(0, 1);
    String directory = DirectoryPart(path);
    return directory.IsEmpty() && (first == "/" || first == "\\") ? String(first) : directory;
}

struct CatalogColumn {
    const char* name;
    int32_t type;
    int32_t width;
};

// The schema table's columns, in the order of its file. TYPE is "T" for a table's row and "I" for
// an index's; INDEX, COLUMNS and INDEXFLAGS are empty in a table's row.
constexpr CatalogColumn kCatalogColumns[] = {
    {"TYPE", kFieldCharacter, 1},
    {"TABLE", kFieldCharacter, Schema::kNameWidth},
    {"INDEX", kFieldCharacter, Schema::kNameWidth},
    {"FILE", kFieldCharacter, kFileWidth},
    {"COLUMNS", kFieldCharacter, kColumnsWidth},
    {"INDEXFLAGS", kFieldNumeric, kFlagsWidth},
};

}  // namespace

bool Schema::Create(TextView path) {
    StartCatalog(path);
    // The first index would empty the data file again. The second one lies elsewhere: behind the
    // stem its path has an "i", where this one has a dot or its end.
    if (path_ == schemaIndex1Path_) {
        return Fail(String::Join(
            {"Error creating schema database: '", path_, "' is the path of its own index"}));
    }
    CollList<OvraSQLField> fields(/*ownsItems=*/true);
    for (const CatalogColumn& column : kCatalogColumns) {
        fields.Insert(std::make_unique<OvraSQLField>(nullptr, column.name, column.type,
                                                     column.width, /*decimals=*/0),
                      ListPlace::kTail);
    }
    if (!schemaTable_->Create(path_, fields)) {
        return Fail(String::Join({"Error creating schema database: ", schemaTable_->Error()}));
    }
    if (!ValidateFields()) {
        return false;
    }
    // Required: also a failure of the second index is told with the text of the first one's file.
    if (!schemaIndex1_->Create(schemaIndex1Path_) || !schemaIndex2_->Create(schemaIndex2Path_)) {
        return Fail(String::Join({"Error creating schema index: ", schemaIndex1_->File().Error()}));
    }
    catalogReady_ = true;
    return true;
}

bool Schema::Open(TextView path) {
    StartCatalog(path);
    if (!schemaTable_->Open(path_)) {
        return Fail(String::Join({"Error opening schema database: ", schemaTable_->Error()}));
    }
    if (!schemaIndex1_->Open(schemaIndex1Path_)) {
        return Fail(String::Join({"Error opening schema index: ", schemaIndex1_->File().Error()}));
    }
    if (!schemaIndex2_->Open(schemaIndex2Path_)) {
        return Fail(String::Join({"Error opening schema index: ", schemaIndex2_->File().Error()}));
    }
    catalogReady_ = ValidateFields();
    return catalogReady_;
}

void Schema::StartCatalog(TextView path) {
    EmptyStatementCache();
    openTables_.RemoveAll();
    DropCatalog();
    path_ = path;
    directory_ = DirectoryOf(path);
    const String stem = StripExtension(path);
    schemaIndex1Path_ = String::Join({stem, ".ovx"});
    schemaIndex2Path_ = String::Join({stem, "i.ovx"});

    schemaTable_ = std::make_unique<Table>(this, "Schema");
    auto first = std::make_unique<Index>(schemaTable_.get(), "Schema_1", kIndexUnique);
    schemaIndex1_ = first.get();
    schemaTable_->Indexes().Add(std::move(first));
    auto second = std::make_unique<Index>(schemaTable_.get(), "Schema_2", 0);
    schemaIndex2_ = second.get();
    schemaTable_->Indexes().Add(std::move(second));
}

void Schema::DropCatalog() {
    catalogReady_ = false;
    typeField_ = tableField_ = indexField_ = fileField_ = columnsField_ = flagsField_ = nullptr;
    schemaIndex1_ = schemaIndex2_ = nullptr;
    schemaTable_.reset();
    path_.Clear();
    schemaIndex1Path_.Clear();
    schemaIndex2Path_.Clear();
}

// Only names are tested, so any data file with these six columns passes.
bool Schema::ValidateFields() {
    OvraSQLTable& data = schemaTable_->Data();
    OvraSQLField* const type = data.FindField("TYPE");
    OvraSQLField* const table = data.FindField("TABLE");
    OvraSQLField* const index = data.FindField("INDEX");
    OvraSQLField* const file = data.FindField("FILE");
    OvraSQLField* const columns = data.FindField("COLUMNS");
    OvraSQLField* const flags = data.FindField("INDEXFLAGS");
    if (type == nullptr || table == nullptr || index == nullptr || file == nullptr ||
        columns == nullptr || flags == nullptr) {
        return FailNoCatalog();
    }
    typeField_ = type;
    tableField_ = table;
    indexField_ = index;
    fileField_ = file;
    columnsField_ = columns;
    flagsField_ = flags;
    schemaIndex1_->AddColumn(type);
    schemaIndex1_->AddColumn(table);
    schemaIndex1_->AddColumn(index);
    schemaIndex2_->AddColumn(index);
    return true;
}

// Whether Create or Open went through. A catalog that lacks an index, or a column of an index's key
// since memory ran out, must not be written to: its rows would never be found again.
bool Schema::CatalogReady() { return catalogReady_ || FailNoCatalog(); }

bool Schema::FailNoCatalog() {
    return Fail(String::Join({"File '", path_, "' is not a valid OvraSQL schema database"}));
}

bool Schema::Fail(TextView message) {
    error_ = message;
    return false;
}

bool Schema::FailFromRow() { return Fail(schemaTable_->Error()); }

bool Schema::FailFromIndexFile(const Index& index) { return Fail(index.File().Error()); }

void Schema::SetCaseInsensitive(bool caseInsensitive) {
    if (caseInsensitive_ != caseInsensitive) {
        EmptyStatementCache();
        caseInsensitive_ = caseInsensitive;
    }
}

bool Schema::OpenTrace(TextView path) {
    return trace_.Open(program_, path) || Fail("Unable to open logfile");
}

int32_t Schema::TableNameLimit() const {
    return tableField_ == nullptr ? kNameWidth : tableField_->Length();
}

int32_t Schema::IndexNameLimit() const {
    return indexField_ == nullptr ? kNameWidth : indexField_->Length();
}

}  // namespace ovrasql
