#include "host/library_loader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

#include "host/file_system.h"

namespace ovrahost {

namespace {

constexpr char kLibraryFile[] = "libovrasql.so";

struct Loaded {
    const ovra_library_table* table = nullptr;
    std::string error;
};

// The folder that the process runs in while this host is loaded. Null where it cannot be told.
const char* const startFolder = ::getcwd(nullptr, 0);

// The file that this very function was loaded from: the host's own, wherever it was installed. The
// system's loader can know it by a path from the folder that the process ran in then.
std::string OwnFile() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<const void*>(&LibraryTable), &info) == 0 ||
        info.dli_fname == nullptr) {
        return {};
    }
    const std::string file = info.dli_fname;
    const bool isRelative = file.find('/') != std::string::npos && file.front() != '/';
    return isRelative && startFolder != nullptr ? std::string(startFolder) + "/" + file : file;
}

void* OpenLibrary() {
    const char* named = std::getenv("OVRASQL_LIBRARY");
    if (named != nullptr && *named != '\0') {
        return ::dlopen(named, RTLD_NOW | RTLD_LOCAL);
    }
    const std::string own = OwnFile();
    const auto slash = own.rfind('/');
    if (slash != std::string::npos) {
        const std::string beside = own.substr(0, slash + 1) + kLibraryFile;
        // One that is there and can't be loaded is told of, and no other taken in its place.
        if (FileExists(beside)) {
            return ::dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
        }
    }
    return ::dlopen(kLibraryFile, RTLD_NOW | RTLD_LOCAL);
}

Loaded Load() {
    Loaded loaded;
    void* library = OpenLibrary();
    if (library == nullptr) {
        loaded.error = std::string("The database library cannot be loaded: ") + ::dlerror();
        return loaded;
    }
    const auto registerHost =
        reinterpret_cast<void (*)(void*)>(::dlsym(library, "ovra_register_library"));
    const auto tableOf =
        reinterpret_cast<const void* (*)()>(::dlsym(library, "ovra_database_library"));
    if (registerHost == nullptr || tableOf == nullptr) {
        loaded.error = "The file found as the database library is none";
        return loaded;
    }
    // The services are looked up in this host's own module and nowhere else.
    registerHost(::dlopen(OwnFile().c_str(), RTLD_NOW | RTLD_NOLOAD));
    const auto* table = static_cast<const ovra_library_table*>(tableOf());
    if (table->version != OVRA_INTERFACE_VERSION) {
        loaded.error = "The database library has another interface version";
        return loaded;
    }
    loaded.table = table;
    return loaded;
}

// Never destroyed: databases may be closed by the destructors of a program's own static objects.
const Loaded& Library() {
    static const Loaded& loaded = *new Loaded(Load());
    return loaded;
}

}  // namespace

const ovra_library_table* LibraryTable() { return Library().table; }

const std::string& LoadingError() { return Library().error; }

}  // namespace ovrahost
