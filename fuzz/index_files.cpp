// Index files: the input is operations and the file that they work on.
//
//   byte 0      bits 0, 1: what runs. 0: the storage classes over the input's file. 1: the same
//   over
//               a new file, beside a plain list of keys. 2 and 3: SQL, with the input's file as the
//               index ta (a, b) or as the unique index uy (y) of the template.
//               bits 2 to 4: the flags of a new index; bit 2 of SQL: a pack at the end
//   byte 1      how many operations follow, of two bytes each: what it is, and its key
//   then        the bytes of the index file
//
// Whatever the bytes are, a failure has a text, no lock outlives an operation, and no operation
// goes on for ever. On a file that the library has made alone, the list and the index agree.

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/support/finding.h"
#include "fuzz/support/input_bytes.h"
#include "fuzz/support/template_files.h"
#include "storage/ovra_sql_index.h"
#include "tests/support/test_database.h"

namespace {

using namespace ovrasql;
using fuzz::Require;

constexpr int64_t kServiceCalls = 4000;
constexpr size_t kMaximumOperations = 64;
constexpr int kMaximumSteps = 100;
constexpr const char* kPath = "f.ovx";

// A key for each byte: letters, numbers in several spellings, the keys of the template, long ones.
std::string KeyFor(uint8_t byte) {
    switch (byte >> 5U) {
        case 0:
            return std::string(1, static_cast<char>('A' + byte % 32));
        case 1:
            return std::to_string(byte % 32);
        case 2:
            return "0000" + std::to_string(byte % 32) + ".0";
        case 3:
            return std::string(size_t{byte} % 32 * 4, 'K');
        case 4:
            return std::string(5 - std::min<size_t>(5, byte % 32 / 10 + 1), '0') +
                   std::to_string(byte % 32) + ":003.00";
        case 5:
            return std::string("K\0L", 3) + std::to_string(byte % 32);
        case 6:
            return "-" + std::to_string(byte % 32);
        default:
            return byte == 255 ? "nan" : byte == 254 ? "" : "INF";
    }
}

// An index that can be at fault in one way only: by failing with a text.
class CheckedIndex {
  public:
    explicit CheckedIndex(void* database) : index_(database) {}

    OvraSQLIndex& Index() { return index_; }

    bool Open() { return Check(index_.Open(kPath, kOpenExisting)); }

    void Run(uint8_t operation, uint8_t keyByte) {
        const std::string text = KeyFor(keyByte);
        const TextView key(text.data(), static_cast<int32_t>(text.size()));
        uint32_t record = 0;
        bool found = false;
        TextView stepKey;
        switch (operation % 12) {
            case 0:
            case 1:
                (void)Check(index_.InsertKey(operation, key));
                break;
            case 2:
                (void)Check(index_.DeleteKey(static_cast<uint32_t>(operation) - 2, key));
                break;
            case 3:
                (void)Check(index_.Seek(key, true, &record, &found, true));
                break;
            case 4:
                (void)Check(index_.Seek(key, false, &record, &found, true));
                break;
            case 5:
                // Not found is a failure without a text of its own.
                (void)index_.SeekRecord(key, keyByte, true);
                break;
            case 6:
                (void)Check(index_.First(&record, true));
                break;
            case 7:
                (void)Check(index_.Last(&record, true));
                break;
            case 8:
            case 9:
                (void)Check(index_.Next(&record, &stepKey, true));
                break;
            case 10:
                (void)Check(index_.Previous(&record, true));
                break;
            default:
                DeleteFound(key);
        }
        Require(TheHost().Locks().empty(), "a lock outlives an operation");
    }

    // All records from the first on; what a damaged file shows ends after a number of steps.
    std::vector<uint32_t> Forward() {
        std::vector<uint32_t> records;
        uint32_t record = 0;
        for (bool more = Check(index_.First(&record, true));
             more && record != 0 && records.size() < kMaximumSteps;
             more = Check(index_.Next(&record, nullptr, true))) {
            records.push_back(record);
        }
        return records;
    }
    std::vector<uint32_t> Backward() {
        std::vector<uint32_t> records;
        uint32_t record = 0;
        for (bool more = Check(index_.Last(&record, true));
             more && record != 0 && records.size() < kMaximumSteps;
             more = Check(index_.Previous(&record, true))) {
            records.push_back(record);
        }
        return records;
    }

