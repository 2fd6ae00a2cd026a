#include "library/platform.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#include <pthread.h>
#endif

namespace ovrasql {

#ifdef _WIN32

void* FindInModule(void* module, const char* name) {
    const HMODULE searched =
        module == nullptr ? GetModuleHandleA(nullptr) : static_cast<HMODULE>(module);
    return reinterpret_cast<void*>(GetProcAddress(searched, name));
}

void AroundFork(void (*)(), void (*)()) {}

#else

void* FindInModule(void* module, const char* name) {
    // The default scope is the program with everything that it was started with, in load order.
    return dlsym(module == nullptr ? RTLD_DEFAULT : module, name);
}

void AroundFork(void (*before)(), void (*after)()) { pthread_atfork(before, after, after); }

#endif

}  // namespace ovrasql
