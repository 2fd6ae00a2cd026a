#include "schema/index.h"

#include <algorithm>
#include <cstring>

#include "library/host_services.h"
#include "schema/schema.h"
#include "schema/table.h"
#include "storage/host_file.h"
#include "storage/ovra_sql_field.h"

namespace ovrasql {

Index::Index(Table* table, TextView name, int32_t flags)
    : table_(table),
      name_(name),
      file_(table->OwnerSchema()->Database()),
      columns_(/*ownsItems=*/false),
      flags_(flags) {}

Index::~Index() = default;

bool Index::Create(TextView path) {
    String expression;
    KeyExpression(&expression);
    return file_.Create(path, expression, flags_);
}

bool Index::CreateFromHandle(void* file, TextView path) {
    HostFile taken(file);
    String expression;
    KeyExpression(&expression);
    return file_.CreateFromHandles(taken.Release(), path, expression, flags_);
}

bool Index::Open(TextView path) { return file_.Open(path, kOpenExisting); }

void Index::Close() { file_.Close(); }

void Index::AddColumns(TextView text) {
    int32_t start = 0;
    while (start < text.length) {
        int32_t end = start;
        while (end < text.length && text[end] != ':') {
            ++end;
        }
        AddColumn(table_->Data().FindField(text.Part(start, end - start)));
        start = end + 1;
    }
}

void Index::AddColumn(OvraSQLField* field) {
    if (field != nullptr) {
        columns_.Insert(field, ListPlace::kTail);
    }
}

void Index::KeyExpression(String* text) const {
    text->Assign("toupper( ");
    bool isFirst = true;
    for (const OvraSQLField* field : columns_) {
        text->Append(isFirst ? "d." : " $ ':' $ d.");
        text->Append(field->Name());
        isFirst = false;
    }
    text->Append(" )");
}

namespace {

void AppendBytes(char byte, int32_t count, String* key) {
    for (; count > 0; --count) {
        key->AppendChar(byte);
    }
}

}  // namespace

// A date that was set may be shorter than its column, and a read of the record gives it with its
// blanks: the key has them from the beginning, or it would not be found again. One that is searched
// for is compared as it is.
void Index::BuildKey(String* key) {
    key->Assign("");
    bool isFirst = true;
    for (OvraSQLField* field : columns_) {
        if (!isFirst) {
            key->AppendChar(':');
        }
        const TextView value = field->ValueText();
        AppendKeyPart(*field, value, key);
        if (field->Type() == kFieldDate) {
            AppendBytes(' ', field->Length() - value.length, key);
        }
        isFirst = false;
    }
    key->ToUpper();
}

// Required: a sign or a point gets no special care, so -5 in a field of width 5 is "000-5".
void Index::AppendKeyPart(const OvraSQLField& field, TextView value, String* key) {
    const int32_t missing = field.Length() - value.length;
    if (field.Type() == kFieldNumeric) {
        AppendBytes('0', missing, key);
    }
    key->Append(value);
    if (field.Type() == kFieldLogical) {
        AppendBytes(' ', missing, key);
    }
}

bool Index::AddCurrentRecord() {
    BuildKey(&newKey_);
    return file_.InsertKey(table_->Data().CurrentRecord(), newKey_);
}

bool Index::Seek(TextView key, bool exact, uint32_t* recordNumber, bool* found) {
    return file_.Seek(key, exact, recordNumber, found, /*lock=*/true);
}

bool Index::First(uint32_t* recordNumber) { return file_.First(recordNumber, /*lock=*/true); }

bool Index::Next(uint32_t* recordNumber) {
    return file_.Next(recordNumber, /*key=*/nullptr, /*lock=*/true);
}

bool Index::NextMatching(TextView prefixKey, bool exact, uint32_t* recordNumber) {
    TextView key;
    if (!file_.Next(recordNumber, &key, /*lock=*/true) || *recordNumber == 0) {
        return false;
    }
    // Stored keys have been cut to their room less the terminator, and the prefix is cut alike.
    const TextView prefix = prefixKey.Part(0, std::max(file_.KeyRoom() - 1, 0));
    if (key.length < prefix.length || (exact && key.length != prefix.length)) {
        return false;
    }
    return key.Part(0, prefix.length) == prefix;
}

bool Index::NextEqual(TextView key, uint32_t* recordNumber) {
    TextView entryKey;
    return file_.Next(recordNumber, &entryKey, /*lock=*/true) && *recordNumber != 0 &&
           OvraSQLIndex::CompareKeys(key, entryKey, /*exact=*/true, file_.Flags()) == 0;
}

PackIndex::PackIndex(Table* table, TextView name, int32_t flags, TextView filePath)
    : Index(table, name, flags), filePath_(filePath) {}

PackIndex::~PackIndex() = default;

}  // namespace ovrasql