  private:
    void DeleteFound(TextView key) {
        uint32_t record = 0;
        bool found = false;
        if (Check(index_.Seek(key, true, &record, &found, true)) && found) {
            (void)Check(index_.DeleteCurrentKey(record));
        }
    }

    bool Check(bool ok) const {
        Require((ok && !index_.Failed()) || !index_.Error().IsEmpty(),
                "an index fails without a text");
        return ok;
    }

    OvraSQLIndex index_;
};

struct Operation {
    uint8_t code = 0;
    uint8_t key = 0;
};
using Operations = std::vector<Operation>;

void RunStorage(const Operations& operations, std::string_view bytes) {
    fuzz::StartHost({}, kServiceCalls);
    TheHost().SetFile(kPath, bytes);
    {
        // Two of them: the walk of one meets the changes of the other.
        CheckedIndex first(TheHost().MakeDatabase());
        CheckedIndex second(TheHost().MakeDatabase());
        if (first.Open() && second.Open()) {
            for (const Operation& operation : operations) {
                (operation.code >= 128 ? second : first).Run(operation.code % 128, operation.key);
            }
            (void)first.Forward();
            (void)second.Backward();
        }
    }
    fuzz::RequireNothingLeft();
}

// Insertions and deletions on a new index of plain texts, beside a list of the same.
class AgainstList {
  public:
    explicit AgainstList(int32_t flags) : checked_(TheHost().MakeDatabase()), flags_(flags) {}

    void Run(const Operations& operations) {
        Require(checked_.Index().Create(kPath, "", flags_), "no index can be made");
        for (const Operation& operation : operations) {
            if (operation.code % 3 != 0) {
                Insert(operation.key);
            } else {
                Delete(operation.key);
            }
        }
        if (!TheHost().FailureHappened()) {
            Compare();
        }
    }

  private:
    // Letters only, so that the order is that of the bytes under all flags.
    static std::string KeyFor(uint8_t byte) {
        std::string key(1, static_cast<char>('A' + byte % 26));
        return key + std::string(byte / 26, 'X');
    }

    void Insert(uint8_t byte) {
        const std::string key = KeyFor(byte);
        const bool refused = (flags_ & kIndexUnique) != 0 && list_.count(key) != 0;
        const bool ok = checked_.Index().InsertKey(++record_, View(key));
        Require(ok == !refused || TheHost().FailureHappened(), "a key is taken or refused wrongly");
        if (ok) {
            // Equal keys run newest first.
            list_.emplace_hint(list_.lower_bound(key), key, record_);
        }
    }

    void Delete(uint8_t byte) {
        const std::string key = KeyFor(byte);
        const auto found = list_.find(key);
        const uint32_t record = found == list_.end() ? 1 : found->second;
        const bool ok = checked_.Index().DeleteKey(record, View(key));
        Require(ok == (found != list_.end()) || TheHost().FailureHappened(),
                "a key is deleted or missed wrongly");
        if (found != list_.end()) {
            list_.erase(found);
        }
    }

    void Compare() {
        std::vector<uint32_t> expected;
        for (const auto& [key, record] : list_) {
            expected.push_back(record);
        }
        if ((flags_ & kIndexDescending) != 0) {
            // Equal keys stay newest first, so this is not just the reverse.
            expected.clear();
            for (auto key = list_.rbegin(); key != list_.rend();) {
                const auto range = list_.equal_range(key->first);
                for (auto entry = range.first; entry != range.second; ++entry, ++key) {
                    expected.push_back(entry->second);
                }
            }
        }
        Require(checked_.Forward() == expected, "the walk forward shows other keys than the list");
        std::reverse(expected.begin(), expected.end());
        Require(checked_.Backward() == expected,
                "the walk backward shows other keys than the list");
    }

    static TextView View(const std::string& text) {
        return TextView(text.data(), static_cast<int32_t>(text.size()));
    }

