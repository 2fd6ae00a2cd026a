// portable_files: what the library makes of every script of statement_scripts.h, as real files, so
// that two machines can be compared.
//
//   portable_files make FOLDER       runs the scripts from their beginning
//   portable_files continue A B      starts from the files that the setups left in A
//
// FOLDER/<script>/ has the files after the setup in setup/, those after the tested steps in end/,
// and what the steps gave in results.txt. The same files come out of every machine and of both
// ways, but for the dates in .dbf headers.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/script_session.h"

namespace {

namespace fs = std::filesystem;

void WriteFiles(const fs::path& folder, const ovrasql::FileSet& files) {
    for (const auto& [path, bytes] : files) {
        fs::create_directories((folder / path).parent_path());
        std::ofstream(folder / path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
}

ovrasql::FileSet ReadFiles(const fs::path& folder) {
    ovrasql::FileSet files;
    if (!fs::exists(folder)) {
        return files;
    }
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path(), std::ios::binary);
            files[fs::relative(entry.path(), folder).generic_string()] =
                ovrasql::Bytes(std::istreambuf_iterator<char>(file), {});
        }
    }
    return files;
}

// Runs the tested steps on the files that the host has, and writes what they gave.
void RunTested(const ovrasql::StatementScript& script, const fs::path& folder) {
    std::ofstream results(folder / "results.txt");
    ovrasql::ScriptSession session;
    if (!ovrasql::Prepare(session, script)) {
        results << "not opened: " << session.Database().Error() << '\n';
    }
    for (const ovrasql::ScriptStep& step : script.tested) {
        const ovrasql::StepResult result = session.Run(step);
        results << step.text << "\n" << result.rows << (result.ok ? "" : result.error) << "\n";
    }
    session.Close();
    WriteFiles(folder / "end", ovrasql::TakeFiles());
}

}  // namespace

int main(int count, char** arguments) {
    const std::string what = count > 1 ? arguments[1] : "";
    const bool makes = what == "make" && count == 3;
    if (!makes && !(what == "continue" && count == 4)) {
        std::fprintf(stderr, "usage: portable_files make FOLDER | continue FOLDER NEW_FOLDER\n");
        return 2;
    }
    for (const ovrasql::StatementScript& script : ovrasql::StatementScripts()) {
        const fs::path folder = fs::path(arguments[count - 1]) / script.name;
        const ovrasql::FileSet files =
            makes ? ovrasql::SetupFiles(script)
                  : ReadFiles(fs::path(arguments[2]) / script.name / "setup");
        WriteFiles(folder / "setup", files);
        ovrasql::RestoreFiles(files);
        RunTested(script, folder);
    }
    return 0;
}
