// Registers one test for each test of each file of tests/golden, named <File>.<test>. A file reads:
//
//     define create table t (a integer)  (lines above the first test: run before each of them)
//
//     test name_of_the_rule
//     # what to look at, and why it is so
//     define create index ia on t (a)
//     option caseinsensitive
//     program select a from t where a = 1
//       0 Cursor_Open 0 0 0 't'          the whole program, worked out by hand
//       note No index found ...          what the optimizer wrote to the trace
//
// A statement that is refused has one line, "! " and the message.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "tests/compile/compile_database.h"

namespace ovrasql {
namespace {

constexpr const char* kTraceFile = "trace.log";

struct Step {
    int line = 0;
    std::string command;
    std::string argument;
    std::string expected;
};

struct GoldenTest {
    std::string name;
    std::string file;
    int line = 0;
    std::vector<Step> steps;
};

std::vector<GoldenTest> ReadGolden(const std::string& path) {
    std::ifstream file(path);
    std::vector<GoldenTest> tests;
    std::vector<Step> common;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (line.empty() || line.front() == '#') {
            continue;
        }
        std::vector<Step>& steps = tests.empty() ? common : tests.back().steps;
        if (line.compare(0, 2, "  ") == 0 && !steps.empty()) {
            steps.back().expected += line.substr(2) + "\n";
            continue;
        }
        const size_t end = std::min(line.find(' '), line.size());
        const std::string rest = line.substr(std::min(end + 1, line.size()));
        if (line.substr(0, end) == "test") {
            tests.push_back({rest, path, number, common});
        } else {
            steps.push_back({number, line.substr(0, end), rest, ""});
        }
    }
    return tests;
}

class GoldenProgram : public CompileTest {
  public:
    explicit GoldenProgram(GoldenTest test) : test_(std::move(test)) {}

    void TestBody() override {
        ASSERT_TRUE(TheSchema().OpenTrace(kTraceFile));
        int programs = 0;
        for (const Step& step : test_.steps) {
            if (step.command == "define") {
                Define(step.argument);
            } else if (step.command == "option" && step.argument == "caseinsensitive") {
                TheSchema().SetCaseInsensitive(true);
            } else if (step.command == "program") {
                Check(step);
                ++programs;
            } else {
                ADD_FAILURE_AT(test_.file.c_str(), step.line) << "cannot be read";
            }
        }
        EXPECT_GT(programs, 0) << test_.file << ": " << test_.name << " compiles nothing";
    }

  private:
    void Check(const Step& step) {
        const size_t before = TheHost().FileText(kTraceFile).size();
        std::string found = Compile(step.argument);
        if (found.back() != '\n') {
            found += "\n";
        }
        std::istringstream notes(TheHost().FileText(kTraceFile).substr(before));
        for (std::string note; std::getline(notes, note);) {
            found += "note " + note + "\n";
        }
        if (found != step.expected) {
            ADD_FAILURE_AT(test_.file.c_str(), step.line) << step.argument << "\nexpected\n"
                                                          << step.expected << "found\n"
                                                          << found;
        }
    }

    GoldenTest test_;
};

int RegisterGolden() {
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(OVRA_GOLDEN_PROGRAMS)) {
        if (entry.path().extension() == ".golden") {
            paths.push_back(entry.path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    int count = 0;
    for (const std::string& path : paths) {
        const std::string suite = "Golden_" + std::filesystem::path(path).stem().string();
        for (const GoldenTest& test : ReadGolden(path)) {
            ::testing::RegisterTest(suite.c_str(), test.name.c_str(), nullptr, nullptr,
                                    test.file.c_str(), test.line,
                                    [test]() -> CompileTest* { return new GoldenProgram(test); });
            ++count;
        }
    }
    return count;
}

const int kGoldenTests = RegisterGolden();

TEST(GoldenPrograms, AreFound) { EXPECT_GT(kGoldenTests, 0) << "in " << OVRA_GOLDEN_PROGRAMS; }

}  // namespace
}  // namespace ovrasql
