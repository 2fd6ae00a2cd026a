/*
 * library.h: what the library gives to a host.
 *
 * The library exports two functions. A host calls ovra_register_library once, to hand over its
 * own services (services.h), then ovra_database_library, to get the table of entry points. All
 * else goes through that table. Per database: database_create or database_open, then any number
 * of database_set_option, database_open_view, database_query and database_pack, and last
 * database_free.
 *
 *     const struct ovra_library_table *library;
 *     ovra_register_library(NULL);
 *     library = ovra_database_library();
 *     if (library->version == OVRA_INTERFACE_VERSION &&
 *         library->database_open(database, "shop.dbf", -1) &&
 *         library->database_open_view(database, "v", -1, "select name from item", -1, list, 0))
 *         ...
 *
 * Conventions, true for every entry unless told otherwise:
 *
 *  - Handles are the host's own and opaque to the library: a database, a view or a database
 *    variable. The library keeps its state behind them with ovDatabase_SetData,
 *    ovDatabase_AddView and ovDatabaseView_AddVariable.
 *  - Lengths are in bytes, signed, 32 bits. Text arguments need not end with a NUL. A length
 *    of -1 says that the text ends with a NUL and is to be measured; any other negative length
 *    counts as 0. Texts are read during the call, and nothing is kept of them but copies.
 *  - Entries return 1 for success and 0 for failure. After a 0, database_error has the reason.
 *    A success does not clear it. On a handle without a database an entry does nothing and
 *    returns 0, unless it always gives 1, and there is no reason to read. The same goes for a
 *    handle whose database was freed or whose view was closed, whatever has been opened since.
 *    The library asks the host for the handle's data word all the same, so the host's own object
 *    must still be there; where it has made a new one at that address, the handle is the new one's.
 *  - Nothing is undone after a failure: there are no transactions.
 *  - All calls for one database must come one after the other; the library takes no lock
 *    between threads. Different databases are independent of each other.
 *  - While a service of the host runs, the host may read variables of the view, but call no
 *    other entry for the same database.
 *  - No exception leaves an entry. Running out of memory is a failure like any other, with the
 *    text "Out of memory".
 *  - The dialect of the statements is told in the folder docs/.
 */
#ifndef OVRASQL_LIBRARY_H
#define OVRASQL_LIBRARY_H

#include <stdint.h>

#ifndef OVRA_EXPORT
#if defined(_WIN32)
#define OVRA_EXPORT __declspec(dllexport)
#elif defined(__GNUC__)
#define OVRA_EXPORT __attribute__((visibility("default")))
#else
#define OVRA_EXPORT
#endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* --- Exports ----------------------------------------------------------------------------------*/

/* Binds the host's services by name, from the module that holds them: what the platform's loader
 * gives (a dlopen handle, an HMODULE); NULL is the running program with all that it was started
 * with. The module must stay loaded. Must come before any entry of the table; a second call binds
 * anew, for all databases. A name that the module lacks is no error here: that service then always
 * fails. */
OVRA_EXPORT void ovra_register_library(void* module);

/* The table of entry points, a struct ovra_library_table. It is constant, belongs to the library
 * and lives as long as the library is loaded. Never NULL. */
OVRA_EXPORT const void* ovra_database_library(void);

/* --- Entry points -----------------------------------------------------------------------------*/

/* Creates a new database: its schema table as a .dbf file at the path, with two index files beside
 * it. An existing file is emptied. Takes the database handle's data word in success and in failure;
 * free it with database_free in both cases. A handle that has a database already loses it first. */
typedef int32_t (*ovra_database_create_function)(void* database, const char* path, int32_t length);

/* Opens the database whose schema table is at the path. As database_create in all else. */
typedef int32_t (*ovra_database_open_function)(void* database, const char* path, int32_t length);

/* Takes whatever it is given, does nothing and returns 1. */
typedef int32_t (*ovra_success_function)(void);

