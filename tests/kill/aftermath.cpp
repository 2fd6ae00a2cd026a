#include "tests/kill/aftermath.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

namespace ovratest {

namespace {

namespace fs = std::filesystem;
using ovrasql::checker::CheckDatabase;
using ovrasql::checker::CheckedTable;
using ovrasql::checker::Finding;
using ovrasql::checker::FindingKind;
using ovrasql::checker::ReadFolder;
using ovrasql::checker::ReadTables;

constexpr char kCatalogName[] = "shop.dbf";
constexpr int64_t kMemoryPage = 4096;
// A merge writes the left page with the key of the parent and the right page's, which are three at
// most. Between two pages that stay no more than two move, and one by way of the parent.
constexpr std::ptrdiff_t kMostMovedKeys = 4;

LedgerRow RowOf(const std::vector<std::string>& cells) {
    return {std::stoi(cells[0]), std::stoi(cells[1]), std::stoi(cells[2]), cells[3], cells[4]};
}

Ledger::Rows RowsOf(HostConnection& connection, const std::string& table) {
    Ledger::Rows rows;
    for (const auto& row :
         connection.Select("select id, batch, number, word, story from " + table)) {
        rows.push_back(RowOf(row));
    }
    return rows;
}

std::string Text(const LedgerRow& row) {
    return std::to_string(row.id) + "|" + std::to_string(row.batch) + "|" +
           std::to_string(row.number) + "|" + row.word + "|" + row.story;
}

// The first row that differs, for a message.
std::string Difference(const Ledger::Rows& expected, const Ledger::Rows& found) {
    const std::size_t common = std::min(expected.size(), found.size());
    std::size_t at = 0;
    while (at < common && expected[at] == found[at]) {
        ++at;
    }
    return std::to_string(expected.size()) + " rows expected, " + std::to_string(found.size()) +
           " found; row " + std::to_string(at) + ":\n  expected " +
           (at < expected.size() ? Text(expected[at]) : "none") + "\n  found    " +
           (at < found.size() ? Text(found[at]) : "none");
}

std::vector<fs::path> Temporaries(const std::string& folder, const std::string& part = "") {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        if (entry.path().extension() == ".tmp" && name.find(part) != std::string::npos) {
            found.push_back(entry.path());
        }
    }
    return found;
}

bool IsOfCatalog(const Finding& finding) {
    return finding.kind == FindingKind::kCatalog || finding.file.find("shop") != std::string::npos;
}

bool IsOfIndex(const Finding& finding) {
    return finding.kind == FindingKind::kMissingKey || finding.kind == FindingKind::kStaleKey ||
           finding.kind == FindingKind::kIndexStructure;
}

bool IsOfKey(const Finding& finding) { return finding.kind != FindingKind::kIndexStructure; }

// What a split or a merge between two of its pages shows: a key that is missing or there twice.
bool IsLeftByMove(const Finding& finding) {
    return finding.kind != FindingKind::kStaleKey ||
           finding.text.find("is there twice") != std::string::npos;
}

}  // namespace

Aftermath::Aftermath(std::string folder, Ledger* ledger, const LedgerStatement& killed,
                     KillCounts* counts)
    : folder_(std::move(folder)), ledger_(ledger), killed_(killed), counts_(counts) {}

void Aftermath::Settle() {
    OpenTables();
    CheckFiles();
    CheckTables();
    if (catalogIsBroken_) {
        return;
    }
    HostConnection connection(Catalog());
    SettleDefinitions(connection);
    if (!connection.Pack()) {
        Fault("pack: " + connection.Error());
    }
    for (const fs::path& path : Temporaries(folder_)) {
        fs::remove(path);
    }
    CheckAfterPack();
    CheckSearches(connection);
}

bool Aftermath::Opens(HostConnection& connection, const std::string& table) {
    ovra_view* view =
        ovra_open_view(connection.Handle(), ("select id from " + table).c_str(), -1, nullptr, 0);
    ovra_close_view(view);
    return view != nullptr;
}

// The swap of a rebuilt table begins with its data file. With that one in its place and others not,
// the next one to open the table puts them there, which is to be so before the files are looked at.
void Aftermath::OpenTables() {
    const bool began = Temporaries(folder_, ".dbf.").empty();
    const auto waiting = Temporaries(folder_);
    HostConnection connection(Catalog());
    for (const std::string& table : Ledger::Names()) {
        if (!Opens(connection, table) && connection.Error().empty()) {
            Fault(table + " does not open, without a text");
        }
    }
    if (began && !waiting.empty()) {
        ++counts_->brokenSwaps;
        if (!killed_.Rebuilds() || !Temporaries(folder_).empty()) {
            Fault("new files without their data file were left: " + waiting.front().string());
        }
    }
}

