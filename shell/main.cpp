// ovrasql: the prompt program.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "shell/database.h"
#include "shell/prompt.h"
#include "shell/session.h"

namespace {

using ovrashell::Database;
using ovrashell::Error;
using ovrashell::Session;

struct Arguments {
    std::string database;
    std::vector<std::string> statements;
    std::string file;
    std::string mode = "table";
    std::string log;
    std::vector<std::string> parameters;
    bool create = false;
    bool noHeaders = false;
    bool caseInsensitive = false;
    bool timer = false;
    int lockTimeout = -1;
};

void Declare(CLI::App* app, Arguments* arguments) {
    app->set_version_flag("--version", "ovrasql " OVRASQL_VERSION);
    app->add_option("DATABASE", arguments->database, "the database's schema table, a .dbf file")
        ->required();
    app->add_option("SQL", arguments->statements, "statements or dot commands to run");
    app->add_flag("-c,--create", arguments->create, "create the database when it is missing");
    app->add_option("-f,--file", arguments->file, "run the statements of a file");
    app->add_option("-m,--mode", arguments->mode, "table, csv, tsv, json or line")
        ->check(CLI::IsMember({"table", "csv", "tsv", "json", "line"}));
    app->add_flag("--no-headers", arguments->noHeaders, "leave the column names out");
    app->add_option("-p,--parameter", arguments->parameters, "the value of the next ? (repeatable)")
        ->allow_extra_args(false);
    app->add_flag("-i,--case-insensitive", arguments->caseInsensitive,
                  "compare texts without regard to case");
    app->add_flag("--timer", arguments->timer, "show how long each statement takes");
    app->add_option("--log", arguments->log, "write programs and errors to this file");
    app->add_option("--lock-timeout", arguments->lockTimeout,
                    "milliseconds to wait for a lock that somebody else holds");
}

bool IsInteractive(const Arguments& arguments) {
    return arguments.statements.empty() && arguments.file.empty() && ::isatty(STDIN_FILENO) != 0;
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

Database OpenDatabase(const Arguments& arguments) {
    Database database = WantsCreation(arguments) ? Database::Create(arguments.database)
                                                 : Database::Open(arguments.database);
    if (!arguments.log.empty()) {
        database.SetOption("log", arguments.log);
    }
    if (arguments.caseInsensitive) {
        database.SetOption("caseinsensitive", "");
    }
    if (arguments.lockTimeout >= 0) {
        database.SetOption("lock_timeout", std::to_string(arguments.lockTimeout));
    }
    return database;
}

void Run(const Arguments& arguments) {
    Session session(OpenDatabase(arguments), &std::cout);
    session.SetMode(*ovrashell::OutputModeFromName(arguments.mode));
    session.SetHeaders(!arguments.noHeaders);
    session.SetTimer(arguments.timer);
    session.SetParameters(arguments.parameters);
    if (!arguments.file.empty()) {
        session.RunFile(arguments.file);
    }
    for (const std::string& statement : arguments.statements) {
        if (!session.IsQuitting()) {
            session.RunLine(statement);
        }
    }
    if (!arguments.file.empty() || !arguments.statements.empty()) {
        session.Out()->flush();
    } else if (IsInteractive(arguments)) {
        std::cout << "ovrasql " OVRASQL_VERSION ". .help lists the commands, .quit leaves.\n";
        RunPrompt(&session, arguments.database);
    } else {
        session.RunStream(&std::cin);
    }
    session.SendOutputTo("");
    if (!std::cout.flush()) {
        throw Error("The output cannot be written");
    }
}

// The exit status.
int RunProgram(int argc, char** argv) {
    CLI::App app("SQL over xBase files, at a prompt.");
    Arguments arguments;
    Declare(&app, &arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 1;
    }
    Run(arguments);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return RunProgram(argc, argv);
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fputs(error.what(), stderr);
        std::fputc('\n', stderr);
    } catch (...) {
        std::fputs("Failed for an unknown reason\n", stderr);
    }
    return 1;
}
