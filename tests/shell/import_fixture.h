#pragma once

// ImportTest: a database in a folder of its own, and files to import into it.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "shell/import.h"
#include "tests/support/temporary_folder.h"

namespace ovrashell {

class ImportTest : public testing::Test {
  protected:
    using Rows = std::vector<std::vector<std::string>>;

    ImportTest() : database_(Database::Create(folder_.File("db.dbf"))) {}

    // Imports a file of the folder and gives the report.
    std::string Import(const std::string& name, const std::string& table = "") {
        return ImportPath(folder_.File(name), table);
    }

    std::string ImportPath(const std::string& path, const std::string& table = "",
                           bool hasHeader = true, char separator = '\0') {
        std::ostringstream report;
        ImportFile(&database_, {path, table, hasHeader, separator}, &report);
        return report.str();
    }

    // The message of an import that must fail.
    std::string ErrorOf(const std::string& name, const std::string& table = "") {
        try {
            return "no error, but: " + Import(name, table);
        } catch (const Error& error) {
            return error.what();
        }
    }

    // The file as messages name it.
    std::string Named(const std::string& name) const { return "'" + folder_.File(name) + "'"; }

    Rows Select(const std::string& statement) {
        Rows rows;
        View view = database_.Select(statement);
        while (view.Next()) {
            rows.push_back(view.Values());
        }
        return rows;
    }

    // Files that other people's programs wrote, which need not be there.
    static std::string SharedData() {
        const char* named = std::getenv("OVRA_SHARED_DATA");
        return named != nullptr ? named : std::string(OVRA_SOURCE_FOLDER) + "/../shared/data";
    }

    ovratest::TemporaryFolder folder_;
    Database database_;
};

}  // namespace ovrashell
