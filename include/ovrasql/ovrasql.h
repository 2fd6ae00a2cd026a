#ifndef OVRASQL_OVRASQL_H
#define OVRASQL_OVRASQL_H

/*
 * ovrasql.h: the reference host's interface for programs, in plain C.
 *
 * Link with libovrahost. It provides the library with files, locks and variables, loads libovrasql
 * when the first database is opened, and wraps the library's entry points in ten or so calls:
 *
 *     ovra_database *database;
 *     ovra_view *view;
 *     if (ovra_open("shop.dbf", &database)) {
 *         view = ovra_open_view(database, "select name, price from article", -1, NULL, 0);
 *         while (view != NULL && ovra_next(view) == 1)
 *             printf("%s %s\n", ovra_text(view, 0, NULL), ovra_text(view, 1, NULL));
 *         ovra_close_view(view);
 *     }
 *     ovra_close(database);
 *
 * Conventions
 *  - Text arguments are counted. A length of -1 says that the text ends with a NUL. One of 2 GiB or
 *    more is an error.
 *  - A result of 1 is success and 0 failure, unless told otherwise. After a failure ovra_error
 *    tells why; the text of the last failure stays until the next one.
 *  - Text handed out is NUL-ended besides having a length (a NULL length pointer is fine), belongs
 *    to the library, and says below how long it lives.
 *  - A database, with its views, is used from one thread at a time. Different databases may be used
 *    from different threads, and any number of processes may use the same files.
 *  - Handles do not survive fork().
 *  - The host waits for a file lock that somebody else holds, and gives up after 30 seconds, unless
 *    the option "lock_timeout" says otherwise.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define OVRA_API __declspec(dllexport)
#elif defined(__GNUC__)
#define OVRA_API __attribute__((visibility("default")))
#else
#define OVRA_API
#endif

typedef struct ovra_database ovra_database;
typedef struct ovra_view ovra_view;

/*
 * The value of one parameter of a statement, as text: numbers are given in decimal, and the empty
 * text is NULL. A length of -1 measures the text; a NULL text is the empty text. Parameters are
 * copied by the call that takes them.
 */
typedef struct ovra_parameter {
    const char* text;
    int32_t length;
} ovra_parameter;

/*
 * Creates a database: the schema table at `path` with its two index files beside it. Existing files
 * of these names are emptied. The tables made later go to the same folder. A program that changes
 * its working folder later gives an absolute path.
 *
 * `*database` receives a handle, also on failure (so that ovra_error can tell why), and must go to
 * ovra_close in every case. It is NULL only when there is no memory for it.
 */
OVRA_API int32_t ovra_create(const char* path, ovra_database** database);

/* Opens an existing database. Otherwise like ovra_create. */
OVRA_API int32_t ovra_open(const char* path, ovra_database** database);

/*
 * Closes the database, with any view still open, whose handles are dead from then on. NULL is
 * passed over.
 */
OVRA_API void ovra_close(ovra_database* database);

/*
 * The text of the last failure, never NULL. Valid until the next call that fails on this database
 * or until it is closed.
 */
OVRA_API const char* ovra_error(ovra_database* database);

/*
 * Sets an option. The library's are "log" (path of a trace file), "subdir_char" (one character),
 * "casesensitive", "caseinsensitive" (value ignored) and "statement_cache_size" (a number). The
 * host's own is "lock_timeout", in milliseconds; 0 does not wait at all. Keys ignore case, and an
 * unknown key is ignored.
 */
OVRA_API int32_t ovra_set_option(ovra_database* database, const char* key, const char* value);

/*
 * Rewrites every table without its deleted records and builds all indexes again. Waits for the
 * statements and views of others that use a table, as ALTER TABLE does; they wait for it in turn.
 * Views of this database read the old files on; a statement that has use for an index only then,
 * and had none before, fails in ovra_next.
 */
OVRA_API int32_t ovra_pack(ovra_database* database);

/*
 * Runs one statement that yields no rows: INSERT, UPDATE, DELETE and the definition statements.
 * Each `?` of the statement takes the next of the `count` parameters, in order, and `:n` takes the
 * n-th. A statement with `?` alone must be given exactly as many parameters as it has of them.
 * `parameters` may be NULL when `count` is 0.
 */
OVRA_API int32_t ovra_query(ovra_database* database, const char* statement, int32_t length,
                            const ovra_parameter* parameters, int32_t count);

/*
 * Compiles one statement of any kind without running it. With the option "log" set, the program
 * that it became is in the trace file afterwards, with what the optimizer had to say. The latter is
 * missing for a statement that is kept compiled, which is not compiled again; setting the option
 * "statement_cache_size" to 0 gives up all that are kept.
 */
OVRA_API int32_t ovra_compile(ovra_database* database, const char* statement, int32_t length);

/*
 * Opens a SELECT as a view that stands before its first row. NULL on failure. The caller closes the
 * view with ovra_close_view, before the database is closed.
 *
 * Another statement is no failure: it has been run then, as by ovra_query, and its view has neither
 * columns nor rows. Like every view it keeps others from rebuilding the tables until it is closed.
 */
OVRA_API ovra_view* ovra_open_view(ovra_database* database, const char* statement, int32_t length,
                                   const ovra_parameter* parameters, int32_t count);

/*
 * Goes to the next row: 1 there is one, 0 the rows have ended, -1 failure. Views go forward only.
 * A statement that fails has ended its rows: that is told once, and each further call gives 0.
 * A view that goes by an index also ends where another statement, of any process, deletes the row
 * at hand or changes its key.
 */
OVRA_API int32_t ovra_next(ovra_view* view);

/* How many columns each row has. */
OVRA_API int32_t ovra_column_count(ovra_view* view);

/*
 * The name of a column, counted from 0; NULL for a column that is not there. `length`, when not
 * NULL, receives its length. Valid until the view is closed.
 */
OVRA_API const char* ovra_column_name(ovra_view* view, int32_t column, int32_t* length);

/*
 * The index of the first column of that name, ignoring case, or -1. A length of -1 measures the
 * name.
 */
OVRA_API int32_t ovra_column_index(ovra_view* view, const char* name, int32_t length);

/*
 * The value of a column in the current row, as text; the empty text is NULL. NULL is returned where
 * there is no such column or no current row. Valid until the next ovra_next or ovra_close_view.
 */
OVRA_API const char* ovra_text(ovra_view* view, int32_t column, int32_t* length);

/* The same, by name. The name is NUL-ended and ignores case. */
OVRA_API const char* ovra_text_by_name(ovra_view* view, const char* name, int32_t* length);

/*
 * The value of a column as a number. 1 when its text is a number of that kind, else 0; `*value` is
 * 0 then. NULL is 0, and a number. An integer is digits with an optional "-", within 32 bits; a
 * computed number that is not whole is none. A double is finite.
 */
OVRA_API int32_t ovra_integer(ovra_view* view, int32_t column, int32_t* value);
OVRA_API int32_t ovra_double(ovra_view* view, int32_t column, double* value);

/* Closes the view. NULL is passed over. */
OVRA_API void ovra_close_view(ovra_view* view);

#ifdef __cplusplus
}
#endif

#endif
