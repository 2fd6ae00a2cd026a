#include "tests/kill/ledger.h"

#include <algorithm>

namespace ovratest {

namespace {

constexpr std::size_t kMostRows = 130;
constexpr std::size_t kFewRows = 40;
constexpr std::size_t kMostRowsOfNote = 15;
constexpr char kColumns[] =
    " (id integer, batch integer, number integer, word char(40), story memo)";

int Draw(std::mt19937& random, int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
}

std::string Letters(std::mt19937& random, int length) {
    std::string text;
    for (int i = 0; i < length; ++i) {
        text += static_cast<char>('a' + Draw(random, 0, 25));
    }
    return text;
}

// Lengths on both sides of a memo block of 512 bytes; empty ones take no block at all.
std::string Story(std::mt19937& random) {
    static constexpr int kLengths[] = {0, 3, 200, 509, 510, 511, 900, 1300};
    return Letters(random, kLengths[random() % std::size(kLengths)]);
}

LedgerRow SourceRow(int key) {
    const std::string word = "source" + std::to_string(key);
    return {key, 0, 0, word, std::string(static_cast<std::size_t>(key) * 170, 's') + word};
}

}  // namespace

bool LedgerStatement::Rebuilds() const {
    return kind == StatementKind::kPack || kind == StatementKind::kAddColumn ||
           kind == StatementKind::kDropColumn;
}

bool LedgerStatement::WritesCatalog() const {
    return kind == StatementKind::kCreateIndex || kind == StatementKind::kDropIndex ||
           MakesOrDrops();
}

bool LedgerStatement::MakesOrDrops() const {
    return kind == StatementKind::kCreateTable || kind == StatementKind::kDropTable;
}

std::vector<LedgerStatement> Ledger::SetUp() {
    std::vector<LedgerStatement> statements{CreateTable("item"), CreateTable("source")};
    for (const char* text :
         {"create unique index itemid on item (id)", "create index itemword on item (word)"}) {
        statements.push_back({StatementKind::kInsert, text, {}, {}});
    }
    for (int key = 0; key < kSourceRows; ++key) {
        statements.push_back(InsertRow(SourceRow(key), "source"));
    }
    return statements;
}

// Few enough to come back, so that rows of the catalog are taken back; with the indexes they are
// more than one page of the catalog's index has room for, so that it splits.
const std::vector<std::string>& Ledger::Names() {
    static const std::vector<std::string> names = {"item",  "source", "note1",
                                                   "note2", "note3",  "note4"};
    return names;
}

LedgerStatement Ledger::CreateTable(const std::string& name) {
    return {StatementKind::kCreateTable, "create table " + name + kColumns, {}, {}, name};
}

const Ledger::Rows* Ledger::RowsOf(const std::string& table) const {
    const auto found = tables_.find(table);
    return found == tables_.end() ? nullptr : &found->second;
}

LedgerStatement Ledger::Next(std::mt19937& random) {
    const int choice = Draw(random, 0, 99);
    if (choice < 8) {
        return Definition(random);
    }
    if (choice < 20) {
        return Note(random);
    }
    if (Items().size() < kFewRows) {
        return choice < 64 ? Insert(random, "item") : InsertMany(random, "item");
    }
    if (Items().size() > kMostRows) {
        return choice < 55 ? Delete(random) : DeleteMany(random);
    }
    if (choice < 44) {
        return Insert(random, "item");
    }
    if (choice < 55) {
        return InsertMany(random, "item");
    }
    if (choice < 71) {
        return Update(random);
    }
    if (choice < 80) {
        return UpdateMany(random);
    }
    return choice < 93 ? Delete(random) : DeleteMany(random);
}

LedgerStatement Ledger::InsertRow(const LedgerRow& row, const std::string& table) {
    return {StatementKind::kInsert,
            "insert into " + table + " (id, batch, number, word, story) values (?, ?, ?, ?, ?)",
            {std::to_string(row.id), std::to_string(row.batch), std::to_string(row.number),
             row.word, row.story},
            {{RowChange::Kind::kAppend, row}},
            table};
}

LedgerStatement Ledger::Insert(std::mt19937& random, const std::string& table) {
    return InsertRow({nextId_, nextBatch_, Draw(random, 0, 9999),
                      Letters(random, Draw(random, 1, 40)), Story(random)},
                     table);
}

LedgerStatement Ledger::InsertMany(std::mt19937& random, const std::string& table) {
    const int number = Draw(random, 0, 9999);
    LedgerStatement statement{
        StatementKind::kInsertMany,
        "insert into " + table +
            " (id, batch, number, word, story) select id + ?, ?, ?, word, story from source",
        {std::to_string(nextId_), std::to_string(nextBatch_), std::to_string(number)},
        {},
        table};
    for (int key = 0; key < kSourceRows; ++key) {
        LedgerRow row = SourceRow(key);
        row.id = nextId_ + key;
        row.batch = nextBatch_;
        row.number = number;
        statement.changes.push_back({RowChange::Kind::kAppend, row});
    }
    return statement;
}

LedgerStatement Ledger::Update(std::mt19937& random) {
    LedgerRow row = Items()[random() % Items().size()];
    row.number = Draw(random, 0, 9999);
    row.word = Letters(random, Draw(random, 1, 40));
    row.story = Story(random);
    return {StatementKind::kUpdate,
            "update item set number = ?, word = ?, story = ? where id = ?",
            {std::to_string(row.number), row.word, row.story, std::to_string(row.id)},
            {{RowChange::Kind::kReplace, row}}};
}

// Every row of one batch, in the order of the records: no index is on the batch.
LedgerStatement Ledger::UpdateMany(std::mt19937& random) {
    const int batch = Items()[random() % Items().size()].batch;
    const std::string word = Letters(random, Draw(random, 1, 40));
    LedgerStatement statement{StatementKind::kUpdateMany,
                              "update item set word = ?, number = number + 1 where batch = ?",
                              {word, std::to_string(batch)},
                              {}};
    for (LedgerRow row : Items()) {
        if (row.batch == batch) {
            row.word = word;
            ++row.number;
            statement.changes.push_back({RowChange::Kind::kReplace, row});
        }
    }
    return statement;
}

LedgerStatement Ledger::Delete(std::mt19937& random) {
    const LedgerRow row = Items()[random() % Items().size()];
    return {StatementKind::kDelete,
            "delete from item where id = ?",
            {std::to_string(row.id)},
            {{RowChange::Kind::kRemove, row}}};
}

LedgerStatement Ledger::DeleteMany(std::mt19937& random) {
    const int batch = Items()[random() % Items().size()].batch;
    LedgerStatement statement{StatementKind::kDeleteMany,
                              "delete from item where batch = ?",
                              {std::to_string(batch)},
                              {}};
    for (const LedgerRow& row : Items()) {
        if (row.batch == batch) {
            statement.changes.push_back({RowChange::Kind::kRemove, row});
        }
    }
    return statement;
}

LedgerStatement Ledger::Definition(std::mt19937& random) {
    switch (random() % 4) {
        case 0:
            return widened_ ? LedgerStatement{StatementKind::kDropColumn,
                                              "alter table item drop column extra",
                                              {},
                                              {}}
                            : LedgerStatement{StatementKind::kAddColumn,
                                              "alter table item add extra char(30)",
                                              {},
                                              {}};
        case 1: {
            const std::string name = "itemnumber" + std::to_string(indexNumber_);
            return indexed_ ? LedgerStatement{StatementKind::kDropIndex,
                                              "drop index " + name,
                                              {},
                                              {},
                                              "item",
                                              name}
                            : LedgerStatement{StatementKind::kCreateIndex,
                                              "create index " + name + " on item (number)",
                                              {},
                                              {},
                                              "item",
                                              name};
        }
        default:
            return {StatementKind::kPack, "", {}, {}};
    }
}

LedgerStatement Ledger::Note(std::mt19937& random) {
    const std::string& name = Names()[2 + random() % (Names().size() - 2)];
    const Rows* rows = RowsOf(name);
    if (rows == nullptr) {
        return CreateTable(name);
    }
    if (rows->size() > kMostRowsOfNote || random() % 2 == 0) {
        return {StatementKind::kDropTable, "drop table " + name, {}, {}, name};
    }
    return random() % 2 == 0 ? Insert(random, name) : InsertMany(random, name);
}

void Ledger::Apply(const LedgerStatement& statement) {
    Apply(statement, statement.changes.size());
    ++statements_;
    switch (statement.kind) {
        case StatementKind::kInsert:
        case StatementKind::kInsertMany:
            // Several statements share a batch.
            nextId_ += kSourceRows;
            nextBatch_ += statements_ % 3 == 0 ? 1 : 0;
            break;
        case StatementKind::kCreateIndex:
            indexed_ = true;
            break;
        case StatementKind::kDropIndex:
            indexed_ = false;
            ++indexNumber_;
            break;
        case StatementKind::kAddColumn:
            widened_ = true;
            break;
        case StatementKind::kDropColumn:
            widened_ = false;
            break;
        case StatementKind::kCreateTable:
            MakeTable(statement.table);
            break;
        case StatementKind::kDropTable:
            tables_.erase(statement.table);
            break;
        default:
            break;
    }
}

void Ledger::Apply(const LedgerStatement& statement, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const RowChange& change = statement.changes[i];
        Rows& rows = tables_.at(statement.table);
        if (change.kind == RowChange::Kind::kAppend) {
            rows.push_back(change.row);
            continue;
        }
        const auto found = std::find_if(rows.begin(), rows.end(), [&change](const auto& row) {
            return row.id == change.row.id;
        });
        if (change.kind == RowChange::Kind::kReplace) {
            *found = change.row;
        } else {
            rows.erase(found);
        }
    }
}

void Ledger::SkipAhead() {
    nextId_ += kSourceRows;
    ++nextBatch_;
    ++indexNumber_;
    indexed_ = false;
}

bool RunStatement(HostConnection& connection, const LedgerStatement& statement) {
    return statement.kind == StatementKind::kPack
               ? connection.Pack()
               : connection.Run(statement.text, statement.values);
}

}  // namespace ovratest
