#pragma once

// TestDatabase: one database over TheHost(), driven through the public function table alone, as a
// host would. Several may exist at once; each acts as the process that it was given, so two of them
// on one path are two processes.
//
// TheHost().Reset() comes before the first one is made, never while one lives.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ovrasql/library.h"
#include "tests/support/memory_host.h"

namespace ovrasql {

using Row = std::vector<std::string>;
using Texts = std::vector<std::string>;

const ovra_library_table& Library();

// Puts another table in the place of the library's, for tests that watch its entries; null puts the
// library's back.
void SetLibrary(const ovra_library_table* table);

class TestDatabase;

// An open view, on its first row. It is closed with the object, and must not outlive its database.
class TestView {
  public:
    TestView(TestDatabase& database, std::string_view sql, const Texts& parameters = {});
    ~TestView() { Close(); }
    TestView(const TestView&) = delete;
    TestView& operator=(const TestView&) = delete;

    [[nodiscard]] bool Ok() const { return ok_; }  // what database_open_view said
    [[nodiscard]] bool Exists() const { return view_ != nullptr; }
    [[nodiscard]] bool Skip(int32_t rows = 1);
    [[nodiscard]] bool AtEnd() const;     // the variable "eof"
    [[nodiscard]] Texts Columns() const;  // as view_reveal_structure names them
    [[nodiscard]] Row Values() const;     // of all variables but "eof"
    [[nodiscard]] std::string Text(std::string_view column) const;
    [[nodiscard]] HostDatabaseVariable* Variable(std::string_view column) const;
    [[nodiscard]] void* Handle() const { return view_; }
    void Close();

  private:
    TestDatabase& database_;
    void* view_ = nullptr;
    bool ok_ = false;
};

class TestDatabase {
  public:
    explicit TestDatabase(int32_t process = 0);
    ~TestDatabase();
    TestDatabase(const TestDatabase&) = delete;
    TestDatabase& operator=(const TestDatabase&) = delete;

    [[nodiscard]] bool Create(std::string_view path = "main.dbf");
    [[nodiscard]] bool Open(std::string_view path = "main.dbf");
    void Free();  // also done by the destructor

    [[nodiscard]] bool Query(std::string_view sql, const Texts& parameters = {});
    // All rows; empty after a failure, with Error() telling.
    [[nodiscard]] std::vector<Row> Rows(std::string_view sql, const Texts& parameters = {});
    // The rows as text: columns joined by "|", a newline behind each row; "error: <text>" behind
    // what came before a failure.
    [[nodiscard]] std::string RowsText(std::string_view sql, const Texts& parameters = {});
    // "" after a success, otherwise the message: for statements that must work or must fail.
    [[nodiscard]] std::string Run(std::string_view sql, const Texts& parameters = {});
    [[nodiscard]] Texts Columns(std::string_view sql, const Texts& parameters = {});
    [[nodiscard]] bool Option(std::string_view key, std::string_view value = "");
    [[nodiscard]] bool Pack();
    [[nodiscard]] std::string Error() const;
    [[nodiscard]] void* Handle() const { return handle_; }
    void BeCurrent() const;  // its process becomes the host's current one

  private:
    int32_t process_;
    void* handle_;
};

}  // namespace ovrasql
