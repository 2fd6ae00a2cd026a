#include "foundation/path_text.h"

#include <gtest/gtest.h>

#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

TEST(StripExtension, CutsTheLastExtension) {
    EXPECT_EQ(Std(StripExtension("data/main.dbf")), "data/main");
    EXPECT_EQ(Std(StripExtension("a.b.c")), "a.b");
    EXPECT_EQ(Std(StripExtension("name.")), "name");
}

TEST(StripExtension, LeavesADotInADirectoryNameAlone) {
    EXPECT_EQ(Std(StripExtension("v1.2/main")), "v1.2/main");
    EXPECT_EQ(Std(StripExtension("v1.2\\main")), "v1.2\\main");
    EXPECT_EQ(Std(StripExtension("main")), "main");
}

TEST(StripExtension, ANameThatStartsWithItsOnlyDotStaysWhole) {
    EXPECT_EQ(Std(StripExtension(".hidden")), ".hidden");
    EXPECT_EQ(Std(StripExtension(".hidden.dbf")), ".hidden");
    EXPECT_EQ(Std(StripExtension(".")), ".");
    EXPECT_EQ(Std(StripExtension("")), "");
}

// Byte 0 alone is spared; a dot behind a separator is cut like any other.
TEST(StripExtension, CutsANameInADirectoryDownToTheSeparator) {
    EXPECT_EQ(Std(StripExtension("dir/.hidden")), "dir/");
}

TEST(DirectoryPart, EndsWithTheLastSeparator) {
    EXPECT_EQ(Std(DirectoryPart("a/b/c.dbf")), "a/b/");
    EXPECT_EQ(Std(DirectoryPart("a\\b\\c.dbf")), "a\\b\\");
    EXPECT_EQ(Std(DirectoryPart("a\\b/c")), "a\\b/");
    EXPECT_EQ(Std(DirectoryPart("a/b/")), "a/b/");
}

TEST(DirectoryPart, IsEmptyWithoutASeparatorBehindByteZero) {
    EXPECT_EQ(Std(DirectoryPart("c.dbf")), "");
    EXPECT_EQ(Std(DirectoryPart("/c.dbf")), "");
    EXPECT_EQ(Std(DirectoryPart("")), "");
    EXPECT_EQ(Std(DirectoryPart("/")), "");
}

}  // namespace
}  // namespace ovrasql
