/*
 * services.h: what a host provides to the library.
 *
 * The library touches the outside only through the functions of this header: files, the
 * host's database and view objects, script variables and memory. A host defines them under
 * exactly these names, with C linkage, visible in one loaded module, and gives that module to
 * ovra_register_library (library.h). The library looks every name up once, at that moment; it
 * links against none of them. A name that is missing counts as a service that always fails.
 *
 * Conventions, true for every call unless told otherwise:
 *
 *  - Handles are opaque. The library stores them, hands them back and looks inside none.
 *  - Lengths are in bytes, signed, 32 bits. Text that the library passes is counted and is
 *    often NOT ended by a NUL; it may hold any byte. It is valid during the call alone: copy
 *    what is kept.
 *  - Text that the host returns is read at once. It must stay valid until the next call of any
 *    service, and the library never frees it, except where told.
 *  - File offsets and positions are in bytes from the start of the file, signed, 64 bits.
 *  - `location` picks the root folder that a relative path starts from. The library passes
 *    OVRA_LOCATION_DATABASE, always.
 *  - The library has no threads. It calls services on the thread that called it, and relies on
 *    the host to serialise all calls for one database.
 *  - No exception and no longjmp may leave a service. A service calls no entry of the library,
 *    but for reading the variables of a view.
 */
#ifndef OVRASQL_SERVICES_H
#define OVRASQL_SERVICES_H

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

/* The root of every path that the library passes: the folder of databases. */
enum { OVRA_LOCATION_DATABASE = 2 };

/* The open flags that the library passes. What the single bits mean is the host's own affair. */
enum {
    OVRA_OPEN_EXISTING = 3,  /* an existing file, for reading and writing; missing: failure */
    OVRA_OPEN_NEW = 15,      /* for reading and writing; made if missing, emptied if it exists */
    OVRA_OPEN_TRACE = 22,    /* the trace file, for writing at its end; made if missing */
    OVRA_OPEN_TEMPORARY = 39 /* ovFile_MakeTemporary only: for reading and writing, must be new */
};

/* Lock modes. */
enum {
    OVRA_LOCK_SHARED = 1,   /* for reading: any number of holders, no exclusive one beside them */
    OVRA_LOCK_EXCLUSIVE = 2 /* for writing: one holder alone */
};

/* --- Database objects -------------------------------------------------------------------------
 *
 * A database handle, a view handle and a database variable handle each carry one data word for the
 * library. The host stores and returns it unchanged and owns nothing behind it.
 */

/* Stores the library's word with the database, in place of any earlier one. The library calls it in
 * database_create and database_open and never clears it: the host clears its own copy after
 * database_free. */
OVRA_EXPORT void ovDatabase_SetData(void* database, void* data);

/* Gives back the word, NULL when none was set. */
OVRA_EXPORT void* ovDatabase_data(void* database);

/* The program handle that the database belongs to: the first argument of the calls by path. It must
 * stay valid for as long as the database is open. */
OVRA_EXPORT void* ovDatabase_Program(void* database);

/* Makes a view of that name, stores the word in it and returns its handle. The handle stays valid
 * until the host has called view_close for it. NULL makes database_open_view fail. */
OVRA_EXPORT void* ovDatabase_AddView(void* database, const char* name, int32_t name_length,
                                     void* data);

/* Gives back the view's word, NULL when it has none. */
OVRA_EXPORT void* ovDatabaseView_data(void* view);

/* The database handle of the view. */
OVRA_EXPORT void* ovDatabaseView_Database(void* view);

/* Makes a script-visible variable of the view under that name, with that data word, and returns its
 * handle. Called while a statement runs, once for each column of the result and once for the hidden
 * variable "eof", again on every opening of a view. Two columns may have one name. The handle stays
 * valid until view_close. NULL is accepted: the column then has no variable. */
OVRA_EXPORT void* ovDatabaseView_AddVariable(void* view, const char* name, int32_t name_length,
                                             void* data);

/* Gives back the variable's word. */
OVRA_EXPORT void* ovDatabaseVariable_data(void* variable);

/* Replaces the variable's word. The next read of the variable goes to the new one. */
OVRA_EXPORT void ovDatabaseVariable_SetData(void* variable, void* data);

/* The value behind the variable has changed: a copy that the host keeps is stale. Called on every
 * store into a column of a view, so it should be cheap. Reading the variable from inside this call
 * is allowed; no other entry point of the library may be called here, since the statement that
 * stores is in the middle of its run. */
OVRA_EXPORT void ovDatabaseVariable_SetDirty(void* variable);

/* --- Variables --------------------------------------------------------------------------------
 *
 * A variable has a text at least and may be an array (elements counted from 1) or a structure
 * (named members). A list is an ordered set of variables: the parameters of a statement.
 */

/* The variable's value as text; a number as its digits. Writes the length in bytes, which decides:
 * the text may hold NULs. The library copies it at once. NULL counts as the empty text. */
OVRA_EXPORT const char* ovVariable_Value(void* variable, int32_t* length);

/* Sets the value, copying the text. The empty text with length 0 clears the variable, with any
 * elements and members it had. */
OVRA_EXPORT void ovVariable_SetValue(void* variable, const char* text, int32_t length);

