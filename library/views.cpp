#include "library/views.h"

#include "engine/sql_engine.h"
#include "engine/sql_result.h"
#include "library/database_context.h"
#include "library/entry_guard.h"
#include "library/host_services.h"
#include "library/view_context.h"
#include "schema/prepared_statement.h"
#include "schema/schema.h"

namespace ovrasql {

namespace {

// The text is traced whole and as it is: it is no format.
void TraceStatement(Schema& schema, TextView line, TextView text) {
    schema.Trace().Write(line);
    schema.Trace().Write(text);
    schema.Trace().Write("\n");
}

// Steps in this order: a text that does not compile must not have made a view of the host's.
int32_t OpenView(DatabaseContext& context, TextView name, TextView text, void* list,
                 int32_t count) {
    ViewContext* viewContext = ViewContext::Make(context);
    TraceStatement(*context.GetSchema(), "*** OvOPENVIEW\n", text);
    PreparedStatement* statement = PrepareStatement(context, text);
    if (statement == nullptr) {
        viewContext->End();
        return 0;
    }
    viewContext->SetStatement(statement);
    void* view = ovDatabase_AddView(context.HostDatabase(), name.data, name.length, viewContext);
    // A view that has not kept the word could never be closed.
    if (view == nullptr || ovDatabaseView_data(view) != viewContext) {
        viewContext->End();
        return context.Fail("Unable to create view");
    }
    viewContext->SetView(view);
    return ExecuteStatement(context, *statement, list, count);
}

int32_t Query(DatabaseContext& context, TextView text, void* list, int32_t count) {
    TraceStatement(*context.GetSchema(), "*** OvQUERY\n", text);
    PreparedStatement* statement = PrepareStatement(context, text);
    if (statement == nullptr) {
        return 0;
    }
    // A statement from the cache has run in a view before, perhaps.
    statement->Engine().SetView(nullptr);
    const int32_t result = ExecuteStatement(context, *statement, list, count);
    ReleaseStatement(context, statement);
    return result;
}

int32_t Skip(ViewContext& view, SQLEngine& engine, int32_t rows) {
    if (rows < 0) {
        return view.Database().Fail("OvraSQL Cursors are forward-only");
    }
    for (int32_t row = 0; row < rows; ++row) {
        const int32_t result = RunStatement(view.Database(), engine);
        if (result < 0) {
            return 0;
        }
        if (result == 0) {
            break;  // an ended program stays ended, however often it is run
        }
    }
    return 1;
}

void* Member(void* element, TextView name) {
    return ovVariable_Struct_Member(name.data, name.length, element, 1);
}

void SetText(void* variable, TextView text) {
    if (variable != nullptr) {
        ovVariable_SetValue(variable, text.data, text.length);
    }
}

void SetInteger(void* variable, int32_t value) {
    if (variable != nullptr) {
        ovVariable_SetValue_Integer(variable, value);
    }
}

// Required: type, length and decimals are the same for every column, whatever the column is.
void DescribeColumn(void* element, TextView name) {
    SetText(Member(element, "FIELD_NAME"), name);
    SetText(Member(element, "FIELD_TYPE"), "C");
    SetInteger(Member(element, "FIELD_LEN"), -1);
    SetInteger(Member(element, "FIELD_DEC"), 0);
}

// The cell's text, ended by a NUL. A text that the cell has borrowed from a record or a literal has
// none, so the cell takes a copy first; only the cells that the host reads pay for that. Without
// the memory to render a number the text is empty.
TextView HostText(SQLResult& cell) {
    return GuardEntry(
        [&] {
            const TextView text = cell.GetString();
            if (text.length == 0) {
                return TextView();
            }
            cell.KeepText();
            return cell.GetString();
        },
        [] { return TextView(); });
}

SQLResult* CellOf(void* variable) {
    return variable == nullptr ? nullptr
                               : static_cast<SQLResult*>(ovDatabaseVariable_data(variable));
}

}  // namespace

int32_t database_open_view(void* database, const char* name, int32_t nameLength, const char* text,
                           int32_t textLength, void* list, int32_t count) {
    DatabaseContext* context = DatabaseContext::Of(database);
    if (context == nullptr || context->GetSchema() == nullptr) {
        return 0;
    }
    return GuardEntry(
        [&] {
            return OpenView(*context, EntryText(name, nameLength), EntryText(text, textLength),
                            list, count);
        },
        [&] { return context->FailForMemory(); });
}

int32_t database_query(void* database, const char* text, int32_t textLength, void* list,
                       int32_t count) {
    DatabaseContext* context = DatabaseContext::Of(database);
    if (context == nullptr || context->GetSchema() == nullptr) {
        return 0;
    }
    return GuardEntry([&] { return Query(*context, EntryText(text, textLength), list, count); },
                      [&] { return context->FailForMemory(); });
}

int32_t view_close(void* view) {
    ViewContext* context = ViewContext::Of(view);
    if (context != nullptr) {
        context->End();
    }
    return 1;
}

int32_t view_skip(void* view, int32_t rows) {
    ViewContext* context = ViewContext::Of(view);
    if (context == nullptr || context->Database().IsFreed()) {
        return 0;
    }
    return Skip(*context, context->Engine(), rows);
}

int32_t view_reveal_structure(void* view, void** variable) {
    const ViewContext* context = ViewContext::Of(view);
    if (variable == nullptr || *variable == nullptr) {
        return 1;
    }
    ovVariable_SetValue(*variable, "", 0);
    if (context == nullptr) {
        return 1;
    }
    const Array<SQLViewResult>& results = context->Engine().Results();
    int32_t number = 1;
    for (int32_t slot = 0; results.Get(slot) != nullptr; ++slot) {
        const SQLViewResult* result = results.Get(slot);
        if (!result->Visible()) {
            continue;
        }
        void* element = ovVariable_Array_Element(number, *variable, 1);
        if (element != nullptr) {
            DescribeColumn(element, result->Name());
        }
        ++number;
    }
    return 1;
}

const char* view_error(void* view) {
    return database_error(view == nullptr ? nullptr : ovDatabaseView_Database(view));
}

int32_t variable_value_integer(void* variable, int32_t* value) {
    SQLResult* cell = CellOf(variable);
    StoreOutput(value, 0);
    if (cell == nullptr) {
        return 0;
    }
    int32_t error = 0;
    const int32_t number = cell->GetInteger(&error);
    StoreOutput(value, number);
    return error == 0 ? 1 : 0;
}

int32_t variable_value_double(void* variable, double* value) {
    SQLResult* cell = CellOf(variable);
    StoreOutput(value, 0.0);
    if (cell == nullptr) {
        return 0;
    }
    int32_t error = 0;
    const double number = cell->GetDouble(&error);
    StoreOutput(value, number);
    return error == 0 ? 1 : 0;
}

int32_t variable_value_string(void* variable, const char** text, int32_t* length, int32_t* owned) {
    SQLResult* cell = CellOf(variable);
    const TextView value = cell == nullptr ? TextView() : HostText(*cell);
    StoreOutput(text, value.data);
    StoreOutput(length, value.length);
    StoreOutput(owned, 0);
    return 1;
}

}  // namespace ovrasql
