#include "shell/completion.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include "shell/catalog.h"
#include "shell/database.h"
#include "shell/dot_commands.h"
#include "shell/names.h"
#include "shell/row_writer.h"
#include "shell/white_space.h"

namespace ovrashell {

namespace {

constexpr std::string_view kQuotes = "\"'";

using Names = std::set<std::string>;

bool HasWord(std::string_view arguments, std::string_view word) {
    return arguments.find(word) != std::string_view::npos;
}

void AddColumnNames(const TableEntry& table, Names* names) {
    try {
        const DbfFile file(table.file);
        for (const Column& column : file.Columns()) {
            names->insert(Lowered(column.name));
        }
    } catch (const Error&) {
        // A table that cannot be read offers its own name only.
    }
}

std::vector<TableEntry> Tables(const std::string& databasePath) {
    try {
        return ReadCatalog(databasePath);
    } catch (const Error&) {
        // A catalog that cannot be read offers no names; the statement itself will tell why.
        return {};
    }
}

Names TableNames(const std::string& databasePath) {
    Names names;
    for (const TableEntry& table : Tables(databasePath)) {
        names.insert(table.name);
    }
    return names;
}

Names ColumnNames(const std::string& databasePath) {
    Names names;
    for (const TableEntry& table : Tables(databasePath)) {
        AddColumnNames(table, &names);
    }
    return names;
}

Names StatementWords(const std::string& databasePath) {
    Names names = TableNames(databasePath);
    names.merge(ColumnNames(databasePath));
    names.insert(ReservedWords().begin(), ReservedWords().end());
    return names;
}

Names Commands() {
    const auto commands = DotCommandNames();
    return {commands.begin(), commands.end()};
}

// The last word of a line, of which a quote may be open.
struct LastWord {
    std::string_view text;  // behind its quote
    char quote = '\0';
};

LastWord LastWordOf(std::string_view line) {
    LastWord word;
    std::size_t start = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (word.quote != '\0') {
            word.quote = line[i] == word.quote ? '\0' : word.quote;
        } else if (kQuotes.find(line[i]) != std::string_view::npos) {
            word.quote = line[i];
            start = i + 1;
        } else if (kWhiteSpace.find(line[i]) != std::string_view::npos) {
            start = i + 1;
        }
    }
    word.text = line.substr(start);
    return word;
}

// Puts a name into quotes that has to stand in them, or closes those that are open. A folder's stay
// open, since its name goes on with what is in it.
std::string AsWord(const std::string& path, bool isFolder, char quote) {
    const bool needsQuotes =
        path.find_first_of(kWhiteSpace) != std::string::npos || path.find_first_of(kQuotes) == 0;
    const char used = quote == '\0' && needsQuotes ? '"' : quote;
    std::string word = quote == '\0' && needsQuotes ? used + path : path;
    word += isFolder ? "/" : "";
    word += !isFolder && used != '\0' ? std::string(1, used) : std::string();
    return word;
}

Names FileNames(std::string_view line, std::string_view text) {
    const LastWord word = LastWordOf(line);
    const std::size_t slash = word.text.rfind('/');
    const std::string folder(word.text.substr(0, slash == std::string_view::npos ? 0 : slash + 1));
    const std::string stem(word.text.substr(folder.size()));
    Names names;
    std::error_code error;
    std::filesystem::directory_iterator entries(folder.empty() ? "." : WithHome(folder), error);
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
        const std::string name = entries->path().filename().string();
        const bool isHidden = name.front() == '.' && stem.empty();
        if (!isHidden && name.compare(0, stem.size(), stem) == 0) {
            std::error_code unknown;
            const std::string found =
                AsWord(folder + name, entries->is_directory(unknown), word.quote);
            names.insert(found.substr(word.text.size() - text.size()));
        }
    }
    return names;
}

Names CommandWords(const std::string& databasePath, std::string_view line, std::string_view text) {
    if (line.size() == text.size() + 1) {
        return Commands();  // the point is not part of the text
    }
    const std::string_view arguments = DotCommandArguments(line);
    if (IsFileWanted(line)) {
        return FileNames(line, text);
    }
    if (HasWord(arguments, "MODE")) {
        return {"csv", "json", "line", "table", "tsv"};
    }
    if (HasWord(arguments, "on|off")) {
        return {"off", "on"};
    }
    if (HasWord(arguments, "TABLE")) {
        return TableNames(databasePath);
    }
    return HasWord(arguments, "COMMAND") ? Commands() : StatementWords(databasePath);
}

Names Candidates(const std::string& databasePath, std::string_view line, std::string_view text) {
    const std::string_view typed = WithoutLeadingBlanks(line);
    if (typed.substr(0, 1) == ".") {
        return CommandWords(databasePath, typed, text);
    }
    const std::string_view before = line.substr(0, line.size() - text.size());
    const bool isColumn = !before.empty() && before.back() == '.';
    return isColumn ? ColumnNames(databasePath) : StatementWords(databasePath);
}

}  // namespace

bool IsFileWanted(std::string_view line) {
    const std::string_view typed = WithoutLeadingBlanks(line);
    const bool isBehindCommand = typed.find_first_of(kWhiteSpace) != std::string_view::npos;
    return isBehindCommand && HasWord(DotCommandArguments(typed), "FILE");
}

std::vector<std::string> Completions(const std::string& databasePath, std::string_view line,
                                     std::string_view text) {
    // Names of files are the only ones that have a case.
    const bool isFileWanted = IsFileWanted(line);
    std::vector<std::string> matches;
    for (const std::string& name : Candidates(databasePath, line, text)) {
        const bool begins = EqualNoCase(std::string_view(name).substr(0, text.size()), text);
        if ((isFileWanted || begins) && OneLine(name) == name) {
            matches.push_back(name);
        }
    }
    return matches;
}

}  // namespace ovrashell
