#pragma once

// The options of a database: "log", "subdir_char", "casesensitive", "caseinsensitive" and
// "statement_cache_size". Keys are taken in any case; what is no key is ignored.

#include <cstdint>

namespace ovrasql {

// Entry point. 1, or 0 with the message in the database's context.
int32_t database_set_option(void* database, const char* key, int32_t keyLength, const char* value,
                            int32_t valueLength);

}  // namespace ovrasql
