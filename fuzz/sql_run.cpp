// SQL, run: a script (support/script_run.h) over the template database. Beside what every script is
// checked for, a script tells the same with the trace log and without, with a statement cache and
// without, and when the database is closed and opened before each statement. And when every
// statement has worked, the checker finds nothing wrong with the files.

#include <string>

#include "fuzz/support/finding.h"
#include "fuzz/support/script_run.h"
#include "fuzz/support/template_files.h"
#include "tests/support/checker/checker.h"
#include "tests/support/memory_host.h"

namespace {

using namespace ovrasql;
using namespace ovrasql::fuzz;

void RequireHealthyFiles(const std::string& path) {
    checker::FileMap files;
    for (const std::string& name : TheHost().FilePaths()) {
        files[name] = TheHost().FileBytes(name);
    }
    std::vector<checker::Finding> findings = checker::CheckDatabase(files, path);
    // The template's files lie beside those of a new database.
    const bool isAlone = path == kTemplatePath;
    std::erase_if(findings, [isAlone](const checker::Finding& finding) {
        return finding.harmless ||
               (!isAlone && finding.kind == checker::FindingKind::kUnlistedFile);
    });
    if (!findings.empty()) {
        ovrasql::fuzz::Finding("the files are damaged: " + checker::Describe(findings));
    }
}

// The same script under another option must tell the same.
void RequireSame(const ScriptResult& plain, const uint8_t* bytes, size_t size,
                 const ScriptOptions& options, const char* what) {
    const ScriptResult other = RunScript(bytes, size, options);
    if (!other.cutShort && other.transcript != plain.transcript) {
        ovrasql::fuzz::Finding(std::string(what) + " changes what a script tells\n" +
                               plain.transcript + "--- otherwise\n" + other.transcript);
    }
}

}  // namespace

// Each comparison costs as much as the run itself, so that the length of a script picks one.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const ScriptResult plain = RunScript(bytes, size, {});
    if (plain.cutShort) {
        return 0;
    }
    ScriptOptions options;
    switch (size % 8) {
        case 0:
            options.trace = true;
            RequireSame(plain, bytes, size, options, "the trace log");
            break;
        case 1:
            if (!plain.failed) {
                RequireHealthyFiles(plain.path);
            }
            break;
        case 2:
            options.cacheless = true;
            RequireSame(plain, bytes, size, options, "the statement cache");
            break;
        case 3:
            options.forgetful = true;
            RequireSame(plain, bytes, size, options, "a database that stays open");
            break;
        default:
            break;
    }
    return 0;
}
