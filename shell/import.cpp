#include "shell/import.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <system_error>
#include <unordered_set>

#include "shell/column_fit.h"
#include "shell/column_guess.h"
#include "shell/import_source.h"
#include "shell/interrupt.h"
#include "shell/names.h"
#include "shell/progress_bar.h"
#include "shell/shown_text.h"
#include "shell/value_notes.h"

namespace ovrashell {

namespace {

constexpr std::size_t kTableNameLimit = 64;
constexpr std::size_t kMostColumns = 2046;
constexpr int32_t kLongestRecord = 65535;

// What an import does: which column of the table each value of the file goes to, and whether the
// table is to be made.
struct Plan {
    std::string table;
    bool create = false;
    std::vector<Column> columns;
    std::vector<ValueNotes> notes;
};

// "1 row" or "2 rows".
std::string Count(uint64_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

// The column as the file defines it; of no width where the file defines none.
Column DefinedColumn(const ImportSource& source, std::size_t index) {
    return source.Columns().empty() ? Column{} : source.Columns()[index];
}

std::unique_ptr<ImportSource> OpenSource(const ImportRequest& request) {
    const std::filesystem::path path(request.path);
    return EqualNoCase(path.extension().string(), ".dbf")
               ? OpenDbfSource(request.path)
               : OpenCsvSource(request.path, request.hasHeader, request.separator);
}

// The first columns keep their types; from the one that would make the record too long, the widest
// character columns go to the memo file until the record fits. That many columns of other types
// always fit.
void FitRecord(std::vector<Column>* columns) {
    const auto recordLength = [columns] {
        int32_t length = 1;
        for (const Column& column : *columns) {
            length += column.width;
        }
        return length;
    };
    while (recordLength() > kLongestRecord) {
        const auto widest = std::max_element(
            columns->begin(), columns->end(), [](const Column& a, const Column& b) {
                return (a.letter == 'C' ? a.width : 0) < (b.letter == 'C' ? b.width : 0);
            });
        *widest = {widest->name, 'M', 10, 0};
    }
}

Plan PlanNewTable(ImportSource* source, const std::string& table) {
    const auto names = UsableColumnNames(source->Names());
    std::vector<ColumnGuess> guesses;
    for (std::size_t i = 0; i < names.size(); ++i) {
        guesses.emplace_back(DefinedColumn(*source, i));
    }
    const std::function<std::string()> place = [source] { return source->Place(); };
    ProgressBar progress("measuring");
    source->ForEachRow([&](const SourceRow& row, double part) {
        for (std::size_t i = 0; i < guesses.size(); ++i) {
            guesses[i].See(row[i], place);
        }
        progress.Show(part);
        StopIfInterrupted();
    });
    Plan plan{table, true, {}, {}};
    for (std::size_t i = 0; i < names.size(); ++i) {
        plan.columns.push_back(guesses[i].Result(names[i]));
        plan.notes.push_back(guesses[i].Notes());
    }
    FitRecord(&plan.columns);
    return plan;
}

// No column of a table that is there is called as one without a name, or as the second of a name.
void RefuseUnclearNames(const TableEntry& table, const ImportSource& source) {
    const std::string but = "; table '" + table.name + "' takes columns by their names";
    std::unordered_set<std::string> met;
    for (const std::string& name : source.Names()) {
        if (name.empty()) {
            throw Error("A column of the file has no name" + but);
        }
        if (!met.insert(Lowered(name)).second) {
            throw Error("The file has more than one column " + ShownText(name) + but);
        }
    }
}

// All columns of the table, for a file that has no names and as many columns.
std::vector<Column> ColumnsInOrder(const TableEntry& table, const ImportSource& source) {
    std::vector<Column> columns = DbfFile(table.file).Columns();
    if (columns.size() != source.Names().size()) {
        throw Error("The file has " + Count(source.Names().size(), "column") +
                    " without names, and table '" + table.name + "' has " +
                    Count(columns.size(), "column"));
    }
    return columns;
}

// The columns of the table that the file's columns go to.
std::vector<Column> ColumnsOf(const TableEntry& table, const ImportSource& source) {
    if (!source.HasNames()) {
        return ColumnsInOrder(table, source);
    }
    RefuseUnclearNames(table, source);
    const std::vector<Column> columns = DbfFile(table.file).Columns();
    std::vector<Column> wanted;
    for (const std::string& name : UsableColumnNames(source.Names())) {
        const auto found = std::find_if(columns.begin(), columns.end(), [&](const Column& column) {
            return EqualNoCase(column.name, name);
        });
        if (found == columns.end()) {
            throw Error("Table '" + table.name + "' has no column '" + name + "'");
        }
        wanted.push_back(*found);
    }
    return wanted;
}

// All values are measured first, since the library cuts what is too wide without a word.
Plan PlanExistingTable(ImportSource* source, const TableEntry& table) {
    Plan plan{table.name, false, ColumnsOf(table, *source), {}};
    std::vector<ColumnFit> fits;
    for (std::size_t i = 0; i < plan.columns.size(); ++i) {
        fits.emplace_back(plan.columns[i], DefinedColumn(*source, i));
    }
    const std::function<std::string()> place = [source] { return source->Place(); };
    ProgressBar progress("measuring");
    source->ForEachRow([&](const SourceRow& row, double part) {
        for (std::size_t i = 0; i < fits.size(); ++i) {
            fits[i].See(row[i], place);
        }
        progress.Show(part);
        StopIfInterrupted();
    });
    for (const ColumnFit& fit : fits) {
        if (const std::string misfit = fit.Misfit(); !misfit.empty()) {
            throw Error(misfit + "; nothing was added to " + table.name);
        }
        plan.notes.push_back(fit.Notes());
    }
    return plan;
}

std::string CreateStatement(const Plan& plan) {
    std::string statement = "create table " + plan.table + " (";
    for (const Column& column : plan.columns) {
        statement += (&column == &plan.columns.front() ? "" : ", ") + ColumnText(column);
    }
    return statement + ")";
}

std::string InsertStatement(const Plan& plan) {
    std::string names;
    std::string values;
    for (const Column& column : plan.columns) {
        names += (names.empty() ? "" : ", ") + column.name;
        values += values.empty() ? "?" : ", ?";
    }
    return "insert into " + plan.table + " (" + names + ") values (" + values + ")";
}

// The library takes any text but zeros as true, so a boolean's word becomes 1 or 0.
void ConvertBooleans(const Plan& plan, const ImportSource& source, ParameterList* values) {
    for (std::size_t i = 0; i < values->size(); ++i) {
        std::string& value = (*values)[i];
        if (plan.columns[i].letter != 'L') {
            continue;
        }
        if (IsNoValue(DefinedColumn(source, i), value)) {
            value.clear();
        } else if (const int32_t truth = ParseBoolean(value); truth >= 0) {
            value = truth == 1 ? "1" : "0";
        }
    }
}

uint64_t InsertRows(Database* database, ImportSource* source, const Plan& plan) {
    const std::string statement = InsertStatement(plan);
    ProgressBar progress("importing");
    uint64_t rows = 0;
    const auto insert = [&](const ParameterList& values) {
        try {
            database->Query(statement, values);
        } catch (const Error& error) {
            throw Error(source->Place() + ": " + error.what());
        }
    };
    try {
        source->ForEachRow([&](const SourceRow& row, double part) {
            ParameterList values = row;
            ConvertBooleans(plan, *source, &values);
            insert(values);
            ++rows;
            progress.Show(part);
            StopIfInterrupted();
        });
    } catch (const Error& error) {
        throw Error(std::string(error.what()) + "; " + Count(rows, "row") + " of the file " +
                    (rows == 1 ? "is" : "are") + " in " + plan.table);
    }
    return rows;
}

void Report(const Plan& plan, const ImportSource& source, uint64_t rows, std::ostream* report) {
    *report << Count(rows, "row")
            << (plan.create ? " imported into " : " added to the existing table ") << plan.table
            << '\n';
    for (const std::string& remark : source.Remarks()) {
        *report << remark << '\n';
    }
    for (std::size_t i = 0; source.HasNames() && i < plan.columns.size(); ++i) {
        if (!EqualNoCase(plan.columns[i].name, source.Names()[i])) {
            *report << "column " << ShownText(source.Names()[i]) << " is named "
                    << plan.columns[i].name << '\n';
        }
    }
    for (std::size_t i = 0; i < plan.columns.size(); ++i) {
        TellNotes(plan.columns[i], plan.notes[i], report);
    }
}

// What the library says behind the measuring of the whole file, said in front of it and with the
// way out. A .dbf file beside the database is in its own table's way.
void RefuseFileInTheWay(const std::string& databasePath, const std::string& table) {
    const std::string file = NewDataFile(databasePath, table);
    if (std::error_code error; std::filesystem::exists(file, error)) {
        throw Error("'" + file +
                    "' is in the place of the new table's data file; give the table another name: "
                    ".import FILE TABLE");
    }
}

}  // namespace

char SeparatorFromName(const std::string& name) {
    const std::string separator = name == "tab" ? "\t" : name;
    if (separator.size() != 1 || separator.find_first_of("\"\r\n") != std::string::npos) {
        throw Error("Expected one byte or tab as the separator, found " + ShownText(name));
    }
    return separator.front();
}

std::string ImportCommand(const std::string& path) {
    const std::string stem = std::filesystem::path(path).stem().string();
    return "ovrasql --create new.dbf '.import \"" + path + "\" " +
           UsableName("my_" + stem, kTableNameLimit) + "'";
}

void ImportFile(Database* database, const ImportRequest& request, std::ostream* report) {
    const auto source = OpenSource(request);
    if (source->Names().empty()) {
        throw Error("'" + request.path + "' has no columns");
    }
    if (source->Names().size() > kMostColumns) {
        throw Error("'" + request.path + "' has " + std::to_string(source->Names().size()) +
                    " columns (maximum " + std::to_string(kMostColumns) + ")");
    }
    const std::string name =
        request.table.empty()
            ? UsableName(std::filesystem::path(request.path).stem().string(), kTableNameLimit)
            : request.table;
    const auto existing = LookUpTable(database->Path(), name);
    if (!existing.has_value()) {
        RefuseFileInTheWay(database->Path(), name);
    }
    const Plan plan = existing.has_value() ? PlanExistingTable(source.get(), *existing)
                                           : PlanNewTable(source.get(), name);
    source->EnsureUnchanged();
    if (plan.create) {
        database->Query(CreateStatement(plan));
    }
    const uint64_t rows = InsertRows(database, source.get(), plan);
    Report(plan, *source, rows, report);
}

}  // namespace ovrashell
