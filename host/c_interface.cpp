// The C interface for programs, over the library's table.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "host/call_scope.h"
#include "host/host_database.h"
#include "host/host_variable.h"
#include "host/library_loader.h"
#include "host/parameter_count.h"
#include "ovrasql/ovrasql.h"

using ovrahost::CallKind;
using ovrahost::CallScope;
using ovrahost::HostColumn;
using ovrahost::HostVariable;
using ovrahost::HostVariableList;
using ovrahost::RunStatement;

namespace {

constexpr char kLockTimeoutOption[] = "lock_timeout";

const ovra_library_table* Library() {
    std::string ignored;
    return ovrahost::LibraryTable(&ignored);
}

// Runs an operation and turns what is thrown, running out of memory, into the failure value.
template <class Result, class Operation>
Result Guarded(ovra_database* database, Result failure, Operation operation) {
    try {
        database->hostError.clear();
        if (database->forks != ovrahost::Descriptor::ForkCount()) {
            database->hostError = "The database was opened before fork; open it again";
            return failure;
        }
        return operation();
    } catch (const std::bad_alloc&) {
        database->hostError = "Out of memory";  // short enough to need none itself
        return failure;
    } catch (const std::exception& exception) {
        database->hostError = exception.what();
        return failure;
    }
}

int32_t TextLength(const char* text, int32_t length) {
    if (text == nullptr) {
        return 0;
    }
    return length < 0 ? static_cast<int32_t>(std::strlen(text)) : length;
}

// Without a number it is 0; what is more than can be waited for is the longest.
int32_t Milliseconds(const std::string& text) {
    constexpr long kLongest = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(std::strtol(text.c_str(), nullptr, 10), 0L, kLongest));
}

int32_t OpenWith(const char* path, ovra_database** result,
                 int32_t (*open)(const ovra_library_table*, ovra_database*, const char*)) {
    *result = nullptr;
    try {
        auto database = std::make_unique<ovra_database>();
        std::string error;
        const ovra_library_table* library = ovrahost::LibraryTable(&error);
        database->hostError = error;
        *result = database.release();
        const CallScope scope(*result, CallKind::kOpensDatabase);
        return library == nullptr ? 0 : open(library, *result, path == nullptr ? "" : path);
    } catch (const std::exception&) {
        return 0;
    }
}

// The list of one call's parameters, and the count that the library is to compare with its own.
struct Parameters {
    HostVariableList list;
    int32_t count = 0;
};

void Fill(Parameters* target, const char* statement, int32_t length,
          const ovra_parameter* parameters, int32_t count) {
    for (int32_t i = 0; parameters != nullptr && i < count; ++i) {
        const char* text = parameters[i].text;
        target->list.Append(
            std::string(text == nullptr ? "" : text,
                        static_cast<std::size_t>(TextLength(text, parameters[i].length))));
    }
    const auto use =
        ovrahost::FindParameters(std::string_view(statement, static_cast<std::size_t>(length)));
    target->count = use.hasNumbered ? use.selfNumbered : count;
}

// The visible columns come first among a view's variables; the library tells how many there are.
int32_t CountVisibleColumns(ovra_view* view) {
    HostVariable structure;
    void* handle = &structure;
    Library()->view_reveal_structure(view, &handle);
    int32_t count = 0;
    while (structure.Element(count + 1, false) != nullptr) {
        ++count;
    }
    return count;
}

HostColumn* ColumnAt(ovra_view* view, int32_t column) {
    if (view == nullptr || column < 0 || column >= view->visibleColumns) {
        return nullptr;
    }
    return view->columns[static_cast<std::size_t>(column)].get();
}

// The column whose value may be read now: there must be a row to read it from.
HostColumn* ReadableColumn(ovra_view* view, int32_t column) {
    HostColumn* found = ColumnAt(view, column);
    return found != nullptr && view->started && !view->ended ? found : nullptr;
}

