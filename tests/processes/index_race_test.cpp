// Processes that race for the keys of an index. The records are exact. A key is changed in a step
// of its own, and whoever comes too late for that is told. What was told says how far the index is
// behind, and an index about which nobody was told anything is exact.

#include <sys/mman.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>

#include "tests/processes/shared_database.h"
#include "tests/support/checker/index_file.h"

namespace ovratest {
namespace {

using ovrasql::checker::Finding;
using ovrasql::checker::FindingKind;

// The refusals that the processes of a test were told, in memory that they share.
class Told {
  public:
    Told() {
        void* memory = ::mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            std::abort();
        }
        counts_ = new (memory) Counts;
    }
    ~Told() { ::munmap(counts_, sizeof(Counts)); }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;

    // False for an error that is no refusal of a key.
    bool Count(const std::string& error) {
        const auto tells = [&error](const char* text) {
            return error.find(text) != std::string::npos;
        };
        if (tells("violates UNIQUE constraint") || tells("Key not found during update")) {
            ++counts_->beforeWriting;
            return true;
        }
        if (tells("Record is not in index") || tells("was created with the UNIQUE flag")) {
            ++counts_->behindRecord;
            return true;
        }
        std::fprintf(stderr, "%s\n", error.c_str());
        return false;
    }

    int BeforeWriting() const { return counts_->beforeWriting; }  // nothing was written
    int BehindRecord() const { return counts_->behindRecord; }    // the record was, its key was not

  private:
    struct Counts {
        std::atomic<int> beforeWriting{0};
        std::atomic<int> behindRecord{0};
    };
    Counts* counts_;
};

class IndexRaceTest : public testing::TestWithParam<int> {
  protected:
    void Race(const std::function<int(int)>& work) {
        EXPECT_EQ(RunProcesses(GetParam(), work),
                  std::vector<int>(static_cast<std::size_t>(GetParam()), 0));
    }

    // Each process runs its share of so many updates, of all rows or of some.
    void RaceToUpdate(const std::string& condition = "") {
        Race([&](int) {
            HostConnection connection(database_.Path());
            for (int round = 0; round < kUpdates / GetParam(); ++round) {
                if (!connection.Run("update t set total = total + 1" + condition) &&
                    !told_.Count(connection.Error())) {
                    return 1;
                }
            }
            return 0;
        });
    }

    // The keys of an index of one number column, by the record that they lead to.
    std::map<uint32_t, std::vector<int>> KeysOf(const std::string& index) const {
        const auto files = ovrasql::checker::ReadFolder(database_.Folder().Path());
        ovrasql::checker::Report report;
        const ovrasql::checker::IndexFile file(index, files.at(index), &report);
        std::map<uint32_t, std::vector<int>> keys;
        for (const auto& entry : file.Entries()) {
            keys[entry.record].push_back(std::stoi(entry.key));
        }
        return keys;
    }

    // So many records lack their key, so many keys are not their record's, and all else is sound.
    void ExpectIndexesBehind(std::size_t missing, std::size_t stale) const {
        const auto findings = database_.Findings();
        const auto count = [&findings](FindingKind kind) {
            return static_cast<std::size_t>(
                std::count_if(findings.begin(), findings.end(),
                              [kind](const Finding& finding) { return finding.kind == kind; }));
        };
        EXPECT_EQ(count(FindingKind::kMissingKey), missing) << database_.Faults();
        EXPECT_EQ(count(FindingKind::kStaleKey), stale) << database_.Faults();
        EXPECT_EQ(findings.size(), missing + stale) << database_.Faults();
    }

    // The one row of a table t with so many updates behind it, whose key is so many behind.
    void ExpectTotal(int total, int behind) {
        HostConnection check(database_.Path());
        const std::string text = std::to_string(total);
        EXPECT_EQ(check.Select("select total from t where name = 'only'"), (Rows{{text}}));
        EXPECT_EQ(KeysOf("totals.ovx")[1], std::vector<int>{total - behind});
        const std::size_t each = behind == 0 ? 0 : 1;
        ExpectIndexesBehind(each, each);
        EXPECT_TRUE(check.Pack()) << check.Error();
        EXPECT_EQ(check.Select("select name from t where total = ?", {text}), (Rows{{"only"}}));
        ExpectIndexesBehind(0, 0);
    }

