#pragma once

// The inside of MemoryHost, shared by its two sources: memory_host.cpp (what tests call) and
// memory_host_files.cpp, memory_host_objects.cpp (what the library calls).

#include <map>
#include <set>

#include "tests/support/memory_host.h"

namespace ovrasql {

// The contents of a file. An open handle keeps it alive after a delete or a rename over it.
struct FileNode {
    Bytes bytes;
};

struct HandleLock {
    int32_t mode = 0;
    int64_t offset = 0;
    int64_t length = 0;
};

struct FileHandle {
    std::string path;
    std::shared_ptr<FileNode> node;
    int64_t position = 0;
    int32_t flags = 0;
    int32_t process = 0;
    std::vector<HandleLock> locks;
};

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
    std::vector<std::unique_ptr<FileHandle>> handles;
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
    std::string errorText;       // of the last failure
    std::string fixedErrorText;  // set by a test
    std::string program = "the program";
    int64_t fallibleCalls = 0;
    int32_t currentProcess = 0;
    int32_t temporaryCount = 0;
    bool logging = true;
    bool errorTextFixed = false;
    bool errorTextNull = false;
    bool selfConflict = false;
    bool locksRefused = false;
    bool failureHappened = false;

    // True if a planned failure strikes this call; says how.
    bool Strikes(std::string_view name, bool counted, FailureKind* kind);
    HostCall& Log(HostCall call);
    // Marks the last logged call as failed and keeps the text of the failure.
    void Fail(std::string_view text);
    void Misuse(std::string_view text);
    // The handle if it is open; otherwise null, with the misuse noted.
    FileHandle* OpenHandle(void* file, std::string_view service);
    void CloseHandle(FileHandle* handle);
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
