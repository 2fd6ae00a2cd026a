/*
 * The library from plain C: a small host of its own in one file, written against the two public
 * headers alone. It keeps files in memory, creates a database, inserts, selects with parameters and
 * reads the values in every form. The exit status is 0 when all checks hold.
 *
 * It has what these statements need and no more: no folders, no renaming and no temporary files, so
 * no pack and no ALTER TABLE; one process with one thread, so no locks; texts of 127 bytes at most.
 * A whole host is in the folder host/.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ovrasql/library.h"
#include "ovrasql/services.h"

/* --- A host: what the handles of the interface are here --- */

enum { MAX_FILES = 16, MAX_VARIABLES = 16, MAX_MEMBERS = 8 };

struct file {
    char name[64];
    unsigned char* bytes;
    int64_t length;
};

struct handle {
    struct file* file;
    int64_t position;
};

struct variable {
    char text[128];
    int32_t length;
    char name[32];
    struct variable* parts[MAX_MEMBERS]; /* elements or members */
};

struct list {
    struct variable** variables;
    int32_t count;
    int32_t next;
};

struct column {
    char name[32];
    void* data;
    int dirty;
};

struct database;

struct view {
    struct database* database;
    void* data;
    struct column columns[MAX_VARIABLES];
    int32_t column_count;
};

struct database {
    void* data;
    struct view view; /* one at a time is enough here */
};

static struct file files[MAX_FILES];
static int program; /* its address is the program handle */
static int open_handles;
static const char* last_error = "";

/* --- Checks --- */

static int failures;

