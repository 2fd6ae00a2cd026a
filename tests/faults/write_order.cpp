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

Kind KindOfHeader(int64_t length) {
    if (length == kDataHeader) {
        return Kind::kData;
    }
    return length == kMemoHeader ? Kind::kMemo : Kind::kIndex;
}

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

    [[nodiscard]] bool Covers(int64_t at) const { return offset <= at && at < offset + length; }
};

struct File {
    Kind kind = Kind::kUnknown;
    int32_t writesMissing = 0;  // until a new file is whole
    bool recordUncounted = false;
    bool textUncounted = false;
    std::vector<HeldLock> locks;

    [[nodiscard]] HeldLock* LockOn(int64_t at) {
        for (HeldLock& lock : locks) {
            if (lock.mode == kExclusive && lock.Covers(at)) {
                return &lock;
            }
        }
        return nullptr;
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
            Make(call.path);
        } else if (call.name == "ovFile_MakeTemporary") {
            Make(call.newPath);
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
        if (file.kind == Kind::kUnknown) {
            file.kind = KindOfPath(path);
        }
        return file;
    }

    void Make(const std::string& path) {
        ++counts_->filesMade;
        File file;
        file.kind = KindOfPath(path);
        file.writesMissing = -1;  // its kind may not be known yet
        files_[path] = file;
    }

    void TakeLock(File& file) {
        ++counts_->locks;
        file.locks.push_back({call_->offset, call_->length, call_->flags, false});
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
        if (file.writesMissing != 0) {
            WriteToNewFile(file);
        } else if (call_->offset == 0) {
            WriteHeader(file);
        } else {
            WriteContents(file);
        }
    }

    static bool IsWhole(const File& file) { return file.writesMissing == 0; }

    void WriteToNewFile(File& file) {
        if (file.writesMissing < 0) {
            if (file.kind == Kind::kUnknown) {
                file.kind = KindOfHeader(call_->length);
            }
            file.writesMissing = WritesToMake(file.kind);
        }
        --file.writesMissing;
    }

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
            ++counts_->memoTexts;
            file.textUncounted = true;
        } else {
            WriteKeys();
        }
    }

    void WriteRecord(File& file) {
        ++counts_->records;
        file.recordUncounted = true;
        if (Any([](const File& other) { return other.textUncounted; })) {
            Breach("rule 5: a record before the header of its memo text");
        }
        if (call_->path == "main.dbf") {
            ++counts_->catalogRows;
            if (Any([](const File& other) { return !IsWhole(other); })) {
                Breach("rule 6: a row of the catalog before its file is whole");
            }
        }
    }

    void WriteKeys() {
        ++counts_->keys;
        if (Any([](const File& other) { return other.recordUncounted; })) {
            Breach("rule 4: a key before the count of its record");
        }
    }

    void Rename() {
        ++counts_->renames;
        const Kind kind = FileAt(call_->path).kind;
        if (!IsWhole(files_[call_->path])) {
            Breach("rule 6: renamed before it is whole");
        }
        if (kind == Kind::kData) {
            lastRenamed_ = Kind::kData;
        } else if (lastRenamed_ == Kind::kUnknown || kind < lastRenamed_) {
            Breach("rule 7: renamed out of order");
        } else {
            lastRenamed_ = kind;
        }
        File file = files_[call_->path];
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
