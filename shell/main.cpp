// ovrasql: the prompt program.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "shell/catalog.h"
#include "shell/database.h"
#include "shell/import.h"
#include "shell/prompt.h"
#include "shell/row_writer.h"
#include "shell/session.h"

namespace {

using ovrashell::Database;
using ovrashell::Error;
using ovrashell::Session;

struct Arguments {
    std::string database;
    std::vector<std::string> statements;
    std::optional<std::string> file;
    std::string mode = "table";
    std::optional<std::string> log;
    std::vector<std::string> parameters;
    bool create = false;
    bool noHeaders = false;
    bool caseInsensitive = false;
    bool timer = false;
    std::optional<int> lockTimeout;
};

// Any number of statements, each as it was typed: an option that "allows extra arguments" would
// lose the brackets of one that stands in [ ]. So it is said to need more than there can be, which
// nobody checks where all are taken.
void TakeAllAsTyped(CLI::Option* statements) {
    constexpr int kMost = CLI::detail::expected_max_vector_size;
    statements->take_all()->allow_extra_args(false)->expected(kMost - 1, kMost);
}

void Declare(CLI::App* app, Arguments* arguments) {
    app->set_version_flag("--version", "ovrasql " OVRASQL_VERSION);
    app->add_option("DATABASE", arguments->database, "the database's schema table, a .dbf file")
        ->required();
    TakeAllAsTyped(
        app->add_option("SQL", arguments->statements, "statements or dot commands to run"));
    app->add_flag("-c,--create", arguments->create, "create the database when it is missing");
    app->add_option("-f,--file", arguments->file, "run the statements of a file");
    app->add_option("-m,--mode", arguments->mode, "table, csv, tsv, json or line")
        ->check(CLI::IsMember({"table", "csv", "tsv", "json", "line"}));
    app->add_flag("--no-headers", arguments->noHeaders, "leave the column names out");
    app->add_option("-p,--parameter", arguments->parameters, "the value of the next ? (repeatable)")
        ->take_all()
        ->allow_extra_args(false)
        ->expected(1);
    app->add_flag("-i,--case-insensitive", arguments->caseInsensitive,
                  "compare texts without regard to case");
    app->add_flag("--timer", arguments->timer,
                  "show on standard error how long each statement takes");
    app->add_option("--log", arguments->log, "write programs and errors to this file");
    app->add_option("--lock-timeout", arguments->lockTimeout,
                    "milliseconds to wait for a lock that somebody else holds")
        ->check(CLI::NonNegativeNumber);
}

bool IsInteractive(const Arguments& arguments) {
    return arguments.statements.empty() && !arguments.file.has_value() &&
           ::isatty(STDIN_FILENO) != 0;
}

bool FileIsThere(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

bool WantsCreation(const Arguments& arguments) {
    if (FileIsThere(arguments.database)) {
        return false;
    }
    if (arguments.create || !IsInteractive(arguments)) {
        return arguments.create;
    }
    std::cout << "There is no database '" << arguments.database << "'. Create it? [y/N] "
              << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
}

// A table that somebody takes for a database is told how to become part of one.
Database OpenExisting(const std::string& path) {
    try {
        return Database::Open(path);
    } catch (const Error& error) {
        if (!ovrashell::IsPlainTable(path)) {
            throw;
        }
        throw Error(
            std::string(error.what()) + "\n'" + path +
            "' looks like a table, not a database. To use it: " + ovrashell::ImportCommand(path));
    }
}

Database OpenDatabase(const Arguments& arguments) {
    Database database = WantsCreation(arguments) ? Database::Create(arguments.database)
                                                 : OpenExisting(arguments.database);
    if (arguments.caseInsensitive) {
        database.SetOption("caseinsensitive", "");
    }
    if (arguments.lockTimeout.has_value()) {
        database.SetOption("lock_timeout", std::to_string(*arguments.lockTimeout));
    }
    return database;
}

void RunStandardInput(Session* session) {
    session->RunStream(&std::cin);
    // The stream over it knows an end only.
    if (std::ferror(stdin) != 0) {
        throw Error("Cannot read standard input: " + std::generic_category().message(errno));
    }
}

void Run(const Arguments& arguments) {
    Session session(OpenDatabase(arguments), &std::cout);
    if (arguments.log.has_value()) {
        session.SetTrace(*arguments.log);
    }
    session.SetMode(*ovrashell::OutputModeFromName(arguments.mode));
    session.SetHeaders(!arguments.noHeaders);
    session.SetTimer(arguments.timer);
    session.SetParameters(arguments.parameters);
    if (arguments.file.has_value()) {
        session.RunFile(*arguments.file);
    }
    for (const std::string& statement : arguments.statements) {
        if (!session.IsQuitting()) {
            session.RunText(statement);
        }
    }
    if (arguments.file.has_value() || !arguments.statements.empty()) {
        session.Out()->flush();
    } else if (IsInteractive(arguments)) {
        std::cout << "ovrasql " OVRASQL_VERSION ". .help lists the commands, .quit leaves.\n";
        RunPrompt(&session, arguments.database);
    } else {
        RunStandardInput(&session);
    }
    session.SendOutputTo("");
}

// The exit status.
int RunProgram(int argc, char** argv) {
    CLI::App app("SQL over xBase files, at a prompt.");
    Arguments arguments;
    Declare(&app, &arguments);
    int status = 0;
    try {
        app.parse(argc, argv);
        Run(arguments);
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) == 0 ? 0 : 1;
    }
    if (!std::cout.flush()) {
        throw Error("The output cannot be written");
    }
    return status;
}

// The first file opened while standard output is closed would get its number, and the rows.
void FillStandardDescriptors() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        if (::fcntl(number, F_GETFD) < 0) {
            // The lowest free number is given. In the direction that nobody uses: reading and
            // writing fail as they did.
            ::open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

// What is typed and shown has the characters of the user's locale. Where none is set ("C"), that
// would be ASCII alone, and the editor would drop the rest. Numbers keep their point.
void ChooseCharacters() {
    const char* chosen = std::setlocale(LC_CTYPE, "");
    if (chosen == nullptr || std::string_view(chosen) == "C") {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
}

}  // namespace

int main(int argc, char** argv) {
    FillStandardDescriptors();
    ChooseCharacters();
    try {
        return RunProgram(argc, argv);
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s\n", ovrashell::Lines(error.what()).c_str());
    } catch (...) {
        std::fputs("Failed for an unknown reason\n", stderr);
    }
    return 1;
}
