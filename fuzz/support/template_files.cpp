#include "fuzz/support/template_files.h"

#include "fuzz/support/finding.h"
#include "tests/support/test_database.h"

namespace ovrasql::fuzz {

namespace {

constexpr int64_t kLongestFile = int64_t{1} << 20;

FileSet MakeFiles() {
    TheHost().Reset();
    TheHost().SetLogging(false);
    {
        TestDatabase database;
        Require(database.Create(kTemplatePath), "the template can't be made");
        for (const std::string& statement : TemplateStatements()) {
            if (!database.Query(statement)) {
                Finding(statement + ": " + database.Error());
            }
        }
    }
    const FileSet files = HostFiles();
    TheHost().Clear();
    return files;
}

}  // namespace

const std::vector<std::string>& TemplateStatements() {
    static const std::vector<std::string> statements = {
        "create table t (id integer, a numeric(5), b numeric(3,2), s char(8), m memo, ok boolean)",
        "create table u (x numeric(5), y char(8), z memo)",
        "create table e (a numeric(3), s char(4))",
        "create index ta on t (a, b)",
        "create index tdown on t (id desc)",
        "create index ux on u (x)",
        "create unique index uy on u (y)",
        "insert into t values (1, 3, '1.5', 'anna', 'a first note', 1)",
        "insert into t values (2, 3, '1.25', 'Bob', '', 0)",
        "insert into t values (3, 0, 0, '', 'x', 0)",
        "insert into t values (4, 99999, '999.99', 'eightchr', 'long note, long note', 1)",
        "insert into t values (5, 7, 2, 'anna', null, 1)",
        "insert into t values (6, '-4', '-1.5', '10', '', 0)",
        "insert into t values (7, 7, 3, '9', 'y', 0)",
        "insert into t values (8, 12, 4, 'b', 'z', 1)",
        "insert into t values (9, 12, 4, 'B', '', 1)",
        "insert into t values (10, 1, 5, 'a_b', '%', 0)",
        "insert into t values (11, 2, 6, 'gone', 'gone', 0)",
        "insert into t values (12, 7, 3, 'last', 'the last', 1)",
        "insert into u values (3, 'anna', 'n1')",
        "insert into u values (7, 'bob', '')",
        "insert into u values (7, 'carl', 'n3')",
        "insert into u values (0, '', '')",
        "insert into u values (12, '10', 'n5')",
        "delete from t where id = 11",
    };
    return statements;
}

FileSet HostFiles() {
    FileSet files;
    for (const std::string& path : TheHost().FilePaths()) {
        files.push_back({path, TheHost().FileBytes(path)});
    }
    return files;
}

const FileSet& TemplateFiles() {
    static const FileSet files = MakeFiles();
    return files;
}

void StartHost(const FileSet& files, int64_t serviceCalls) {
    TheHost().Clear();
    TheHost().SetLogging(false);
    TheHost().SetLongestFile(kLongestFile);
    for (const FileContents& file : files) {
        TheHost().SetFile(file.path, file.bytes);
    }
    TheHost().FailCall(serviceCalls, FailureKind::kOutright, FailureSpan::kForEver);
}

void RequireNothingLeft() {
    Require(TheHost().OpenFileCount() == 0, "a file is still open");
    Require(TheHost().Locks().empty(), "a lock is still held");
    Require(TheHost().AllocatedCount() == 0, "a block of the host was not freed");
    if (!TheHost().Misuses().empty()) {
        Finding("a service was misused: " + TheHost().Misuses().front());
    }
}

}  // namespace ovrasql::fuzz
