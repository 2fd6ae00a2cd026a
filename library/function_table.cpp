#include "library/function_table.h"

#include <cstddef>

#include "library/database_context.h"
#include "library/database_options.h"
#include "library/views.h"

namespace ovrasql {

namespace {

// Four functions of their own: a host may tell them apart by address.
int32_t Success3() { return 1; }
int32_t Success31() { return 1; }
int32_t Success32() { return 1; }
int32_t Success34() { return 1; }

// The structure in the header and its slot numbers tell one layout twice; this holds them together.
#define OVRA_CHECK_SLOT(member, slot) \
    static_assert(offsetof(ovra_library_table, member) == sizeof(uint64_t) * (slot))
OVRA_CHECK_SLOT(version, OVRA_SLOT_VERSION);
OVRA_CHECK_SLOT(database_create, OVRA_SLOT_DATABASE_CREATE);
OVRA_CHECK_SLOT(database_open, OVRA_SLOT_DATABASE_OPEN);
OVRA_CHECK_SLOT(success_3, OVRA_SLOT_SUCCESS_3);
OVRA_CHECK_SLOT(database_open_view, OVRA_SLOT_DATABASE_OPEN_VIEW);
OVRA_CHECK_SLOT(database_query, OVRA_SLOT_DATABASE_QUERY);
OVRA_CHECK_SLOT(database_pack, OVRA_SLOT_DATABASE_PACK);
OVRA_CHECK_SLOT(database_error, OVRA_SLOT_DATABASE_ERROR);
OVRA_CHECK_SLOT(view_close, OVRA_SLOT_VIEW_CLOSE);
OVRA_CHECK_SLOT(view_skip, OVRA_SLOT_VIEW_SKIP);
OVRA_CHECK_SLOT(view_reveal_structure, OVRA_SLOT_VIEW_REVEAL_STRUCTURE);
OVRA_CHECK_SLOT(view_error, OVRA_SLOT_VIEW_ERROR);
OVRA_CHECK_SLOT(variable_value_integer, OVRA_SLOT_VARIABLE_VALUE_INTEGER);
OVRA_CHECK_SLOT(variable_value_double, OVRA_SLOT_VARIABLE_VALUE_DOUBLE);
OVRA_CHECK_SLOT(variable_value_string, OVRA_SLOT_VARIABLE_VALUE_STRING);
OVRA_CHECK_SLOT(success_31, OVRA_SLOT_SUCCESS_31);
OVRA_CHECK_SLOT(success_32, OVRA_SLOT_SUCCESS_32);
OVRA_CHECK_SLOT(success_34, OVRA_SLOT_SUCCESS_34);
OVRA_CHECK_SLOT(database_set_option, OVRA_SLOT_DATABASE_SET_OPTION);
OVRA_CHECK_SLOT(database_free, OVRA_SLOT_DATABASE_FREE);
#undef OVRA_CHECK_SLOT
static_assert(sizeof(ovra_library_table) == sizeof(uint64_t) * OVRA_SLOT_COUNT);

}  // namespace

constinit const ovra_library_table kLibraryFunctionTable = {
    .version = OVRA_INTERFACE_VERSION,
    .database_create = database_create,
    .database_open = database_open,
    .success_3 = Success3,
    .database_open_view = database_open_view,
    .database_query = database_query,
    .database_pack = database_pack,
    .none_7 = {},
    .database_error = database_error,
    .view_close = view_close,
    .view_skip = view_skip,
    .none_14 = {},
    .view_reveal_structure = view_reveal_structure,
    .view_error = view_error,
    .variable_value_integer = variable_value_integer,
    .variable_value_double = variable_value_double,
    .variable_value_string = variable_value_string,
    .none_27 = {},
    .success_31 = Success31,
    .success_32 = Success32,
    .none_33 = 0,
    .success_34 = Success34,
    .database_set_option = database_set_option,
    .database_free = database_free,
    .none_37 = {},
};

}  // namespace ovrasql
