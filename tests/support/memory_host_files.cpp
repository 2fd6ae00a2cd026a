// The file services over MemoryHost. They stand in the global namespace under their own names, with
// C linkage, and are found in the running test program like those of a real host.

#include <algorithm>
#include <cstring>

#include "ovrasql/services.h"
#include "tests/support/memory_host_state.h"

using ovrasql::Bytes;
using ovrasql::FailureKind;
using ovrasql::FileChangeKind;
using ovrasql::FileHandle;
using ovrasql::FileNode;
using ovrasql::HandleLock;
using ovrasql::HostCall;
using ovrasql::MemoryHost;
using ovrasql::ServiceScope;

namespace {

constexpr int32_t kWrite = 2;
constexpr int32_t kCreate = 4;
constexpr int32_t kTruncate = 8;
constexpr int32_t kAppend = 16;
constexpr int32_t kMustNotExist = 32;

constexpr std::string_view kInjected = "Injected failure";
constexpr std::string_view kTimedOut = "Timed out waiting for a lock";
constexpr std::string_view kLocked = "The range is locked";
constexpr std::string_view kMissing = "No such file or directory";

MemoryHost::State& Host() { return ovrasql::TheHost().Inner(); }

std::string Text(const char* text, int32_t length) { return Host().Text(text, length); }

std::string_view FolderOf(std::string_view path) {
    const size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

// Logs a call by path, notes a wrong program or location, and says whether a failure strikes it.
bool PathCall(const char* name, void* program, int32_t location, const std::string& path,
              int32_t flags, bool counted) {
    MemoryHost::State& host = Host();
    if (host.logging) {
        HostCall call;
        call.name = name;
        call.path = path;
        call.flags = flags;
        host.Log(std::move(call));
    } else {
        host.LogBare();
    }
    if (program != &host.program || location != OVRA_LOCATION_DATABASE) {
        host.Misuse(std::string(name) + " with a wrong program or location");
    }
    FailureKind kind = FailureKind::kOutright;
    if (host.Strikes(name, counted, &kind)) {
        host.Fail(kInjected);
        return true;
    }
    return false;
}

void* AddHandle(const std::string& path, std::shared_ptr<FileNode> node, int32_t flags) {
    auto handle = std::make_unique<FileHandle>();
    handle->path = path;
    handle->node = std::move(node);
    handle->flags = flags;
    handle->process = Host().currentProcess;
    Host().AddHandle(std::move(handle));
    return Host().handles.back().get();
}

void LogFile(const char* name, const FileHandle& handle, int64_t offset, int64_t length,
             int32_t flags) {
    if (!Host().logging) {
        Host().LogBare();
        return;
    }
    HostCall call;
    call.name = name;
    call.path = handle.path;
    call.offset = offset;
    call.length = length;
    call.flags = flags;
    Host().Log(std::move(call));
}

// How many of the bytes a read or write moves, failures counted in.
int32_t MovedBytes(const char* name, int32_t length) {
    FailureKind kind = FailureKind::kOutright;
    if (!Host().Strikes(name, true, &kind)) {
        return length;
    }
    Host().Fail(kInjected);
    switch (kind) {
        case FailureKind::kOutright:
        case FailureKind::kTimedOut:
            return 0;
        case FailureKind::kShortByOne:
            return length == 0 ? 0 : length - 1;
        case FailureKind::kHalf:
            return length / 2;
    }
    return 0;
}

bool Overlaps(const HandleLock& lock, int64_t offset, int64_t length) {
    return lock.offset < offset + length && offset < lock.offset + lock.length;
}

bool Conflicts(const FileHandle& wanting, int32_t mode, int64_t offset, int64_t length) {
    const auto& locks = wanting.node->locks;
    return std::any_of(locks.begin(), locks.end(), [&](const HandleLock& lock) {
        const bool counts = lock.holder != &wanting || Host().selfConflict;
        const bool exclusive = mode == OVRA_LOCK_EXCLUSIVE || lock.mode == OVRA_LOCK_EXCLUSIVE;
        return counts && exclusive && Overlaps(lock, offset, length);
    });
}

// Whether the locks of other handles stop a read or a write (as a lock of this mode would be).
bool LockedOut(const FileHandle& handle, int32_t mode, int32_t length) {
    if (!Host().locksMandatory) {
        return false;
    }
    const auto& locks = handle.node->locks;
    const bool stopped = std::any_of(locks.begin(), locks.end(), [&](const HandleLock& lock) {
        const bool exclusive = mode == OVRA_LOCK_EXCLUSIVE || lock.mode == OVRA_LOCK_EXCLUSIVE;
        return lock.holder != &handle && exclusive && Overlaps(lock, handle.position, length);
    });
    if (stopped) {
        Host().Fail(kLocked);
    }
    return stopped;
}

}  // namespace

// --- Files by path ---

void* ovFile_Open(void* program, int32_t location, const char* path, int32_t length,
                  int32_t flags) {
    const ServiceScope scope;
    const std::string name = Text(path, length);
    if (PathCall("ovFile_Open", program, location, name, flags, true)) {
        return nullptr;
    }
    MemoryHost::State& host = Host();
    if (host.directories.find(name) != host.directories.end()) {
        host.Fail("Is a directory");
        return nullptr;
    }
    const auto found = host.files.find(name);
    if (found != host.files.end()) {
        if ((flags & kTruncate) != 0) {
            found->second->bytes.clear();
            host.Changed({FileChangeKind::kTruncate, name, "", 0, {}});
        }
        return AddHandle(name, found->second, flags);
    }
    if ((flags & kCreate) == 0 || name.empty() || !host.FolderExists(FolderOf(name))) {
        host.Fail(kMissing);
        return nullptr;
    }
    auto node = std::make_shared<FileNode>();
    host.files[name] = node;
    host.Changed({FileChangeKind::kCreate, name, "", 0, {}});
    return AddHandle(name, node, flags);
}

int32_t ovFile_Exists(void* program, int32_t location, const char* path, int32_t length) {
    const ServiceScope scope;
    const std::string name = Text(path, length);
    if (PathCall("ovFile_Exists", program, location, name, 0, false)) {
        return 0;
    }
    return Host().files.count(name) != 0 || Host().directories.count(name) != 0 ? 1 : 0;
}

int32_t ovFile_IsDirectory(void* program, int32_t location, const char* path, int32_t length) {
    const ServiceScope scope;
    const std::string name = Text(path, length);
    if (PathCall("ovFile_IsDirectory", program, location, name, 0, false)) {
        return 0;
    }
    return Host().directories.count(name) != 0 ? 1 : 0;
}

int32_t ovFile_MakeDirectory(void* program, int32_t location, const char* path, int32_t length) {
    const ServiceScope scope;
    const std::string name = Text(path, length);
    if (PathCall("ovFile_MakeDirectory", program, location, name, 0, true)) {
        return -1;
    }
    MemoryHost::State& host = Host();
    if (host.files.count(name) != 0 || host.directories.count(name) != 0) {
        host.Fail("File exists");
        return -1;
    }
    if (name.empty() || !host.FolderExists(FolderOf(name))) {
        host.Fail(kMissing);
        return -1;
    }
    host.directories.insert(name);
    host.Changed({FileChangeKind::kMakeDirectory, name, "", 0, {}});
    return 0;
}

int32_t ovFile_RemoveDirectory(void* program, int32_t location, const char* path, int32_t length) {
    const ServiceScope scope;
    const std::string name = Text(path, length);
    if (PathCall("ovFile_RemoveDirectory", program, location, name, 0, true)) {
        return -1;
    }
    MemoryHost::State& host = Host();
    const std::string inside = name + "/";
    const auto firstFile = host.files.lower_bound(inside);
    const auto firstFolder = host.directories.lower_bound(inside);
    if ((firstFile != host.files.end() && firstFile->first.starts_with(inside)) ||
        (firstFolder != host.directories.end() && firstFolder->starts_with(inside))) {
        host.Fail("Directory not empty");
        return -1;
    }
    if (host.directories.erase(name) == 0) {
        host.Fail(kMissing);
        return -1;
    }
    host.Changed({FileChangeKind::kRemoveDirectory, name, "", 0, {}});
    return 0;
}

int32_t ovFile_Delete(void* program, int32_t location, const char* path, int32_t length) {
    const ServiceScope scope;
    const std::string name = Text(path, length);
    if (PathCall("ovFile_Delete", program, location, name, 0, true)) {
        return -1;
    }
    if (Host().files.erase(name) == 0) {
        Host().Fail(kMissing);
        return -1;
    }
    Host().Changed({FileChangeKind::kDelete, name, "", 0, {}});
    return 0;
}

int32_t ovFile_Rename(void* program, int32_t location, const char* path, int32_t length,
                      int32_t newLocation, const char* newPathText, int32_t newLength) {
    const ServiceScope scope;
    const std::string name = Text(path, length);
    const std::string newName = Text(newPathText, newLength);
    const bool struck = PathCall("ovFile_Rename", program, location, name, 0, true);
    MemoryHost::State& host = Host();
    host.calls.back().newPath = newName;
    if (newLocation != OVRA_LOCATION_DATABASE) {
        host.Misuse("ovFile_Rename with a wrong second location");
    }
    if (struck) {
        return -1;
    }
    const auto found = host.files.find(name);
    if (found == host.files.end() || newName.empty() || !host.FolderExists(FolderOf(newName))) {
        host.Fail(kMissing);
        return -1;
    }
    std::shared_ptr<FileNode> node = found->second;
    host.files.erase(found);
    host.files[newName] = std::move(node);
    host.Changed({FileChangeKind::kRename, name, newName, 0, {}});
    return 0;
}

void* ovFile_MakeTemporary(void* program, int32_t location, const char* path, int32_t length,
                           int32_t flags, char** name, int32_t* nameLength) {
    const ServiceScope scope;
    const std::string beside = Text(path, length);
    if (PathCall("ovFile_MakeTemporary", program, location, beside, flags, true)) {
        return nullptr;
    }
    MemoryHost::State& host = Host();
    const std::string folder(FolderOf(beside));
    if (!host.FolderExists(folder)) {
        host.Fail(kMissing);
        return nullptr;
    }
    if ((flags & kMustNotExist) == 0) {
        host.Misuse("ovFile_MakeTemporary without the flag for a new file");
    }
    std::string made;
    do {
        made = (folder.empty() ? "" : folder + "/") + "temporary" +
               std::to_string(++host.temporaryCount);
    } while (host.files.count(made) != 0);
    host.calls.back().newPath = made;
    // Not ended by a NUL on purpose: only the length counts.
    auto block = std::make_unique<char[]>(made.size());
    std::memcpy(block.get(), made.data(), made.size());
    *name = block.get();
    *nameLength = static_cast<int32_t>(made.size());
    host.blocks[block.get()] = std::move(block);
    auto node = std::make_shared<FileNode>();
    host.files[made] = node;
    host.Changed({FileChangeKind::kCreate, made, "", 0, {}});
    return AddHandle(made, node, flags);
}

// --- Files by handle ---

void ovFile_Close(void* file) {
    const ServiceScope scope;
    FileHandle* handle = Host().OpenHandle(file, "ovFile_Close");
    if (handle == nullptr) {
        return;
    }
    LogFile("ovFile_Close", *handle, 0, 0, 0);
    Host().CloseHandle(handle);
}

int32_t ovFile_Read(void* file, void* buffer, int32_t length) {
    const ServiceScope scope;
    FileHandle* handle = Host().OpenHandle(file, "ovFile_Read");
    if (handle == nullptr || length < 0) {
        return -1;
    }
    LogFile("ovFile_Read", *handle, handle->position, length, 0);
    if (LockedOut(*handle, OVRA_LOCK_SHARED, length)) {
        return -1;
    }
    const int64_t rest =
        std::max<int64_t>(0, static_cast<int64_t>(handle->node->bytes.size()) - handle->position);
    const int64_t moved = std::min<int64_t>(rest, MovedBytes("ovFile_Read", length));
    if (moved > 0) {
        std::memcpy(buffer, handle->node->bytes.data() + handle->position,
                    static_cast<size_t>(moved));
    }
    handle->position += moved;
    return static_cast<int32_t>(moved);
}

int32_t ovFile_Write(void* file, const void* buffer, int32_t length) {
    const ServiceScope scope;
    FileHandle* handle = Host().OpenHandle(file, "ovFile_Write");
    if (handle == nullptr || length < 0) {
        return -1;
    }
    Bytes& bytes = handle->node->bytes;
    if ((handle->flags & kAppend) != 0) {
        handle->position = static_cast<int64_t>(bytes.size());
    }
    LogFile("ovFile_Write", *handle, handle->position, length, 0);
    if ((handle->flags & kWrite) == 0) {
        Host().Fail("Bad file descriptor");
        return -1;
    }
    if (LockedOut(*handle, OVRA_LOCK_EXCLUSIVE, length)) {
        return -1;
    }
    const int32_t moved = MovedBytes("ovFile_Write", length);
    if (handle->position > Host().longestFile - moved) {
        Host().Fail("No space left on device");
        return 0;
    }
    const size_t end = static_cast<size_t>(handle->position) + static_cast<size_t>(moved);
    if (moved > 0 && end > bytes.size()) {
        bytes.resize(end);
    }
    if (moved > 0) {
        std::memcpy(bytes.data() + handle->position, buffer, static_cast<size_t>(moved));
    }
    Host().Wrote(*handle, buffer, moved);
    handle->position += moved;
    return moved;
}

int64_t ovFile_Seek(void* file, int64_t offset) {
    const ServiceScope scope;
    FileHandle* handle = Host().OpenHandle(file, "ovFile_Seek");
    if (handle == nullptr) {
        return -1;
    }
    LogFile("ovFile_Seek", *handle, offset, 0, 0);
    FailureKind kind = FailureKind::kOutright;
    if (Host().Strikes("ovFile_Seek", true, &kind)) {
        Host().Fail(kInjected);
        return -1;
    }
    if (offset < 0) {
        Host().Fail("Invalid argument");
        return -1;
    }
    handle->position = offset;
    return offset;
}

int32_t ovFile_Lock(void* file, int32_t mode, int64_t offset, int64_t length) {
    const ServiceScope scope;
    FileHandle* handle = Host().OpenHandle(file, "ovFile_Lock");
    if (handle == nullptr) {
        return -1;
    }
    LogFile("ovFile_Lock", *handle, offset, length, mode);
    MemoryHost::State& host = Host();
    FailureKind kind = FailureKind::kOutright;
    if (host.Strikes("ovFile_Lock", true, &kind)) {
        host.Fail(kind == FailureKind::kTimedOut ? kTimedOut : kInjected);
        return -1;
    }
    if (offset < 0 || length <= 0 || (mode != OVRA_LOCK_SHARED && mode != OVRA_LOCK_EXCLUSIVE)) {
        host.Misuse("ovFile_Lock with a wrong range or mode");
        host.Fail("Invalid argument");
        return -1;
    }
    bool refused = host.locksRefused || Conflicts(*handle, mode, offset, length);
    if (refused && host.conflictHandler && !host.locksRefused) {
        const size_t logged = host.calls.size() - 1;
        host.conflictHandler();
        refused = Conflicts(*handle, mode, offset, length);
        if (refused && logged < host.calls.size()) {
            host.calls[logged].failed = true;
        }
    }
    if (refused) {
        host.Fail(host.locksTimeOut ? kTimedOut : kLocked);
        return -1;
    }
    for (HandleLock& lock : handle->node->locks) {
        if (lock.holder == handle && lock.offset == offset && lock.length == length) {
            lock.mode = mode;
            return 0;
        }
    }
    handle->node->locks.push_back({handle, mode, offset, length});
    return 0;
}

int32_t ovFile_Release(void* file, int64_t offset, int64_t length) {
    const ServiceScope scope;
    FileHandle* handle = Host().OpenHandle(file, "ovFile_Release");
    if (handle == nullptr) {
        return -1;
    }
    LogFile("ovFile_Release", *handle, offset, length, 0);
    const size_t removed = std::erase_if(handle->node->locks, [&](const HandleLock& lock) {
        return lock.holder == handle && lock.offset == offset && lock.length == length;
    });
    FailureKind kind = FailureKind::kOutright;
    if (Host().Strikes("ovFile_Release", true, &kind)) {
        Host().Fail(kInjected);
        return -1;
    }
    if (removed == 0) {
        Host().Misuse("ovFile_Release of a range that is not locked in " + handle->path);
        Host().Fail("Invalid argument");
        return -1;
    }
    return 0;
}

const char* ovFile_Error(void* program, void* file, int32_t* length) {
    const ServiceScope scope;
    const MemoryHost::State& host = Host();
    if (program != &host.program) {
        Host().Misuse("ovFile_Error with a wrong program");
    }
    (void)file;
    const std::string& text = host.errorTextFixed ? host.fixedErrorText : host.errorText;
    if (host.errorTextNull) {
        return nullptr;
    }
    if (length != nullptr) {
        *length = static_cast<int32_t>(text.size());
    }
    return text.c_str();
}