/* Sets an integer value. */
OVRA_EXPORT void ovVariable_SetValue_Integer(void* variable, int32_t value);

/* The element at the index, counted from 1. With `create` 1 it is made when missing. The element
 * belongs to the variable. NULL on failure. */
OVRA_EXPORT void* ovVariable_Array_Element(int32_t index, void* variable, int32_t create);

/* The member of that name. With `create` 1 it is made when missing. The member belongs to the
 * variable. NULL on failure. */
OVRA_EXPORT void* ovVariable_Struct_Member(const char* name, int32_t name_length, void* variable,
                                           int32_t create);

/* Starts a walk of the list and returns its first variable, NULL when there is none. Called for
 * every statement that runs, also with the list NULL, or one that the caller of a statement without
 * parameters passed: an answer of NULL is right then. */
OVRA_EXPORT void* ovVariableList_First(void* list);

/* The next variable of the walk, NULL at its end. */
OVRA_EXPORT void* ovVariableList_Next(void* list);

/* --- Files by path ----------------------------------------------------------------------------*/

/* Opens the file with one of the OVRA_OPEN_ values and returns its handle, NULL on failure. The
 * position is the start (for the trace file: every write goes to the end). Two handles of one file
 * may be open at once, and locks must tell them apart. */
OVRA_EXPORT void* ovFile_Open(void* program, int32_t location, const char* path, int32_t length,
                              int32_t flags);

/* Not 0 if there is a file or a directory at the path. */
OVRA_EXPORT int32_t ovFile_Exists(void* program, int32_t location, const char* path,
                                  int32_t length);

/* Not 0 if there is a directory at the path. */
OVRA_EXPORT int32_t ovFile_IsDirectory(void* program, int32_t location, const char* path,
                                       int32_t length);

/* Makes one directory. 0 on success, anything else is a failure. */
OVRA_EXPORT int32_t ovFile_MakeDirectory(void* program, int32_t location, const char* path,
                                         int32_t length);

/* Removes one empty directory. -1 on failure; it must fail on one that is not empty. */
OVRA_EXPORT int32_t ovFile_RemoveDirectory(void* program, int32_t location, const char* path,
                                           int32_t length);

/* Deletes a file. 0 on success, negative on failure. */
OVRA_EXPORT int32_t ovFile_Delete(void* program, int32_t location, const char* path,
                                  int32_t length);

/* Renames a file, over an existing one. 0 on success, -1 on failure. */
OVRA_EXPORT int32_t ovFile_Rename(void* program, int32_t location, const char* path, int32_t length,
                                  int32_t new_location, const char* new_path, int32_t new_length);

/* Makes a new file with a unique name in the folder of the given path and returns its handle, NULL
 * on failure. `flags` is OVRA_OPEN_TEMPORARY. Writes the new path, in a form that the other calls
 * by path take, and its length; the library frees that text with ovProgram_Free. */
OVRA_EXPORT void* ovFile_MakeTemporary(void* program, int32_t location, const char* path,
                                       int32_t length, int32_t flags, char** name,
                                       int32_t* name_length);

/* --- Files by handle --------------------------------------------------------------------------*/

/* Closes the file, with all locks of this handle. The handle is not used again. */
OVRA_EXPORT void ovFile_Close(void* file);

/* Reads at the position and moves it on. Returns the bytes read; fewer than `length` means the end
 * of the file or a failure. */
OVRA_EXPORT int32_t ovFile_Read(void* file, void* buffer, int32_t length);

/* Writes at the position and moves it on. Returns the bytes written; fewer than `length` means a
 * failure. A write behind the end extends the file, with NULs in between. */
OVRA_EXPORT int32_t ovFile_Write(void* file, const void* buffer, int32_t length);

/* Sets the position, from the start of the file; it may lie behind the end. Returns the position,
 * negative on failure. */
OVRA_EXPORT int64_t ovFile_Seek(void* file, int64_t offset);

/* Locks a byte range for this handle, against other handles of the file in this and in any other
 * process: mode OVRA_LOCK_SHARED or OVRA_LOCK_EXCLUSIVE. Waits until the lock is there or the host
 * gives up. 0 when locked, negative on failure. The range may lie behind the end of the file. No
 * handle asks for bytes that it has locked already. */
OVRA_EXPORT int32_t ovFile_Lock(void* file, int32_t mode, int64_t offset, int64_t length);

/* Releases a range that this handle has locked, with the same offset and length. 0 on success,
 * negative on failure. */
OVRA_EXPORT int32_t ovFile_Release(void* file, int64_t offset, int64_t length);

/* The text of the last failure of a file operation of the program, to be put into a message. `file`
 * is the handle concerned, or NULL after a call by path. With `length` not NULL it writes the
 * length there; otherwise the text must end with a NUL. */
OVRA_EXPORT const char* ovFile_Error(void* program, void* file, int32_t* length);

/* --- Memory -----------------------------------------------------------------------------------*/

/* Frees a block that the host has allocated: the names from ovFile_MakeTemporary. */
OVRA_EXPORT void ovProgram_Free(void* program, void* pointer);

#ifdef __cplusplus
}
#endif

#endif /* OVRASQL_SERVICES_H */
