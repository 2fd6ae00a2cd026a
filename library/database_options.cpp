#include "library/database_options.h"

#include "foundation/number_text.h"
#include "foundation/text_compare.h"
#include "library/database_context.h"
#include "library/entry_guard.h"
#include "schema/schema.h"

namespace ovrasql {

namespace {

constexpr TextView kCacheSizeKey = "statement_cache_size";

// Required: a value as long as the key is 0, whatever it says.
int32_t CacheSize(TextView value) {
    const int32_t size = value.length == kCacheSizeKey.length ? 0 : TextToIntegerC(value);
    return size < 0 ? 0 : size;
}

int32_t SetOption(DatabaseContext& context, Schema& schema, TextView key, TextView value) {
    if (EqualsNoCase(key, "log")) {
        return schema.OpenTrace(value) ? 1 : context.Fail("Unable to open logfile");
    }
    if (EqualsNoCase(key, "subdir_char")) {
        if (value.length != 1) {
            return context.Fail("subdir_char parameter must be single character");
        }
        schema.SetSubdirChar(value[0]);
    } else if (EqualsNoCase(key, "casesensitive")) {
        schema.SetCaseInsensitive(false);
    } else if (EqualsNoCase(key, "caseinsensitive")) {
        schema.SetCaseInsensitive(true);
    } else if (EqualsNoCase(key, kCacheSizeKey)) {
        schema.SetStatementCacheSize(CacheSize(value));
    }
    return 1;
}

}  // namespace

int32_t database_set_option(void* database, const char* key, int32_t keyLength, const char* value,
                            int32_t valueLength) {
    DatabaseContext* context = DatabaseContext::Of(database);
    if (context == nullptr || context->GetSchema() == nullptr) {
        return 0;
    }
    return GuardEntry(
        [&] {
            return SetOption(*context, *context->GetSchema(), EntryText(key, keyLength),
                             EntryText(value, valueLength));
        },
        [&] { return context->FailForMemory(); });
}

}  // namespace ovrasql
