#pragma once

// RebuildLog: when each table was rebuilt while the database is open.
//
// A cursor that is left open over a pack or an ALTER TABLE reads the old data file on. The files of
// the indexes that it has opened are the old ones, too; one that it would open now is new, and its
// record numbers are those of the new data file. So a table is asked first whether it is as old.
//
// Moments are counted in rebuilds. Owned by the Schema.

#include <cstdint>
#include <memory>

#include "foundation/hash_table.h"
#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

struct LastRebuild {
    explicit LastRebuild(TextView table) : tableName(table) {}

    String tableName;
    uint64_t moment = 0;
};

inline TextView ItemName(const LastRebuild& rebuild) { return rebuild.tableName.View(); }

class RebuildLog {
  public:
    [[nodiscard]] uint64_t Now() const { return now_; }

    // New files are about to take the places of the table's.
    void Note(TextView tableName) {
        LastRebuild* rebuild = last_.Find(tableName);
        if (rebuild == nullptr) {
            auto added = std::make_unique<LastRebuild>(tableName);
            rebuild = added.get();
            last_.Add(std::move(added));
        }
        rebuild->moment = ++now_;
    }

    [[nodiscard]] bool HasRebuilt(TextView tableName, uint64_t since) const {
        const LastRebuild* rebuild = last_.Find(tableName);
        return rebuild != nullptr && rebuild->moment > since;
    }

  private:
    uint64_t now_ = 0;
    HashTable<LastRebuild> last_{/*ownsItems=*/true, /*ignoreCase=*/true};
};

}  // namespace ovrasql
