#pragma once

// The inside of MemoryHost, shared by its two sources: memory_host.cpp (what tests call) and
// memory_host_files.cpp, memory_host_objects.cpp (what the library calls).

#include <list>
#include <map>
#include <set>
#include <unordered_map>

#include "tests/support/memory_host.h"

namespace ovrasql {

struct FileHandle;

struct HandleLock {
    const FileHandle* holder = nullptr;
    int32_t mode = 0;
    int64_t offset = 0;
    int64_t length = 0;
};

// The contents of a file. An open handle keeps it alive after a delete or a rename over it. The
// locks of all its handles stand here, so that a conflict is found without a look at every handle.
struct FileNode {
    Bytes bytes;
    std::vector<HandleLock> locks;
};

struct FileHandle {
    std::string path;
    std::shared_ptr<FileNode> node;
    int64_t position = 0;
    int32_t flags = 0;
    int32_t process = 0;
};

using FileHandles = std::list<std::unique_ptr<FileHandle>>;

struct VariableList {
    std::vector<HostVariable*> variables;
    size_t next = 0;
};

struct PlannedFailure {
    std::string name;  // empty: any fallible service
    int64_t number = 0;
    int64_t seen = 0;
    FailureKind kind = FailureKind::kOutright;
    FailureSpan span = FailureSpan::kOnce;
};

struct MemoryHost::State {
    std::map<std::string, std::shared_ptr<FileNode>, std::less<>> files;
    std::set<std::string, std::less<>> directories;
    FileHandles handles;  // in the order of their opening
    std::unordered_map<const void*, FileHandles::iterator> openHandles;
    // Closed handles stay until Reset, so that using one is noticed and harmless.
    std::vector<std::unique_ptr<FileHandle>> closedHandles;
    std::vector<std::unique_ptr<HostDatabase>> databases;
    std::vector<std::unique_ptr<HostVariable>> variables;
    std::vector<std::unique_ptr<VariableList>> lists;
    std::map<void*, std::unique_ptr<char[]>> blocks;
    std::vector<HostCall> calls;
    std::vector<std::string> misuses;
    std::vector<PlannedFailure> failures;
    std::function<void()> conflictHandler;
    std::function<void(void*)> dirtyHandler;
    std::function<void(const FileChange&)> changeHandler;
    std::string errorText;       // of the last failure
    std::string fixedErrorText;  // set by a test
    std::string program = "the program";
    int64_t fallibleCalls = 0;
    int64_t longestFile = INT64_MAX;
    int32_t currentProcess = 0;
    int32_t temporaryCount = 0;
    bool logging = true;
    bool errorTextFixed = false;
    bool errorTextNull = false;
    bool selfConflict = false;
    bool locksRefused = false;
    bool locksTimeOut = false;
    bool locksMandatory = false;
    bool failureHappened = false;

    // True if a planned failure strikes this call; says how.
    bool Strikes(std::string_view name, bool counted, FailureKind* kind);
    HostCall& Log(HostCall call);
    // Keeps a call without any detail: what is left of the log while it is off.
    void LogBare();
    // Marks the last logged call as failed and keeps the text of the failure.
    void Fail(std::string_view text);
    void Misuse(std::string_view text);
    // The handle if it is open; otherwise null, with the misuse noted.
    FileHandle* OpenHandle(void* file, std::string_view service);
    void AddHandle(std::unique_ptr<FileHandle> handle);
    void CloseHandle(FileHandle* handle);
    // Tells the change to whoever wants to know. The path of a write is the one that the file has
    // by now; a file that has none any more is nobody's.
    void Changed(FileChange change) const;
    void Wrote(const FileHandle& handle, const void* bytes, int32_t count) const;
    // The text as the library passed it; a negative length or no address is a misuse.
    std::string Text(const char* text, int32_t length);
    [[nodiscard]] bool FolderExists(std::string_view path) const;
};

// Stands at the head of each service.
class ServiceScope {
  public:
    ServiceScope() { ++depth; }
    ~ServiceScope() { --depth; }
    ServiceScope(const ServiceScope&) = delete;
    ServiceScope& operator=(const ServiceScope&) = delete;

    static inline int32_t depth = 0;
};

}  // namespace ovrasql
