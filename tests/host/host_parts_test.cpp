// The host's small parts: paths, operations on paths, script variables and parameter counting.

#include <gtest/gtest.h>

#include <set>

#include "host/file_system.h"
#include "host/host_program.h"
#include "host/host_variable.h"
#include "host/parameter_count.h"
#include "tests/support/temporary_folder.h"

namespace ovrahost {
namespace {

TEST(HostProgramTest, RelativePathsStartFromTheRootAndAbsoluteOnesStand) {
    HostProgram program("/data");
    std::string path;
    EXPECT_TRUE(program.Resolve(2, "a/b.dbfXX", 7, &path));
    EXPECT_EQ(path, "/data/a/b.dbf");
    EXPECT_TRUE(program.Resolve(2, "/tmp/x", 6, &path));
    EXPECT_EQ(path, "/tmp/x");
    HostProgram here;
    EXPECT_TRUE(here.Resolve(2, "x.dbf", 5, &path));
    EXPECT_EQ(path, "x.dbf");
}

TEST(HostProgramTest, ImpossiblePathsAreRefusedWithAReason) {
    HostProgram program;
    std::string path;
    EXPECT_FALSE(program.Resolve(1, "x", 1, &path));
    EXPECT_EQ(program.LastError(), "Unknown file location 1");
    EXPECT_FALSE(program.Resolve(2, "", 0, &path));
    EXPECT_EQ(program.LastError(), "Empty file name");
    EXPECT_FALSE(program.Resolve(2, "a\0b", 3, &path));
    EXPECT_EQ(program.LastError(), "File name holds a NUL byte");
}

TEST(FileSystemTest, DirectoriesAreMadeFoundAndRemoved) {
    ovratest::TemporaryFolder folder;
    std::string error;
    EXPECT_FALSE(FileExists(folder.File("sub")));
    EXPECT_EQ(MakeDirectory(folder.File("sub"), &error), 0);
    EXPECT_TRUE(IsDirectory(folder.File("sub")));
    EXPECT_TRUE(FileExists(folder.File("sub")));
    EXPECT_EQ(MakeDirectory(folder.File("sub"), &error), -1);
    EXPECT_EQ(error, "File exists");
    folder.Write("sub/file", "x");
    EXPECT_EQ(RemoveDirectory(folder.File("sub"), &error), -1) << "it is not empty";
    EXPECT_EQ(DeleteFile(folder.File("sub/file"), &error), 0);
    EXPECT_EQ(RemoveDirectory(folder.File("sub"), &error), 0);
    EXPECT_FALSE(IsDirectory(folder.File("sub")));
    EXPECT_EQ(DeleteFile(folder.File("sub"), &error), -1);
    EXPECT_EQ(error, "No such file or directory");
}

TEST(FileSystemTest, RenameReplacesTheOtherFile) {
    ovratest::TemporaryFolder folder;
    folder.Write("new", "new content");
    folder.Write("old", "old content");
    std::string error;
    EXPECT_EQ(RenameFile(folder.File("new"), folder.File("old"), &error), 0);
    EXPECT_EQ(folder.Read("old"), "new content");
    EXPECT_EQ(RenameFile(folder.File("new"), folder.File("old"), &error), -1);
    EXPECT_EQ(error, "No such file or directory");
}

TEST(FileSystemTest, TemporaryNamesNeverMeet) {
    ovratest::TemporaryFolder folder;
    std::set<std::string> names;
    std::string error;
    for (int i = 0; i < 100; ++i) {
        std::string suffix;
        ASSERT_NE(MakeTemporaryFile(folder.File("t.dbf"), 39, &suffix, &error), nullptr);
        EXPECT_TRUE(FileExists(folder.File("t.dbf") + suffix));
        names.insert(suffix);
    }
    EXPECT_EQ(names.size(), 100U);
    std::string suffix;
    EXPECT_EQ(MakeTemporaryFile(folder.File("none/t.dbf"), 39, &suffix, &error), nullptr);
    EXPECT_EQ(error.rfind("No such file or directory (", 0), 0U);
}

TEST(HostVariableTest, ElementsAndMembersAreMadeOnDemandAndClearedWithTheValue) {
    HostVariable variable;
    EXPECT_EQ(variable.Element(1, false), nullptr);
    HostVariable* element = variable.Element(1, true);
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(variable.Element(1, true), element);
    element->Member("FIELD_NAME", true)->SetText("a");
    EXPECT_EQ(variable.Element(1, false)->Member("FIELD_NAME", false)->Text(), "a");
    EXPECT_EQ(element->Member("FIELD_TYPE", false), nullptr);
    variable.SetText("value");
    EXPECT_EQ(variable.Element(1, false), element) << "a value does not clear the elements";
    variable.SetText("");
    EXPECT_EQ(variable.Element(1, false), nullptr);
}

TEST(HostVariableTest, ListIsWalkedInOrderAndAgain) {
    HostVariableList list;
    EXPECT_EQ(list.First(), nullptr);
    list.Append("one");
    list.Append("two");
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(list.First()->Text(), "one");
        EXPECT_EQ(list.Next()->Text(), "two");
        EXPECT_EQ(list.Next(), nullptr);
        EXPECT_EQ(list.Next(), nullptr);
    }
}

TEST(ParameterCountTest, QuestionMarksAndZeroNumberThemselves) {
    EXPECT_EQ(FindParameters("select a from t").selfNumbered, 0);
    EXPECT_EQ(FindParameters("insert into t values (?, ?,?)").selfNumbered, 3);
    EXPECT_EQ(FindParameters("select a from t where b = :0 or c = :00").selfNumbered, 2);
    EXPECT_EQ(FindParameters("select '?:0' from t where a = ?").selfNumbered, 1);
    EXPECT_FALSE(FindParameters("select a from t where a = ? and b = ':1'").hasNumbered);
}

TEST(ParameterCountTest, NumberedParametersAreNotCounted) {
    const ParameterUse use = FindParameters("select a from t where a = :2 and b = ? and c = :10");
    EXPECT_EQ(use.selfNumbered, 1);
    EXPECT_TRUE(use.hasNumbered);
}

}  // namespace
}  // namespace ovrahost