bool IsAtEnd(ovra_view* view) {
    if (static_cast<std::size_t>(view->visibleColumns) >= view->columns.size()) {
        return true;
    }
    int32_t ended = 0;
    HostColumn* mark = view->columns[static_cast<std::size_t>(view->visibleColumns)].get();
    return Library()->variable_value_integer(mark, &ended) == 0 || ended != 0;
}

char Lowered(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

bool EqualIgnoringCase(const std::string& name, const char* other, int32_t length) {
    return name.size() == static_cast<std::size_t>(length) &&
           std::equal(name.begin(), name.end(), other,
                      [](char first, char second) { return Lowered(first) == Lowered(second); });
}

const char* TextOf(HostColumn* column, int32_t* length) {
    const char* text = nullptr;
    int32_t textLength = 0;
    int32_t owned = 0;
    if (column != nullptr) {
        Library()->variable_value_string(column, &text, &textLength, &owned);
    }
    if (length != nullptr) {
        *length = textLength;
    }
    return text;
}

void Forget(ovra_database* database, const ovra_view* view) {
    auto& views = database->views;
    views.erase(std::remove_if(views.begin(), views.end(),
                               [view](const auto& entry) { return entry.get() == view; }),
                views.end());
}

ovra_view* OpenView(ovra_database* database, const char* statement, int32_t length,
                    Parameters* given) {
    const std::size_t viewsBefore = database->views.size();
    const int32_t opened = Library()->database_open_view(database, "view", -1, statement, length,
                                                         &given->list, given->count);
    // The library adds the view before it runs the statement, so a failed one may have one.
    if (database->views.size() == viewsBefore) {
        return nullptr;
    }
    ovra_view* view = database->views.back().get();
    if (opened == 0) {
        Library()->view_close(view);
        Forget(database, view);
        return nullptr;
    }
    view->visibleColumns = CountVisibleColumns(view);
    return view;
}

}  // namespace

