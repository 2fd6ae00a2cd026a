// Data and memo files: the input is a table's two files, which are opened, read to their end,
// appended to, changed, deleted from and packed.
//
//   byte 0      bit 0: what runs, the storage classes (0) or SQL (1); bits 1 to 6 for SQL: insert,
//               update, delete, make an index, alter the table, pack
//   bytes 1, 2  length of the data file
//   then        the data file, and behind it the memo file
//
// Whatever the bytes are, a failure has a text, and nothing is left behind. What was appended to a
// table that could be read is there when it is opened again.

#include <algorithm>
#include <string>

#include "fuzz/support/finding.h"
#include "fuzz/support/input_bytes.h"
#include "fuzz/support/template_files.h"
#include "storage/data_format.h"
#include "storage/ovra_sql_memo_field.h"
#include "storage/ovra_sql_table.h"
#include "tests/support/test_database.h"

namespace {

using namespace ovrasql;
using fuzz::Require;

constexpr int64_t kServiceCalls = 4000;
constexpr uint32_t kMaximumRecords = 40;
constexpr int kMaximumFields = 12;
constexpr int kMaximumRows = 40;
constexpr const char* kMemo = "another memo";

// A catalog that lists one table without indexes, so that a run does little else.
fuzz::FileSet CatalogFiles() {
    fuzz::StartHost({}, INT64_MAX);
    {
        TestDatabase database;
        Require(database.Create("main.dbf") &&
                    database.Query("create table t (id integer, a numeric(5), s char(8), m memo)"),
                "the database can't be made");
    }
    return fuzz::HostFiles();
}

// That database with the input's files in place of the table's own.
fuzz::FileSet FilesOf(fuzz::InputBytes* input) {
    const size_t dataLength = input->Word();
    const std::string_view data = input->Take(dataLength);
    const std::string_view memo = input->Rest();
    static const fuzz::FileSet catalog = CatalogFiles();
    fuzz::FileSet files = catalog;
    for (fuzz::FileContents& file : files) {
        if (file.path == "t.dbf") {
            file.bytes.assign(data.begin(), data.end());
        } else if (file.path == "t.dbt") {
            file.bytes.assign(memo.begin(), memo.end());
        }
    }
    return files;
}

class StorageRun {
  public:
    StorageRun() : database_(TheHost().MakeDatabase()) {}

    void Run() {
        uint32_t before = 0;
        bool appended = false;
        bool overlaps = false;  // records lie over the header
        {
            OvraSQLTable table(database_);
            if (!Check(table.Open("t.dbf", kOpenExisting), table)) {
                return;
            }
            ReadAll(table);
            before = table.RecordCount();
            overlaps = table.HeaderLength() < kFileHeaderSize;
            appended = Append(table);
            Change(table);
        }
        if (appended && !overlaps && !TheHost().FailureHappened()) {
            CheckAppended(before);
        }
        fuzz::RequireNothingLeft();
    }

  private:
    // With what `table` says about it; the result itself.
    static bool Check(bool ok, const OvraSQLTable& table) {
        Require(ok || !table.Error().IsEmpty(), "a table fails without a text");
        return ok;
    }

    static void ReadAll(OvraSQLTable& table) {
        const uint32_t count = std::min(table.RecordCount(), kMaximumRecords);
        for (uint32_t record = 1; record <= count + 1; ++record) {
            if (Check(table.ReadRecord(record), table)) {
                ReadFields(table);
            }
        }
        if (table.RecordCount() > kMaximumRecords) {
            (void)Check(table.ReadRecord(table.RecordCount()), table);
        }
    }

    static void ReadFields(OvraSQLTable& table) {
        OvraSQLField* field = table.Fields().First();
        for (int fields = 0; field != nullptr && fields < kMaximumFields; ++fields) {
            (void)field->ValueText();
            (void)field->Number();
            field = table.Fields().Next();
        }
    }

    static void SetFields(OvraSQLTable& table, TextView text) {
        OvraSQLField* field = table.Fields().First();
        for (int fields = 0; field != nullptr && fields < kMaximumFields; ++fields) {
            (void)field->SetValue(text);
            field = table.Fields().Next();
        }
    }

    static bool Append(OvraSQLTable& table) {
        SetFields(table, "12.5");
        table.SetDeleted(false);
        return Check(table.AppendRecord(), table);
    }

    static void Change(OvraSQLTable& table) {
        if (!Check(table.ReadRecord(1), table) || !Check(table.LockAndReadRecord(), table)) {
            return;
        }
        table.SaveFieldValues();
        SetFields(table, kMemo);
        if (Check(table.UpdateRecord(), table)) {
            (void)Check(table.MarkDeleted(true), table);
        }
        table.SwapFieldValues();
        (void)table.WriteMemo(kMemo);
    }

    void CheckAppended(uint32_t before) {
        OvraSQLTable table(database_);
        Require(table.Open("t.dbf", kOpenExisting), "a table that was written can't be opened");
        Require(table.RecordCount() == before + 1, "the appended record is not counted");
    }

    void* database_;
};

class SqlRun {
  public:
    explicit SqlRun(uint8_t steps) : steps_(steps) {}

    void Run() {
        if (Check(database_.Open("main.dbf"))) {
            ReadAll();
            Change();
            ReadAll();
        }
        database_.Free();
        fuzz::RequireNothingLeft();
    }

  private:
    bool Check(bool ok) const {
        Require(ok || !database_.Error().empty(), "a failure without a text");
        return ok;
    }

    void ReadAll() {
        TestView view(database_, "select * from t");
        bool more = Check(view.Ok());
        columns_ = more ? view.Columns() : Texts();
        for (int rows = 0; more && rows < kMaximumRows && !view.AtEnd(); ++rows) {
            (void)view.Values();
            more = Check(view.Skip());
        }
    }

    void Insert() {
        std::string places;
        const Texts values(std::min<size_t>(columns_.size(), kMaximumFields), "7");
        for (size_t i = 0; i < values.size(); ++i) {
            places += i == 0 ? "?" : ", ?";
        }
        (void)Check(database_.Query("insert into t values (" + places + ")", values));
    }

    [[nodiscard]] bool Does(unsigned bit) const { return (steps_ >> bit & 1U) != 0; }

    void Change() {
        if (Does(4)) {
            (void)Check(database_.Query("create index tz on t (s, m)"));
        }
        if (Does(1)) {
            Insert();
        }
        if (Does(2)) {
            Update();
        }
        if (Does(3)) {
            (void)Check(database_.Query("delete from t where a = 7"));
        }
        if (Does(5)) {
            (void)Check(database_.Query("alter table t add c9 memo"));
            (void)Check(database_.Query("alter table t drop column a"));
        }
        if (Does(6)) {
            (void)Check(database_.Pack());
        }
    }

    void Update() {
        for (size_t i = 0; i < std::min<size_t>(columns_.size(), 3); ++i) {
            const std::string& column = columns_[i];
            (void)Check(
                database_.Query("update t set " + column + " = ? where " + column + " <> 'anna'",
                                {"changed to this"}));
        }
    }

    uint8_t steps_;
    TestDatabase database_;
    Texts columns_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz::InputBytes input(bytes, size);
    const uint8_t first = input.Byte();
    fuzz::StartHost(FilesOf(&input), kServiceCalls);
    if (first % 2 == 0) {
        StorageRun().Run();
    } else {
        SqlRun(first).Run();
    }
    return 0;
}
