// The services for script variables, variable lists, databases, views and their columns.

#include <exception>
#include <string>

#include "host/host_database.h"
#include "host/host_variable.h"
#include "ovrasql/services.h"

using ovrahost::HostColumn;
using ovrahost::HostDatabase;
using ovrahost::HostVariable;
using ovrahost::HostVariableList;
using ovrahost::HostView;

namespace {

std::string Counted(const char* text, int32_t length) {
    return text == nullptr || length <= 0 ? std::string()
                                          : std::string(text, static_cast<size_t>(length));
}

// Nothing thrown may reach the library, which is told of a failure by `failure`.
template <class Result, class Operation>
Result Guarded(Result failure, Operation operation) {
    try {
        return operation();
    } catch (const std::exception&) {
        return failure;
    }
}

HostDatabase* Database(void* handle) { return static_cast<HostDatabase*>(handle); }
HostView* View(void* handle) { return static_cast<HostView*>(handle); }
HostColumn* Column(void* handle) { return static_cast<HostColumn*>(handle); }
HostVariable* Variable(void* handle) { return static_cast<HostVariable*>(handle); }

// An element or a member, which is noted where it was to be made and could not.
template <class Operation>
void* PartOf(HostVariable* variable, bool create, Operation operation) {
    void* part = Guarded<void*>(nullptr, operation);
    if (create && part == nullptr) {
        variable->NotePartLacking();
    }
    return part;
}

}  // namespace

extern "C" {

void ovDatabase_SetData(void* database, void* data) {
    if (database != nullptr) {
        Database(database)->data = data;
    }
}

void* ovDatabase_data(void* database) {
    return database == nullptr ? nullptr : Database(database)->data;
}

void* ovDatabase_Program(void* database) {
    return database == nullptr ? nullptr : &Database(database)->program;
}

void* ovDatabase_AddView(void* database, const char* /*name*/, int32_t /*length*/, void* data) {
    if (database == nullptr) {
        return nullptr;
    }
    return Guarded<void*>(nullptr, [&]() -> void* {
        auto view = std::make_unique<HostView>();
        view->database = Database(database);
        view->data = data;
        Database(database)->views.push_back(std::move(view));
        return Database(database)->views.back().get();
    });
}

void* ovDatabaseView_data(void* view) { return view == nullptr ? nullptr : View(view)->data; }

void* ovDatabaseView_Database(void* view) {
    return view == nullptr ? nullptr : View(view)->database;
}

void* ovDatabaseView_AddVariable(void* view, const char* name, int32_t length, void* data) {
    if (view == nullptr) {
        return nullptr;
    }
    void* added = Guarded<void*>(nullptr, [&]() -> void* {
        auto column = std::make_unique<HostColumn>();
        column->name = Counted(name, length);
        column->data = data;
        View(view)->columns.push_back(std::move(column));
        return View(view)->columns.back().get();
    });
    // The library goes on without it.
    View(view)->lacksColumn = View(view)->lacksColumn || added == nullptr;
    return added;
}

void* ovDatabaseVariable_data(void* variable) {
    return variable == nullptr ? nullptr : Column(variable)->data;
}

void ovDatabaseVariable_SetData(void* variable, void* data) {
    if (variable != nullptr) {
        Column(variable)->data = data;
    }
}

// This host keeps no copy of a value: each read goes to the cell, so there is nothing to mark.
void ovDatabaseVariable_SetDirty(void* /*variable*/) {}

const char* ovVariable_Value(void* variable, int32_t* length) {
    if (variable == nullptr) {
        *length = 0;
        return "";
    }
    const std::string& text = Variable(variable)->Text();
    *length = static_cast<int32_t>(text.size());
    return text.c_str();
}

void ovVariable_SetValue(void* variable, const char* text, int32_t length) {
    if (variable != nullptr) {
        Guarded(0, [&] {
            Variable(variable)->SetText(Counted(text, length));
            return 1;
        });
    }
}

void ovVariable_SetValue_Integer(void* variable, int32_t value) {
    if (variable != nullptr) {
        Guarded(0, [&] {
            Variable(variable)->SetText(std::to_string(value));
            return 1;
        });
    }
}

void* ovVariable_Array_Element(int32_t index, void* variable, int32_t create) {
    if (variable == nullptr) {
        return nullptr;
    }
    return PartOf(Variable(variable), create != 0,
                  [&] { return Variable(variable)->Element(index, create != 0); });
}

void* ovVariable_Struct_Member(const char* name, int32_t length, void* variable, int32_t create) {
    if (variable == nullptr) {
        return nullptr;
    }
    return PartOf(Variable(variable), create != 0,
                  [&] { return Variable(variable)->Member(Counted(name, length), create != 0); });
}

void* ovVariableList_First(void* list) {
    return list == nullptr ? nullptr : static_cast<HostVariableList*>(list)->First();
}

void* ovVariableList_Next(void* list) {
    return list == nullptr ? nullptr : static_cast<HostVariableList*>(list)->Next();
}

}  // extern "C"