extern "C" {

int32_t ovra_create(const char* path, ovra_database** database) {
    return OpenWith(path, database,
                    [](const ovra_library_table* library, ovra_database* handle, const char* name) {
                        return library->database_create(handle, name, -1);
                    });
}

int32_t ovra_open(const char* path, ovra_database** database) {
    return OpenWith(path, database,
                    [](const ovra_library_table* library, ovra_database* handle, const char* name) {
                        return library->database_open(handle, name, -1);
                    });
}

void ovra_close(ovra_database* database) {
    if (database == nullptr) {
        return;
    }
    if (const ovra_library_table* library = Library()) {
        for (const auto& view : database->views) {
            library->view_close(view.get());
        }
        library->database_free(database);
    }
    delete database;
}

const char* ovra_error(ovra_database* database) {
    if (database == nullptr) {
        return "Out of memory";
    }
    if (!database->hostError.empty() || Library() == nullptr) {
        return database->hostError.c_str();
    }
    return Library()->database_error(database);
}

int32_t ovra_set_option(ovra_database* database, const char* key, const char* value) {
    return Guarded<int32_t>(database, 0, [&] {
        const std::string name(key == nullptr ? "" : key);
        const std::string text(value == nullptr ? "" : value);
        if (EqualIgnoringCase(name, kLockTimeoutOption,
                              static_cast<int32_t>(sizeof kLockTimeoutOption - 1))) {
            database->program.SetLockTimeout(Milliseconds(text));
            return 1;
        }
        return Library() == nullptr
                   ? 0
                   : Library()->database_set_option(database, name.c_str(), -1, text.c_str(), -1);
    });
}

int32_t ovra_pack(ovra_database* database) {
    return Guarded<int32_t>(database, 0, [&] {
        const CallScope scope(database, CallKind::kRebuilds);
        return Library() == nullptr ? 0 : Library()->database_pack(database);
    });
}

int32_t ovra_query(ovra_database* database, const char* statement, int32_t length,
                   const ovra_parameter* parameters, int32_t count) {
    return Guarded<int32_t>(database, 0, [&] {
        const int32_t statementLength = TextLength(statement, length);
        const char* text = statement == nullptr ? "" : statement;
        Parameters given;
        Fill(&given, text, statementLength, parameters, count);
        if (Library() == nullptr) {
            return 0;
        }
        return RunStatement(database, [&] {
            return Library()->database_query(database, text, statementLength, &given.list,
                                             given.count);
        });
    });
}

int32_t ovra_compile(ovra_database* database, const char* statement, int32_t length) {
    return Guarded<int32_t>(database, 0, [&] {
        if (Library() == nullptr) {
            return 0;
        }
        // A statement whose parameters do not match is compiled and not run, and no statement has a
        // negative number of them. A SELECT is compiled and then refused for the lack of a view.
        HostVariableList none;
        const CallScope scope(database, CallKind::kRunsStatement);
        Library()->database_query(database, statement == nullptr ? "" : statement,
                                  TextLength(statement, length), &none, -1);
        const std::string_view outcome = Library()->database_error(database);
        return outcome.starts_with("Input parameter count mismatch: Found -1 ") ||
                       outcome == "SELECT is not valid in this context"
                   ? 1
                   : 0;
    });
}

ovra_view* ovra_open_view(ovra_database* database, const char* statement, int32_t length,
                          const ovra_parameter* parameters, int32_t count) {
    return Guarded<ovra_view*>(database, nullptr, [&]() -> ovra_view* {
        if (Library() == nullptr) {
            return nullptr;
        }
        const int32_t statementLength = TextLength(statement, length);
        const char* text = statement == nullptr ? "" : statement;
        Parameters given;
        Fill(&given, text, statementLength, parameters, count);
        return RunStatement(database,
                            [&] { return OpenView(database, text, statementLength, &given); });
    });
}

int32_t ovra_next(ovra_view* view) {
    if (view == nullptr || view->ended) {
        return view == nullptr ? -1 : 0;
    }
    ovra_database* database = view->database;
    return Guarded<int32_t>(database, -1, [&] {
        // The library opens a view on its first row, so the first step goes nowhere.
        if (view->started && Library()->view_skip(view, 1) == 0) {
            view->ended = true;
            return -1;
        }
        view->started = true;
        view->ended = IsAtEnd(view);
        return view->ended ? 0 : 1;
    });
}

int32_t ovra_column_count(ovra_view* view) { return view == nullptr ? 0 : view->visibleColumns; }

const char* ovra_column_name(ovra_view* view, int32_t column, int32_t* length) {
    HostColumn* found = ColumnAt(view, column);
    if (length != nullptr) {
        *length = found == nullptr ? 0 : static_cast<int32_t>(found->name.size());
    }
    return found == nullptr ? nullptr : found->name.c_str();
}

int32_t ovra_column_index(ovra_view* view, const char* name, int32_t length) {
    const int32_t nameLength = TextLength(name, length);
    for (int32_t i = 0; name != nullptr && i < ovra_column_count(view); ++i) {
        if (EqualIgnoringCase(ColumnAt(view, i)->name, name, nameLength)) {
            return i;
        }
    }
    return -1;
}

const char* ovra_text(ovra_view* view, int32_t column, int32_t* length) {
    return TextOf(ReadableColumn(view, column), length);
}

const char* ovra_text_by_name(ovra_view* view, const char* name, int32_t* length) {
    return ovra_text(view, ovra_column_index(view, name, -1), length);
}

int32_t ovra_integer(ovra_view* view, int32_t column, int32_t* value) {
    *value = 0;
    HostColumn* found = ReadableColumn(view, column);
    return found == nullptr ? 0 : Library()->variable_value_integer(found, value);
}

int32_t ovra_double(ovra_view* view, int32_t column, double* value) {
    *value = 0;
    HostColumn* found = ReadableColumn(view, column);
    return found == nullptr ? 0 : Library()->variable_value_double(found, value);
}

void ovra_close_view(ovra_view* view) {
    if (view == nullptr) {
        return;
    }
    ovra_database* database = view->database;
    const CallScope scope(database, CallKind::kRunsStatement);
    Library()->view_close(view);
    Forget(database, view);
}

}  // extern "C"
