// Writes the inputs that fuzzing starts from, a folder for each target: the statements that the
// tests run, and the files that the library makes.
//
//     fuzz_seed_writer FOLDER [SQL SCRIPTS...]      (files of tests/sql/scripts)

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "fuzz/support/script_mutator.h"
#include "fuzz/support/statement_writer.h"
#include "fuzz/support/template_files.h"
#include "tests/support/statement_scripts.h"

namespace {

using namespace ovrasql;

constexpr size_t kMaximumSteps = 16;
constexpr uint32_t kWrittenStatements = 300;
constexpr uint32_t kWrittenScripts = 120;

class SeedFolder {
  public:
    SeedFolder(const std::filesystem::path& folder, const std::string& target)
        : folder_(folder / target) {
        std::filesystem::create_directories(folder_);
    }

    void Add(const std::string& bytes) {
        if (known_.insert(bytes).second) {
            std::ofstream file(folder_ / ("seed" + std::to_string(known_.size())),
                               std::ios::binary);
            file << bytes;
        }
    }

  private:
    std::filesystem::path folder_;
    std::set<std::string> known_;
};

std::string BytesOf(const std::string& path) {
    for (const fuzz::FileContents& file : fuzz::TemplateFiles()) {
        if (file.path == path) {
            return std::string(file.bytes.begin(), file.bytes.end());
        }
    }
    return "";
}

// --- SQL

// The lines of a fuzz script that do what the step does, none for what has no counterpart.
std::string LinesOf(const ScriptStep& step) {
    std::string lines;
    if (!step.parameters.empty()) {
        lines = ".with ";
        for (const std::string& value : step.parameters) {
            lines += (&value == step.parameters.data() ? "" : "|") + value.substr(0, 40);
        }
        lines += "\n";
    }
    switch (KindOf(step)) {
        case StepKind::kCreate:
            return ".new\n";
        case StepKind::kOpen:
            return ".reopen\n";
        case StepKind::kPack:
            return ".pack\n";
        case StepKind::kOption:
            return OptionOf(step).first == "caseinsensitive" ? ".fold\n" : ".exact\n";
        case StepKind::kWalk:
            return lines + ".view " + std::string(SqlOf(step)) + "\n.next\n";
        default:
            return lines + std::string(SqlOf(step)) + "\n";
    }
}

std::string LinesOf(const std::vector<ScriptStep>& steps) {
    std::string lines;
    for (const ScriptStep& step : steps) {
        lines += LinesOf(step);
    }
    return lines;
}

void AddScripts(SeedFolder* compile, SeedFolder* run, SeedFolder* both) {
    for (const StatementScript& script : StatementScripts()) {
        const std::string tested = LinesOf(script.tested);
        run->Add(tested);
        both->Add(tested);
        if (script.setup.size() + script.tested.size() < kMaximumSteps) {
            run->Add(".new\n" + LinesOf(script.setup) + tested);
        }
        for (const ScriptStep& step : script.tested) {
            if (KindOf(step) == StepKind::kSelect || KindOf(step) == StepKind::kStatement) {
                compile->Add(std::string(SqlOf(step)));
            }
        }
    }
}

// A statement of a script of the tests stands behind one of these words.
void AddStatementsOf(const std::string& path, SeedFolder* compile, SeedFolder* run) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        for (const std::string word : {"query ", "run ", "plan ", "columns "}) {
            if (line.starts_with(word)) {
                const size_t start = line.find_first_not_of(' ', word.size());
                if (start != std::string::npos) {
                    compile->Add(line.substr(start));
                    run->Add(line.substr(start) + "\n");
                }
            }
        }
    }
}

void AddWritten(SeedFolder* compile, SeedFolder* run, SeedFolder* both) {
    for (uint32_t seed = 1; seed <= kWrittenStatements; ++seed) {
        compile->Add(fuzz::StatementWriter(seed).Statement());
    }
    for (uint32_t seed = 1; seed <= kWrittenScripts; ++seed) {
        fuzz::StatementWriter writer(seed);
        run->Add(writer.Statement() + "\n" + writer.Statement() + "\n.pack\n");
        both->Add(fuzz::ScriptMutator(seed).FileEdit() + "\n" + writer.Statement() + "\n" +
                  writer.Statement() + "\n");
    }
}

// --- Files

void AddDataFiles(SeedFolder* data) {
    for (const char kind : {'\0', '\1', '\x0F', '\x7F'}) {
        for (const std::string name : {"t", "u", "e"}) {
            const std::string table = BytesOf(name + ".dbf");
            const std::string length = {static_cast<char>(table.size() & 255U),
                                        static_cast<char>(table.size() >> 8U)};
            data->Add(std::string(1, kind) + length + table + BytesOf(name + ".dbt"));
        }
    }
}

void AddIndexFiles(SeedFolder* index) {
    const std::string operations = {8, 0, 3, 9, '\x85', 6, 0, 8, 0, '\x88', 0, 2, 5, 11, 9, 10, 0};
    for (const std::string path :
         {"ta.ovx", "tdown.ovx", "ux.ovx", "uy.ovx", "main.ovx", "maini.ovx"}) {
        index->Add(std::string(1, '\0') + operations + BytesOf(path));
    }
    for (const char packs : {'\0', '\4'}) {
        index->Add(static_cast<char>(packs + 2) + operations + BytesOf("ta.ovx"));
        index->Add(static_cast<char>(packs + 3) + operations + BytesOf("uy.ovx"));
    }
    for (char flags = 0; flags < 8; ++flags) {
        std::string seed = {static_cast<char>(1 + flags * 4), 60};
        for (char i = 0; i < 60; ++i) {
            seed += {static_cast<char>(i % 4 == 3 && i > 30 ? 0 : 1), static_cast<char>(i * 7)};
        }
        index->Add(seed);
    }
}

// Choices of any kind; one seed for each number.
void AddChoices(SeedFolder* equivalence) {
    for (uint32_t seed = 1; seed <= kWrittenScripts; ++seed) {
        fuzz::StatementWriter writer(seed);
        std::string choices;
        for (int i = 0; i < 150; ++i) {
            choices += static_cast<char>(writer.Below(256));
        }
        equivalence->Add(choices);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return 2;
    }
    SeedFolder compile(argv[1], "sql_compile");
    SeedFolder run(argv[1], "sql_run");
    SeedFolder both(argv[1], "sql_and_files");
    SeedFolder data(argv[1], "data_files");
    SeedFolder index(argv[1], "index_files");
    SeedFolder equivalence(argv[1], "index_equivalence");
    AddScripts(&compile, &run, &both);
    for (int i = 2; i < argc; ++i) {
        AddStatementsOf(argv[i], &compile, &run);
    }
    AddWritten(&compile, &run, &both);
    AddDataFiles(&data);
    AddIndexFiles(&index);
    AddChoices(&equivalence);
    return 0;
}
