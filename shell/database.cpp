#include "shell/database.h"

#include <cstddef>
#include <limits>
#include <utility>

namespace ovrashell {

namespace {

// A length as the C interface takes it.
int32_t LengthOf(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int32_t>::max())) {
        throw Error("Text is too long (maximum 2147483647 bytes)");
    }
    return static_cast<int32_t>(text.size());
}

// The C interface's form of a parameter list; borrows its texts.
std::vector<ovra_parameter> Borrowed(const ParameterList& parameters) {
    std::vector<ovra_parameter> borrowed;
    borrowed.reserve(parameters.size());
    for (const std::string& text : parameters) {
        borrowed.push_back({text.data(), LengthOf(text)});
    }
    return borrowed;
}

}  // namespace

View::View(ovra_database* database, std::string_view statement, const ParameterList& parameters)
    : database_(database) {
    const auto borrowed = Borrowed(parameters);
    view_.reset(ovra_open_view(database, statement.data(), LengthOf(statement), borrowed.data(),
                               static_cast<int32_t>(borrowed.size())));
    if (view_ == nullptr) {
        throw Error(ovra_error(database));
    }
}

bool View::Next() {
    const int32_t result = ovra_next(view_.get());
    if (result < 0) {
        throw Error(ovra_error(database_));
    }
    return result == 1;
}

std::string View::ColumnName(int32_t column) const {
    int32_t length = 0;
    const char* name = ovra_column_name(view_.get(), column, &length);
    return name == nullptr ? std::string() : std::string(name, static_cast<std::size_t>(length));
}

std::string_view View::Text(int32_t column) const {
    int32_t length = 0;
    const char* text = ovra_text(view_.get(), column, &length);
    return text == nullptr ? std::string_view()
                           : std::string_view(text, static_cast<std::size_t>(length));
}

std::vector<std::string> View::Names() const {
    std::vector<std::string> names;
    names.reserve(static_cast<std::size_t>(ColumnCount()));
    for (int32_t i = 0; i < ColumnCount(); ++i) {
        names.push_back(ColumnName(i));
    }
    return names;
}

std::vector<std::string> View::Values() const {
    std::vector<std::string> values;
    values.reserve(static_cast<std::size_t>(ColumnCount()));
    for (int32_t i = 0; i < ColumnCount(); ++i) {
        values.emplace_back(Text(i));
    }
    return values;
}

Database Database::Open(const std::string& path) {
    ovra_database* handle = nullptr;
    const int32_t opened = ovra_open(path.c_str(), &handle);
    Handle owner(handle);
    if (opened == 0) {
        throw Error(ovra_error(owner.get()));
    }
    return {std::move(owner), path};
}

Database Database::Create(const std::string& path) {
    ovra_database* handle = nullptr;
    const int32_t created = ovra_create(path.c_str(), &handle);
    Handle owner(handle);
    if (created == 0) {
        throw Error(ovra_error(owner.get()));
    }
    return {std::move(owner), path};
}

void Database::Query(std::string_view statement, const ParameterList& parameters) {
    const auto borrowed = Borrowed(parameters);
    if (ovra_query(handle_.get(), statement.data(), LengthOf(statement), borrowed.data(),
                   static_cast<int32_t>(borrowed.size())) == 0) {
        throw Error(ovra_error(handle_.get()));
    }
}

View Database::Select(std::string_view statement, const ParameterList& parameters) {
    return {handle_.get(), statement, parameters};
}

void Database::SetOption(const std::string& key, const std::string& value) {
    if (ovra_set_option(handle_.get(), key.c_str(), value.c_str()) == 0) {
        throw Error(ovra_error(handle_.get()));
    }
}

// A statement that is kept compiled is not compiled again, and the optimizer has nothing to say. So
// those that are kept are given up first; how many may be is as it was.
void Database::Compile(std::string_view statement) {
    SetOption("statement_cache_size", "0");
    SetOption("statement_cache_size", "10");
    if (ovra_compile(handle_.get(), statement.data(), LengthOf(statement)) == 0) {
        throw Error(ovra_error(handle_.get()));
    }
}

void Database::Pack() {
    if (ovra_pack(handle_.get()) == 0) {
        throw Error(ovra_error(handle_.get()));
    }
}

}  // namespace ovrashell
