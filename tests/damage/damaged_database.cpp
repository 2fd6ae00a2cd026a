#include "tests/damage/damaged_database.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <set>

#include "tests/damage/live_memory.h"
#include "tests/damage/watch.h"
#include "tests/support/test_database.h"

namespace ovrasql {

namespace {

constexpr int64_t kMostBytes = int64_t{64} << 20;
// A count of four billion records is believed where the next one is to be written; no disk is that
// long.
constexpr int64_t kDisk = 256 * 1024;

// The duplicate key and the table that was dropped.
constexpr int32_t kFailingAnyhow = 2;

#if defined(__SANITIZE_ADDRESS__) || !defined(NDEBUG)
constexpr double kMostSeconds = 10;
#else
constexpr double kMostSeconds = 1;
#endif

struct Statement {
    const char* sql;
    const char* index = nullptr;  // by which a SELECT finds or sorts its rows
};

const Statement kStatements[] = {
    {"select * from item"},
    {"select name, price from item where name = 'Name 07'", "item_name"},
    {"select name from item where name >= 'Name 03' and name < 'Name 09'"},
    {"select price, name from item order by price", "item_price"},
    {"select name from item where price > 3 and price <= 9 order by name", "item_name"},
    {"select item.name, part.amount from part, item where part.item = item.name", "item_name"},
    {"select item.name, part.amount from item left outer join part on part.item = item.name",
     "part_item"},
    {"select text, length(text) from item where name = 'Name 01'", "item_name"},
    {"select made, count(*), sum(price) from item group by made"},
    {"insert into item values ('New', 1.25, 1, '20240229', 'a text of its own')"},
    {"insert into item values ('Name 07', 1.5, 0, '20240229', '')"},
    {"insert into part values ('New', 5)"},
    {"insert into part values ('Name 02', 5)"},
    {"update item set price = price + 1, text = 'another text' where name = 'Name 03'"},
    {"update item set name = 'Name 30' where price < 2"},
    {"delete item from item where price > 14"},
    {"create index part_amount on part (amount)"},
    {"alter table part add note char(10)"},
    {"alter table item drop column sold"},
    {"create table fresh (a integer, m memo)"},
    {"insert into fresh values (1, 'text')"},
    {"pack"},
    {"select * from item order by name"},
    {"select item, amount from part where amount = 5", "part_amount"},
    {"drop index item_price"},
    {"drop table fresh"},
    {"drop table item"},
    {"select * from item"},
};

bool IsTried() {
    static int32_t count = 0;
    const char* const text = std::getenv("OVRA_DAMAGE_EVERY");
    return count++ % (text == nullptr ? kTriedCases : std::max(std::atoi(text), 1)) == 0;
}

double Seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::string TwoDigits(int32_t number) { return (number < 10 ? "0" : "") + std::to_string(number); }

// Thirty items, whose indexes have two levels; some with a memo, one of two blocks; one deleted.
void Fill(TestDatabase& database) {
    for (int32_t i = 1; i <= 30; ++i) {
        const std::string text = i == 4 ? std::string(600, 'x') : "Text " + std::to_string(i);
        ASSERT_EQ(database.Run("insert into item values ('Name " + TwoDigits(i) + "', " +
                               std::to_string((i * 7) % 30) + ".5, " + std::to_string(i % 2) +
                               ", '202401" + TwoDigits(i) + "', '" +
                               (i % 5 == 4 ? text : std::string()) + "')"),
                  "");
    }
    ASSERT_EQ(database.Run("delete item from item where name = 'Name 12'"), "");
    for (int32_t i = 1; i <= 15; ++i) {
        ASSERT_EQ(database.Run("insert into part values ('Name " + TwoDigits(i * 2) + "', " +
                               std::to_string(i) + ")"),
                  "");
    }
}

Files MakeSoundFiles() {
    TheHost().Reset();
    {
        TestDatabase database;
        EXPECT_TRUE(database.Create());
        for (const char* sql :
             {"create table item (name char(12), price numeric(6,2), sold boolean, made char(8), "
              "text memo)",
              "create table part (item char(12), amount numeric(4))",
              "create index item_name on item (name)", "create index item_price on item (price)",
              "create unique index part_item on part (item)"}) {
            EXPECT_EQ(database.Run(sql), "");
        }
        Fill(database);
    }
    Files files;
    for (const std::string& path : TheHost().FilePaths()) {
        files[path] = TheHost().FileBytes(path);
    }
    // No statement makes a date column; other programs do.
    EXPECT_EQ(files["item.dbf"][32 + 3 * 32 + 11], 'C');
    files["item.dbf"][32 + 3 * 32 + 11] = 'D';
    // The day of the run is no part of the cases.
    for (const char* path : {"main.dbf", "item.dbf", "part.dbf"}) {
        Put(&files[path], 1, 3, 0x1D027C);  // the 29th of February 2024
    }
    return files;
}

// One statement, with its message if it failed.
bool RunStatement(TestDatabase& database, const char* sql, std::string* message) {
    bool done = false;
    if (std::string(sql) == "pack") {
        done = database.Pack();
    } else if (std::string(sql).compare(0, 7, "select ") == 0) {
        TestView view(database, sql);
        done = view.Ok();
        while (done && !view.AtEnd()) {
            static_cast<void>(view.Values());
            done = view.Skip();
        }
    } else {
        done = database.Query(sql);
    }
    if (!done) {
        *message = database.Error();
    }
    return done;
}

void ExpectBounds(const std::string& name, const char* what, double seconds, int64_t bytes,
                  DamageTally* tally) {
    tally->seconds = std::max(tally->seconds, seconds);
    tally->bytes = std::max(tally->bytes, bytes);
    if (seconds > kMostSeconds) {
        ADD_FAILURE() << name << ": " << what << " took " << seconds << " s";
    }
    if (bytes > kMostBytes) {
        ADD_FAILURE() << name << ": " << what << " took " << bytes << " bytes";
    }
}

template <class Action>
bool Measured(const std::string& name, const char* what, DamageTally* tally, Action action) {
    const double start = Seconds();
    const int64_t before = ovratest::liveBytes;
    ovratest::peakBytes = before;
    const bool done = action();
    ExpectBounds(name, what, Seconds() - start, ovratest::peakBytes - before, tally);
    return done;
}

// Required: a SELECT by an index that the catalog does not find by its name any more fails without
// a message. Such an index has lost its catalog row or the key of that row, so the damage is in the
// catalog or in its second index.
bool MayFailWithoutMessage(const std::string& name, const Statement& statement) {
    const std::string path = name.substr(0, name.find(' '));
    return statement.index != nullptr && (path == "main.dbf" || path == "maini.ovx");
}

// Returns how many statements failed.
int32_t RunStatements(const std::string& name, TestDatabase& database, DamageTally* tally) {
    int32_t failed = 0;
    for (const Statement& statement : kStatements) {
        const char* sql = statement.sql;
        std::string message = "none";
        if (!Measured(name, sql, tally, [&] { return RunStatement(database, sql, &message); })) {
            ++failed;
            tally->silent += message.empty() ? 1 : 0;
            EXPECT_TRUE(!message.empty() || MayFailWithoutMessage(name, statement))
                << name << ": " << sql;
        }
    }
    return failed;
}

// 0, 1, the greatest, half of it, and the neighbours of what is there.
std::set<uint32_t> Values(const Bytes& bytes, size_t offset, const DamagedField& field) {
    const uint64_t greatest = (uint64_t{1} << (8 * field.width)) - 1;
    const uint32_t sound = Get(bytes, offset, field.width);
    std::set<uint32_t> values = field.limits;
    for (const uint64_t value :
         {uint64_t{0}, uint64_t{1}, greatest / 2, greatest / 2 + 1, greatest - 1, greatest,
          uint64_t{sound} + 1, uint64_t{sound} - 1, uint64_t{sound} * 2}) {
        values.insert(static_cast<uint32_t>(value & greatest));
    }
    values.erase(sound);
    return values;
}

void TryField(const std::string& path, size_t base, const DamagedField& field, DamageTally* tally) {
    Files files = SoundFiles();
    Bytes& bytes = files[path];
    const size_t offset = base + field.offset;
    const uint32_t sound = Get(bytes, offset, field.width);
    for (const uint32_t value : Values(bytes, offset, field)) {
        Put(&bytes, offset, field.width, value);
        RunDamaged(path + " " + field.name + " at " + std::to_string(offset) + " = " +
                       std::to_string(value),
                   files, tally);
    }
    Put(&bytes, offset, field.width, sound);
}

}  // namespace

const Files& SoundFiles() {
    static const Files files = MakeSoundFiles();
    return files;
}

void RunDamaged(const std::string& name, const Files& files, DamageTally* tally) {
    ++tally->cases;
    if (!IsTried()) {
        return;
    }
    ++tally->tried;
    ovratest::WatchCase(name);
    TheHost().Clear();
    TheHost().SetLogging(false);
    TheHost().SetLongestFile(kDisk);
    for (const auto& [path, bytes] : files) {
        TheHost().SetFile(path, bytes);
    }
    {
        TestDatabase database;
        if (!Measured(name, "open", tally, [&] { return database.Open(); })) {
            ++tally->refused;
            EXPECT_NE(database.Error(), "") << name;
        } else if (RunStatements(name, database, tally) != kFailingAnyhow) {
            ++tally->disturbed;
        } else {
            ++tally->unharmed;
        }
        Measured(name, "close", tally, [&] {
            database.Free();
            return true;
        });
    }
    EXPECT_EQ(TheHost().OpenFileCount(), 0) << name;
    EXPECT_EQ(TheHost().Locks().size(), 0U) << name;
    EXPECT_EQ(TheHost().AllocatedCount(), 0) << name;
    EXPECT_EQ(TheHost().Misuses().size(), 0U) << name << ": " << TheHost().Misuses().front();
}

uint32_t Get(const Bytes& bytes, size_t offset, size_t width) {
    uint32_t value = 0;
    for (size_t i = width; i > 0; --i) {
        value = value << 8 | (offset + i - 1 < bytes.size() ? bytes[offset + i - 1] : 0U);
    }
    return value;
}

void Put(Bytes* bytes, size_t offset, size_t width, uint64_t value) {
    for (size_t i = 0; i < width && offset + i < bytes->size(); ++i) {
        (*bytes)[offset + i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

std::vector<size_t> PlaceOfHeader(const Bytes& /*sound*/) { return {0}; }

void TryFields(const std::vector<std::string>& paths, Places places,
               const std::vector<DamagedField>& fields, DamageTally* tally) {
    for (const std::string& path : paths) {
        for (const size_t place : places(SoundFiles().at(path))) {
            for (const DamagedField& field : fields) {
                TryField(path, place, field, tally);
            }
        }
    }
}

void Report(const char* what, const DamageTally& tally, const ExpectedOutcome& expected) {
    std::printf(
        "%s: %d cases, %d tried: %d refused at open, %d with other outcomes than the sound "
        "files, %d unharmed; %d statements without a message; at most %.3f s and %lld KiB\n",
        what, tally.cases, tally.tried, tally.refused, tally.disturbed, tally.unharmed,
        tally.silent, tally.seconds, static_cast<long long>(tally.bytes / 1024));
    if (tally.tried == tally.cases) {
        EXPECT_GE(tally.disturbed, expected.leastDisturbed) << what;
        EXPECT_LE(tally.silent, expected.mostSilent) << what;
    }
}

}  // namespace ovrasql
