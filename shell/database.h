#pragma once

// Database and View: the host's C interface with owners and exceptions, for the prompt. A failure
// is thrown as an Error with the text that the library or the host gives.

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ovrasql/ovrasql.h"

namespace ovrashell {

class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

using ParameterList = std::vector<std::string>;

// An open SELECT. Does not outlive its database.
class View {
  public:
    View(ovra_database* database, std::string_view statement, const ParameterList& parameters);

    // False at the end of the rows.
    bool Next();

    int32_t ColumnCount() const { return ovra_column_count(view_.get()); }
    std::string ColumnName(int32_t column) const;
    // Valid until the next row.
    std::string_view Text(int32_t column) const;

    std::vector<std::string> Names() const;
    // All texts of the current row.
    std::vector<std::string> Values() const;

  private:
    struct Closer {
        void operator()(ovra_view* view) const { ovra_close_view(view); }
    };
    ovra_database* database_;
    std::unique_ptr<ovra_view, Closer> view_;
};

class Database {
  public:
    static Database Open(const std::string& path);
    static Database Create(const std::string& path);

    void Query(std::string_view statement, const ParameterList& parameters = {});
    View Select(std::string_view statement, const ParameterList& parameters = {});
    void SetOption(const std::string& key, const std::string& value);
    void Pack();
    // Compiles without running; the trace file then has the program, behind the optimizer's notes.
    void Compile(std::string_view statement);

    const std::string& Path() const { return path_; }

  private:
    struct Closer {
        void operator()(ovra_database* database) const { ovra_close(database); }
    };
    using Handle = std::unique_ptr<ovra_database, Closer>;

    Database(Handle handle, std::string path)
        : handle_(std::move(handle)), path_(std::move(path)) {}

    Handle handle_;
    std::string path_;
};

}  // namespace ovrashell