bool Aftermath::Concerns(const Finding& finding) const {
    const auto tables = ReadTables(ReadFolder(folder_), kCatalogName);
    for (const CheckedTable& table : tables) {
        if (table.name != "item") {
            continue;
        }
        const auto place =
            std::find(table.recordNumbers.begin(), table.recordNumbers.end(), finding.record);
        if (place == table.recordNumbers.end()) {
            // A deleted record's key, which a DELETE takes away behind all its records.
            return std::any_of(
                killed_.changes.begin(), killed_.changes.end(),
                [](const RowChange& change) { return change.kind == RowChange::Kind::kRemove; });
        }
        const auto row = table.rows[static_cast<std::size_t>(place - table.recordNumbers.begin())];
        return std::any_of(
            killed_.changes.begin(), killed_.changes.end(),
            [&row](const RowChange& change) { return std::to_string(change.row.id) == row[0]; });
    }
    return false;
}

// A file comes before its catalog row and goes behind it; only DROP INDEX deletes the file first.
bool Aftermath::MayBeLeft(const Finding& finding) const {
    if (finding.kind != FindingKind::kUnlistedFile) {
        return killed_.WritesCatalog() && IsOfCatalog(finding);
    }
    const fs::path file = finding.file;
    return killed_.MakesOrDrops()    ? file.stem() == killed_.table
           : killed_.WritesCatalog() ? file.stem() == killed_.index
                                     : killed_.Rebuilds() && file.extension() == ".tmp";
}

void Aftermath::CheckFiles() {
    Findings ofIndexes;
    for (const Finding& finding : CheckDatabase(ReadFolder(folder_), kCatalogName)) {
        if (MayBeLeft(finding)) {
            continue;
        }
        if (!IsOfCatalog(finding) && IsOfIndex(finding)) {
            ofIndexes.push_back(finding);
        } else if (!finding.harmless) {
            Fault("after the kill: " + finding.text);
        }
    }
    CheckKeys(ofIndexes);
}

// A definition and a rebuild fill their indexes before anybody else can see them.
void Aftermath::CheckKeys(const Findings& findings) {
    bool ownKeys = false;
    std::map<std::string, Findings> others;  // by index
    for (const Finding& finding : findings) {
        if (finding.kind != FindingKind::kIndexStructure && Concerns(finding)) {
            ownKeys = true;
        } else {
            others[finding.file].push_back(finding);
        }
    }
    bool otherKeys = false;
    for (const auto& [index, ofIndex] : others) {
        const auto keys = std::count_if(ofIndex.begin(), ofIndex.end(), IsOfKey);
        const bool isHarmless =
            std::all_of(ofIndex.begin(), ofIndex.end(),
                        [](const Finding& finding) { return finding.harmless; });
        // A key that goes from one page to another by way of their parent is in none of them, or in
        // two; only a change of more pages is seen in the structure as well.
        const bool isMove = keys == static_cast<std::ptrdiff_t>(ofIndex.size());
        const bool isAllowed = !otherKeys && killed_.table == "item" && !killed_.WritesCatalog() &&
                               !killed_.Rebuilds() &&
                               std::all_of(ofIndex.begin(), ofIndex.end(), IsLeftByMove) &&
                               (!isMove || keys <= kMostMovedKeys);
        if (!isHarmless && !isAllowed) {
            Fault("after the kill, of other rows:\n" + ovrasql::checker::Describe(ofIndex));
        }
        otherKeys = otherKeys || !isHarmless;
    }
    counts_->ownKeys += ownKeys ? 1 : 0;
    counts_->otherKeys += otherKeys ? 1 : 0;
}

void Aftermath::CheckTables() {
    HostConnection connection(Catalog());
    if (!connection.IsGood()) {
        Fault("open: " + connection.Error());
        return;
    }
    for (const std::string& table : Ledger::Names()) {
        if (Opens(connection, table)) {
            CheckRows(connection, table);
        } else {
            CheckMissing(table, connection.Error());
        }
    }
}

void Aftermath::CheckRows(HostConnection& connection, const std::string& table) {
    const auto found = RowsOf(connection, table);
    counts_->rowsChecked += found.size();
    if (killed_.table == table && !killed_.MakesOrDrops()) {
        MatchKilled(found, connection.Error());
        return;
    }
    const Ledger::Rows* expected = ledger_->RowsOf(table);
    if (expected == nullptr && killed_.table != table) {
        Fault(table + " was dropped, and is there");
        return;
    }
    const Ledger::Rows rows = expected == nullptr ? Ledger::Rows() : *expected;
    if (found != rows) {
        Fault(table + ": " + Difference(rows, found));
    }
}

