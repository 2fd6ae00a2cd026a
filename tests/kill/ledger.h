#pragma once

// The ledger of the kill test: what a database must hold after each statement, kept beside it.
//
// One table, "item", has indexes and goes through everything. The rows of "source" are copied by
// INSERT ... SELECT and never change. The notes are tables that are made, written to and dropped
// all the time, under a few names. All have the same columns.
//
// Statements come from a generator that depends on a seed and on the ledger alone. The process that
// runs them and the one that kills it draw the same statements, so the count of the acknowledged
// ones tells the second what the first has done.

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/support/host_connection.h"

namespace ovratest {

struct LedgerRow {
    int id = 0;
    int batch = 0;  // never indexed, so that statements over a batch go in the order of the records
    int number = 0;
    std::string word;
    std::string story;

    bool operator==(const LedgerRow&) const = default;
};

// What one statement does to one row. Rows change one after the other, in this order.
struct RowChange {
    enum class Kind { kAppend, kReplace, kRemove };
    Kind kind = Kind::kAppend;
    LedgerRow row;  // found by its id
};

enum class StatementKind {
    kInsert,
    kInsertMany,
    kUpdate,
    kUpdateMany,
    kDelete,
    kDeleteMany,
    kPack,
    kCreateIndex,
    kDropIndex,
    kAddColumn,
    kDropColumn,
    kCreateTable,
    kDropTable
};

struct LedgerStatement {
    StatementKind kind = StatementKind::kInsert;
    std::string text;  // empty for pack
    std::vector<std::string> values;
    std::vector<RowChange> changes;
    std::string table = "item";  // that is changed; pack rebuilds the others as well
    std::string index = {};      // that is made or dropped

    bool Rebuilds() const;       // pack and ALTER, which swap whole files
    bool WritesCatalog() const;  // CREATE and DROP
    bool MakesOrDrops() const;   // CREATE TABLE and DROP TABLE
};

class Ledger {
  public:
    static constexpr int kSourceRows = 6;
    using Rows = std::vector<LedgerRow>;

    // Statements that begin a database and its ledger.
    static std::vector<LedgerStatement> SetUp();

    // The names of all tables that there may be.
    static const std::vector<std::string>& Names();
    static LedgerStatement CreateTable(const std::string& name);

    // The next statement, which depends on the ledger and on the generator's state.
    LedgerStatement Next(std::mt19937& random);

    // The ledger after the first `count` changes of the statement.
    void Apply(const LedgerStatement& statement, std::size_t count);
    void Apply(const LedgerStatement& statement);

    // In the order of their records; null for a table that is not there.
    const Rows* RowsOf(const std::string& table) const;
    std::size_t Statements() const { return statements_; }

    // The definition statements that have come true, for the next ones to go by.
    void SetIndexed(bool indexed) { indexed_ = indexed; }
    void SetWidened(bool widened) { widened_ = widened; }
    void MakeTable(const std::string& name) { tables_[name].clear(); }

    // Names and ids that are new in the next round, whatever the killed statement has used.
    void SkipAhead();

  private:
    const Rows& Items() const { return tables_.at("item"); }
    static LedgerStatement InsertRow(const LedgerRow& row, const std::string& table);
    LedgerStatement Insert(std::mt19937& random, const std::string& table);
    LedgerStatement InsertMany(std::mt19937& random, const std::string& table);
    LedgerStatement Update(std::mt19937& random);
    LedgerStatement UpdateMany(std::mt19937& random);
    LedgerStatement Delete(std::mt19937& random);
    LedgerStatement DeleteMany(std::mt19937& random);
    LedgerStatement Definition(std::mt19937& random);
    LedgerStatement Note(std::mt19937& random);

    std::map<std::string, Rows> tables_;
    int nextId_ = 1;
    int nextBatch_ = 1;
    int indexNumber_ = 1;
    bool indexed_ = false;
    bool widened_ = false;
    std::size_t statements_ = 0;
};

bool RunStatement(HostConnection& connection, const LedgerStatement& statement);

}  // namespace ovratest
