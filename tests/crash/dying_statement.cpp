#include "tests/crash/dying_statement.h"

#include <algorithm>

namespace ovrasql {

using checker::ChangedRecords;
using checker::CheckedTable;
using checker::Finding;
using checker::FindingKind;
using checker::FindTable;
using checker::RecordAt;

namespace {

constexpr size_t kPageSize = 1024;

bool BeginsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

DyingKind KindOfStep(const std::string& sql) {
    static const std::pair<const char*, DyingKind> kKinds[] = {
        {"insert ", DyingKind::kRows},
        {"update ", DyingKind::kRows},
        {"delete ", DyingKind::kRows},
        {"create table ", DyingKind::kCreateTable},
        {"create index ", DyingKind::kCreateIndex},
        {"create unique index ", DyingKind::kCreateIndex},
        {"drop table ", DyingKind::kDropTable},
        {"drop index ", DyingKind::kDropIndex},
        {"alter ", DyingKind::kRebuild},
        {"pack", DyingKind::kRebuild},
        {"create", DyingKind::kCreateDatabase}};
    for (const auto& [start, kind] : kKinds) {
        if (BeginsWith(sql, start)) {
            return kind;
        }
    }
    return DyingKind::kOther;
}

uint32_t Number(const Bytes& bytes, size_t offset, size_t count) {
    uint32_t number = 0;
    for (size_t index = count; index > 0; --index) {
        number = number << 8 | bytes.at(offset + index - 1);
    }
    return number;
}

std::string Cell(const Bytes& bytes, size_t offset, size_t width) {
    const std::string text(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                           bytes.begin() + static_cast<std::ptrdiff_t>(offset + width));
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

// The live rows of the catalog, as pairs: a table's name in capitals or an index's file, and a
// table's file or the name of the index's table.
struct CatalogNames {
    std::map<std::string, std::string> fileOfTable;
    std::map<std::string, std::string> tableOfIndexFile;
};

std::string Capitals(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return text;
}

CatalogNames NamesIn(const FileSet& files) {
    CatalogNames names;
    const auto found = files.find(kCatalogPath);
    if (found == files.end() || found->second.size() < 32) {
        return names;
    }
    const Bytes& bytes = found->second;
    const size_t header = Number(bytes, 8, 2);
    const size_t length = Number(bytes, 10, 2);
    for (uint32_t record = 0; record < Number(bytes, 4, 4); ++record) {
        const size_t at = header + record * length;
        const std::string table = Capitals(Cell(bytes, at + 2, 64));
        const std::string file = Cell(bytes, at + 2 + 128, 254);
        if (bytes[at] == ' ' && bytes[at + 1] == 'T') {
            names.fileOfTable[table] = file;
        } else if (bytes[at] == ' ') {
            names.tableOfIndexFile[file] = table;
        }
    }
    return names;
}

std::string FileOfMemo(const std::string& path) {
    return EndsWith(path, ".dbt") ? path.substr(0, path.size() - 4) + ".dbf" : std::string();
}

}  // namespace

DyingStatement::DyingStatement(const RecordedStep& step, const FileSet& before,
                               const FileSet& after)
    : step_(step),
      kind_(KindOfStep(step.step.text)),
      tablesBefore_(checker::ReadTables(before, kCatalogPath)),
      tablesAfter_(checker::ReadTables(after, kCatalogPath)),
      openTrees_(step.changes.size()),
      swapping_(step.changes.size()),
      tornRecords_(step.changes.size()) {
    NoteNames(after);
    NoteNames(before);
    NoteRecords(before);
    NoteTrees(before);
    NoteSwaps();
    NoteOrder();
    NotePoints(before);
}

void DyingStatement::NoteNames(const FileSet& files) {
    const CatalogNames names = NamesIn(files);
    for (const auto& [table, file] : names.fileOfTable) {
        fileOfTable_[table] = file;
    }
    for (const auto& [file, table] : names.tableOfIndexFile) {
        dataOfIndex_[file] = fileOfTable_[table];
    }
    dataOfIndex_["main.ovx"] = kCatalogPath;
    dataOfIndex_["maini.ovx"] = kCatalogPath;
}

std::string DyingStatement::FileOf(const std::string& table) const {
    const auto found = fileOfTable_.find(Capitals(table));
    return found == fileOfTable_.end() ? std::string() : found->second;
}

// The records that the statement writes into files that were there before it.
void DyingStatement::NoteRecords(const FileSet& before) {
    for (size_t index = 0; index < step_.changes.size(); ++index) {
        const FileChange& change = step_.changes[index];
        if (change.kind == FileChangeKind::kCreate) {
            made_.insert(change.path);
        }
        const auto file = before.find(change.path);
        if (change.kind != FileChangeKind::kWrite || !EndsWith(change.path, ".dbf") ||
            file == before.end()) {
            continue;
        }
        const uint32_t record = RecordAt(file->second, change.offset);
        if (record != 0) {
            ownRecords_[change.path].insert(record);
            // An appended record has its end mark behind it.
            tornRecords_[index] = change.bytes.size() == Number(file->second, 10, 2) ? record : 0;
        }
    }
}

// A change of an index ends with a header of the next generation. What has several pages in it is a
// split or a merge, and open from its first page to that header.
void DyingStatement::NoteTrees(const FileSet& before) {
    struct Tree {
        uint32_t generation = 0;
        size_t firstPage = 0;
        size_t pages = 0;
    };
    std::map<std::string, Tree> trees;
    for (const auto& [path, bytes] : before) {
        if (EndsWith(path, ".ovx") && bytes.size() >= kPageSize) {
            trees[path].generation = Number(bytes, 5, 4);
        }
    }
    for (size_t index = 0; index < step_.changes.size(); ++index) {
        const FileChange& change = step_.changes[index];
        if (change.kind != FileChangeKind::kWrite || trees.count(change.path) == 0) {
            continue;
        }
        Tree& tree = trees[change.path];
        if (change.offset != 0) {
            tree.firstPage = tree.pages == 0 ? index : tree.firstPage;
            ++tree.pages;
        } else if (Number(change.bytes, 5, 4) != tree.generation) {
            for (size_t open = tree.firstPage; tree.pages > 1 && open < index; ++open) {
                openTrees_[open].insert(change.path);
            }
            tree = {Number(change.bytes, 5, 4), 0, 0};
        }
    }
}

// The new files of a table take their places one after the other, the data file first.
void DyingStatement::NoteSwaps() {
    std::string data;
    for (size_t index = 0; kind_ == DyingKind::kRebuild && index < step_.changes.size(); ++index) {
        const FileChange& change = step_.changes[index];
        if (change.kind == FileChangeKind::kRename && EndsWith(change.newPath, ".dbf")) {
            data = change.newPath;
        }
        const bool goesOn = index + 1 < step_.changes.size() &&
                            (step_.changes[index + 1].kind == FileChangeKind::kRename ||
                             step_.changes[index + 1].kind == FileChangeKind::kDelete) &&
                            !EndsWith(step_.changes[index + 1].newPath, ".dbf");
        data = goesOn ? data : std::string();
        swapping_[index] = data;
    }
}

// Of several tables it is not told here which row of the one comes before which of the other.
void DyingStatement::NoteOrder() {
    std::set<std::string> paths;
    for (const CheckedTable& table : tablesBefore_) {
        const CheckedTable* after = FindTable(tablesAfter_, table.name);
        for (const uint32_t record : ChangedRecords(ByNumber(&table), ByNumber(after))) {
            met_.push_back({table.path, record});
            paths.insert(table.path);
        }
    }
    if (!step_.meetsRowsInRecordOrder || paths.size() > 1) {
        met_.clear();
    }
}

std::string DyingStatement::Text(const KillPoint& point) const {
    return step_.step.text.substr(0, 100) + ", killed behind " +
           (point.isCut ? std::to_string(point.bytes) + " bytes of " : "") +
           Describe(step_.changes[point.change]);
}

const FileChange& DyingStatement::Last(const KillPoint& point) const {
    return step_.changes[point.change];
}

// A cut write has not ended what it was to end.
bool DyingStatement::IsTreeOpen(const KillPoint& point, const std::string& path) const {
    const size_t last = point.isCut && point.change > 0 ? point.change - 1 : point.change;
    return openTrees_[last].count(path) != 0 || openTrees_[point.change].count(path) != 0;
}

bool DyingStatement::IsPageTorn(const KillPoint& point, const std::string& path) const {
    return point.isCut && Last(point).path == path && Last(point).offset != 0 &&
           EndsWith(path, ".ovx");
}

// The data file of an index, of a memo file, or of itself.
std::string DyingStatement::DataOf(const std::string& path) const {
    const auto index = dataOfIndex_.find(path);
    const std::string data = index == dataOfIndex_.end() ? FileOfMemo(path) : index->second;
    return data.empty() ? path : data;
}

bool DyingStatement::IsCountTorn(const KillPoint& point, const std::string& data) const {
    return point.tearsCount && DataOf(Last(point).path) == data;
}

bool DyingStatement::IsBehindAll(const KillPoint& point) const {
    return !step_.step.fails && !point.isCut && point.change + 1 == step_.changes.size();
}

bool DyingStatement::IsSwapping(const KillPoint& point, const std::string& data) const {
    return !data.empty() && swapping_[point.change] == data;
}

uint32_t DyingStatement::TornRecord(const KillPoint& point, const std::string& path) const {
    return point.isCut && Last(point).path == path ? tornRecords_[point.change] : 0;
}

bool DyingStatement::IsTorn(const KillPoint& point, const std::string& table) const {
    return TornRecord(point, FileOf(table)) != 0;
}

// Allowed, and why:
bool DyingStatement::Allows(const KillPoint& point, const Finding& finding) const {
    // What no later statement meets: bytes behind the last counted record or text, pages that the
    // tree does not reach. The next one writes over them.
    if (finding.harmless) {
        return true;
    }
    // What is told to have worked is whole.
    if (IsBehindAll(point)) {
        return false;
    }
    // A page written in part, and a split or merge between its pages, lose keys of other rows, too:
    // there is no journal. One that moves from page to page can also be in both.
    const auto index = dataOfIndex_.find(finding.file);
    const bool isMoved = finding.kind != FindingKind::kStaleKey ||
                         finding.text.find("is there twice") != std::string::npos;
    if (index != dataOfIndex_.end() &&
        (IsPageTorn(point, finding.file) || (isMoved && IsTreeOpen(point, finding.file)))) {
        return true;
    }
    // A record that is overwritten in part is whatever it is: old and new in one. A catalog row
    // that is names another file or other columns.
    const std::string& data = index == dataOfIndex_.end() ? finding.file : index->second;
    // A count that goes back hides records, and the next free block texts.
    if (IsCountTorn(point, DataOf(finding.file))) {
        return true;
    }
    const uint32_t torn = TornRecord(point, data);
    if ((torn != 0 && torn == finding.record) || TornRecord(point, kCatalogPath) != 0) {
        return true;
    }
    switch (finding.kind) {
        case FindingKind::kMissingKey:
        case FindingKind::kStaleKey:
            return AllowsKey(point, finding);
        case FindingKind::kUnlistedFile:
            // A file comes before the row that names it, and goes behind it.
            return kind_ == DyingKind::kDropTable || made_.count(finding.file) != 0 ||
                   IsSwapping(point, FileOfMemo(finding.file));
        case FindingKind::kCatalog:
            // DROP INDEX deletes the file first.
            return kind_ == DyingKind::kDropIndex && Last(point).path == finding.file;
        case FindingKind::kMemo:
            // A table that gets its first memo column has its data file before its memo file. A
            // block number that was overwritten in part may be that of another record.
            return IsSwapping(point, FileOfMemo(finding.file)) ||
                   TornRecord(point, FileOfMemo(finding.file)) != 0;
        default:
            return false;
    }
}

// The keys come behind the record, for UPDATE and DELETE behind all records. The new files of a
// table that is built anew are exchanged one by one.
bool DyingStatement::AllowsKey(const KillPoint& point, const Finding& finding) const {
    const auto data = dataOfIndex_.find(finding.file);
    if (data == dataOfIndex_.end()) {
        return false;
    }
    // A new record has no key before it is there, and a deleted one loses it.
    const bool isNew = BeginsWith(step_.step.text, "insert") || kind_ == DyingKind::kCreateTable ||
                       kind_ == DyingKind::kCreateIndex;
    const bool isDeleted = BeginsWith(step_.step.text, "delete");
    const bool mayBe = finding.kind == FindingKind::kMissingKey ? !isDeleted : !isNew;
    const auto own = ownRecords_.find(data->second);
    return IsSwapping(point, data->second) ||
           (mayBe && own != ownRecords_.end() && own->second.count(finding.record) != 0);
}

std::string DyingStatement::Unexpected(const KillPoint& point,
                                       const std::vector<Finding>& findings) const {
    std::string text;
    for (const Finding& finding : findings) {
        text += Allows(point, finding) ? "" : finding.text + "\n";
    }
    return text;
}

// A pack builds each table and each index anew, but not the catalog, and it leaves files alone that
// it does not know: of an index, too, whose row has no key in the catalog, not yet or not any more.
// Where it fails, it leaves things as they are.
std::string DyingStatement::UnexpectedAfterPack(const KillPoint& point,
                                                const std::vector<Finding>& findings) const {
    std::string text;
    for (const Finding& finding : findings) {
        const auto index = dataOfIndex_.find(finding.file);
        const bool isOfCatalog = finding.file == kCatalogPath ||
                                 (index != dataOfIndex_.end() && index->second == kCatalogPath);
        const bool stays = isOfCatalog || finding.kind == FindingKind::kUnlistedFile ||
                           finding.kind == FindingKind::kMemo || PackMayFail(point);
        const bool isUnknown = (kind_ == DyingKind::kCreateIndex &&
                                made_.count(finding.file) != 0 && !IsBehindAll(point)) ||
                               (index != dataOfIndex_.end() &&
                                (IsTreeOpen(point, "main.ovx") || IsPageTorn(point, "main.ovx")));
        text += isUnknown || (stays && Allows(point, finding)) ? "" : finding.text + "\n";
    }
    return text;
}

bool DyingStatement::PackMayFail(const KillPoint& point) const {
    return std::any_of(fileOfTable_.begin(), fileOfTable_.end(),
                       [&](const auto& table) { return MayBeLost(point, table.first); });
}

// The library finds a table by its key in the catalog's first index, and opens it with its memo
// file.
bool DyingStatement::MayBeLost(const KillPoint& point, const std::string& table) const {
    const bool isMade = kind_ == DyingKind::kCreateTable &&
                        FindTable(tablesBefore_, table) == nullptr && !IsBehindAll(point);
    const bool lacksMemos = IsSwapping(point, FileOf(table));
    return isMade || lacksMemos || IsTreeOpen(point, "main.ovx") || IsPageTorn(point, "main.ovx");
}

bool DyingStatement::IndexesMayBeLost(const KillPoint& point) const {
    return IsTreeOpen(point, "maini.ovx") || IsPageTorn(point, "maini.ovx");
}

}  // namespace ovrasql
