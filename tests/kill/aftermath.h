#pragma once

// Aftermath: looks at what a killed process left behind, says everything that must not be, and puts
// the database in order the way a user would: pack, and away with files that nobody names.
//
// Promised after a kill:
//  - every row of an acknowledged statement is there and whole;
//  - a statement that was killed has changed its first rows and not the others, each wholly. One
//    record may be a mixture, if it was overwritten in place across two pages of memory;
//  - data and memo files are sound; until pack, indexes may lack keys of the statement's own rows,
//    or have them still. Of other rows, one index may lack some or have them twice: the one of
//    which a page was being split or merged;
//  - a table is there once its CREATE was acknowledged, and gone once its DROP was. The one that
//    was being made or dropped is there and whole, or unknown; then a file may stand in the way of
//    its name, which CREATE tells. Tables can be unknown, and their data files whole, if a page of
//    the catalog's own index was being split;
//  - pack leaves everything sound.

#include <string>
#include <vector>

#include "tests/kill/ledger.h"
#include "tests/support/checker/checker.h"

namespace ovratest {

// How often a kill met what. Totals over all kills of a run.
struct KillCounts {
    int kills = 0;
    int insideStatement = 0;  // some of the statement's work was found
    int ownKeys = 0;          // an index waited for pack on account of the killed statement's rows
    int otherKeys = 0;        // and of other rows: the kill fell between two pages of a split
    int tornRecords = 0;
    int brokenSwaps = 0;    // the new data file in its place, some of the others not yet
    int madeOrDropped = 0;  // tables, without an acknowledgement
    int filesInTheWay = 0;  // of the name, when it was wanted again
    int catalogs = 0;       // a definition was half in the catalog, which pack does not rebuild
    int hiddenTables = 0;   // by a split of the catalog's index
    std::size_t acknowledged = 0;
    std::size_t rowsChecked = 0;
};

class Aftermath {
  public:
    // `ledger` is as the acknowledged statements left it, `killed` the statement behind them.
    Aftermath(std::string folder, Ledger* ledger, const LedgerStatement& killed,
              KillCounts* counts);

    // Checks and mends. The ledger then holds what the database holds.
    void Settle();

    const std::vector<std::string>& Faults() const { return faults_; }
    // The catalog itself was caught half written. Rows are safe; go on with a new database.
    bool CatalogIsBroken() const { return catalogIsBroken_; }

  private:
    using Findings = std::vector<ovrasql::checker::Finding>;

    static bool Opens(HostConnection& connection, const std::string& table);
    void OpenTables();
    void CheckFiles();
    void CheckKeys(const Findings& findings);
    void CheckTables();
    void CheckRows(HostConnection& connection, const std::string& table);
    void MatchKilled(const Ledger::Rows& found, const std::string& error);
    bool MatchTornRow(const Ledger::Rows& found);
    bool LiesAcrossPages(int id);
    void CheckMissing(const std::string& table, const std::string& error);
    bool IsWholeInItsFile(const std::string& table) const;
    void SettleDefinitions(HostConnection& connection);
    void SettleIndex(HostConnection& connection);
    void SettleTable(HostConnection& connection);
    void MakeAgain(HostConnection& connection);
    void CheckAfterPack();
    void CheckSearches(HostConnection& connection);
    bool Concerns(const ovrasql::checker::Finding& finding) const;
    bool MayBeLeft(const ovrasql::checker::Finding& finding) const;
    void Fault(std::string text) { faults_.push_back(std::move(text)); }
    std::string Catalog() const { return folder_ + "/shop.dbf"; }

    std::string folder_;
    Ledger* ledger_;
    const LedgerStatement& killed_;
    KillCounts* counts_;
    std::vector<std::string> faults_;
    bool catalogIsBroken_ = false;
};

}  // namespace ovratest
