// SQL and files together: a script (support/script_run.h) whose lines also overwrite bytes of the
// database's files, before a statement reads them or between two rows of an open view.
// sql_and_files_mutator.cpp changes such scripts where they have their joints.

#include "fuzz/support/script_run.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    ovrasql::fuzz::ScriptOptions options;
    options.fileEdits = true;
    (void)ovrasql::fuzz::RunScript(bytes, size, options);
    return 0;
}
