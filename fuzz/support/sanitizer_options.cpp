// What the sanitizers are told when a target runs for thousands of runs a second: short stacks for
// allocations, and little memory kept back from reuse. An environment variable adds to it.

extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "malloc_context_size=1:quarantine_size_mb=4:max_malloc_fill_size=256";
}