// The first changes of the killed statement, and not the others.
void Aftermath::MatchKilled(const Ledger::Rows& found, const std::string& error) {
    for (std::size_t count = 0; count <= killed_.changes.size(); ++count) {
        Ledger candidate = *ledger_;
        candidate.Apply(killed_, count);
        if (*candidate.RowsOf(killed_.table) == found) {
            counts_->insideStatement += count > 0 ? 1 : 0;
            *ledger_ = candidate;
            return;
        }
    }
    if (!MatchTornRow(found)) {
        Fault("rows: " + Difference(*ledger_->RowsOf(killed_.table), found) + "\n" + error);
    }
}

// The same, but that the row being overwritten is neither its old nor its new self.
bool Aftermath::MatchTornRow(const Ledger::Rows& found) {
    for (std::size_t count = 0; count < killed_.changes.size(); ++count) {
        const RowChange& torn = killed_.changes[count];
        const auto actual = std::find_if(
            found.begin(), found.end(), [&torn](const auto& row) { return row.id == torn.row.id; });
        if (torn.kind != RowChange::Kind::kReplace || actual == found.end()) {
            continue;
        }
        LedgerStatement mixture = killed_;
        mixture.changes.resize(count + 1);
        mixture.changes[count].row = *actual;
        Ledger candidate = *ledger_;
        candidate.Apply(mixture, mixture.changes.size());
        if (*candidate.RowsOf(killed_.table) == found && LiesAcrossPages(torn.row.id)) {
            ++counts_->tornRecords;
            *ledger_ = candidate;
            return true;
        }
    }
    return false;
}

bool Aftermath::LiesAcrossPages(int id) {
    const auto files = ReadFolder(folder_);
    const auto& data = files.at("item.dbf");
    const int64_t header = data[8] + 256 * data[9];
    const int64_t length = data[10] + 256 * data[11];
    for (const CheckedTable& table : ReadTables(files, kCatalogName)) {
        for (std::size_t i = 0; table.name == "item" && i < table.rows.size(); ++i) {
            if (table.rows[i][0] == std::to_string(id)) {
                const int64_t first = header + (int64_t{table.recordNumbers[i]} - 1) * length;
                return first / kMemoryPage != (first + length - 1) / kMemoryPage;
            }
        }
    }
    return false;
}

// A table that is not known, which is told so.
void Aftermath::CheckMissing(const std::string& table, const std::string& error) {
    if (error != "Unknown table '" + table + "'") {
        Fault(table + " does not open: " + error);
    }
    if (ledger_->RowsOf(table) == nullptr ||
        (killed_.kind == StatementKind::kDropTable && killed_.table == table)) {
        return;
    }
    if (killed_.WritesCatalog() && IsWholeInItsFile(table)) {
        ++counts_->hiddenTables;
        catalogIsBroken_ = true;
    } else {
        Fault(table + " is lost: " + error);
    }
}

// The checker reads the rows of the catalog without its indexes.
bool Aftermath::IsWholeInItsFile(const std::string& table) const {
    for (const CheckedTable& read : ReadTables(ReadFolder(folder_), kCatalogName)) {
        if (read.name == table) {
            Ledger::Rows rows;
            std::transform(read.rows.begin(), read.rows.end(), std::back_inserter(rows), RowOf);
            return rows == *ledger_->RowsOf(table);
        }
    }
    return false;
}

void Aftermath::CheckAfterPack() {
    for (const Finding& finding : CheckDatabase(ReadFolder(folder_), kCatalogName)) {
        if (IsOfCatalog(finding) && killed_.WritesCatalog()) {
            catalogIsBroken_ = true;
        } else if (!finding.harmless) {
            Fault("after pack: " + finding.text);
        }
    }
    counts_->catalogs += catalogIsBroken_ ? 1 : 0;
}

// Some rows through both indexes, which pack has built anew. The checker has seen all keys.
void Aftermath::CheckSearches(HostConnection& connection) {
    for (const std::string& table : Ledger::Names()) {
        const Ledger::Rows* expected = ledger_->RowsOf(table);
        if (expected != nullptr && *expected != RowsOf(connection, table)) {
            Fault("after pack: " + table + ": " + Difference(*expected, RowsOf(connection, table)));
        }
    }
    const Ledger::Rows& found = *ledger_->RowsOf("item");
    const std::size_t step = std::max<std::size_t>(1, found.size() / 7);
    for (std::size_t i = 0; i < found.size(); i += step) {
        const std::string id = std::to_string(found[i].id);
        const auto byId = connection.Select("select word from item where id = ?", {id});
        if (byId != HostConnection::Rows{{found[i].word}}) {
            Fault("row " + id + " is not found by its id");
        }
        const auto byWord =
            connection.Select("select id from item where word = ?", {found[i].word});
        if (std::find(byWord.begin(), byWord.end(), HostConnection::Row{id}) == byWord.end()) {
            Fault("row " + id + " is not found by its word");
        }
    }
}

}  // namespace ovratest
