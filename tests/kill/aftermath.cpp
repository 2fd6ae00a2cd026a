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
constexpr char kAllRows[] = "select id, batch, number, word, story from item";

std::vector<LedgerRow> RowsOf(HostConnection& connection) {
    std::vector<LedgerRow> rows;
    for (const auto& row : connection.Select(kAllRows)) {
        rows.push_back({std::stoi(row[0]), std::stoi(row[1]), std::stoi(row[2]), row[3], row[4]});
    }
    return rows;
}

std::string Text(const LedgerRow& row) {
    return std::to_string(row.id) + "|" + std::to_string(row.batch) + "|" +
           std::to_string(row.number) + "|" + row.word + "|" + row.story;
}

// The first row that differs, for a message.
std::string Difference(const std::vector<LedgerRow>& expected,
                       const std::vector<LedgerRow>& found) {
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

std::vector<fs::path> Temporaries(const std::string& folder, const std::string& beginning) {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        if (entry.path().extension() == ".tmp" &&
            name.compare(0, beginning.size(), beginning) == 0) {
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
    CheckRows();
    HostConnection connection(Catalog());
    SettleDefinitions(connection);
    if (!connection.Pack()) {
        Fault("pack: " + connection.Error());
    }
    for (const fs::path& path : Temporaries(folder_, "")) {
        fs::remove(path);
    }
    CheckAfterPack();
    CheckSearches(connection);
}

// The swap of a rebuilt table begins with its data file. With that one in its place and others not,
// the next one to open the table puts them there, which is to be so before the files are looked at.
void Aftermath::OpenTables() {
    const bool began =
        Temporaries(folder_, "item.dbf.").empty() && Temporaries(folder_, "source.dbf.").empty();
    const auto waiting = Temporaries(folder_, "");
    HostConnection connection(Catalog());
    connection.Select("select id from item");
    connection.Select("select place from source");
    if (began && !waiting.empty()) {
        ++counts_->brokenSwaps;
        if (!killed_.Rebuilds() || !Temporaries(folder_, "").empty()) {
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

void Aftermath::CheckFiles() {
    Findings ofIndexes;
    for (const Finding& finding : CheckDatabase(ReadFolder(folder_), kCatalogName)) {
        const bool ofDefinition =
            finding.kind == FindingKind::kUnlistedFile || IsOfCatalog(finding);
        if (ofDefinition && killed_.IsDefinition()) {
            continue;
        }
        if (!ofDefinition && IsOfIndex(finding)) {
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
        const bool isAllowed = !otherKeys && !killed_.IsDefinition() &&
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

void Aftermath::CheckRows() {
    HostConnection connection(Catalog());
    if (!connection.IsGood()) {
        Fault("open: " + connection.Error());
        return;
    }
    const auto found = RowsOf(connection);
    counts_->rowsChecked += found.size();
    for (std::size_t count = 0; count <= killed_.changes.size(); ++count) {
        Ledger candidate = *ledger_;
        candidate.Apply(killed_, count);
        if (candidate.Rows() == found) {
            counts_->insideStatement += count > 0 ? 1 : 0;
            *ledger_ = candidate;
            return;
        }
    }
    if (!MatchTornRow(found)) {
        Fault("rows: " + Difference(ledger_->Rows(), found) + "\n" + connection.Error());
    }
}

// The same, but that the row being overwritten is neither its old nor its new self.
bool Aftermath::MatchTornRow(const std::vector<LedgerRow>& found) {
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
        if (candidate.Rows() == found && LiesAcrossPages(torn.row.id)) {
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

// Whether the definition that was killed came true is for the files to tell. An index that may be
// half there is dropped; its name is not used again.
void Aftermath::SettleDefinitions(HostConnection& connection) {
    if (killed_.kind == StatementKind::kCreateIndex) {
        connection.Run("drop index " + killed_.text.substr(13, killed_.text.find(" on ") - 13));
    } else if (killed_.kind == StatementKind::kDropIndex) {
        connection.Run(killed_.text);
    }
    if (killed_.kind == StatementKind::kCreateIndex || killed_.kind == StatementKind::kDropIndex) {
        ledger_->SetIndexed(false);
        for (const auto& entry : fs::directory_iterator(folder_)) {
            const std::string name = entry.path().filename();
            if (name.rfind("itemnumber", 0) == 0) {
                fs::remove(entry.path());
            }
        }
    }
    connection.Select("select extra from item");
    ledger_->SetWidened(connection.Error().find("extra") == std::string::npos);
    ledger_->SkipAhead();
}

void Aftermath::CheckAfterPack() {
    for (const Finding& finding : CheckDatabase(ReadFolder(folder_), kCatalogName)) {
        if (IsOfCatalog(finding) && killed_.IsDefinition() && !killed_.Rebuilds()) {
            catalogIsBroken_ = true;
        } else if (!finding.harmless) {
            Fault("after pack: " + finding.text);
        }
    }
    counts_->catalogs += catalogIsBroken_ ? 1 : 0;
}

// Some rows through both indexes, which pack has built anew. The checker has seen all keys.
void Aftermath::CheckSearches(HostConnection& connection) {
    const auto found = RowsOf(connection);
    if (found != ledger_->Rows()) {
        Fault("after pack: " + Difference(ledger_->Rows(), found));
    }
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
