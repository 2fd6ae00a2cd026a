#include "shell/import.h"

#include <algorithm>
#include <filesystem>

#include "shell/column_guess.h"
#include "shell/import_source.h"
#include "shell/names.h"
#include "shell/progress_bar.h"

namespace ovrashell {

namespace {

constexpr std::size_t kTableNameLimit = 64;
constexpr int32_t kLongestRecord = 65535;

// What an import does: which column of the table each value of the file goes to, and whether the
// table is to be made.
struct Plan {
    std::string table;
    bool create = false;
    std::vector<Column> columns;
    std::vector<uint64_t> emptyValues;
};

std::unique_ptr<ImportSource> OpenSource(const ImportRequest& request) {
    const std::filesystem::path path(request.path);
    return EqualNoCase(path.extension().string(), ".dbf")
               ? OpenDbfSource(request.path)
               : OpenCsvSource(request.path, request.hasHeader);
}

// The first columns keep their types; from the one that would make the record too long, the widest
// character columns go to the memo file until the record fits.
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
        guesses.emplace_back(source->Columns().empty() ? Column{} : source->Columns()[i]);
    }
    ProgressBar progress("measuring");
    source->ForEachRow([&](const SourceRow& row, double part) {
        for (std::size_t i = 0; i < guesses.size(); ++i) {
            guesses[i].See(row[i]);
        }
        progress.Show(part);
    });
    Plan plan{table, true, {}, {}};
    for (std::size_t i = 0; i < names.size(); ++i) {
        plan.columns.push_back(guesses[i].Result(names[i]));
        plan.emptyValues.push_back(guesses[i].EmptyValues());
    }
    FitRecord(&plan.columns);
    return plan;
}

Plan PlanExistingTable(ImportSource* source, const TableEntry& table) {
    const std::vector<Column> columns = DbfFile(table.file).Columns();
    Plan plan{table.name, false, {}, std::vector<uint64_t>(source->Names().size(), 0)};
    for (const std::string& name : UsableColumnNames(source->Names())) {
        const auto found = std::find_if(columns.begin(), columns.end(), [&](const Column& column) {
            return EqualNoCase(column.name, name);
        });
        if (found == columns.end()) {
            throw Error("Table '" + table.name + "' has no column '" + name + "'");
        }
        plan.columns.push_back(*found);
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
void ConvertBooleans(const Plan& plan, ParameterList* values) {
    for (std::size_t i = 0; i < values->size(); ++i) {
        if (plan.columns[i].letter != 'L' || (*values)[i].empty()) {
            continue;
        }
        const int32_t truth = ParseBoolean((*values)[i]);
        if (truth >= 0) {
            (*values)[i] = truth == 1 ? "1" : "0";
        }
    }
}

uint64_t InsertRows(Database* database, ImportSource* source, const Plan& plan) {
    const std::string statement = InsertStatement(plan);
    ProgressBar progress("importing");
    uint64_t rows = 0;
    source->ForEachRow([&](const SourceRow& row, double part) {
        ParameterList values = row;
        ConvertBooleans(plan, &values);
        database->Query(statement, values);
        ++rows;
        progress.Show(part);
    });
    return rows;
}

void Report(const Plan& plan, const ImportSource& source, uint64_t rows, std::ostream* report) {
    *report << rows << (rows == 1 ? " row" : " rows") << " imported into " << plan.table << '\n';
    if (const std::string fault = source.Fault(); !fault.empty()) {
        *report << fault << '\n';
    }
    for (std::size_t i = 0; i < plan.columns.size(); ++i) {
        if (!EqualNoCase(plan.columns[i].name, source.Names()[i])) {
            *report << "column '" << source.Names()[i] << "' is named " << plan.columns[i].name
                    << '\n';
        }
    }
    for (std::size_t i = 0; i < plan.columns.size(); ++i) {
        const char letter = plan.columns[i].letter;
        if (plan.emptyValues[i] > 0 && (letter == 'N' || letter == 'L')) {
            const bool one = plan.emptyValues[i] == 1;
            *report << plan.emptyValues[i] << (one ? " empty value of " : " empty values of ")
                    << plan.columns[i].name << (one ? " is" : " are")
                    << (letter == 'N' ? " stored as 0\n" : " stored as false\n");
        }
    }
}

}  // namespace

void ImportFile(Database* database, const ImportRequest& request, std::ostream* report) {
    const auto source = OpenSource(request);
    if (source->Names().empty()) {
        throw Error("'" + request.path + "' has no columns");
    }
    const std::string name =
        request.table.empty()
            ? UsableName(std::filesystem::path(request.path).stem().string(), kTableNameLimit)
            : request.table;
    const auto existing = LookUpTable(database->Path(), name);
    const Plan plan = existing.has_value() ? PlanExistingTable(source.get(), *existing)
                                           : PlanNewTable(source.get(), name);
    if (plan.create) {
        database->Query(CreateStatement(plan));
    }
    const uint64_t rows = InsertRows(database, source.get(), plan);
    Report(plan, *source, rows, report);
}

}  // namespace ovrashell