    static constexpr int kUpdates = 160;
    SharedDatabase database_;
    Told told_;
};

// The process that has written a number exchanges the key of the number before for its own. One
// that does not find that key yet is told so and puts none in; so all that come behind it are told,
// too. Each of them leaves the key one more update behind.
TEST_P(IndexRaceTest, KeyIsBehindByAsManyUpdatesAsWereTold) {
    database_.Create({"create table t (name char(4), total integer)",
                      "create index totals on t (total)", "insert into t values ('only', 0)"});
    RaceToUpdate();
    EXPECT_EQ(told_.BeforeWriting(), 0);
    ExpectTotal(kUpdates, told_.BehindRecord());
}

// A statement exchanges the keys of all its rows behind its last record, and ends with the first
// that is refused: it is told once, and leaves the keys of its other rows behind as well.
TEST_P(IndexRaceTest, StatementThatIsToldMayLeaveAllItsKeysBehind) {
    constexpr std::size_t kRecords = 12;
    database_.Create(std::vector<std::string>{"create table t (total integer)",
                                              "create index totals on t (total)"});
    {
        HostConnection connection(database_.Path());
        for (std::size_t record = 0; record < kRecords; ++record) {
            ASSERT_TRUE(connection.Run("insert into t values (0)"));
        }
    }
    RaceToUpdate();
    EXPECT_EQ(told_.BeforeWriting(), 0);

    HostConnection check(database_.Path());
    const std::string total = std::to_string(kUpdates);
    EXPECT_EQ(check.Select("select total from t"), Rows(kRecords, {total}));
    const auto keysOf = KeysOf("totals.ovx");
    EXPECT_EQ(keysOf.size(), kRecords);
    std::size_t behind = 0;
    for (const auto& [record, keys] : keysOf) {
        ASSERT_EQ(keys.size(), 1U) << "record " << record;
        EXPECT_GE(keys[0], kUpdates - told_.BehindRecord());
        EXPECT_LE(keys[0], kUpdates);
        behind += keys[0] < kUpdates ? 1 : 0;
    }
    EXPECT_EQ(behind > 0, told_.BehindRecord() > 0);
    ExpectIndexesBehind(behind, behind);
    EXPECT_TRUE(check.Pack()) << check.Error();
    EXPECT_EQ(check.Select("select total from t where total = ?", {total}).size(), kRecords);
    ExpectIndexesBehind(0, 0);
}

// Of a UNIQUE index the old key is looked for before the record is written, and a search that fails
// ends at the next greater key.
TEST_P(IndexRaceTest, UpdateOfAUniqueValueIsToldBeforeAnythingIsWritten) {
    database_.Create({"create table t (name char(4), total integer)",
                      "create unique index totals on t (total)", "insert into t values ('only', 0)",
                      "insert into t values ('last', 1000000)"});
    RaceToUpdate(" where name = 'only'");
    EXPECT_EQ(told_.BehindRecord(), 0);
    ExpectTotal(kUpdates - told_.BeforeWriting(), 0);
}

// Where no greater key follows it ends at the last one. If that is an older one of the same record
// it passes for the one sought, and the process is told behind its record.
TEST_P(IndexRaceTest, UpdateOfTheGreatestUniqueValueMayBeToldBehindTheRecord) {
    database_.Create({"create table t (name char(4), total integer)",
                      "create unique index totals on t (total)",
                      "insert into t values ('only', 0)"});
    RaceToUpdate();
    ExpectTotal(kUpdates - told_.BeforeWriting(), told_.BehindRecord());
}

// Each process inserts every key and writes down which it won. A loser is told before its row is
// stored, or only by the index: then the row stays, without a key.
TEST_P(IndexRaceTest, UniqueKeyHasOneWinnerAndTheOthersAreTold) {
    constexpr int kKeys = 40;
    database_.Create({"create table t (name integer, process integer)",
                      "create unique index byname on t (name)",
                      "create table won (name integer, process integer)"});
    Race([this](int process) {
        HostConnection connection(database_.Path());
        const std::string number = std::to_string(process);
        for (int key = 0; key < kKeys; ++key) {
            const std::string name = std::to_string(key);
            const bool won = connection.Run("insert into t values (?, ?)", {name, number});
            if (won ? !connection.Run("insert into won values (?, ?)", {name, number})
                    : !told_.Count(connection.Error())) {
                return 1;
            }
        }
        return 0;
    });
    EXPECT_EQ(told_.BeforeWriting() + told_.BehindRecord(), kKeys * (GetParam() - 1));

    HostConnection check(database_.Path());
    const auto won = check.Select("select name, process from won");
    EXPECT_EQ(Numbers(won), Range(0, kKeys));
    for (const auto& row : won) {
        EXPECT_EQ(check.Select("select process from t where name = ?", {row[0]}), (Rows{{row[1]}}));
    }
    const auto late = static_cast<std::size_t>(told_.BehindRecord());
    EXPECT_EQ(check.Select("select name from t").size(), kKeys + late);
    ExpectIndexesBehind(late, 0);

    // Such a row is found without the index. Deleting it misses the key that it never had.
    for (const auto& row : check.Select("select name, process from t")) {
        if (std::find(won.begin(), won.end(), row) == won.end()) {
            EXPECT_FALSE(check.Run("delete from t where name + 0 = ? and process = ?", row));
            EXPECT_EQ(check.Error(), "Record is not in index");
        }
    }
    EXPECT_EQ(check.Select("select name from t").size(), std::size_t{kKeys});
    ExpectIndexesBehind(0, 0);
    EXPECT_TRUE(check.Pack()) << check.Error();
    for (const auto& row : won) {
        EXPECT_EQ(check.Select("select process from t where name = ?", {row[0]}), (Rows{{row[1]}}));
    }
    ExpectIndexesBehind(0, 0);
}

INSTANTIATE_TEST_SUITE_P(UpToSixteen, IndexRaceTest, testing::Values(2, 4, 8, 16));

}  // namespace
}  // namespace ovratest
