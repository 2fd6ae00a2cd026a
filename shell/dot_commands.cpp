#include "shell/dot_commands.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "shell/catalog.h"
#include "shell/database.h"
#include "shell/import.h"
#include "shell/pack_progress.h"
#include "shell/row_writer.h"
#include "shell/session.h"
#include "shell/statement_reader.h"
#include "shell/trace_capture.h"
#include "shell/white_space.h"

namespace ovrashell {

namespace {

constexpr std::string_view kExplain = ".explain";
constexpr std::string_view kImportUsage =
    "Usage: .import [--no-header] [--separator C] FILE [TABLE]";

using Words = std::vector<std::string>;

struct DotCommand {
    std::string_view name;
    std::string_view arguments;
    std::string_view help;
    std::size_t fewest;  // words behind the name
    std::size_t most;
    void (*run)(Session*, const Words&);
};

// The word in quotes at the start of the text, which it is taken away from.
std::string TakeQuotedWord(std::string_view* text) {
    const char quote = text->front();
    std::string word;
    for (;;) {
        text->remove_prefix(1);
        const auto close = text->find(quote);
        if (close == std::string_view::npos) {
            throw Error("A quote is not closed");
        }
        word += text->substr(0, close);
        text->remove_prefix(close + 1);
        if (text->empty() || text->front() != quote) {
            break;
        }
        word += quote;
    }
    if (!text->empty() && kWhiteSpace.find(text->front()) == std::string_view::npos) {
        throw Error("Expected a blank behind the closing quote");
    }
    return word;
}

// Words are separated by blanks; a word in "..." or '...' may hold blanks, a quote that is written
// twice, or nothing.
Words SplitWords(std::string_view line) {
    Words words;
    for (;;) {
        line = WithoutLeadingBlanks(line);
        if (line.empty()) {
            return words;
        }
        if (line.front() == '"' || line.front() == '\'') {
            words.push_back(TakeQuotedWord(&line));
        } else {
            const auto end = std::min(line.find_first_of(kWhiteSpace), line.size());
            words.emplace_back(line.substr(0, end));
            line.remove_prefix(end);
        }
    }
}

// Up to the first blank.
std::string FirstWord(std::string_view line) {
    return std::string(line.substr(0, std::min(line.find_first_of(kWhiteSpace), line.size())));
}

std::size_t LineCount(const std::string& text) {
    return 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool OnOrOff(const std::string& word) {
    const bool isOn = EqualNoCase(word, "on");
    if (!isOn && !EqualNoCase(word, "off")) {
        throw Error("Expected on or off, found '" + word + "'");
    }
    return isOn;
}

void ShowTables(Session* session, const Words& /*words*/) {
    for (const TableEntry& table : ReadCatalog(session->Connection().Path())) {
        *session->Out() << OneLine(table.name) << '\n';
    }
}

std::string IndexText(const TableEntry& table, const IndexEntry& index) {
    std::string columns;
    for (const char byte : index.columns) {
        columns +=
            byte == ':' ? std::string(index.descending ? " desc, " : ", ") : std::string(1, byte);
    }
    return OneLine(std::string(index.unique ? "create unique index " : "create index ") +
                   index.name + " on " + table.name + " (" + columns +
                   (index.descending ? " desc)" : ")"));
}

std::string TableText(const TableEntry& table) {
    std::string text = "create table " + table.name + " (";
    const std::vector<Column> columns = DbfFile(table.file).Columns();
    for (std::size_t i = 0; i < columns.size(); ++i) {
        text += (i == 0 ? "" : ", ") + ColumnText(columns[i]);
    }
    return OneLine(text + ")");
}

// The tables that the words name: one, or all.
std::vector<TableEntry> TablesOf(Session* session, const Words& words) {
    const std::string& path = session->Connection().Path();
    return words.empty() ? ReadCatalog(path) : std::vector{FindTable(path, words[0])};
}

// A table that cannot be read hides no other one: what is wrong with it is told in the end.
void ShowSchema(Session* session, const Words& words) {
    std::string errors;
    for (const TableEntry& table : TablesOf(session, words)) {
        try {
            *session->Out() << TableText(table) << '\n';
            for (const IndexEntry& index : table.indexes) {
                *session->Out() << IndexText(table, index) << '\n';
            }
        } catch (const Error& error) {
            errors += (errors.empty() ? "" : "\n") + std::string(error.what());
        }
    }
    if (!errors.empty()) {
        throw Error(errors);
    }
}

void SetMode(Session* session, const Words& words) {
    if (words.empty()) {
        *session->Out() << OutputModeName(session->Mode()) << '\n';
        return;
    }
    const auto mode = OutputModeFromName(Lowered(words[0]));
    if (!mode.has_value()) {
        throw Error("Unknown mode '" + words[0] + "': table, csv, tsv, json and line are known");
    }
    session->SetMode(*mode);
}

void SetHeaders(Session* session, const Words& words) { session->SetHeaders(OnOrOff(words[0])); }

void SetTimer(Session* session, const Words& words) { session->SetTimer(OnOrOff(words[0])); }

void SetEcho(Session* session, const Words& words) { session->SetEcho(OnOrOff(words[0])); }

void SetParameters(Session* session, const Words& words) { session->SetParameters(words); }

void Import(Session* session, const Words& words) {
    ImportRequest request;
    std::size_t next = 0;
    for (; next < words.size() && words[next].starts_with("--"); ++next) {
        if (words[next] == "--no-header") {
            request.hasHeader = false;
        } else if (words[next] == "--separator" && next + 1 < words.size()) {
            request.separator = SeparatorFromName(words[++next]);
        } else {
            throw Error(std::string(kImportUsage));
        }
    }
    if (next == words.size() || words.size() > next + 2) {
        throw Error(std::string(kImportUsage));
    }
    request.path = WithHome(words[next]);
    request.table = next + 1 < words.size() ? words[next + 1] : std::string();
    // Not among the rows, which may go to a file or to another program.
    std::ostringstream report;
    ImportFile(&session->Connection(), request, &report);
    session->Out()->flush();
    std::cerr << Lines(report.str());
}

void ReadFile(Session* session, const Words& words) { session->RunFile(WithHome(words[0])); }

void SetOutput(Session* session, const Words& words) {
    session->SendOutputTo(words.empty() ? std::string() : WithHome(words[0]));
}

void SetTrace(Session* session, const Words& words) {
    session->SetTrace(EqualNoCase(words[0], "off") ? "/dev/null" : WithHome(words[0]));
}

void ShowIndexes(Session* session, const Words& words) {
    for (const TableEntry& table : TablesOf(session, words)) {
        for (const IndexEntry& index : table.indexes) {
            *session->Out() << IndexText(table, index) << '\n';
        }
    }
}

// The trace holds the statement between its head line and the program; the program's lines begin
// with their number, and the optimizer's notes stand before them.
void Explain(Session* session, const std::string& statement) {
    const TraceCapture trace(session);
    session->Connection().Compile(statement);
    std::istringstream lines(trace.Text());
    std::string line;
    std::size_t skipped = 0;
    while (std::getline(lines, line)) {
        // The head line and the statement's own lines come first, the refusal to run comes last.
        if (skipped < 1 + LineCount(statement)) {
            ++skipped;
        } else if (!line.empty() && line.rfind("*** ", 0) != 0) {
            *session->Out() << line << '\n';
        }
    }
}

void Pack(Session* session, const Words& /*words*/) {
    const TraceCapture trace(session);
    PackProgress progress(trace);
    session->Connection().Pack();
}

void Quit(Session* session, const Words& /*words*/) { session->SetQuitting(); }

void ShowHelp(Session* session, const Words& words);

constexpr std::array kCommands = {
    DotCommand{".echo", "on|off", "show each line before it is run", 1, 1, SetEcho},
    DotCommand{".exit", "", "leave", 0, 0, Quit},
    DotCommand{".explain", "STATEMENT", "show the program of a statement without running it", 1, 0,
               nullptr},
    DotCommand{".headers", "on|off", "show column names above the rows", 1, 1, SetHeaders},
    DotCommand{".help", "[COMMAND]", "show this list, or what one command does", 0, 1, ShowHelp},
    DotCommand{".import", "[OPTIONS] FILE [TABLE]",
               "read a .csv or .dbf file into a table; options: --no-header, --separator C", 0, 5,
               Import},
    DotCommand{".indexes", "[TABLE]", "list the indexes as statements", 0, 1, ShowIndexes},
    DotCommand{".mode", "[MODE]", "show rows as table, csv, tsv, json or line", 0, 1, SetMode},
    DotCommand{".output", "[FILE]", "send rows to a file, or back to the screen", 0, 1, SetOutput},
    DotCommand{".pack", "", "drop deleted records and build all indexes again", 0, 0, Pack},
    DotCommand{".parameters", "[VALUE ...]", "set the values of ? and :n in statements", 0, 1000,
               SetParameters},
    DotCommand{".quit", "", "leave", 0, 0, Quit},
    DotCommand{".read", "FILE", "run the statements of a file", 1, 1, ReadFile},
    DotCommand{".schema", "[TABLE]", "show tables and indexes as statements", 0, 1, ShowSchema},
    DotCommand{".tables", "", "list the tables", 0, 0, ShowTables},
    DotCommand{".timer", "on|off", "show on standard error how long each statement takes", 1, 1,
               SetTimer},
    DotCommand{".trace", "FILE|off", "write programs and errors to a file", 1, 1, SetTrace},
};

// Nothing where there is no such command. The name is taken in any case.
const DotCommand* FindCommand(std::string_view name) {
    const auto* const found =
        std::find_if(kCommands.begin(), kCommands.end(),
                     [&](const DotCommand& entry) { return EqualNoCase(entry.name, name); });
    return found == kCommands.end() ? nullptr : found;
}

// Throws an Error where there is none.
const DotCommand& NamedCommand(const std::string& name) {
    const DotCommand* command = FindCommand(name);
    if (command == nullptr) {
        throw Error("Unknown command '" + name + "'; .help lists the commands");
    }
    return *command;
}

std::string HelpText(const DotCommand& command) {
    std::string text = std::string(command.name) + ' ' + std::string(command.arguments);
    text.resize(std::max<std::size_t>(text.size(), 35), ' ');
    return text + std::string(command.help) + '\n';
}

void ShowHelp(Session* session, const Words& words) {
    std::ostream& out = *session->Out();
    if (!words.empty()) {
        out << HelpText(NamedCommand((words[0].rfind('.', 0) == 0 ? "" : ".") + words[0]));
        return;
    }
    for (const DotCommand& command : kCommands) {
        out << HelpText(command);
    }
    out << "\n"
           "A statement that is typed ends with its line, or at a \";\". In a script, and in\n"
           "what is pasted, it goes on to a \";\", an empty line, or the line that begins the\n"
           "next one. A \"\\\" at the end of a line goes on with the next one everywhere.\n"
           "Ctrl-C gives a line up, and stops a statement at its next row.\n";
}

}  // namespace

void RunDotCommand(Session* session, const std::string& line) {
    // A statement's quotes are its own, so it is not split into words.
    const std::string name = FirstWord(line);
    if (EqualNoCase(name, kExplain) && name.size() < line.size()) {
        for (const std::string& statement : SplitStatements(line.substr(name.size()))) {
            Explain(session, statement);
        }
        return;
    }
    const DotCommand& command = NamedCommand(name);
    const Words words = SplitWords(std::string_view(line).substr(name.size()));
    if (words.size() < command.fewest || words.size() > command.most) {
        throw Error("Usage: " + std::string(command.name) + (command.arguments.empty() ? "" : " ") +
                    std::string(command.arguments));
    }
    command.run(session, words);
}

std::vector<std::string> DotCommandNames() {
    std::vector<std::string> names;
    std::transform(kCommands.begin(), kCommands.end(), std::back_inserter(names),
                   [](const DotCommand& command) { return std::string(command.name.substr(1)); });
    return names;
}

std::string_view DotCommandArguments(std::string_view line) {
    const DotCommand* command = FindCommand(FirstWord(line));
    return command == nullptr ? std::string_view() : command->arguments;
}

std::string WithHome(const std::string& path) {
    const char* home = std::getenv("HOME");
    return path.rfind("~/", 0) == 0 && home != nullptr ? home + path.substr(1) : path;
}

}  // namespace ovrashell
