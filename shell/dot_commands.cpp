#include "shell/dot_commands.h"

#include <algorithm>
#include <array>
#include <sstream>

#include "shell/catalog.h"
#include "shell/database.h"
#include "shell/import.h"
#include "shell/pack_progress.h"
#include "shell/session.h"
#include "shell/statement_reader.h"
#include "shell/trace_capture.h"

namespace ovrashell {

namespace {

constexpr std::string_view kExplain = ".explain";

using Words = std::vector<std::string>;

struct DotCommand {
    std::string_view name;
    std::string_view arguments;
    std::string_view help;
    std::size_t fewest;  // words behind the name
    std::size_t most;
    void (*run)(Session*, const Words&);
};

// Words are separated by blanks; a word in "..." or '...' may hold blanks and may be empty.
Words SplitWords(const std::string& line) {
    Words words;
    std::size_t i = 0;
    while ((i = line.find_first_not_of(" \t\r\n", i)) != std::string::npos) {
        const char quote = line[i];
        if (quote == '"' || quote == '\'') {
            const auto close = line.find(quote, i + 1);
            if (close == std::string::npos) {
                throw Error("A quote is not closed");
            }
            words.push_back(line.substr(i + 1, close - i - 1));
            i = close + 1;
        } else {
            const auto end = line.find_first_of(" \t\r\n", i);
            words.push_back(line.substr(i, end - i));
            i = end == std::string::npos ? line.size() : end;
        }
    }
    return words;
}

std::size_t LineCount(const std::string& text) {
    return 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool OnOrOff(const std::string& word) {
    if (word != "on" && word != "off") {
        throw Error("Expected on or off, found '" + word + "'");
    }
    return word == "on";
}

void ShowTables(Session* session, const Words& /*words*/) {
    for (const TableEntry& table : ReadCatalog(session->Connection().Path())) {
        *session->Out() << table.name << '\n';
    }
}

std::string IndexText(const TableEntry& table, const IndexEntry& index) {
    std::string columns;
    for (const char byte : index.columns) {
        columns +=
            byte == ':' ? std::string(index.descending ? " desc, " : ", ") : std::string(1, byte);
    }
    return std::string(index.unique ? "create unique index " : "create index ") + index.name +
           " on " + table.name + " (" + columns + (index.descending ? " desc)" : ")");
}

void ShowTableSchema(Session* session, const TableEntry& table) {
    std::ostream& out = *session->Out();
    out << "create table " << table.name << " (";
    const std::vector<Column> columns = DbfFile(table.file).Columns();
    for (std::size_t i = 0; i < columns.size(); ++i) {
        out << (i == 0 ? "" : ", ") << ColumnText(columns[i]);
    }
    out << ")\n";
    for (const IndexEntry& index : table.indexes) {
        out << IndexText(table, index) << '\n';
    }
}

void ShowSchema(Session* session, const Words& words) {
    const std::string& path = session->Connection().Path();
    if (!words.empty()) {
        ShowTableSchema(session, FindTable(path, words[0]));
        return;
    }
    for (const TableEntry& table : ReadCatalog(path)) {
        ShowTableSchema(session, table);
    }
}

void SetMode(Session* session, const Words& words) {
    if (words.empty()) {
        *session->Out() << OutputModeName(session->Mode()) << '\n';
        return;
    }
    const auto mode = OutputModeFromName(words[0]);
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
    request.hasHeader = words[0] != "--no-header";
    next += request.hasHeader ? 0 : 1;
    if (next == words.size() || words.size() > next + 2) {
        throw Error("Usage: .import [--no-header] FILE [TABLE]");
    }
    request.path = words[next];
    request.table = next + 1 < words.size() ? words[next + 1] : std::string();
    ImportFile(&session->Connection(), request, session->Out());
}

void ReadFile(Session* session, const Words& words) { session->RunFile(words[0]); }

void SetOutput(Session* session, const Words& words) {
    session->SendOutputTo(words.empty() ? std::string() : words[0]);
}

void SetTrace(Session* session, const Words& words) {
    session->SetTrace(words[0] == "off" ? "/dev/null" : words[0]);
}

void ShowIndexes(Session* session, const Words& words) {
    const std::string& path = session->Connection().Path();
    for (const TableEntry& table :
         words.empty() ? ReadCatalog(path) : std::vector{FindTable(path, words[0])}) {
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
    DotCommand{".explain", "STATEMENT", "show the program of a statement without running it", 1, 0,
               nullptr},
    DotCommand{".headers", "on|off", "show column names above the rows", 1, 1, SetHeaders},
    DotCommand{".help", "", "show this list", 0, 0, ShowHelp},
    DotCommand{".import", "[--no-header] FILE [TABLE]", "read a .csv or .dbf file into a table", 1,
               3, Import},
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

void ShowHelp(Session* session, const Words& /*words*/) {
    std::ostream& out = *session->Out();
    for (const DotCommand& command : kCommands) {
        std::string left = std::string(command.name) + ' ' + std::string(command.arguments);
        left.resize(std::max<std::size_t>(left.size(), 35), ' ');
        out << left << command.help << '\n';
    }
    out << "\nA statement ends with its line, or at a \";\". A \"\\\" at the end of a line goes "
           "on\n"
           "with the next one. Ctrl-C gives a line up, and stops a statement at its next row.\n";
}

}  // namespace

void RunDotCommand(Session* session, const std::string& line) {
    // A statement's quotes are its own, so it is not split into words.
    if (line.rfind(kExplain, 0) == 0 && line.size() > kExplain.size() &&
        (line[kExplain.size()] == ' ' || line[kExplain.size()] == '\t')) {
        for (const std::string& statement : SplitStatements(line.substr(kExplain.size()))) {
            Explain(session, statement);
        }
        return;
    }
    Words words = SplitWords(line);
    const std::string name = words.front();
    words.erase(words.begin());
    const auto* command = std::find_if(kCommands.begin(), kCommands.end(),
                                       [&](const DotCommand& entry) { return entry.name == name; });
    if (command == kCommands.end()) {
        throw Error("Unknown command '" + name + "'; .help lists the commands");
    }
    if (words.size() < command->fewest || words.size() > command->most) {
        throw Error("Usage: " + name + (command->arguments.empty() ? "" : " ") +
                    std::string(command->arguments));
    }
    command->run(session, words);
}

std::vector<std::string> DotCommandNames() {
    std::vector<std::string> names;
    std::transform(kCommands.begin(), kCommands.end(), std::back_inserter(names),
                   [](const DotCommand& command) { return std::string(command.name); });
    return names;
}

}  // namespace ovrashell
