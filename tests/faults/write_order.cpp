#include "tests/faults/write_order.h"

#include <algorithm>
#include <map>

namespace ovrasql {

namespace {

constexpr int64_t kDataHeader = 32;
constexpr int64_t kMemoHeader = 512;
constexpr int64_t kIndexHeader = 427;
constexpr int32_t kExclusive = 2;
constexpr int32_t kEmptyIt = 8;  // the open flag of a new file

enum class Kind { kUnknown, kData, kMemo, kIndex, kTrace };

bool EndsWith(const std::string& path, const char* end) { return path.ends_with(end); }

Kind KindOfPath(const std::string& path) {
    if (EndsWith(path, ".dbf")) {
        return Kind::kData;
    }
    if (EndsWith(path, ".dbt")) {
        return Kind::kMemo;
    }
    if (EndsWith(path, ".ovx")) {
        return Kind::kIndex;
    }
    return EndsWith(path, ".log") ? Kind::kTrace : Kind::kUnknown;
}

// What a data file and its memo file have in common.
std::string Stem(const std::string& path) { return path.substr(0, path.rfind('.')); }

int64_t HeaderLength(Kind kind) {
    if (kind == Kind::kData) {
        return kDataHeader;
    }
    return kind == Kind::kMemo ? kMemoHeader : kIndexHeader;
}

// The writes that make a file: header, descriptors and end mark; header and mark; header and page.
int32_t WritesToMake(Kind kind) { return kind == Kind::kData ? 3 : 2; }

struct HeldLock {
    int64_t offset = 0;
    int64_t length = 0;
    int32_t mode = 0;
    bool headerRead = false;  // since the lock was taken
    bool keysWritten = false;

    [[nodiscard]] bool Covers(int64_t at) const { return offset <= at && at < offset + length; }
};

struct File {
    Kind kind = Kind::kUnknown;
    std::string place;  // its path, or the one that it is made for
    bool isNew = false;
    int32_t writesMissing = 0;  // until a new file is whole
    bool recordUncounted = false;
    bool recordIsAdded = false;  // the one that was written last, behind all others
    bool textUncounted = false;
    bool textUnnamed = false;  // no record has been written since
    int64_t keyChanges = 0;
    std::vector<HeldLock> locks;

    [[nodiscard]] HeldLock* LockOn(int64_t at) {
        for (HeldLock& lock : locks) {
            if (lock.mode == kExclusive && lock.Covers(at)) {
                return &lock;
            }
        }
        return nullptr;
    }

    // What a pack holds as long as it runs, the short range of the catalog's header, stands around
    // everything it does and doesn't count.
    [[nodiscard]] bool IsLocked() const {
        return std::any_of(locks.begin(), locks.end(), [&](const HeldLock& lock) {
            return place != "main.dbf" || lock.offset != 0 || lock.length != kDataHeader;
        });
    }

    [[nodiscard]] bool IsLockedForWriting() const {
        return std::any_of(locks.begin(), locks.end(),
                           [](const HeldLock& lock) { return lock.mode == kExclusive; });
    }
};

class Order {
  public:
    explicit Order(WriteCounts* counts) : counts_(counts) {}

    void Take(const HostCall& call) {
        call_ = &call;
        if (call.failed) {
            return;
        }
        if (call.name == "ovFile_Open" && (call.flags & kEmptyIt) != 0) {
            Make(call.path, call.path);
        } else if (call.name == "ovFile_MakeTemporary") {
            Make(call.newPath, call.path);
        } else if (call.name == "ovFile_Lock") {
            TakeLock(FileAt(call.path));
        } else if (call.name == "ovFile_Release") {
            Release(FileAt(call.path));
        } else if (call.name == "ovFile_Read" && call.offset == 0) {
            NoteHeaderRead(FileAt(call.path));
        } else if (call.name == "ovFile_Write") {
            Write(FileAt(call.path));
        } else if (call.name == "ovFile_Rename") {
            Rename();
        } else if (call.name == "ovFile_Close") {
            Close(FileAt(call.path));
        }
    }

    void End() {
        for (const auto& [path, file] : files_) {
            for (const HeldLock& lock : file.locks) {
                breaches_.push_back("rule 8: " + path + " at " + std::to_string(lock.offset) +
                                    " is still locked at the end");
            }
            if (file.recordUncounted || file.textUncounted) {
                breaches_.push_back("rule 3: " + path + " has more than its header counts");
            }
        }
    }

    std::vector<std::string> TakeBreaches() { return std::move(breaches_); }

