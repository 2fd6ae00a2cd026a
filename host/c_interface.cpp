// The C interface for programs, over the library's table.

#include <locale.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

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
using ovrahost::kOutOfMemory;
using ovrahost::RunStatement;

namespace {

constexpr char kLockTimeoutOption[] = "lock_timeout";

const ovra_library_table* Library() { return ovrahost::LibraryTable(); }

// The reason of a failed call, from whoever knows it.
std::string Reason(ovra_database* database) {
    if (!database->hostError.empty()) {
        return database->hostError;
    }
    if (Library() == nullptr) {
        return ovrahost::LoadingError();
    }
    const std::string told = Library()->database_error(database);
    return told.empty() ? "An index that the statement uses is gone; open the database again"
                        : told;
}

// There can be too little memory for the text as well.
void SetHostError(ovra_database* database, const char* text) {
    try {
        database->hostError = text;
    } catch (const std::exception&) {
        database->hostError = kOutOfMemory;
    }
}

// Keeps it until the next failure: calls that succeed leave other texts with the library.
void KeepReason(ovra_database* database) {
    try {
        database->error = Reason(database);
    } catch (const std::exception&) {
        database->error = kOutOfMemory;
    }
}

// Runs an operation and turns what is thrown, running out of memory, into the failure value.
template <class Result, class Operation>
Result Guarded(ovra_database* database, Result failure, Operation operation) {
    Result result = failure;
    try {
        database->hostError.clear();
        if (database->forks == ovrahost::Descriptor::ForkCount()) {
            result = operation();
        } else {
            database->hostError = "The database was opened before fork; open it again";
        }
    } catch (const std::bad_alloc&) {
        database->hostError = kOutOfMemory;
    } catch (const std::exception& exception) {
        SetHostError(database, exception.what());
    }
    if (result == failure) {
        KeepReason(database);
    }
    return result;
}

std::size_t TextLength(const char* text, int32_t length) {
    if (text == nullptr) {
        return 0;
    }
    return length < 0 ? std::strlen(text) : static_cast<std::size_t>(length);
}

// Null as well where there is no memory to load it, so that nothing of it has to be closed.
const ovra_library_table* LibraryToClose() {
    try {
        return Library();
    } catch (const std::exception&) {
        return nullptr;
    }
}

// A text as the caller gives it, in the room that the library has for its length.
std::string_view GivenText(const char* text, int32_t length) {
    const std::size_t bytes = TextLength(text, length);
    if (bytes > static_cast<std::size_t>(std::numeric_limits<int32_t>::max())) {
        throw std::length_error("Text is too long (maximum 2147483647 bytes)");
    }
    return {text == nullptr ? "" : text, bytes};
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
        *result = std::make_unique<ovra_database>().release();
    } catch (const std::exception&) {
        return 0;
    }
    return Guarded<int32_t>(*result, 0, [&] {
        const CallScope scope(*result, CallKind::kOpensDatabase);
        return Library() == nullptr ? 0 : open(Library(), *result, path == nullptr ? "" : path);
    });
}

// The list of one call's parameters, and the count that the library is to compare with its own.
struct Parameters {
    HostVariableList list;
    int32_t count = 0;
};

void Fill(Parameters* target, std::string_view statement, const ovra_parameter* parameters,
          int32_t count) {
    for (int32_t i = 0; parameters != nullptr && i < count; ++i) {
        target->list.Append(std::string(GivenText(parameters[i].text, parameters[i].length)));
    }
    const auto use = ovrahost::FindParameters(statement);
    target->count = use.hasNumbered ? use.selfNumbered : count;
}