/* Runs a statement as a view: makes the view of that name with ovDatabase_AddView and its variables
 * with ovDatabaseView_AddVariable, and goes to the first row. `list` holds the values of the
 * statement's parameters and `count` says how many they are. On success the variables hold the
 * first row, or the hidden variable "eof", which every SELECT has behind its columns, is 1 when
 * there is none. `count` must be the number of "?" in the statement; ":1", ":2" and so on take
 * values by their place in the list and are not counted. On failure no view has been
 * made if the statement could not be compiled; otherwise (a parameter count that is wrong, a
 * failure in the first row) the view exists and still has to be closed with view_close.
 *
 * A statement without rows (INSERT and the like) succeeds here too: it has run to its end, and its
 * view has no variables, so no "eof" either. A host that loops until "eof" is 1 must take a missing
 * one for the end. */
typedef int32_t (*ovra_database_open_view_function)(void* database, const char* name,
                                                    int32_t name_length, const char* text,
                                                    int32_t text_length, void* list, int32_t count);

/* Runs a statement that gives no rows, to its end. A SELECT is refused here. */
typedef int32_t (*ovra_database_query_function)(void* database, const char* text,
                                                int32_t text_length, void* list, int32_t count);

/* Rebuilds all tables without their deleted records and all indexes. Other processes are kept out
 * of the catalog for the whole run. */
typedef int32_t (*ovra_database_pack_function)(void* database);

/* The text of the database's last failure, ended by a NUL, at most 1023 bytes. Never NULL: empty
 * while nothing has failed, "Unknown OvraSQL error" for a handle without a database. Valid until
 * the next call for the database. */
typedef const char* (*ovra_database_error_function)(void* database);

/* Releases the view's statement and state. Always 1, also for a view that is closed already. Its
 * variables must not be read any more. The host removes its own view object afterwards. All views
 * are to be closed before database_free; closing one later is safe, and until then it fails in
 * view_skip. */
typedef int32_t (*ovra_view_close_function)(void* view);

/* Moves the view forward by that many rows. 0 rows: nothing happens. Moving past the last row is no
 * failure: the variable "eof" turns to 1 and stays so. A negative count fails, and the view stays
 * where it was: views move forward only. */
typedef int32_t (*ovra_view_skip_function)(void* view, int32_t rows);

/* Describes the columns: `variable` points at the handle of a host variable, which becomes an array
 * with one element a column, counted from 1, each a structure with FIELD_NAME (the column's name),
 * FIELD_TYPE ("C" for every column), FIELD_LEN (-1 for every column) and FIELD_DEC (0). Always 1.
 */
typedef int32_t (*ovra_view_reveal_structure_function)(void* view, void** variable);

/* The text of the last failure of the view's database, as database_error gives it. */
typedef const char* (*ovra_view_error_function)(void* view);

/* The value of a view's variable in the current row, as an integer. `variable` is the handle that
 * ovDatabaseView_AddVariable has returned for the column. 1 if it was a good integer, otherwise 0.
 * Writes the output in both cases.
 *
 * Only the first reading in a row tells. What it makes of a text that is no number is kept beside
 * the text, so a second reading gives the same number, and 1. A computed number that is not whole
 * is cut, and is good; but once its text has been read it is no good integer. An aggregate over no
 * rows, max or the like, is the empty text, unless it is read as a number first: then it is 0, and
 * its text as well. A host that has to know what is a number reads the text and decides by that. */
typedef int32_t (*ovra_variable_value_integer_function)(void* variable, int32_t* value);

/* The same as a double, as which every computed number is good. */
typedef int32_t (*ovra_variable_value_double_function)(void* variable, double* value);

/* The same as text, with its length; the text ends with a NUL besides. It belongs to the library
 * (`owned` becomes 0: the host must not free it) and is valid until the view moves or is
 * closed. A NULL of the database is the empty text. Always 1. */
typedef int32_t (*ovra_variable_value_string_function)(void* variable, const char** text,
                                                       int32_t* length, int32_t* owned);

/* Sets an option. Keys are recognised in any case; an unknown key is ignored and gives 1.
 *
 *   log                   The path of the trace file, empty for "sql.log". A trace file that is
 *                         open is closed first, also when the new one can't be opened.
 *   subdir_char           One byte. New tables are put into folders: at this character their
 *                         names are split. None unless set.
 *   casesensitive         Texts compare with case, as they do unless told. The value is ignored.
 *   caseinsensitive       Texts compare without case. The value is ignored.
 *   statement_cache_size  How many compiled statements are kept, 10 unless set. What is no
 *                         number, or negative, is 0; a value of exactly 20 bytes is 0 too.
 */
