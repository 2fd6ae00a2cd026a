// A call of one process fails while another works on the same table. Whatever becomes of the first
// one's statement, the second loses no row: what it was told to be stored is there, whole, and its
// statements work when the first one's has ended.
//
// Left out are pack and ALTER TABLE: this host only renames, so a writer beside them loses rows
// even when nothing fails (docs/embedding.md).

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <ostream>
#include <set>

#include "tests/faults/fault_tally.h"
#include "tests/support/checker/row_order.h"

namespace ovrasql {
namespace {

using checker::ByNumber;
using checker::CheckedTable;
using checker::FindTable;
using checker::NumberedRows;

constexpr int32_t kFirst = 0;
constexpr int32_t kSecond = 1;

struct Tally {
    int64_t runs = 0;
    int64_t failures = 0;  // of the first process, told
    int64_t beside = 0;    // rows that the second stored while the first was at work
    int64_t refused = 0;   // and those that it was refused meanwhile, with a text
};

Tally& TheTally() {
    static Tally tally;
    return tally;
}

class TallyPrinter : public ::testing::Environment {
    void TearDown() override {
        const ::testing::UnitTest& tests = *::testing::UnitTest::GetInstance();
        if (tests.test_to_run_count() != tests.total_test_count()) {
            return;  // not all of them were asked for
        }
        std::printf(
            "%lld faults beside a second process: %lld statements failed; %lld rows stored "
            "meanwhile, %lld refused\n",
            static_cast<long long>(TheTally().runs), static_cast<long long>(TheTally().failures),
            static_cast<long long>(TheTally().beside), static_cast<long long>(TheTally().refused));
        EXPECT_GT(TheTally().runs * kFaultStride, 8000);
        EXPECT_GT(TheTally().beside * kFaultStride, 600);
        EXPECT_GT(TheTally().refused, 0);
    }
};

const ::testing::Environment* const kPrinter =
    ::testing::AddGlobalTestEnvironment(new TallyPrinter);

// A statement of the first process, the files that it finds and the rows of t that it leaves when
// it works alone.
struct LoneStatement {
    std::string name;
    ScriptStep step;
    FileSet before;
    NumberedRows rowsBefore;
    NumberedRows rowsAfter;
};

void PrintTo(const LoneStatement& lone, std::ostream* out) { *out << lone.step.text; }

NumberedRows RowsOfT(const FileSet& files) {
    const std::vector<CheckedTable> tables = checker::ReadTables(files, "main.dbf");
    return ByNumber(FindTable(tables, "t"));
}

// None of them is meant for the rows of the second process, whose numbers begin at 500.
std::vector<LoneStatement> LoneStatements() {
    const std::pair<const char*, const char*> kStatements[] = {
        {"insert", "insert into t values (9, 'nine', 'text of nine')"},
        {"insert_select", "insert into t (a, b, m) select a + 20, b, m from t where a < 4"},
        {"update_by_scan", "update t set a = a + 30, m = 'new text' where b <> 'second'"},
        {"update_by_index", "update t set b = 'new', m = 'another text' where a = 2"},
        {"delete_by_scan", "delete from t where b <> 'second'"},
        {"delete_by_index", "delete from t where a = 2"},
        {"delete_by_join", "delete t, u from t, u where t.a = u.a"},
        {"select_by_index", "select a, b, m from t where b = 'two' and a > 1"},
        {"create_table", "create table v (a integer, m memo)"},
        {"create_index", "create index tm on t (a, b)"},
        {"drop_index", "drop index tb"}};
    const StatementScript& shop = ScriptNamed("select_by_index");
    const FileSet before = SetupFiles(shop);
    std::vector<LoneStatement> statements;
    for (const auto& [name, sql] : kStatements) {
        RestoreFiles(before);
        ScriptSession session;
        EXPECT_TRUE(Prepare(session, shop) && session.Run(ScriptStep(sql)).ok) << sql;
        statements.push_back({name, sql, before, RowsOfT(before), RowsOfT(TakeFiles())});
    }
    return statements;
}

// No pack mends what one that fails leaves in the catalog.
bool IsDefinition(const ScriptStep& step) {
    return step.text.compare(0, 6, "create") == 0 || step.text.compare(0, 4, "drop") == 0;
}

// Whether it makes or drops an index of t. CREATE TABLE is of no concern for t.
bool ChangesIndexes(const ScriptStep& step) {
    return step.text.find(" index t") != std::string::npos;
}

// The second process, which puts rows of its own into t.
class SecondProcess {
  public:
    SecondProcess() : database_(kSecond) { EXPECT_TRUE(database_.Open()) << database_.Error(); }

    // Whether it was told that the row is stored. It is told why not.
    bool Insert(int number) {
        const std::string text = std::to_string(number);
        const bool ok = database_.Query("insert into t (a, b, m) values (?, 'second', ?)",
                                        {text, "text of " + text});
        EXPECT_TRUE(ok || !database_.Error().empty());
        TheHost().SetCurrentProcess(kFirst);
        if (ok) {
            stored_.push_back(number);
        }
        return ok;
    }