  private:
    void Breach(const std::string& text) { breaches_.push_back(text + ": " + call_->Text()); }

    File& FileAt(const std::string& path) {
        File& file = files_[path];
        if (file.place.empty()) {
            file.kind = KindOfPath(path);
            file.place = path;
        }
        return file;
    }

    void Make(const std::string& path, const std::string& place) {
        ++counts_->filesMade;
        if (catalogRowWritten_) {
            Breach("rule 6: made behind a row of the catalog");
        }
        File file;
        file.kind = KindOfPath(place);
        file.place = place;
        file.isNew = true;
        file.writesMissing = WritesToMake(file.kind);
        files_[path] = file;
    }

    void TakeLock(File& file) {
        ++counts_->locks;
        if (file.kind == Kind::kIndex) {
            CheckIndexNesting();
        } else if (file.kind == Kind::kMemo) {
            CheckMemoNesting(file);
        }
        file.locks.push_back({call_->offset, call_->length, call_->flags, false});
    }

    void CheckIndexNesting() {
        if (Any([](const File& other) { return other.kind == Kind::kIndex && other.IsLocked(); })) {
            Breach("rule 9: an index inside the lock of an index");
        }
        // A search may go on inside the lock of a record that is about to change.
        if (call_->flags == kExclusive &&
            Any([](const File& other) { return other.kind == Kind::kData && other.IsLocked(); })) {
            Breach("rule 9: a change of an index inside a lock of data");
        }
    }

    void CheckMemoNesting(const File& memo) {
        const bool isOpening =
            call_->flags != kExclusive && !Any([](const File& other) { return other.IsLocked(); });
        if (!isOpening && !IsWithItsRecord(memo)) {
            Breach("rule 9: a memo file outside the lock of its data file");
        }
    }

    // The host drops the locks of a file that is closed, but others have waited until then.
    void Close(File& file) {
        if (!file.locks.empty()) {
            Breach("rule 8: closed while it is locked");
        }
        file.locks.clear();
    }

    void Release(File& file) {
        const auto found =
            std::find_if(file.locks.begin(), file.locks.end(), [&](const HeldLock& lock) {
                return lock.offset == call_->offset && lock.length == call_->length;
            });
        if (found == file.locks.end()) {
            Breach("rule 8: a range that is not locked");
            return;
        }
        if (file.textUncounted) {
            Breach("rule 5: the lock goes before the text is in the header");
        }
        // A record that is changed in its place is under a lock of its own; the header comes next.
        if (file.recordUncounted && found->offset == 0) {
            Breach("rule 3: the lock goes before the record is counted");
        }
        if (file.kind == Kind::kData && found->mode == kExclusive && HasUnnamedText(file)) {
            Breach("rule 5: the lock goes before the record that names the text");
        }
        file.locks.erase(found);
    }

    static void NoteHeaderRead(File& file) {
        for (HeldLock& lock : file.locks) {
            lock.headerRead = lock.headerRead || lock.offset == 0;
        }
    }

    void Write(File& file) {
        if (file.kind == Kind::kTrace) {
            return;
        }
        if (file.isNew && catalogRowWritten_) {
            Breach("rule 6: a new file is written to behind a row of the catalog");
        }
        if (!IsWhole(file)) {
            --file.writesMissing;
        } else if (call_->offset == 0) {
            WriteHeader(file);
        } else {
            WriteContents(file);
        }
    }

    static bool IsWhole(const File& file) { return file.writesMissing == 0; }

    void WriteHeader(File& file) {
        counts_->counts += file.kind == Kind::kData ? 1 : 0;
        const HeldLock* lock = file.LockOn(0);
        if (lock == nullptr) {
            Breach("rule 1: a header that is not locked");
        } else if (!lock->headerRead) {
            Breach("rule 2: a header that was not read under its lock");
        }
        if (call_->length != HeaderLength(file.kind)) {
            Breach("rule 1: a header of another length");
        }
        if (file.kind == Kind::kData && !file.recordUncounted) {
            Breach("rule 3: a count without its record before it");
        }
        if (file.kind == Kind::kMemo && !file.textUncounted) {
            Breach("rule 5: a memo header without its text before it");
        }
        if (file.recordUncounted) {
            ++(file.recordIsAdded ? recordsAdded_ : recordsChanged_);
        }
        file.recordUncounted = false;
        file.textUncounted = false;
    }

