// SQL, run: a script (support/script_run.h) over the template database. Beside what every script is
// checked for, the trace log must change nothing: the script tells the same with it and without.
// And when every statement has worked, the checker finds nothing wrong with the files.

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

}  // namespace

// Each of the two costs as much as the run itself, so that a part of the scripts is enough.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const ScriptResult plain = RunScript(bytes, size, {});
    if (size % 8 == 1 && !plain.cutShort && !plain.failed) {
        RequireHealthyFiles(plain.path);
    }
    if (size % 8 == 0 && !plain.cutShort) {
        ScriptOptions options;
        options.trace = true;
        const ScriptResult traced = RunScript(bytes, size, options);
        Require(traced.cutShort || traced.transcript == plain.transcript,
                "the trace log changes what a script tells");
    }
    return 0;
}