    [[nodiscard]] bool FindsByKey(int number) {
        const std::string text = std::to_string(number);
        return database_.RowsText("select a, b from t where a = " + text) == text + "|second\n";
    }
    [[nodiscard]] const std::vector<int>& Stored() const { return stored_; }
    [[nodiscard]] TestDatabase& Database() { return database_; }

  private:
    TestDatabase database_;
    std::vector<int> stored_;
};

Row RowOfSecond(int number) {
    return {std::to_string(number), "second", "text of " + std::to_string(number)};
}

bool AnyCallFailed(const std::function<bool(const HostCall&)>& isMeant) {
    const std::vector<HostCall>& calls = TheHost().Calls();
    return std::any_of(calls.begin(), calls.end(),
                       [&](const HostCall& call) { return call.failed && isMeant(call); });
}

bool FailedOnIndex() {
    return AnyCallFailed(
        [](const HostCall& call) { return PartOf(call.path) == FilePart::kIndex; });
}

// A writer that can't read the header of the memo file puts its text to the place that it knows
// from before, and in the meantime the other's may have come there.
bool FailedToReadMemoHeader() {
    return AnyCallFailed([](const HostCall& call) {
        return PartOf(call.path) == FilePart::kMemo && call.offset == 0 &&
               (call.name == "ovFile_Seek" || call.name == "ovFile_Read");
    });
}

Row WithoutMemo(const Row& row) { return Row(row.begin(), row.begin() + 2); }

// Nothing is in t but the rows of before, those that the statement adds, and those of the second
// process, of which one that was refused may be there, too.
void ExpectNoOtherRows(const LoneStatement& lone, const NumberedRows& rows) {
    std::set<Row> known = {WithoutMemo(RowOfSecond(501)), WithoutMemo(RowOfSecond(502))};
    for (const NumberedRows* some : {&lone.rowsBefore, &lone.rowsAfter}) {
        for (const auto& [record, row] : *some) {
            known.insert(WithoutMemo(row));
        }
    }
    for (const auto& [record, row] : rows) {
        EXPECT_EQ(known.count(WithoutMemo(row)), 1U) << "record " << record;
    }
}

// All that t must hold is there: the rows of before, as they were or as the statement makes them,
// and those of the second process. A memo text of the first one may be missing.
void ExpectRows(const LoneStatement& lone, const std::vector<int>& stored) {
    const NumberedRows rows = RowsOfT(DatabaseFiles(TakeFiles()));
    ExpectNoOtherRows(lone, rows);
    for (const auto& [record, row] : lone.rowsBefore) {
        const auto now = rows.find(record);
        const auto made = lone.rowsAfter.find(record);
        if (now == rows.end()) {
            EXPECT_TRUE(made == lone.rowsAfter.end()) << "record " << record << " is lost";
            continue;
        }
        const bool isChanged = made == lone.rowsAfter.end() || made->second != row;
        const bool isMade =
            made != lone.rowsAfter.end() && WithoutMemo(now->second) == WithoutMemo(made->second);
        EXPECT_TRUE(now->second == row || (isChanged && isMade)) << "record " << record;
    }
    const bool mayLoseText = FailedToReadMemoHeader();
    for (const int number : stored) {
        const Row own = RowOfSecond(number);
        const auto isStored = [&](const auto& row) {
            return row.second == own ||
                   (mayLoseText && WithoutMemo(row.second) == WithoutMemo(own));
        };
        EXPECT_EQ(std::count_if(rows.begin(), rows.end(), isStored), 1)
            << "row " << number << " of the second process";
    }
}

// A pack by the second process puts the indexes right and loses nothing.
void ExpectPacking(SecondProcess* second) {
    const NumberedRows before = RowsOfT(DatabaseFiles(TakeFiles()));
    EXPECT_TRUE(second->Database().Pack()) << second->Database().Error();
    for (const checker::Finding& finding :
         checker::CheckDatabase(DatabaseFiles(TakeFiles()), "main.dbf")) {
        EXPECT_EQ(finding.kind, checker::FindingKind::kUnlistedFile) << finding.text;
    }
    std::vector<Row> old;
    for (const auto& [record, row] : before) {
        old.push_back(row);
    }
    std::vector<Row> packed;
    for (const auto& [record, row] : RowsOfT(DatabaseFiles(TakeFiles()))) {
        packed.push_back(row);
    }
    EXPECT_EQ(packed, old);
}

// The first process, whose n-th call fails. Calls that the second makes meanwhile don't count.
class FirstProcess {
  public:
    explicit FirstProcess(int64_t failing) : left_(failing) {
        TheHost().SetCurrentProcess(kFirst);
        EXPECT_TRUE(session_.Run(ScriptStep("open")).ok);
    }

