#pragma once

// The ledger of the kill test: what a database must hold after each statement, kept beside it.
//
// Statements come from a generator that depends on a seed and on the ledger alone. The process that
// runs them and the one that kills it draw the same statements, so the count of the acknowledged
// ones tells the second what the first has done.

#include <cstdint>
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
    kDropColumn
};

struct LedgerStatement {
    StatementKind kind = StatementKind::kInsert;
    std::string text;  // empty for pack
    std::vector<std::string> values;
    std::vector<RowChange> changes;

    // Pack and ALTER swap whole files.
    bool Rebuilds() const;
    bool IsDefinition() const;  // writes catalog rows or swaps files
};

class Ledger {
  public:
    static constexpr int kSourceRows = 6;

    // Statements that make the tables of an empty ledger, and the rows that INSERT ... SELECT
    // takes.
    static std::vector<LedgerStatement> SetUp();

    // The next statement, which depends on the ledger and on the generator's state.
    LedgerStatement Next(std::mt19937& random);

    // The ledger after the first `count` changes of the statement.
    void Apply(const LedgerStatement& statement, std::size_t count);
    void Apply(const LedgerStatement& statement);

    const std::vector<LedgerRow>& Rows() const { return rows_; }
    std::size_t Statements() const { return statements_; }

    // The definition statements that have come true, for the next ones to go by.
    void SetIndexed(bool indexed) { indexed_ = indexed; }
    void SetWidened(bool widened) { widened_ = widened; }

    // Names and ids that are new in the next round, whatever the killed statement has used.
    void SkipAhead();

  private:
    LedgerStatement Insert(std::mt19937& random);
    LedgerStatement InsertMany(std::mt19937& random);
    LedgerStatement Update(std::mt19937& random);
    LedgerStatement UpdateMany(std::mt19937& random);
    LedgerStatement Delete(std::mt19937& random);
    LedgerStatement DeleteMany(std::mt19937& random);
    LedgerStatement Definition(std::mt19937& random);

    std::vector<LedgerRow> rows_;  // in the order of their records
    int nextId_ = 1;
    int nextBatch_ = 1;
    int indexNumber_ = 1;
    bool indexed_ = false;
    bool widened_ = false;
    std::size_t statements_ = 0;
};

bool RunStatement(HostConnection& connection, const LedgerStatement& statement);

}  // namespace ovratest
