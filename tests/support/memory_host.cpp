#include "tests/support/memory_host.h"

#include <algorithm>

#include "library/host_services.h"
#include "tests/support/memory_host_state.h"

namespace ovrasql {

namespace {

std::string_view FolderOf(std::string_view path) {
    const size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

}  // namespace

std::string HostCall::Text() const {
    std::string text = name;
    if (!path.empty()) {
        text += " " + path;
    }
    if (name == "ovFile_Rename" || (name == "ovFile_MakeTemporary" && !newPath.empty())) {
        text += " to " + newPath;
    }
    if (name == "ovFile_Open" || name == "ovFile_MakeTemporary") {
        text += " flags " + std::to_string(flags);
    }
    if (name == "ovFile_Lock") {
        text += " mode " + std::to_string(flags);
    }
    if (name == "ovFile_Seek") {
        text += " at " + std::to_string(offset);
    }
    if (name == "ovFile_Read" || name == "ovFile_Write" || name == "ovFile_Lock" ||
        name == "ovFile_Release") {
        text += " at " + std::to_string(offset) + " length " + std::to_string(length);
    }
    return failed ? text + " failed" : text;
}

HostVariable* HostVariable::Element(int32_t index) const {
    for (const auto& [number, variable] : elements) {
        if (number == index) {
            return variable.get();
        }
    }
    return nullptr;
}

HostVariable* HostVariable::Member(std::string_view name) const {
    for (const auto& [key, variable] : members) {
        if (key == name) {
            return variable.get();
        }
    }
    return nullptr;
}

HostDatabaseVariable* HostView::Variable(std::string_view wanted) const {
    for (auto variable = variables.rbegin(); variable != variables.rend(); ++variable) {
        if ((*variable)->name == wanted) {
            return variable->get();
        }
    }
    return nullptr;
}

bool MemoryHost::State::Strikes(std::string_view name, bool counted, FailureKind* kind) {
    fallibleCalls += counted ? 1 : 0;
    bool strikes = false;
    for (PlannedFailure& failure : failures) {
        if (failure.name.empty() ? !counted : failure.name != name) {
            continue;
        }
        ++failure.seen;
        if (failure.seen == failure.number ||
            (failure.seen > failure.number && failure.span == FailureSpan::kForEver)) {
            *kind = failure.kind;
            strikes = true;
        }
    }
    failureHappened = failureHappened || strikes;
    return strikes;
}

HostCall& MemoryHost::State::Log(HostCall call) {
    if (!logging) {
        calls.clear();  // the last call alone is kept, for Fail
    }
    calls.push_back(std::move(call));
    return calls.back();
}

void MemoryHost::State::LogBare() {
    calls.resize(1);
    calls.back().failed = false;
}

void MemoryHost::State::Fail(std::string_view text) {
    calls.back().failed = true;
    errorText = text;
}

void MemoryHost::State::Misuse(std::string_view text) { misuses.emplace_back(text); }

FileHandle* MemoryHost::State::OpenHandle(void* file, std::string_view service) {
    const auto open = openHandles.find(file);
    if (open != openHandles.end()) {
        return open->second->get();
    }
    for (const auto& handle : closedHandles) {
        if (handle.get() == file) {
            Misuse(std::string(service) + " on the closed " + handle->path);
            return nullptr;
        }
    }
    Misuse(std::string(service) + " on an unknown handle");
    return nullptr;
}

void MemoryHost::State::AddHandle(std::unique_ptr<FileHandle> handle) {
    const void* key = handle.get();
    openHandles[key] = handles.insert(handles.end(), std::move(handle));
}

void MemoryHost::State::CloseHandle(FileHandle* handle) {
    const auto found = openHandles.find(handle);
    std::erase_if(handle->node->locks,
                  [handle](const HandleLock& lock) { return lock.holder == handle; });
    handle->node.reset();
    closedHandles.push_back(std::move(*found->second));
    handles.erase(found->second);
    openHandles.erase(found);
}

void MemoryHost::State::Changed(FileChange change) const {
    if (changeHandler) {
        changeHandler(change);
    }
}

void MemoryHost::State::Wrote(const FileHandle& handle, const void* bytes, int32_t count) const {
    if (!changeHandler || count <= 0) {
        return;
    }
    for (const auto& [path, node] : files) {
        if (node == handle.node) {
            const uint8_t* start = static_cast<const uint8_t*>(bytes);
            changeHandler(
                {FileChangeKind::kWrite, path, "", handle.position, Bytes(start, start + count)});
            return;
        }
    }
}

std::string MemoryHost::State::Text(const char* text, int32_t length) {
    if (length < 0 || text == nullptr) {
        Misuse("a text with a negative length or no address");
        return std::string();
    }
    return std::string(text, static_cast<size_t>(length));
}

bool MemoryHost::State::FolderExists(std::string_view path) const {
    return path.empty() || path == "." || directories.find(path) != directories.end();
}

MemoryHost::MemoryHost() : state_(std::make_unique<State>()) { BindHostServices(nullptr); }

MemoryHost::~MemoryHost() = default;

MemoryHost& TheHost() {
    static MemoryHost host;
    return host;
}

int32_t ServiceDepth() { return ServiceScope::depth; }

void MemoryHost::Reset() {
    Clear();
    BindHostServices(nullptr);
}

void MemoryHost::Clear() { state_ = std::make_unique<State>(); }

void MemoryHost::SetFile(std::string_view path, const Bytes& bytes) {
    AddDirectory(FolderOf(path));
    std::shared_ptr<FileNode>& node = state_->files[std::string(path)];
    if (node == nullptr) {
        node = std::make_shared<FileNode>();
    }
    node->bytes = bytes;
}

void MemoryHost::SetFile(std::string_view path, std::string_view bytes) {
    SetFile(path, Bytes(bytes.begin(), bytes.end()));
}

bool MemoryHost::HasFile(std::string_view path) const {
    return state_->files.find(path) != state_->files.end();
}

Bytes MemoryHost::FileBytes(std::string_view path) const {
    const auto found = state_->files.find(path);
    return found == state_->files.end() ? Bytes() : found->second->bytes;
}

std::string MemoryHost::FileText(std::string_view path) const {
    const Bytes bytes = FileBytes(path);
    return std::string(bytes.begin(), bytes.end());
}

std::vector<std::string> MemoryHost::FilePaths() const {
    std::vector<std::string> paths;
    for (const auto& [path, node] : state_->files) {
        paths.push_back(path);
    }
    return paths;
}

void MemoryHost::RemoveFile(std::string_view path) { state_->files.erase(std::string(path)); }

void MemoryHost::AddDirectory(std::string_view path) {
    while (!path.empty()) {
        state_->directories.emplace(path);
        path = FolderOf(path);
    }
}

bool MemoryHost::HasDirectory(std::string_view path) const {
    return !path.empty() && state_->FolderExists(path);
}

void* MemoryHost::MakeDatabase() {
    state_->databases.push_back(std::make_unique<HostDatabase>());
    state_->databases.back()->program = &state_->program;
    return state_->databases.back().get();
}

void MemoryHost::DestroyDatabase(void* handle) {
    std::erase_if(state_->databases,
                  [handle](const auto& database) { return database.get() == handle; });
}

HostDatabase* MemoryHost::Database(void* handle) { return static_cast<HostDatabase*>(handle); }

HostView* MemoryHost::View(void* handle) { return static_cast<HostView*>(handle); }

HostView* MemoryHost::FindView(void* database, std::string_view name) const {
    const auto& views = Database(database)->views;
    for (auto view = views.rbegin(); view != views.rend(); ++view) {
        if ((*view)->name == name) {
            return view->get();
        }
    }
    return nullptr;
}

void MemoryHost::DestroyView(void* handle) {
    for (const auto& database : state_->databases) {
        std::erase_if(database->views, [handle](const auto& view) { return view.get() == handle; });
    }
}

void* MemoryHost::Program() const { return &state_->program; }

int32_t MemoryHost::OpenFileCount() const { return static_cast<int32_t>(state_->handles.size()); }

int32_t MemoryHost::AllocatedCount() const { return static_cast<int32_t>(state_->blocks.size()); }

void MemoryHost::SetCurrentProcess(int32_t process) { state_->currentProcess = process; }

void MemoryHost::KillProcess(int32_t process) {
    std::vector<FileHandle*> killed;
    for (const auto& handle : state_->handles) {
        if (handle->process == process) {
            killed.push_back(handle.get());
        }
    }
    for (FileHandle* handle : killed) {
        state_->CloseHandle(handle);
    }
}

std::vector<HeldLock> MemoryHost::Locks() const {
    std::vector<HeldLock> locks;
    for (const auto& handle : state_->handles) {
        for (const HandleLock& lock : handle->node->locks) {
            if (lock.holder == handle.get()) {
                locks.push_back(
                    {handle->process, handle->path, lock.mode, lock.offset, lock.length});
            }
        }
    }
    return locks;
}

void MemoryHost::SetSelfConflict(bool refused) { state_->selfConflict = refused; }

void MemoryHost::SetConflictHandler(std::function<void()> handler) {
    state_->conflictHandler = std::move(handler);
}

void MemoryHost::SetDirtyHandler(std::function<void(void* variable)> handler) {
    state_->dirtyHandler = std::move(handler);
}

void MemoryHost::SetLongestFile(int64_t bytes) { state_->longestFile = bytes; }

void MemoryHost::SetChangeHandler(std::function<void(const FileChange& change)> handler) {
    state_->changeHandler = std::move(handler);
}

void MemoryHost::RefuseLocks(bool refused) {
    state_->locksRefused = refused;
    state_->locksTimeOut = false;
}

void MemoryHost::TimeOutLocks(bool timesOut) {
    state_->locksRefused = timesOut;
    state_->locksTimeOut = timesOut;
}

void MemoryHost::SetMandatoryLocks(bool mandatory) { state_->locksMandatory = mandatory; }

const std::vector<HostCall>& MemoryHost::Calls() const { return state_->calls; }

std::string MemoryHost::LogText() const {
    std::string text;
    for (const HostCall& call : state_->calls) {
        if (call.name.starts_with("ovFile_")) {
            text += call.Text() + "\n";
        }
    }
    return text;
}

std::string MemoryHost::LogText(std::initializer_list<std::string_view> names) const {
    std::string text;
    for (const HostCall& call : state_->calls) {
        if (std::find(names.begin(), names.end(), call.name) != names.end()) {
            text += call.Text() + "\n";
        }
    }
    return text;
}

int32_t MemoryHost::CallCount(std::string_view name) const {
    return static_cast<int32_t>(
        std::count_if(state_->calls.begin(), state_->calls.end(),
                      [name](const auto& call) { return call.name == name; }));
}

void MemoryHost::ClearLog() { state_->calls.clear(); }

void MemoryHost::SetLogging(bool on) { state_->logging = on; }

const std::vector<std::string>& MemoryHost::Misuses() const { return state_->misuses; }

void MemoryHost::FailCall(int64_t number, FailureKind kind, FailureSpan span) {
    FailCall(std::string_view(), number, kind, span);
}

void MemoryHost::FailCall(std::string_view name, int64_t number, FailureKind kind,
                          FailureSpan span) {
    state_->failures.push_back({std::string(name), number, 0, kind, span});
    state_->failureHappened = false;
    state_->fallibleCalls = 0;
}

void MemoryHost::ClearFailures() { state_->failures.clear(); }

bool MemoryHost::FailureHappened() const { return state_->failureHappened; }

int64_t MemoryHost::FallibleCalls() const { return state_->fallibleCalls; }

void MemoryHost::SetErrorText(std::string_view text) {
    state_->fixedErrorText = text;
    state_->errorTextFixed = true;
    state_->errorTextNull = false;
}

void MemoryHost::SetErrorTextNull() { state_->errorTextNull = true; }

void* MemoryHost::MakeVariable(std::string_view text) {
    state_->variables.push_back(std::make_unique<HostVariable>());
    state_->variables.back()->text = text;
    return state_->variables.back().get();
}

void* MemoryHost::MakeList(const std::vector<std::string>& texts) {
    auto list = std::make_unique<VariableList>();
    for (const std::string& text : texts) {
        list->variables.push_back(Variable(MakeVariable(text)));
    }
    state_->lists.push_back(std::move(list));
    return state_->lists.back().get();
}

HostVariable* MemoryHost::Variable(void* handle) { return static_cast<HostVariable*>(handle); }

}  // namespace ovrasql
