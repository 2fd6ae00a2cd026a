// Registers one test for each test of each script, named <Script>.<test>.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/sql/script.h"

namespace ovrasql {
namespace {

class ScriptRun : public ::testing::Test {
  public:
    explicit ScriptRun(ScriptTest test) : test_(std::move(test)) {}
    void TestBody() override { RunScript(test_); }

  private:
    ScriptTest test_;
};

std::vector<std::string> ScriptPaths() {
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(OVRA_SQL_SCRIPTS)) {
        if (entry.path().extension() == ".test") {
            paths.push_back(entry.path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

int RegisterScripts() {
    int count = 0;
    for (const std::string& path : ScriptPaths()) {
        const std::string suite = std::filesystem::path(path).stem().string();
        for (const ScriptTest& test : ReadScript(path)) {
            ::testing::RegisterTest(suite.c_str(), test.name.c_str(), nullptr, nullptr,
                                    test.file.c_str(), test.line,
                                    [test]() -> ::testing::Test* { return new ScriptRun(test); });
            ++count;
        }
    }
    return count;
}

const int kScriptTests = RegisterScripts();

TEST(ScriptsTest, AreFound) { EXPECT_GT(kScriptTests, 0) << "in " << OVRA_SQL_SCRIPTS; }

TEST(ScriptsTest, HaveATestAReasonAndDistinctNames) {
    for (const std::string& path : ScriptPaths()) {
        std::vector<std::string> names;
        for (const ScriptTest& test : ReadScript(path)) {
            EXPECT_FALSE(test.steps.empty()) << path << ": " << test.name;
            EXPECT_EQ(std::count(names.begin(), names.end(), test.name), 0)
                << path << ": " << test.name;
            names.push_back(test.name);
        }
        EXPECT_FALSE(names.empty()) << path;
    }
}

}  // namespace
}  // namespace ovrasql
