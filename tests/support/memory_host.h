#pragma once

// MemoryHost: a whole host in memory for the tests. It defines the 33 services, so a test program
// that links it is its own host; files are byte vectors by path, and nothing touches the disk.
//
// There is one host in a test program, TheHost(). A test calls TheHost().Reset() first: that drops
// all files, locks, handles, variables, failures and the log, and binds the library to this
// program. No handle or variable survives a Reset.
//
// What the host can do beyond keeping files:
//  - it logs every call, and gives the log as text to compare;
//  - it fails the n-th call, of any fallible service or of one by name, outright or by a short
//  count;
//  - it keeps locks by handle, and each handle belongs to the process that was current when it was
//    opened, so two processes can be played in one test; a lock that another handle holds is
//    refused at once, since nobody could release it while one thread waits;
//  - it notes misuse: a closed handle used again, a release of a range that is not locked, a block
//    freed twice. Misuses() is empty after a correct run.

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ovrasql {

using Bytes = std::vector<uint8_t>;

// How an injected failure looks. The two short kinds are for ovFile_Read and ovFile_Write (the
// bytes that are counted are moved); on any other service they fail outright.
// kTimedOut tells of a wait that was given up, which a host does for locks.
enum class FailureKind { kOutright, kShortByOne, kHalf, kTimedOut };
enum class FailureSpan { kOnce, kForEver };

// One call of a service, as it is logged. What a service has no use for stays 0 or empty.
struct HostCall {
    std::string name;
    std::string path;     // the path, or the path that the handle was opened with
    std::string newPath;  // ovFile_Rename, and the name that ovFile_MakeTemporary made
    int64_t offset = 0;   // where it reads, writes, seeks, locks
    int64_t length = 0;   // bytes asked for
    int32_t flags = 0;    // open flags, or the lock mode
    bool failed = false;

    // For example "ovFile_Open t.dbf flags 3", "ovFile_Read t.dbf at 0 length 32",
    // "ovFile_Lock t.dbf mode 2 at 0 length 1", "ovFile_Rename a to b", with " failed" behind.
    [[nodiscard]] std::string Text() const;
};

// What happened to a file, as a process that died at once would have left it.
enum class FileChangeKind {
    kCreate,  // empty
    kTruncate,
    kWrite,
    kRename,  // over what was there
    kDelete,
    kMakeDirectory,
    kRemoveDirectory,
};

struct FileChange {
    FileChangeKind kind;
    std::string path;
    std::string newPath;  // kRename
    int64_t offset = 0;   // kWrite
    Bytes bytes;          // kWrite: those that were written
};

struct HeldLock {
    int32_t process = 0;
    std::string path;
    int32_t mode = 0;
    int64_t offset = 0;
    int64_t length = 0;
};

// A script variable: a text, and any elements and members.
struct HostVariable {
    std::string text;
    int32_t statedLength = 0;  // what ovVariable_Value says the text's length is, unless 0
    std::vector<std::pair<int32_t, std::unique_ptr<HostVariable>>> elements;
    std::vector<std::pair<std::string, std::unique_ptr<HostVariable>>> members;

    [[nodiscard]] HostVariable* Element(int32_t index) const;  // null when missing
    [[nodiscard]] HostVariable* Member(std::string_view name) const;
};

struct HostDatabaseVariable {
    std::string name;
    void* data = nullptr;
    int32_t dirtyCount = 0;  // calls of ovDatabaseVariable_SetDirty
};

struct HostDatabase;

struct HostView {
    std::string name;
    void* data = nullptr;
    HostDatabase* database = nullptr;
    std::vector<std::unique_ptr<HostDatabaseVariable>> variables;  // in the order of AddVariable

    [[nodiscard]] HostDatabaseVariable* Variable(
        std::string_view name) const;  // the last of the name
};

struct HostDatabase {
    void* data = nullptr;
    void* program = nullptr;
    std::vector<std::unique_ptr<HostView>> views;
};

class MemoryHost {
  public:
    MemoryHost();
    ~MemoryHost();

    void Reset();
    // The same without binding, for a program that starts anew a thousand times a second. The
    // library must have been bound once.
    void Clear();

    // --- Files. A path is taken as it is written; "/" separates folders.
    void SetFile(std::string_view path, const Bytes& bytes);  // makes the folders above it
    void SetFile(std::string_view path, std::string_view bytes);
    [[nodiscard]] bool HasFile(std::string_view path) const;
    [[nodiscard]] Bytes FileBytes(std::string_view path) const;  // empty when missing
    [[nodiscard]] std::string FileText(std::string_view path) const;
    [[nodiscard]] std::vector<std::string> FilePaths() const;  // sorted
    void RemoveFile(std::string_view path);
    // A write that would make a file longer fails, as on a full disk.
    void SetLongestFile(int64_t bytes);
    void AddDirectory(std::string_view path);  // with the folders above it
    [[nodiscard]] bool HasDirectory(std::string_view path) const;

    // --- Handles.
    void* MakeDatabase();                // what the library calls the database handle
    void DestroyDatabase(void* handle);  // after database_free
    [[nodiscard]] static HostDatabase* Database(void* handle);
    [[nodiscard]] static HostView* View(void* handle);
    [[nodiscard]] HostView* FindView(void* database, std::string_view name) const;  // the last one
    void DestroyView(void* view);  // after view_close
    [[nodiscard]] void* Program() const;
    [[nodiscard]] int32_t OpenFileCount() const;
    [[nodiscard]] int32_t AllocatedCount() const;  // blocks not yet given to ovProgram_Free

    // --- Processes and locks.
    void SetCurrentProcess(int32_t process);  // 0 after Reset; new handles belong to it
    void KillProcess(int32_t process);        // closes its handles and drops its locks
    [[nodiscard]] std::vector<HeldLock> Locks() const;
    // A lock of one handle over a range that overlaps another range of the same handle: granted, as
    // on most systems, or refused.
    void SetSelfConflict(bool refused);
    // Called when a lock is refused because of another holder; the request is tried once more after
    // it, so a test can let the holder go on here.
    void SetConflictHandler(std::function<void()> handler);
    // Every lock call is refused from now on, or is not; or its wait times out.
    void RefuseLocks(bool refused);
    void TimeOutLocks(bool timesOut);
    // Locks as some systems have them, which nobody can pass by: a read of a range that another
    // handle has locked exclusively fails, and a write of one that another handle has locked at
    // all.
    void SetMandatoryLocks(bool mandatory);

    // Called behind each change of a file or folder, in their order.
    void SetChangeHandler(std::function<void(const FileChange& change)> handler);

    // Called inside ovDatabaseVariable_SetDirty with the variable: a host may read it there.
    void SetDirtyHandler(std::function<void(void* variable)> handler);

    // --- The log.
    [[nodiscard]] const std::vector<HostCall>& Calls() const;
    [[nodiscard]] std::string LogText() const;  // one call a line, file services only
    [[nodiscard]] std::string LogText(std::initializer_list<std::string_view> names) const;
    [[nodiscard]] int32_t CallCount(std::string_view name) const;
    void ClearLog();
    void SetLogging(bool on);  // off for tests of very many calls
    [[nodiscard]] const std::vector<std::string>& Misuses() const;

    // --- Failures. The count starts at the call of FailCall; the first call is number 1. Counted
    // without a name: ovFile_ Open, MakeTemporary, MakeDirectory, RemoveDirectory, Delete, Rename,
    // Read, Write, Seek, Lock, Release. By name: these and Exists, IsDirectory (they answer 0),
    // ovDatabase_AddView, ovDatabaseView_AddVariable, ovVariable_Array_Element and
    // ovVariable_Struct_Member (null).
    void FailCall(int64_t number, FailureKind kind = FailureKind::kOutright,
                  FailureSpan span = FailureSpan::kOnce);
    void FailCall(std::string_view name, int64_t number, FailureKind kind = FailureKind::kOutright,
                  FailureSpan span = FailureSpan::kOnce);
    void ClearFailures();
    [[nodiscard]] bool FailureHappened() const;   // since the last FailCall
    [[nodiscard]] int64_t FallibleCalls() const;  // counted calls since the last FailCall or Reset
    void SetErrorText(
        std::string_view text);  // what ovFile_Error gives from now on, whatever failed
    void SetErrorTextNull();     // ovFile_Error gives null

    // --- Variables. They live until Reset.
    void* MakeVariable(std::string_view text = "");
    void* MakeList(const std::vector<std::string>& texts);
    [[nodiscard]] static HostVariable* Variable(void* handle);

    struct State;
    [[nodiscard]] State& Inner() const { return *state_; }  // for the services themselves

  private:
    std::unique_ptr<State> state_;
};

MemoryHost& TheHost();

// How many services are running now, one inside the other: tests that let allocations fail spare
// the host's own.
int32_t ServiceDepth();

}  // namespace ovrasql
