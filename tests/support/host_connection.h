#pragma once

// HostConnection: a database over the C interface and real files, for tests with processes. It is
// closed at its end; a process that forks must have none open, since handles do not survive that.

#include <string>
#include <utility>
#include <vector>

#include "ovrasql/ovrasql.h"

namespace ovratest {

class HostConnection {
  public:
    using Row = std::vector<std::string>;
    using Rows = std::vector<Row>;
    enum class Start { kOpen, kCreate };

    explicit HostConnection(const std::string& path, Start start = Start::kOpen) {
        good_ = (start == Start::kCreate ? ovra_create(path.c_str(), &database_)
                                         : ovra_open(path.c_str(), &database_)) == 1;
    }
    ~HostConnection() { ovra_close(database_); }
    HostConnection(const HostConnection&) = delete;
    HostConnection& operator=(const HostConnection&) = delete;

    bool IsGood() const { return good_; }
    std::string Error() const { return ovra_error(database_); }
    ovra_database* Handle() const { return database_; }

    bool Run(const std::string& statement, const std::vector<std::string>& values = {}) {
        const auto parameters = Parameters(values);
        return ovra_query(database_, statement.c_str(), -1, parameters.data(),
                          static_cast<int32_t>(parameters.size())) == 1;
    }

    bool Pack() { return ovra_pack(database_) == 1; }

    void SetLockTimeout(int milliseconds) {
        ovra_set_option(database_, "lock_timeout", std::to_string(milliseconds).c_str());
    }

    // All rows of a SELECT; none when it failed, with the reason in Error().
    Rows Select(const std::string& statement, const std::vector<std::string>& values = {}) {
        const auto parameters = Parameters(values);
        Rows rows;
        ovra_view* view = ovra_open_view(database_, statement.c_str(), -1, parameters.data(),
                                         static_cast<int32_t>(parameters.size()));
        while (view != nullptr && ovra_next(view) == 1) {
            Row row;
            for (int32_t i = 0; i < ovra_column_count(view); ++i) {
                int32_t length = 0;
                const char* text = ovra_text(view, i, &length);
                row.emplace_back(text, static_cast<std::size_t>(length));
            }
            rows.push_back(std::move(row));
        }
        ovra_close_view(view);
        return rows;
    }

  private:
    static std::vector<ovra_parameter> Parameters(const std::vector<std::string>& values) {
        std::vector<ovra_parameter> parameters;
        parameters.reserve(values.size());
        for (const std::string& value : values) {
            parameters.push_back({value.c_str(), static_cast<int32_t>(value.size())});
        }
        return parameters;
    }

    ovra_database* database_ = nullptr;
    bool good_ = false;
};

}  // namespace ovratest
