#include "tests/support/test_database.h"

namespace ovrasql {

namespace {

const ovra_library_table* replacement = nullptr;

int32_t Length(std::string_view text) { return static_cast<int32_t>(text.size()); }

std::string TextOf(void* variable) {
    const char* text = nullptr;
    int32_t length = 0;
    int32_t owned = 0;
    if (Library().variable_value_string(variable, &text, &length, &owned) != 1) {
        return "(no text)";
    }
    return std::string(text, static_cast<size_t>(length));
}

std::string Joined(const Row& row) {
    std::string text;
    for (const std::string& value : row) {
        text += (&value == &row.front() ? "" : "|") + value;
    }
    return text + "\n";
}

}  // namespace

const ovra_library_table& Library() {
    return replacement != nullptr
               ? *replacement
               : *static_cast<const ovra_library_table*>(ovra_database_library());
}

void SetLibrary(const ovra_library_table* table) { replacement = table; }

TestView::TestView(TestDatabase& database, std::string_view sql, const Texts& parameters)
    : database_(database) {
    database_.BeCurrent();
    const size_t before = MemoryHost::Database(database.Handle())->views.size();
    ok_ = Library().database_open_view(database.Handle(), "v", 1, sql.data(), Length(sql),
                                       TheHost().MakeList(parameters),
                                       static_cast<int32_t>(parameters.size())) == 1;
    // Views are added at the end, so a new one is the last.
    if (MemoryHost::Database(database.Handle())->views.size() > before) {
        view_ = MemoryHost::Database(database.Handle())->views.back().get();
    }
}

bool TestView::Skip(int32_t rows) {
    database_.BeCurrent();
    return view_ != nullptr && Library().view_skip(view_, rows) == 1;
}

HostDatabaseVariable* TestView::Variable(std::string_view column) const {
    return view_ == nullptr ? nullptr : MemoryHost::View(view_)->Variable(column);
}

bool TestView::AtEnd() const {
    int32_t end = 1;
    HostDatabaseVariable* variable = Variable("eof");
    if (variable != nullptr && Library().variable_value_integer(variable, &end) != 1) {
        return true;
    }
    return end != 0;
}

Texts TestView::Columns() const {
    void* structure = TheHost().MakeVariable();
    Texts names;
    if (view_ == nullptr || Library().view_reveal_structure(view_, &structure) != 1) {
        return names;
    }
    const HostVariable* columns = MemoryHost::Variable(structure);
    for (int32_t number = 1; columns->Element(number) != nullptr; ++number) {
        const HostVariable* name = columns->Element(number)->Member("FIELD_NAME");
        names.push_back(name == nullptr ? "(no name)" : name->text);
    }
    return names;
}

Row TestView::Values() const {
    Row row;
    if (view_ == nullptr) {
        return row;
    }
    const auto& variables = MemoryHost::View(view_)->variables;
    for (const auto& variable : variables) {
        // The hidden end mark comes last; a column may have its name.
        if (variable != variables.back() || variable->name != "eof") {
            row.push_back(TextOf(variable.get()));
        }
    }
    return row;
}

std::string TestView::Text(std::string_view column) const {
    HostDatabaseVariable* variable = Variable(column);
    return variable == nullptr ? "(no column)" : TextOf(variable);
}

void TestView::Close() {
    if (view_ != nullptr) {
        database_.BeCurrent();
        Library().view_close(view_);
        TheHost().DestroyView(view_);
        view_ = nullptr;
    }
}

TestDatabase::TestDatabase(int32_t process)
    : process_(process), handle_(TheHost().MakeDatabase()) {}

TestDatabase::~TestDatabase() { Free(); }

void TestDatabase::BeCurrent() const { TheHost().SetCurrentProcess(process_); }

bool TestDatabase::Create(std::string_view path) {
    BeCurrent();
    return Library().database_create(handle_, path.data(), Length(path)) == 1;
}

bool TestDatabase::Open(std::string_view path) {
    BeCurrent();
    return Library().database_open(handle_, path.data(), Length(path)) == 1;
}

void TestDatabase::Free() {
    if (handle_ != nullptr) {
        BeCurrent();
        Library().database_free(handle_);
        TheHost().DestroyDatabase(handle_);
        handle_ = nullptr;
    }
}

bool TestDatabase::Query(std::string_view sql, const Texts& parameters) {
    BeCurrent();
    return Library().database_query(handle_, sql.data(), Length(sql),
                                    TheHost().MakeList(parameters),
                                    static_cast<int32_t>(parameters.size())) == 1;
}

std::string TestDatabase::Run(std::string_view sql, const Texts& parameters) {
    return Query(sql, parameters) ? "" : Error();
}

std::vector<Row> TestDatabase::Rows(std::string_view sql, const Texts& parameters) {
    std::vector<Row> rows;
    TestView view(*this, sql, parameters);
    bool ok = view.Ok();
    while (ok && !view.AtEnd()) {
        rows.push_back(view.Values());
        ok = view.Skip();
    }
    return ok ? rows : std::vector<Row>();
}

std::string TestDatabase::RowsText(std::string_view sql, const Texts& parameters) {
    std::string text;
    TestView view(*this, sql, parameters);
    bool ok = view.Ok();
    while (ok && !view.AtEnd()) {
        text += Joined(view.Values());
        ok = view.Skip();
    }
    return ok ? text : text + "error: " + Error();
}

Texts TestDatabase::Columns(std::string_view sql, const Texts& parameters) {
    return TestView(*this, sql, parameters).Columns();
}

bool TestDatabase::Option(std::string_view key, std::string_view value) {
    BeCurrent();
    return Library().database_set_option(handle_, key.data(), Length(key), value.data(),
                                         Length(value)) == 1;
}

bool TestDatabase::Pack() {
    BeCurrent();
    return Library().database_pack(handle_) == 1;
}

std::string TestDatabase::Error() const { return Library().database_error(handle_); }

}  // namespace ovrasql