// The visible columns come first among a view's variables; the library tells how many there are.
// False where it could not tell all of them.
bool CountVisibleColumns(ovra_view* view) {
    HostVariable structure;
    void* handle = &structure;
    Library()->view_reveal_structure(view, &handle);
    while (structure.Element(view->visibleColumns + 1, false) != nullptr) {
        ++view->visibleColumns;
    }
    return !structure.LacksPart() && !view->lacksColumn;
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

bool EqualIgnoringCase(std::string_view name, std::string_view other) {
    return std::equal(name.begin(), name.end(), other.begin(), other.end(),
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

// Whether a text is a number that a double can hold, as the library reads texts: like the C library
// in its own locale.
bool IsDouble(const char* text, const char* end) {
    static const locale_t kC = ::newlocale(LC_ALL_MASK, "C", nullptr);
    char* stop = nullptr;
    return kC != nullptr && std::isfinite(::strtod_l(text, &stop, kC)) && stop == end;
}

void Forget(ovra_database* database, const ovra_view* view) {
    auto& views = database->views;
    views.erase(std::remove_if(views.begin(), views.end(),
                               [view](const auto& entry) { return entry.get() == view; }),
                views.end());
}

ovra_view* OpenView(ovra_database* database, std::string_view statement, Parameters* given) {
    const std::size_t viewsBefore = database->views.size();
    const int32_t opened = Library()->database_open_view(database, "view", -1, statement.data(),
                                                         static_cast<int32_t>(statement.size()),
                                                         &given->list, given->count);
    // The library adds the view before it runs the statement, so a failed one may have one.
    if (database->views.size() == viewsBefore) {
        return nullptr;
    }
    ovra_view* view = database->views.back().get();
    if (opened != 0 && CountVisibleColumns(view)) {
        return view;
    }
    Library()->view_close(view);
    Forget(database, view);
    if (opened != 0) {
        throw std::bad_alloc();
    }
    return nullptr;
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
    if (const ovra_library_table* library = LibraryToClose()) {
        for (const auto& view : database->views) {
            library->view_close(view.get());
        }
        library->database_free(database);
    }
    delete database;
}

const char* ovra_error(ovra_database* database) {
    return database == nullptr ? kOutOfMemory : database->error.c_str();
}

int32_t ovra_set_option(ovra_database* database, const char* key, const char* value) {
    return Guarded<int32_t>(database, 0, [&] {
        const std::string name(key == nullptr ? "" : key);
        const std::string text(value == nullptr ? "" : value);
        if (EqualIgnoringCase(name, kLockTimeoutOption)) {
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
        const std::string_view text = GivenText(statement, length);
        Parameters given;
        Fill(&given, text, parameters, count);
        if (Library() == nullptr) {
            return 0;
        }
        return RunStatement(database, [&] {
            return Library()->database_query(
                database, text.data(), static_cast<int32_t>(text.size()), &given.list, given.count);
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
        const std::string_view text = GivenText(statement, length);
        Library()->database_query(database, text.data(), static_cast<int32_t>(text.size()), &none,
                                  -1);
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
        const std::string_view text = GivenText(statement, length);
        Parameters given;
        Fill(&given, text, parameters, count);
        return RunStatement(database, [&] { return OpenView(database, text, &given); });
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
    const std::string_view wanted(name == nullptr ? "" : name, TextLength(name, length));
    for (int32_t i = 0; name != nullptr && i < ovra_column_count(view); ++i) {
        if (EqualIgnoringCase(ColumnAt(view, i)->name, wanted)) {
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

// The text alone decides what is a number. The library's own readings depend on those before: a
// cell that has once been read as a number is one.
int32_t ovra_integer(ovra_view* view, int32_t column, int32_t* value) {
    *value = 0;
    int32_t length = 0;
    const char* text = ovra_text(view, column, &length);
    if (text == nullptr || length == 0) {
        return text == nullptr ? 0 : 1;
    }
    const auto [stop, error] = std::from_chars(text, text + length, *value);
    if (error == std::errc() && stop == text + length) {
        return 1;
    }
    *value = 0;
    return 0;
}

int32_t ovra_double(ovra_view* view, int32_t column, double* value) {
    *value = 0;
    int32_t length = 0;
    const char* text = ovra_text(view, column, &length);
    if (text == nullptr || (length != 0 && !IsDouble(text, text + length))) {
        return 0;
    }
    // A computed number has more digits than its text.
    Library()->variable_value_double(ColumnAt(view, column), value);
    return 1;
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
