#include "host/library_loader.h"

#include <dlfcn.h>

#include <cstdlib>

#include "host/file_system.h"

namespace ovrahost {

namespace {

constexpr char kLibraryFile[] = "libovrasql.so";

struct Loaded {
    const ovra_library_table* table = nullptr;
    std::string error;
};

// The file that this very function was loaded from: the host's own, wherever it was installed.
std::string OwnFile() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<const void*>(&LibraryTable), &info) == 0 ||
        info.dli_fname == nullptr) {
        return {};
    }
    return info.dli_fname;
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

}  // namespace

const ovra_library_table* LibraryTable(std::string* error) {
    static const Loaded loaded = Load();
    *error = loaded.error;
    return loaded.table;
}

}  // namespace ovrahost