    CheckedIndex checked_;
    int32_t flags_;
    std::multimap<std::string, uint32_t> list_;
    uint32_t record_ = 0;
};

void RunAgainstList(const Operations& operations, int32_t flags) {
    fuzz::StartHost({}, kServiceCalls * 4);
    { AgainstList(flags).Run(operations); }
    fuzz::RequireNothingLeft();
}

class SqlRun {
  public:
    explicit SqlRun(bool packs) : packs_(packs) {}

    void Run(const Operations& operations) {
        if (!Check(database_.Open(fuzz::kTemplatePath))) {
            return;
        }
        for (size_t i = 0; i < std::min<size_t>(operations.size(), 6); ++i) {
            Statement(operations[i]);
        }
        if (packs_) {
            PackAndCompare();
        }
    }

  private:
    bool Check(bool ok) const {
        Require(ok || !database_.Error().empty(), "a failure without a text");
        return ok;
    }

    void Statement(const Operation& operation) {
        const std::string number = std::to_string(operation.key % 14);
        switch (operation.code % 8) {
            case 0:
                Rows("select id, s from t where a = " + number);
                break;
            case 1:
                Rows("select id from t where a >= " + number + " and a < 9");
                break;
            case 2:
                Rows("select x, y from u where y = 'anna' or y = '" + number + "'");
                break;
            case 3:
                Rows("select a, b from t order by a, b");
                break;
            case 4:
                (void)Check(
                    database_.Query("insert into t (id, a, b) values (77, " + number + ", 2)"));
                (void)Check(database_.Query("insert into u values (1, '" + number + "', '')"));
                break;
            case 5:
                (void)Check(database_.Query("update t set a = a + 1 where a = " + number));
                (void)Check(database_.Query("update u set y = 'z" + number + "' where y > 'a'"));
                break;
            case 6:
                (void)Check(database_.Query("delete from t where a = " + number));
                (void)Check(database_.Query("delete from u where y = 'carl'"));
                break;
            default:
                Rows("select t.id, u.y from u, t where t.a = u.x and t.b > 1");
        }
    }

    std::vector<Row> Rows(const std::string& sql) {
        std::vector<Row> rows;
        TestView view(database_, sql);
        bool more = Check(view.Ok());
        while (more && !view.AtEnd() && rows.size() < kMaximumSteps) {
            rows.push_back(view.Values());
            more = Check(view.Skip());
        }
        return rows;
    }

    // A pack builds every index anew, so afterwards it finds what a scan finds.
    void PackAndCompare() {
        if (!Check(database_.Pack()) || TheHost().FailureHappened()) {
            return;
        }
        for (const char* const number : {"3", "7"}) {
            std::vector<Row> found = Rows(std::string("select id from t where a = ") + number);
            std::vector<Row> scanned =
                Rows(std::string("select id from t where (a + 0) = ") + number);
            std::sort(found.begin(), found.end());
            std::sort(scanned.begin(), scanned.end());
            Require(found == scanned || TheHost().FailureHappened(),
                    "a packed index finds other rows than a scan");
        }
    }

    bool packs_;
    TestDatabase database_;
};

void RunSql(const Operations& operations, bool packs, const char* path, std::string_view bytes) {
    fuzz::FileSet files = fuzz::TemplateFiles();
    for (fuzz::FileContents& file : files) {
        if (file.path == path) {
            file.bytes.assign(bytes.begin(), bytes.end());
        }
    }
    fuzz::StartHost(files, kServiceCalls);
    { SqlRun(packs).Run(operations); }
    fuzz::RequireNothingLeft();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz::InputBytes input(bytes, size);
    const uint8_t first = input.Byte();
    Operations operations(std::min<size_t>(input.Byte(), kMaximumOperations));
    for (Operation& operation : operations) {
        operation.code = input.Byte();
        operation.key = input.Byte();
    }
    switch (first % 4) {
        case 0:
            RunStorage(operations, input.Rest());
            break;
        case 1:
            RunAgainstList(operations, first >> 2U & 7);
            break;
        case 2:
            RunSql(operations, (first & 4) != 0, "ta.ovx", input.Rest());
            break;
        default:
            RunSql(operations, (first & 4) != 0, "uy.ovx", input.Rest());
    }
    return 0;
}
