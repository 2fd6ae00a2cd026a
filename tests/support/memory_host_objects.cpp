// The services for databases, views, variables and memory over MemoryHost, beside the file services
// in memory_host_files.cpp.

#include "ovrasql/services.h"
#include "tests/support/memory_host_state.h"

using ovrasql::FailureKind;
using ovrasql::HostCall;
using ovrasql::HostDatabaseVariable;
using ovrasql::HostVariable;
using ovrasql::HostView;
using ovrasql::MemoryHost;
using ovrasql::ServiceScope;
using ovrasql::VariableList;

namespace {

MemoryHost::State& Host() { return ovrasql::TheHost().Inner(); }

std::string Text(const char* text, int32_t length) { return Host().Text(text, length); }

// True if a planned failure strikes a service that answers null then.
bool Struck(const char* name) {
    FailureKind kind = FailureKind::kOutright;
    return Host().Strikes(name, false, &kind);
}

void LogPlain(const char* name, const std::string& subject) {
    if (!Host().logging) {
        Host().LogBare();
        return;
    }
    HostCall call;
    call.name = name;
    call.path = subject;
    Host().Log(std::move(call));
}

}  // namespace

// --- Database objects ---

void ovDatabase_SetData(void* database, void* data) {
    const ServiceScope scope;
    LogPlain("ovDatabase_SetData", "");
    MemoryHost::Database(database)->data = data;
}

void* ovDatabase_data(void* database) {
    const ServiceScope scope;
    return MemoryHost::Database(database)->data;
}

void* ovDatabase_Program(void* database) {
    const ServiceScope scope;
    return MemoryHost::Database(database)->program;
}

void* ovDatabase_AddView(void* database, const char* name, int32_t nameLength, void* data) {
    const ServiceScope scope;
    const std::string text = Text(name, nameLength);
    LogPlain("ovDatabase_AddView", text);
    if (Struck("ovDatabase_AddView")) {
        Host().calls.back().failed = true;
        return nullptr;
    }
    auto view = std::make_unique<HostView>();
    view->name = text;
    view->data = data;
    view->database = MemoryHost::Database(database);
    view->database->views.push_back(std::move(view));
    return MemoryHost::Database(database)->views.back().get();
}

void* ovDatabaseView_data(void* view) {
    const ServiceScope scope;
    return MemoryHost::View(view)->data;
}

void* ovDatabaseView_Database(void* view) {
    const ServiceScope scope;
    return MemoryHost::View(view)->database;
}

void* ovDatabaseView_AddVariable(void* view, const char* name, int32_t nameLength, void* data) {
    const ServiceScope scope;
    const std::string text = Text(name, nameLength);
    LogPlain("ovDatabaseView_AddVariable", text);
    if (Struck("ovDatabaseView_AddVariable")) {
        Host().calls.back().failed = true;
        return nullptr;
    }
    auto variable = std::make_unique<HostDatabaseVariable>();
    variable->name = text;
    variable->data = data;
    MemoryHost::View(view)->variables.push_back(std::move(variable));
    return MemoryHost::View(view)->variables.back().get();
}

void* ovDatabaseVariable_data(void* variable) {
    const ServiceScope scope;
    return static_cast<HostDatabaseVariable*>(variable)->data;
}

void ovDatabaseVariable_SetData(void* variable, void* data) {
    const ServiceScope scope;
    LogPlain("ovDatabaseVariable_SetData", static_cast<HostDatabaseVariable*>(variable)->name);
    static_cast<HostDatabaseVariable*>(variable)->data = data;
}

void ovDatabaseVariable_SetDirty(void* variable) {
    const ServiceScope scope;
    ++static_cast<HostDatabaseVariable*>(variable)->dirtyCount;
    if (Host().dirtyHandler) {
        Host().dirtyHandler(variable);
    }
}

// --- Variables ---

const char* ovVariable_Value(void* variable, int32_t* length) {
    const ServiceScope scope;
    const HostVariable* source = MemoryHost::Variable(variable);
    *length = source->statedLength != 0 ? source->statedLength
                                        : static_cast<int32_t>(source->text.size());
    return source->text.data();
}

void ovVariable_SetValue(void* variable, const char* text, int32_t length) {
    const ServiceScope scope;
    HostVariable* target = MemoryHost::Variable(variable);
    target->text = Text(text, length);
    if (length == 0) {
        target->elements.clear();
        target->members.clear();
    }
}

void ovVariable_SetValue_Integer(void* variable, int32_t value) {
    const ServiceScope scope;
    MemoryHost::Variable(variable)->text = std::to_string(value);
}

void* ovVariable_Array_Element(int32_t index, void* variable, int32_t create) {
    const ServiceScope scope;
    if (Struck("ovVariable_Array_Element")) {
        return nullptr;
    }
    HostVariable* owner = MemoryHost::Variable(variable);
    HostVariable* element = owner->Element(index);
    if (element == nullptr && create == 1) {
        owner->elements.emplace_back(index, std::make_unique<HostVariable>());
        element = owner->elements.back().second.get();
    }
    return element;
}

void* ovVariable_Struct_Member(const char* name, int32_t nameLength, void* variable,
                               int32_t create) {
    const ServiceScope scope;
    if (Struck("ovVariable_Struct_Member")) {
        return nullptr;
    }
    HostVariable* owner = MemoryHost::Variable(variable);
    HostVariable* member = owner->Member(Text(name, nameLength));
    if (member == nullptr && create == 1) {
        owner->members.emplace_back(Text(name, nameLength), std::make_unique<HostVariable>());
        member = owner->members.back().second.get();
    }
    return member;
}

void* ovVariableList_First(void* list) {
    const ServiceScope scope;
    LogPlain("ovVariableList_First", "");
    if (list == nullptr) {
        return nullptr;
    }
    static_cast<VariableList*>(list)->next = 0;
    return ovVariableList_Next(list);
}

void* ovVariableList_Next(void* list) {
    const ServiceScope scope;
    VariableList* walked = static_cast<VariableList*>(list);
    return walked->next < walked->variables.size() ? walked->variables[walked->next++] : nullptr;
}

// --- Memory ---

void ovProgram_Free(void* program, void* pointer) {
    const ServiceScope scope;
    if (program != &Host().program) {
        Host().Misuse("ovProgram_Free with a wrong program");
    }
    if (Host().blocks.erase(pointer) == 0) {
        Host().Misuse("ovProgram_Free of an unknown block");
    }
}
