#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/run_command.h"
#include "tests/support/temporary_folder.h"

namespace ovratest {

inline const std::string kProgram = OVRA_SHELL_PROGRAM;

inline std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char byte : text) {
        quoted += byte == '\'' ? std::string("'\\''") : std::string(1, byte);
    }
    return quoted + "'";
}

class ProgramTest : public testing::Test {
  protected:
    // Runs the program in the test's folder; standard error goes to the file "errors".
    // `before` is what stands in front of the program: a variable, a command.
    CommandResult Run(const std::string& arguments, const std::string& input = "",
                      const std::string& before = "") {
        folder_.Write("input", input);
        return RunCommand("cd " + Quoted(folder_.Path()) + " && " + before + " " +
                          Quoted(kProgram) + " < input 2> errors " + arguments);
    }
    std::string Errors() { return folder_.Read("errors"); }

    // Runs statements on the test's database, made when it is missing. They must succeed.
    std::string Sql(const std::string& statement, const std::string& options = "") {
        const CommandResult result = Run("--create " + options + " db.dbf " + Quoted(statement));
        EXPECT_EQ(result.status, 0) << statement << ": " << Errors();
        return result.output;
    }

    void MakePorts() {
        Sql("create table ports (code char(3), name char(20), depth numeric(4,1), customs "
            "boolean)");
        Sql("insert into ports values ('ANV', 'Anvil Bay', '9.5', 1)");
        Sql("insert into ports values ('BRK', 'Brackwater', 6, 0)");
    }

    TemporaryFolder folder_;
};

}  // namespace ovratest