    void WriteContents(File& file) {
        // An append and an index lock their header, an update its record.
        HeldLock* lock = file.LockOn(0);
        if (lock == nullptr) {
            lock = file.LockOn(call_->offset);
        } else if (!lock->headerRead) {
            Breach("rule 2: written before the header was read under the lock");
        }
        if (lock == nullptr) {
            Breach("rule 1: written without a lock");
        }
        if (file.kind == Kind::kData) {
            WriteRecord(file);
        } else if (file.kind == Kind::kMemo) {
            WriteText(file);
        } else {
            WriteKeys(file, lock);
        }
    }

    // The memo file of a data file: the old one of the old one, the new one of the new one.
    static bool BelongTogether(const File& one, const File& other) {
        return one.isNew == other.isNew && Stem(one.place) == Stem(other.place);
    }

    [[nodiscard]] bool HasUnnamedText(const File& data) const {
        return Any(
            [&](const File& other) { return other.textUnnamed && BelongTogether(other, data); });
    }

    void WriteText(File& file) {
        ++counts_->memoTexts;
        file.textUncounted = true;
        file.textUnnamed = true;
        if (!IsWithItsRecord(file)) {
            Breach("rule 5: a text outside the writing of its record");
        }
    }

    // Whether the record that will name a text is locked, or the header that stands for it.
    [[nodiscard]] bool IsWithItsRecord(const File& memo) const {
        return Any([&](const File& other) {
            return other.kind == Kind::kData && BelongTogether(other, memo) &&
                   other.IsLockedForWriting();
        });
    }

    void WriteRecord(File& file) {
        ++counts_->records;
        file.recordUncounted = true;
        file.recordIsAdded = file.LockOn(0) != nullptr;
        for (auto& [path, other] : files_) {
            other.textUnnamed = other.textUnnamed && !BelongTogether(other, file);
        }
        if (!file.recordIsAdded && Any([](const File& other) { return other.keyChanges != 0; })) {
            Breach("rule 4: a record is changed behind a key");
        }
        if (Any([](const File& other) { return other.textUncounted; })) {
            Breach("rule 5: a record before the header of its memo text");
        }
        if (call_->path == "main.dbf") {
            ++counts_->catalogRows;
            catalogRowWritten_ = true;
            if (Any([](const File& other) { return !IsWhole(other); })) {
                Breach("rule 6: a row of the catalog before its file is whole");
            }
        }
    }

    void WriteKeys(File& file, HeldLock* lock) {
        ++counts_->keys;
        if (Any([](const File& other) { return other.recordUncounted; })) {
            Breach("rule 4: a key before the count of its record");
        }
        // What is under one lock of an index is one change of it. Nobody sees those of a new one.
        if (file.isNew || (lock != nullptr && lock->keysWritten)) {
            return;
        }
        if (lock != nullptr) {
            lock->keysWritten = true;
        }
        // A record that is added has one key in each index; of one that is changed an old one goes
        // and a new one may come.
        if (++file.keyChanges > recordsAdded_ + 2 * recordsChanged_) {
            Breach("rule 4: a key without a record that was counted before it");
        }
    }

    void Rename() {
        ++counts_->renames;
        File file = FileAt(call_->path);
        if (!IsWhole(file)) {
            Breach("rule 6: renamed before it is whole");
        }
        if (file.kind == Kind::kData) {
            renamedTable_ = Stem(call_->newPath);
        } else if (lastRenamed_ == Kind::kUnknown || file.kind < lastRenamed_ ||
                   (file.kind == Kind::kMemo && Stem(call_->newPath) != renamedTable_)) {
            Breach("rule 7: renamed out of order");
        }
        lastRenamed_ = file.kind;
        files_.erase(call_->path);
        files_[call_->newPath] = std::move(file);
    }

    template <class Test>
    bool Any(Test test) const {
        return std::any_of(files_.begin(), files_.end(),
                           [&](const auto& entry) { return test(entry.second); });
    }

    WriteCounts* counts_;
    const HostCall* call_ = nullptr;
    std::map<std::string, File> files_;
    Kind lastRenamed_ = Kind::kUnknown;
    std::string renamedTable_;  // of the data file that was renamed last
    int64_t recordsAdded_ = 0;  // and counted
    int64_t recordsChanged_ = 0;
    bool catalogRowWritten_ = false;
    std::vector<std::string> breaches_;
};

}  // namespace

std::vector<std::string> CheckWriteOrder(const std::vector<HostCall>& log, WriteCounts* counts) {
    WriteCounts own;
    Order order(counts == nullptr ? &own : counts);
    for (const HostCall& call : log) {
        order.Take(call);
    }
    order.End();
    return order.TakeBreaches();
}

}  // namespace ovrasql
