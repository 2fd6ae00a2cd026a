// Aftermath: what a definition that was killed has left, and how its name can be had again.

#include <filesystem>

#include "tests/kill/aftermath.h"

namespace ovratest {

// Whether the definition that was killed came true is for the files to tell.
void Aftermath::SettleDefinitions(HostConnection& connection) {
    if (killed_.MakesOrDrops()) {
        SettleTable(connection);
    } else if (killed_.WritesCatalog()) {
        SettleIndex(connection);
    }
    connection.Select("select extra from item");
    ledger_->SetWidened(connection.Error().find("extra") == std::string::npos);
    ledger_->SkipAhead();
}

// An index that may be half there is dropped; its name is not used again.
void Aftermath::SettleIndex(HostConnection& connection) {
    connection.Run("drop index " + killed_.index);
    ledger_->SetIndexed(false);
    std::filesystem::remove(folder_ + "/" + killed_.index + ".ovx");
}

// The name can be had again. A table that is there is dropped first; one that is not can't be.
void Aftermath::SettleTable(HostConnection& connection) {
    const std::string& table = killed_.table;
    const bool isThere = Opens(connection, table);
    const bool isDropped = connection.Run("drop table " + table);
    if (isDropped != isThere ||
        (!isThere && connection.Error() != "Table '" + table + "' does not exist")) {
        Fault("drop " + table + " again: " + connection.Error());
    }
    counts_->madeOrDropped += isThere == (killed_.kind == StatementKind::kCreateTable) ? 1 : 0;
    MakeAgain(connection);
    ledger_->MakeTable(table);
}

void Aftermath::MakeAgain(HostConnection& connection) {
    const LedgerStatement create = Ledger::CreateTable(killed_.table);
    if (RunStatement(connection, create)) {
        return;
    }
    ++counts_->filesInTheWay;
    const std::string path = folder_ + "/" + killed_.table;
    if (connection.Error() != "Table '" + killed_.table + "' cannot be created because datafile '" +
                                  path + ".dbf' already exists" ||
        !std::filesystem::remove(path + ".dbf")) {
        Fault("create " + killed_.table + " again: " + connection.Error());
    }
    std::filesystem::remove(path + ".dbt");
    if (!RunStatement(connection, create)) {
        Fault("create " + killed_.table + " in a free place: " + connection.Error());
    }
}

}  // namespace ovratest
