#pragma once

// The entry points for views and queries, as include/ovrasql/library.h tells them.
//
// There is no row buffer here. The engine runs until it has a row, which stands in its result
// cells; the host reads the cells through its own variables and asks for the next row with
// view_skip. The end of the rows is told by the hidden cell "eof" alone, never by a return value.

#include <cstdint>

namespace ovrasql {

int32_t database_open_view(void* database, const char* name, int32_t nameLength, const char* text,
                           int32_t textLength, void* list, int32_t count);
int32_t database_query(void* database, const char* text, int32_t textLength, void* list,
                       int32_t count);
int32_t view_close(void* view);
int32_t view_skip(void* view, int32_t rows);
int32_t view_reveal_structure(void* view, void** variable);
const char* view_error(void* view);
int32_t variable_value_integer(void* variable, int32_t* value);
int32_t variable_value_double(void* variable, double* value);
int32_t variable_value_string(void* variable, const char** text, int32_t* length, int32_t* owned);

}  // namespace ovrasql