#define CHECK(condition)                                            \
    do {                                                            \
        if (!(condition)) {                                         \
            fprintf(stderr, "line %d: %s\n", __LINE__, #condition); \
            failures++;                                             \
        }                                                           \
    } while (0)

/* --- Files --- */

static struct file* find_file(const char* path, int32_t length) {
    int index;
    for (index = 0; index < MAX_FILES; index++) {
        if (files[index].name[0] != '\0' && (int32_t)strlen(files[index].name) == length &&
            memcmp(files[index].name, path, (size_t)length) == 0) {
            return &files[index];
        }
    }
    return NULL;
}

static struct file* make_file(const char* path, int32_t length) {
    int index;
    if (length <= 0 || length >= (int32_t)sizeof files[0].name) {
        return NULL;
    }
    for (index = 0; index < MAX_FILES; index++) {
        if (files[index].name[0] == '\0') {
            memcpy(files[index].name, path, (size_t)length);
            files[index].name[length] = '\0';
            return &files[index];
        }
    }
    return NULL;
}

void* ovFile_Open(void* opener, int32_t location, const char* path, int32_t length, int32_t flags) {
    struct file* file = find_file(path, length);
    struct handle* handle;
    CHECK(opener == &program && location == OVRA_LOCATION_DATABASE);
    if (file == NULL && flags != OVRA_OPEN_EXISTING) {
        file = make_file(path, length);
    }
    if (file == NULL) {
        last_error = "no such file";
        return NULL;
    }
    if (flags == OVRA_OPEN_NEW) {
        file->length = 0;
    }
    handle = malloc(sizeof *handle);
    if (handle != NULL) {
        handle->file = file;
        handle->position = flags == OVRA_OPEN_TRACE ? file->length : 0;
        open_handles++;
    }
    return handle;
}

int32_t ovFile_Exists(void* opener, int32_t location, const char* path, int32_t length) {
    (void)opener;
    (void)location;
    return find_file(path, length) != NULL;
}

int32_t ovFile_Delete(void* opener, int32_t location, const char* path, int32_t length) {
    struct file* file = find_file(path, length);
    (void)opener;
    (void)location;
    if (file == NULL) {
        last_error = "no such file";
        return -1;
    }
    free(file->bytes);
    memset(file, 0, sizeof *file);
    return 0;
}

void ovFile_Close(void* file) {
    free(file);
    open_handles--;
}

int32_t ovFile_Read(void* file, void* buffer, int32_t length) {
    struct handle* handle = file;
    int64_t rest = handle->file->length - handle->position;
    int64_t moved = rest < length ? rest : length;
    if (moved <= 0) {
        return 0;
    }
    memcpy(buffer, handle->file->bytes + handle->position, (size_t)moved);
    handle->position += moved;
    return (int32_t)moved;
}

int32_t ovFile_Write(void* file, const void* buffer, int32_t length) {
    struct handle* handle = file;
    int64_t end = handle->position + length;
    if (end > handle->file->length) {
        unsigned char* bytes = realloc(handle->file->bytes, (size_t)end);
        if (bytes == NULL) {
            return 0;
        }
        memset(bytes + handle->file->length, 0, (size_t)(end - handle->file->length));
        handle->file->bytes = bytes;
        handle->file->length = end;
    }
    memcpy(handle->file->bytes + handle->position, buffer, (size_t)length);
    handle->position = end;
    return length;
}

int64_t ovFile_Seek(void* file, int64_t offset) {
    ((struct handle*)file)->position = offset;
    return offset;
}

/* One process with one thread: every lock is free. */
int32_t ovFile_Lock(void* file, int32_t mode, int64_t offset, int64_t length) {
    CHECK(file != NULL && offset >= 0 && length > 0);
    CHECK(mode == OVRA_LOCK_SHARED || mode == OVRA_LOCK_EXCLUSIVE);
    return 0;
}

int32_t ovFile_Release(void* file, int64_t offset, int64_t length) {
    CHECK(file != NULL && offset >= 0 && length > 0);
    return 0;
}

const char* ovFile_Error(void* opener, void* file, int32_t* length) {
    (void)opener;
    (void)file;
    if (length != NULL) {
        *length = (int32_t)strlen(last_error);
    }
    return last_error;
}

/* --- Databases, views and their variables --- */

void ovDatabase_SetData(void* database, void* data) { ((struct database*)database)->data = data; }

void* ovDatabase_data(void* database) { return ((struct database*)database)->data; }

void* ovDatabase_Program(void* database) {
    (void)database;
    return &program;
}

void* ovDatabase_AddView(void* database, const char* name, int32_t name_length, void* data) {
    struct view* view = &((struct database*)database)->view;
    CHECK(name_length == 5 && memcmp(name, "items", 5) == 0);
    view->database = database;
    view->data = data;
    view->column_count = 0;
    return view;
}

void* ovDatabaseView_data(void* view) { return ((struct view*)view)->data; }

void* ovDatabaseView_Database(void* view) { return ((struct view*)view)->database; }

void* ovDatabaseView_AddVariable(void* view, const char* name, int32_t name_length, void* data) {
    struct view* owner = view;
    struct column* column = &owner->columns[owner->column_count];
    if (owner->column_count == MAX_VARIABLES || name_length >= (int32_t)sizeof column->name) {
        return NULL;
    }
    memcpy(column->name, name, (size_t)name_length);
    column->name[name_length] = '\0';
    column->data = data;
    column->dirty = 0;
    owner->column_count++;
    return column;
}

void* ovDatabaseVariable_data(void* variable) { return ((struct column*)variable)->data; }

void ovDatabaseVariable_SetData(void* variable, void* data) {
    ((struct column*)variable)->data = data;
}

void ovDatabaseVariable_SetDirty(void* variable) { ((struct column*)variable)->dirty++; }

/* --- Script variables --- */

static void free_parts(struct variable* variable) {
    int index;
    for (index = 0; index < MAX_MEMBERS; index++) {
        if (variable->parts[index] != NULL) {
            free_parts(variable->parts[index]);
            free(variable->parts[index]);
            variable->parts[index] = NULL;
        }
    }
}

static void set_text(struct variable* variable, const char* text, int32_t length) {
    if (length < (int32_t)sizeof variable->text) {
        memcpy(variable->text, text, (size_t)length);
        variable->text[length] = '\0';
        variable->length = length;
    }
}

const char* ovVariable_Value(void* variable, int32_t* length) {
    *length = ((struct variable*)variable)->length;
    return ((struct variable*)variable)->text;
}

void ovVariable_SetValue(void* variable, const char* text, int32_t length) {
    if (length == 0) {
        free_parts(variable);
    }
    set_text(variable, text, length);
}

void ovVariable_SetValue_Integer(void* variable, int32_t value) {
    char text[16];
    set_text(variable, text, (int32_t)snprintf(text, sizeof text, "%d", (int)value));
}

static struct variable* make_part(struct variable* owner, int index) {
    if (owner->parts[index] == NULL) {
        owner->parts[index] = calloc(1, sizeof *owner);
    }
    return owner->parts[index];
}

void* ovVariable_Array_Element(int32_t index, void* variable, int32_t create) {
    CHECK(create == 1 && index >= 1 && index <= MAX_MEMBERS);
    return make_part(variable, index - 1);
}

void* ovVariable_Struct_Member(const char* name, int32_t name_length, void* variable,
                               int32_t create) {
    int index = 0;
    struct variable* owner = variable;
    struct variable* member;
    CHECK(create == 1);
    while (owner->parts[index] != NULL &&
           strncmp(owner->parts[index]->name, name, (size_t)name_length) != 0) {
        index++;
    }
    member = make_part(owner, index);
    memcpy(member->name, name, (size_t)name_length);
    return member;
}

void* ovVariableList_Next(void* list) {
    struct list* walked = list;
    return walked->next < walked->count ? walked->variables[walked->next++] : NULL;
}

void* ovVariableList_First(void* list) {
    if (list == NULL) {
        return NULL;
    }
    ((struct list*)list)->next = 0;
    return ovVariableList_Next(list);
}

/* This host has no folders, no renaming and no temporary files: their services are left out, as is
 * ovProgram_Free. The library counts them as failing. */

/* --- The test --- */

static const struct ovra_library_table* library;

static int query(struct database* database, const char* sql, struct list* list) {
    int done = library->database_query(database, sql, -1, list, list == NULL ? 0 : list->count);
    if (!done) {
        fprintf(stderr, "%s: %s\n", sql, library->database_error(database));
    }
    return done;
}

static struct column* column_of(struct database* database, const char* name) {
    int32_t index;
    for (index = 0; index < database->view.column_count; index++) {
        if (strcmp(database->view.columns[index].name, name) == 0) {
            return &database->view.columns[index];
        }
    }
    return NULL;
}

static void insert_rows(struct database* database) {
    struct variable values[3];
    struct variable* variables[3];
    struct list list;
    int row;
    static const char* const rows[3][3] = {
        {"1", "screw", "0.25"}, {"2", "nail", "0.10"}, {"3", "hammer", "18.50"}};
    memset(values, 0, sizeof values);
    list.variables = variables;
    list.count = 3;
    for (row = 0; row < 3; row++) {
        int index;
        for (index = 0; index < 3; index++) {
            variables[index] = &values[index];
            set_text(&values[index], rows[row][index], (int32_t)strlen(rows[row][index]));
        }
        CHECK(query(database, "insert into item (id, name, price) values (?, ?, ?)", &list));
    }
    CHECK(!library->database_query(database, "insert into item (id) values (?)", -1, NULL, 0));
    CHECK(strcmp(library->database_error(database),
                 "Input parameter count mismatch: Found 0 expected 1") == 0);
}

static void read_rows(struct database* database) {
    struct variable least;
    struct variable* variables[1];
    struct list list;
    struct column* eof;
    int32_t integer = 0;
    double number = 0;
    const char* text = NULL;
    int32_t length = 0;
    int32_t owned = 1;
    memset(&least, 0, sizeof least);
    set_text(&least, "0.2", 3);
    variables[0] = &least;
    list.variables = variables;
    list.count = 1;
    CHECK(library->database_open_view(
        database, "items", 5, "select id, name, price from item where price > ?", -1, &list, 1));
    eof = column_of(database, "eof");
    CHECK(eof != NULL && column_of(database, "id") != NULL);
    if (eof == NULL) {
        return;
    }
    CHECK(library->variable_value_integer(eof, &integer) && integer == 0);
    CHECK(library->variable_value_integer(column_of(database, "id"), &integer) && integer == 1);
    CHECK(library->variable_value_double(column_of(database, "price"), &number) && number == 0.25);
    CHECK(library->variable_value_string(column_of(database, "name"), &text, &length, &owned));
    CHECK(length == 5 && strcmp(text, "screw") == 0 && owned == 0);
    CHECK(!library->variable_value_integer(column_of(database, "name"), &integer));

    CHECK(library->view_skip(&database->view, 1));
    CHECK(library->variable_value_string(column_of(database, "name"), &text, &length, &owned));
    CHECK(strcmp(text, "hammer") == 0);
    CHECK(!library->view_skip(&database->view, -1));
    CHECK(strcmp(library->view_error(&database->view), "OvraSQL Cursors are forward-only") == 0);
    CHECK(library->view_skip(&database->view, 1));
    CHECK(library->variable_value_integer(eof, &integer) && integer == 1);
    CHECK(eof->dirty > 0);
    CHECK(library->view_close(&database->view) == 1);
}

static void read_structure(struct database* database) {
    struct variable structure;
    void* handle = &structure;
    memset(&structure, 0, sizeof structure);
    CHECK(library->database_open_view(database, "items", 5, "select name, id from item", -1, NULL,
                                      0));
    CHECK(library->view_reveal_structure(&database->view, &handle) == 1);
    CHECK(structure.parts[0] != NULL && structure.parts[1] != NULL && structure.parts[2] == NULL);
    if (structure.parts[0] != NULL) {
        struct variable** members = structure.parts[0]->parts;
        CHECK(strcmp(members[0]->name, "FIELD_NAME") == 0);
        CHECK(strcmp(members[0]->text, "name") == 0);
        CHECK(strcmp(members[1]->text, "C") == 0);
        CHECK(strcmp(members[2]->text, "-1") == 0);
        CHECK(strcmp(members[3]->text, "0") == 0);
    }
    CHECK(library->view_close(&database->view) == 1);
    free_parts(&structure);
}

int main(void) {
    struct database database;
    int index;
    memset(&database, 0, sizeof database);
    ovra_register_library(NULL);
    library = ovra_database_library();
    CHECK(library->version == OVRA_INTERFACE_VERSION);
    CHECK(strcmp(library->database_error(&database), "Unknown OvraSQL error") == 0);

    CHECK(library->database_create(&database, "shop.dbf", -1));
    CHECK(library->database_set_option(&database, "Log", 3, "", 0));
    CHECK(query(&database, "create table item (id integer, name char(20), price numeric(8,2))",
                NULL));
    insert_rows(&database);
    read_rows(&database);
    read_structure(&database);
    library->database_free(&database);
    database.data = NULL;

    CHECK(library->database_open(&database, "shop.dbf", 8));
    read_rows(&database);
    CHECK(query(&database, "drop table item", NULL));
    library->database_free(&database);
    database.data = NULL;

    CHECK(open_handles == 0);
    CHECK(find_file("sql.log", 7) != NULL && find_file("sql.log", 7)->length > 0);
    for (index = 0; index < MAX_FILES; index++) {
        free(files[index].bytes);
    }
    printf("%s\n", failures == 0 ? "passed" : "failed");
    return failures == 0 ? 0 : 1;
}