typedef int32_t (*ovra_database_set_option_function)(void* database, const char* key,
                                                     int32_t key_length, const char* value,
                                                     int32_t value_length);

/* Closes the database and frees all that belongs to it. A handle without a database is left alone,
 * also one whose database is freed already. The library does not clear the handle's data word. */
typedef void (*ovra_database_free_function)(void* database);

/* --- The table --------------------------------------------------------------------------------
 *
 * 48 words of 64 bits. Word 0 is the interface version, each other word the address of an entry, or
 * null for an operation that the library does not offer. Positions never change. A host may use the
 * structure, or take words by the slot numbers.
 */
enum { OVRA_INTERFACE_VERSION = 7 };

enum ovra_slot {
    OVRA_SLOT_VERSION = 0,
    OVRA_SLOT_DATABASE_CREATE = 1,
    OVRA_SLOT_DATABASE_OPEN = 2,
    OVRA_SLOT_SUCCESS_3 = 3,
    OVRA_SLOT_DATABASE_OPEN_VIEW = 4,
    OVRA_SLOT_DATABASE_QUERY = 5,
    OVRA_SLOT_DATABASE_PACK = 6,
    OVRA_SLOT_DATABASE_ERROR = 11,
    OVRA_SLOT_VIEW_CLOSE = 12,
    OVRA_SLOT_VIEW_SKIP = 13,
    OVRA_SLOT_VIEW_REVEAL_STRUCTURE = 22,
    OVRA_SLOT_VIEW_ERROR = 23,
    OVRA_SLOT_VARIABLE_VALUE_INTEGER = 24,
    OVRA_SLOT_VARIABLE_VALUE_DOUBLE = 25,
    OVRA_SLOT_VARIABLE_VALUE_STRING = 26,
    OVRA_SLOT_SUCCESS_31 = 31,
    OVRA_SLOT_SUCCESS_32 = 32,
    OVRA_SLOT_SUCCESS_34 = 34,
    OVRA_SLOT_DATABASE_SET_OPTION = 35,
    OVRA_SLOT_DATABASE_FREE = 36,
    OVRA_SLOT_COUNT = 48
};

/* Where an address has 32 bits it still has a word to itself, with zeros behind. */
/* clang-format off */
#if UINTPTR_MAX > 0xffffffffu
#define OVRA_ENTRY(type, name) type name
#else
#define OVRA_ENTRY(type, name) type name; uint32_t : 32
#endif
/* clang-format on */

struct ovra_library_table {
    uint64_t version;
    OVRA_ENTRY(ovra_database_create_function, database_create);
    OVRA_ENTRY(ovra_database_open_function, database_open);
    OVRA_ENTRY(ovra_success_function, success_3);
    OVRA_ENTRY(ovra_database_open_view_function, database_open_view);
    OVRA_ENTRY(ovra_database_query_function, database_query);
    OVRA_ENTRY(ovra_database_pack_function, database_pack);
    uint64_t none_7[4];
    OVRA_ENTRY(ovra_database_error_function, database_error);
    OVRA_ENTRY(ovra_view_close_function, view_close);
    OVRA_ENTRY(ovra_view_skip_function, view_skip);
    uint64_t none_14[8];
    OVRA_ENTRY(ovra_view_reveal_structure_function, view_reveal_structure);
    OVRA_ENTRY(ovra_view_error_function, view_error);
    OVRA_ENTRY(ovra_variable_value_integer_function, variable_value_integer);
    OVRA_ENTRY(ovra_variable_value_double_function, variable_value_double);
    OVRA_ENTRY(ovra_variable_value_string_function, variable_value_string);
    uint64_t none_27[4];
    OVRA_ENTRY(ovra_success_function, success_31);
    OVRA_ENTRY(ovra_success_function, success_32);
    uint64_t none_33;
    OVRA_ENTRY(ovra_success_function, success_34);
    OVRA_ENTRY(ovra_database_set_option_function, database_set_option);
    OVRA_ENTRY(ovra_database_free_function, database_free);
    uint64_t none_37[11];
};

#undef OVRA_ENTRY

#ifdef __cplusplus
}
#endif

#endif /* OVRASQL_LIBRARY_H */
