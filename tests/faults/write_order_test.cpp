// The order of writes in every script, and wrong orders that the analyser has to notice.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/faults/write_order.h"
#include "tests/support/script_session.h"

namespace ovrasql {
namespace {

using Log = std::vector<HostCall>;
using Breaches = std::vector<std::string>;

// --- Planted orders

HostCall Call(const char* name, const char* path, int64_t offset = 0, int64_t length = 0,
              int32_t flags = 0) {
    HostCall call;
    call.name = std::string("ovFile_") + name;
    call.path = path;
    call.offset = offset;
    call.length = length;
    call.flags = flags;
    return call;
}

HostCall Lock(const char* path, int64_t offset, int64_t length) {
    return Call("Lock", path, offset, length, 2);
}
HostCall LockForReading(const char* path, int64_t offset, int64_t length) {
    return Call("Lock", path, offset, length, 1);
}
HostCall Release(const char* path, int64_t offset, int64_t length) {
    return Call("Release", path, offset, length);
}
HostCall Read(const char* path, int64_t offset, int64_t length) {
    return Call("Read", path, offset, length);
}
HostCall Write(const char* path, int64_t offset, int64_t length) {
    return Call("Write", path, offset, length);
}
HostCall Make(const char* path) { return Call("Open", path, 0, 0, 15); }
HostCall Temporary(const char* path, const char* beside) {
    HostCall call = Call("MakeTemporary", beside, 0, 0, 39);
    call.newPath = path;
    return call;
}
HostCall Rename(const char* path, const char* newPath) {
    HostCall call = Call("Rename", path);
    call.newPath = newPath;
    return call;
}

// An insert of a record with a memo text and a key, as it should be.
Log RightInsert() {
    return {Lock("t.dbf", 0, 97),       Read("t.dbf", 0, 32),         // 0
            Lock("t.dbt", 0, 512),      Read("t.dbt", 0, 512),        // 2
            Write("t.dbt", 512, 14),    Write("t.dbt", 0, 512),       // 4
            Release("t.dbt", 0, 512),   Write("t.dbf", 97, 40),       // 6
            Write("t.dbf", 0, 32),      Release("t.dbf", 0, 97),      // 8
            Lock("ta.ovx", 0, 427),     Read("ta.ovx", 0, 427),       // 10
            Read("ta.ovx", 1024, 1024), Write("ta.ovx", 1024, 1024),  // 12
            Write("ta.ovx", 0, 427),    Release("ta.ovx", 0, 427)};
}

// The same in parts, each as it should be in itself.
Log Part(size_t first, size_t last) {
    const Log log = RightInsert();
    return {log.begin() + static_cast<std::ptrdiff_t>(first),
            log.begin() + static_cast<std::ptrdiff_t>(last)};
}
Log LockedTable() { return Part(0, 2); }
Log WholeText() { return Part(2, 7); }
Log CountedRecord() { return Part(7, 9); }
Log ReleasedTable() { return Part(9, 10); }
Log WholeKey() { return Part(10, 16); }

Log Joined(std::initializer_list<Log> parts) {
    Log joined;
    for (const Log& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

// A change of the second record in its place.
Log ChangedRecord() {
    return {Lock("t.dbf", 136, 39), Write("t.dbf", 136, 39), Release("t.dbf", 136, 39),
            Lock("t.dbf", 0, 97),   Read("t.dbf", 0, 32),    Write("t.dbf", 0, 32),
            Release("t.dbf", 0, 97)};
}

// The right insert with one call moved to stand before another.
Log InsertWithMoved(size_t from, size_t before) {
    Log log = RightInsert();
    const HostCall moved = log[from];
    log.insert(log.begin() + static_cast<std::ptrdiff_t>(before), moved);
    log.erase(log.begin() + static_cast<std::ptrdiff_t>(from + (from > before ? 1 : 0)));
    return log;
}

Log InsertWithout(size_t call) {
    Log log = RightInsert();
    log.erase(log.begin() + static_cast<std::ptrdiff_t>(call));
    return log;
}

bool Notices(const Log& log, const std::string& rule) {
    for (const std::string& breach : CheckWriteOrder(log)) {
        if (breach.compare(0, rule.size(), rule) == 0) {
            return true;
        }
    }
    return false;
}

TEST(WriteOrderTest, IsSilentOnARightInsert) {
    EXPECT_EQ(CheckWriteOrder(RightInsert()), Breaches());
}

TEST(WriteOrderTest, NoticesWritingWithoutALock) {
    Log log = InsertWithout(0);
    EXPECT_TRUE(Notices(log, "rule 1"));
    EXPECT_TRUE(Notices(InsertWithout(10), "rule 1"));
    EXPECT_TRUE(Notices({Write("t.dbf", 97, 40)}, "rule 1"));
    // A lock for reading is not enough.
    log = RightInsert();
    log[10].flags = 1;
    EXPECT_TRUE(Notices(log, "rule 1"));
}

TEST(WriteOrderTest, NoticesAHeaderThatIsNotReadUnderItsLock) {
    EXPECT_TRUE(Notices(InsertWithout(1), "rule 2"));
    EXPECT_TRUE(Notices(InsertWithMoved(1, 0), "rule 2")) << "read before the lock";
    EXPECT_TRUE(Notices(InsertWithout(3), "rule 2"));
    EXPECT_TRUE(Notices(InsertWithMoved(11, 10), "rule 2"));
    EXPECT_TRUE(Notices(InsertWithMoved(1, 9), "rule 2")) << "read after it was written";
}

TEST(WriteOrderTest, NoticesACountBeforeItsRecord) {
    EXPECT_TRUE(Notices(InsertWithMoved(8, 7), "rule 3"));
    EXPECT_TRUE(Notices(InsertWithout(8), "rule 3")) << "a record that is never counted";
    EXPECT_TRUE(Notices(InsertWithMoved(9, 8), "rule 3")) << "counted after the lock";
}

TEST(WriteOrderTest, NoticesAKeyBeforeTheCount) {
    // The insertion of the key between the record and its count.
    Log log = RightInsert();
    std::rotate(log.begin() + 8, log.begin() + 10, log.begin() + 16);
    EXPECT_TRUE(Notices(log, "rule 4"));
}

// Each part is right in itself, but they are the wrong way round.
TEST(WriteOrderTest, NoticesAWholeKeyBeforeItsRecord) {
    const Log record = Joined({LockedTable(), WholeText(), CountedRecord(), ReleasedTable()});
    EXPECT_TRUE(Notices(Joined({WholeKey(), record}), "rule 4"));
    EXPECT_TRUE(Notices(Joined({record, WholeKey(), WholeKey(), record}), "rule 4"))
        << "the key of the second record";
    EXPECT_EQ(CheckWriteOrder(Joined({record, WholeKey(), record, WholeKey()})), Breaches());
}

// An old key goes and a new one comes, when all records are written.
TEST(WriteOrderTest, NoticesAKeyAmongTheRecordsThatAreChanged) {
    const Log record = ChangedRecord();
    EXPECT_EQ(CheckWriteOrder(Joined({record, record, WholeKey(), WholeKey()})), Breaches());
    EXPECT_TRUE(Notices(Joined({WholeKey(), WholeKey(), record}), "rule 4"));
    EXPECT_TRUE(Notices(Joined({record, WholeKey(), WholeKey(), record}), "rule 4"));
    EXPECT_TRUE(Notices(Joined({record, WholeKey(), WholeKey(), WholeKey()}), "rule 4"))
        << "a key of no record";
}

TEST(WriteOrderTest, NoticesAWholeTextBehindItsRecord) {
    EXPECT_TRUE(
        Notices(Joined({LockedTable(), CountedRecord(), WholeText(), ReleasedTable()}), "rule 5"));
    EXPECT_TRUE(
        Notices(Joined({LockedTable(), CountedRecord(), ReleasedTable(), WholeText()}), "rule 5"));
    EXPECT_TRUE(
        Notices(Joined({WholeText(), LockedTable(), CountedRecord(), ReleasedTable()}), "rule 5"))
        << "a text before its record is locked: data locks come first";
}

TEST(WriteOrderTest, NoticesAMemoHeaderBeforeItsText) {
    EXPECT_TRUE(Notices(InsertWithMoved(5, 4), "rule 5"));
    EXPECT_TRUE(Notices(InsertWithMoved(6, 5), "rule 5")) << "the lock goes too early";
    EXPECT_TRUE(Notices(InsertWithMoved(7, 5), "rule 5")) << "the record comes too early";
}

TEST(WriteOrderTest, NoticesARowOfTheCatalogBeforeItsFile) {
    const Log file = {Make("v.dbf"), Write("v.dbf", 0, 32), Write("v.dbf", 32, 65)};
    const Log endMark = {Write("v.dbf", 97, 1)};
    const Log row = {Lock("main.dbf", 0, 225), Read("main.dbf", 0, 32), Write("main.dbf", 225, 658),
                     Write("main.dbf", 0, 32), Release("main.dbf", 0, 225)};
    EXPECT_EQ(CheckWriteOrder(Joined({file, endMark, row})), Breaches());
    EXPECT_TRUE(Notices(Joined({file, row, endMark}), "rule 6"));
    EXPECT_TRUE(Notices(Joined({row, file, endMark}), "rule 6"));
}

// The keys of a new index belong to what has to be there before its row.
TEST(WriteOrderTest, NoticesARowOfTheCatalogBeforeTheKeysOfItsIndex) {
    const Log file = {Make("ta.ovx"), Write("ta.ovx", 0, 427), Write("ta.ovx", 1024, 1024)};
    const Log row = {Lock("main.dbf", 0, 225), Read("main.dbf", 0, 32), Write("main.dbf", 225, 658),
                     Write("main.dbf", 0, 32), Release("main.dbf", 0, 225)};
    EXPECT_EQ(CheckWriteOrder(Joined({file, WholeKey(), row})), Breaches());
    EXPECT_TRUE(Notices(Joined({file, row, WholeKey()}), "rule 6"));
}

TEST(WriteOrderTest, NoticesRenamingOutOfOrder) {
    const Log made = {Temporary("x1", "t.dbf"), Temporary("x2", "t.dbt"), Temporary("x3", "ta.ovx"),
                      Write("x1", 0, 32),       Write("x1", 32, 65),      Write("x1", 97, 1),
                      Write("x2", 0, 512),      Write("x2", 512, 1),      Write("x3", 0, 427),
                      Write("x3", 1024, 1024)};
    const auto renamed = [&](std::initializer_list<HostCall> renames) {
        Log log = made;
        log.insert(log.end(), renames);
        return log;
    };
    const HostCall data = Rename("x1", "t.dbf");
    const HostCall memo = Rename("x2", "t.dbt");
    const HostCall index = Rename("x3", "ta.ovx");
    EXPECT_EQ(CheckWriteOrder(renamed({data, memo, index})), Breaches());
    EXPECT_TRUE(Notices(renamed({memo, data, index}), "rule 7"));
    EXPECT_TRUE(Notices(renamed({data, index, memo}), "rule 7"));
    EXPECT_TRUE(Notices(renamed({index}), "rule 7"));
    EXPECT_TRUE(Notices({Temporary("x1", "t.dbf"), Rename("x1", "t.dbf")}, "rule 6"));
    EXPECT_TRUE(Notices(renamed({data, Rename("x2", "u.dbt")}), "rule 7"))
        << "the memo file of another table, whose data file has not gone before it";
}

TEST(WriteOrderTest, NoticesLocksThatStayAndReleasesOfNothing) {
    EXPECT_TRUE(Notices(InsertWithout(15), "rule 8"));
    EXPECT_TRUE(Notices({Release("t.dbf", 0, 97)}, "rule 8"));
    EXPECT_TRUE(Notices({Lock("t.dbf", 0, 97), Call("Close", "t.dbf")}, "rule 8"));
}

// Each index by itself is changed as it should be.
TEST(WriteOrderTest, NoticesTwoIndexesLockedAtOnce) {
    Log inner = WholeKey();
    for (HostCall& call : inner) {
        call.path = "tb.ovx";
    }
    const Log record = Part(0, 10);
    EXPECT_EQ(CheckWriteOrder(Joined({record, WholeKey(), inner})), Breaches());
    EXPECT_TRUE(Notices(Joined({record, Part(10, 15), inner, Part(15, 16)}), "rule 9"));
    const Log search = {LockForReading("tb.ovx", 0, 427), Release("tb.ovx", 0, 427)};
    EXPECT_TRUE(Notices(Joined({record, Part(10, 15), search, Part(15, 16)}), "rule 9"));
}

TEST(WriteOrderTest, NoticesAKeyInsideTheLockOfItsData) {
    EXPECT_TRUE(Notices(InsertWithMoved(9, 16), "rule 9")) << "the header is released behind it";
    const HostCall lock = Lock("t.dbf", 136, 39);
    const HostCall release = Release("t.dbf", 136, 39);
    const Log record = ChangedRecord();
    EXPECT_TRUE(Notices(Joined({record, {lock}, WholeKey(), {release}}), "rule 9"));
    // A search for what would violate UNIQUE, and one for another record to read.
    const Log search = {LockForReading("ta.ovx", 0, 427), Release("ta.ovx", 0, 427)};
    EXPECT_EQ(CheckWriteOrder(Joined({{lock}, search, {release}})), Breaches());
}

TEST(WriteOrderTest, TheLockOfAPackStandsAroundEverything) {
    EXPECT_EQ(CheckWriteOrder(
                  Joined({{Lock("main.dbf", 0, 32)}, RightInsert(), {Release("main.dbf", 0, 32)}})),
              Breaches());
    EXPECT_TRUE(
        Notices(Joined({{Lock("main.dbf", 0, 225)}, RightInsert(), {Release("main.dbf", 0, 225)}}),
                "rule 9"))
        << "the whole header, as a row of the catalog locks it";
}

TEST(WriteOrderTest, NoticesAMemoFileOutsideTheLockOfItsData) {
    const Log opening = {LockForReading("t.dbt", 0, 512), Release("t.dbt", 0, 512)};
    const Log writing = {Lock("t.dbt", 0, 512), Release("t.dbt", 0, 512)};
    const auto inside = [](const char* path, const Log& log) {
        return Joined({{Lock(path, 136, 39)}, log, {Release(path, 136, 39)}});
    };
    EXPECT_EQ(CheckWriteOrder(opening), Breaches());
    EXPECT_EQ(CheckWriteOrder(inside("t.dbf", opening)), Breaches());
    EXPECT_EQ(CheckWriteOrder(inside("t.dbf", writing)), Breaches());
    EXPECT_TRUE(Notices(writing, "rule 9"));
    EXPECT_TRUE(Notices(inside("u.dbf", writing), "rule 9")) << "of another table";
    EXPECT_TRUE(Notices(inside("u.dbf", opening), "rule 9"));
}

// --- The scripts

class ScriptOrderTest : public ::testing::TestWithParam<StatementScript> {};

TEST_P(ScriptOrderTest, WritesInOrder) {
    RestoreFiles(SetupFiles(GetParam()));
    ScriptSession session;
    ASSERT_TRUE(Prepare(session, GetParam()));
    for (const ScriptStep& step : GetParam().tested) {
        TheHost().ClearLog();
        (void)session.Run(step);
        EXPECT_EQ(CheckWriteOrder(TheHost().Calls()), Breaches()) << step.text;
    }
}

INSTANTIATE_TEST_SUITE_P(EachScript, ScriptOrderTest, ::testing::ValuesIn(StatementScripts()),
                         [](const auto& script) { return script.param.name; });

// Otherwise the tests above could pass by finding nothing.
TEST(WriteOrderTest, TheScriptsWriteEverything) {
    WriteCounts counts;
    for (const StatementScript& script : StatementScripts()) {
        RestoreFiles(SetupFiles(script));
        ScriptSession session;
        ASSERT_TRUE(Prepare(session, script));
        for (const ScriptStep& step : script.tested) {
            TheHost().ClearLog();
            (void)session.Run(step);
            EXPECT_EQ(CheckWriteOrder(TheHost().Calls(), &counts), Breaches()) << step.text;
        }
    }
    EXPECT_GT(counts.records, 150);
    EXPECT_EQ(counts.counts, counts.records) << "each record has its count";
    EXPECT_GT(counts.keys, 150);
    EXPECT_GT(counts.memoTexts, 20);
    EXPECT_GT(counts.catalogRows, 15);
    EXPECT_GT(counts.filesMade, 50);
    EXPECT_GT(counts.renames, 20);
    EXPECT_GT(counts.locks, 1000);
}

}  // namespace
}  // namespace ovrasql