    // False when the statement has fewer calls.
    bool Run(const ScriptStep& step) {
        TheHost().ClearLog();
        Go();
        const StepResult result = session_.Run(step);
        Stop();
        ++TheTally().runs;
        TheTally().failures += result.ok ? 0 : 1;
        EXPECT_TRUE(result.ok || !result.error.empty()) << "a failure without a text";
        return hasFailed_;
    }
    void Pause(const std::function<void()>& meanwhile) {
        Stop();
        meanwhile();
        Go();
    }

  private:
    void Go() {
        TheHost().SetCurrentProcess(kFirst);
        if (!hasFailed_) {
            TheHost().FailCall(left_);
        }
    }
    void Stop() {
        hasFailed_ = hasFailed_ || TheHost().FailureHappened();
        left_ -= TheHost().FallibleCalls();
        TheHost().ClearFailures();
    }

    ScriptSession session_;
    int64_t left_;
    bool hasFailed_ = false;
};

// When neither of them is at work any more. An index that the first one has left half changed, or
// half defined, may stop a statement, which is told; docs/limits.md lists what helps.
void ExpectGoingOn(const LoneStatement& lone, SecondProcess* second) {
    EXPECT_EQ(TheHost().Locks().size(), 0U);
    const bool hasHalfIndex = FailedOnIndex() || ChangesIndexes(lone.step);
    EXPECT_TRUE(second->Insert(502) || hasHalfIndex) << second->Database().Error();
    ExpectRows(lone, second->Stored());
    for (const int number : second->Stored()) {
        EXPECT_TRUE(hasHalfIndex || second->FindsByKey(number)) << number;
    }
    if (!IsDefinition(lone.step)) {
        ExpectPacking(second);
    }
}

// What FailedToReadMemoHeader() permits. The UPDATE has changed its first record and the second
// process has stored a row; the reads that follow are those of the data header, the next record
// twice, since it is locked in between, and the memo header.
TEST(SecondProcessMemoTest, ATextGoesOverAnothersWhenTheMemoHeaderCantBeRead) {
    RestoreFiles(SetupFiles(ScriptNamed("select_by_index")));
    SecondProcess second;
    TestDatabase first(kFirst);
    ASSERT_TRUE(first.Open());
    bool hasBegun = false;
    TheHost().SetChangeHandler([&](const FileChange& change) {
        if (change.path == "t.dbf" && !hasBegun) {
            hasBegun = true;
            EXPECT_TRUE(second.Insert(501));
            TheHost().FailCall("ovFile_Read", 4);
        }
    });
    EXPECT_EQ(first.Run("update t set m = 'new text' where b <> 'second'"), "");
    TheHost().SetChangeHandler(nullptr);
    EXPECT_EQ(second.Database().RowsText("select a, m from t where a < 3 or a > 500"),
              "1|new text\n2|\n501|new text\n");
}

class SecondProcessTest : public ::testing::TestWithParam<LoneStatement> {};

TEST_P(SecondProcessTest, LosesNoRowThatItStoresWhileAStatementFails) {
    bool goesOn = true;
    for (int64_t n = 1; goesOn && !HasFailure(); n += kFaultStride) {
        SCOPED_TRACE("call " + std::to_string(n));
        RestoreFiles(GetParam().before);
        SecondProcess second;
        FirstProcess first(n);
        bool isAtWork = false;
        TheHost().SetChangeHandler([&](const FileChange&) {
            if (!isAtWork && second.Stored().empty()) {
                isAtWork = true;
                first.Pause(
                    [&] { ++(second.Insert(501) ? TheTally().beside : TheTally().refused); });
                isAtWork = false;
            }
        });
        goesOn = first.Run(GetParam().step);
        TheHost().SetChangeHandler(nullptr);
        ExpectGoingOn(GetParam(), &second);
    }
}

TEST_P(SecondProcessTest, StoresItsRowAroundAStatementThatFails) {
    bool goesOn = true;
    for (size_t place = 1; goesOn && !HasFailure(); ++place) {
        bool fails = true;
        for (int64_t n = 1; fails && !HasFailure(); n += kFaultStride) {
            SCOPED_TRACE("behind change " + std::to_string(place) + ", call " + std::to_string(n));
            RestoreFiles(GetParam().before);
            SecondProcess second;
            FirstProcess first(n);
            size_t changes = 0;
            TheHost().SetChangeHandler([&](const FileChange&) {
                if (++changes == place) {
                    fails = first.Run(GetParam().step);
                    TheHost().SetCurrentProcess(kSecond);
                }
            });
            EXPECT_TRUE(second.Insert(501) || FailedOnIndex() || ChangesIndexes(GetParam().step))
                << second.Database().Error();
            TheHost().SetChangeHandler(nullptr);
            goesOn = changes >= place;
            fails = fails && goesOn;
            ExpectGoingOn(GetParam(), &second);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EachStatement, SecondProcessTest, ::testing::ValuesIn(LoneStatements()),
                         [](const auto& statement) { return statement.param.name; });

}  // namespace
}  // namespace ovrasql
