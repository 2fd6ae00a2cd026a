#include "tests/compile/compile_database.h"

// Programs of INSERT, UPDATE, DELETE and of the definition statements.

namespace ovrasql {
namespace {

class ModifyProgram : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table a (x char(5), k numeric(5), id numeric(5), ok bool)");
        Define("create table b (y char(5), id numeric(5))");
        Define("create index bid on b (id)");
        Define("create table c (p numeric(3), q numeric(3))");
        Define("create index cp on c (p)");
    }
};

// All columns in field order, under the names of the file.
TEST_F(ModifyProgram, InsertsAValueIntoEachColumn) {
    EXPECT_EQ(Compile("insert into b values ('a', 1 + 2)"),
              R"(0 Cursor_Open 0 1 0 'b'
1 Cursor_Column 0 0 0 'Y'
2 Cursor_Column 0 1 0 'ID'
3 Push_Literal 0 0 0 'a'
4 Pop_Column 0 0 0
5 Push_Literal 0 0 0 '1'
6 Push_Literal 0 0 0 '2'
7 Add 0 0 0
8 Pop_Column 0 1 0
9 Cursor_Insert 0 0 0
)");
}

// The named column first, then the others in field order with an empty literal.
TEST_F(ModifyProgram, WritesAColumnLeftOutAsTheEmptyValue) {
    EXPECT_EQ(Compile("insert into a (id) values (7)"),
              R"(0 Cursor_Open 0 1 0 'a'
1 Cursor_Column 0 0 0 'id'
2 Cursor_Column 0 1 0 'X'
3 Cursor_Column 0 2 0 'K'
4 Cursor_Column 0 3 0 'OK'
5 Push_Literal 0 0 0 '7'
6 Pop_Column 0 0 0
7 Push_Literal 0 0 0
8 Pop_Column 0 1 0
9 Push_Literal 0 0 0
10 Pop_Column 0 2 0
11 Push_Literal 0 0 0
12 Pop_Column 0 3 0
13 Cursor_Insert 0 0 0
)");
}

// The source is opened at the head and again ahead of the loop. The columns are popped from the
// last to the first; the one left out has an empty literal in the select list.
TEST_F(ModifyProgram, InsertsWhatAQuerySelects) {
    EXPECT_EQ(Compile("insert into b (id) select k from a"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'k'
2 Cursor_Open 1 1 0 'b'
3 Cursor_Column 1 0 0 'id'
4 Cursor_Column 1 1 0 'Y'
5 Cursor_Open 0 0 0 'a'
6 Cursor_Column 0 0 0 'k'
7 Cursor_First 0 14 0
8 Push_Column 0 0 0
9 Push_Literal 0 0 0
10 Pop_Column 1 1 0
11 Pop_Column 1 0 0
12 Cursor_Insert 1 0 0
13 Cursor_Next 0 8 0
14 NOOP 0 0 0
)");
}

// The source has a cursor of its own.
TEST_F(ModifyProgram, ReadsTheTableThatItWrites) {
    EXPECT_EQ(Compile("insert into b select * from b"),
              R"(0 Cursor_Open 0 0 0 'b'
1 Cursor_Column 0 0 0 'Y'
2 Cursor_Column 0 1 0 'ID'
3 Cursor_Open 1 1 0 'b'
4 Cursor_Column 1 0 0 'Y'
5 Cursor_Column 1 1 0 'ID'
6 Cursor_Open 0 0 0 'b'
7 Cursor_Column 0 0 0 'Y'
8 Cursor_Column 0 1 0 'ID'
9 Cursor_First 0 16 0
10 Push_Column 0 0 0
11 Push_Column 0 1 0
12 Pop_Column 1 1 0
13 Pop_Column 1 0 0
14 Cursor_Insert 1 0 0
15 Cursor_Next 0 10 0
16 NOOP 0 0 0
)");
}

// The star takes the place of the empty values for columns left out, so with as many columns as the
// target has the source fills them all: the named one first, then the others in field order.
TEST_F(ModifyProgram, FillsTheColumnsLeftOutFromABareStar) {
    EXPECT_EQ(Compile("insert into b (id) select * from c"),
              R"(0 Cursor_Open 0 0 0 'c'
1 Cursor_Column 0 0 0 'P'
2 Cursor_Column 0 1 0 'Q'
3 Cursor_Open 1 1 0 'b'
4 Cursor_Column 1 0 0 'id'
5 Cursor_Column 1 1 0 'Y'
6 Cursor_Open 0 0 0 'c'
7 Cursor_Column 0 0 0 'P'
8 Cursor_Column 0 1 0 'Q'
9 Cursor_First 0 16 0
10 Push_Column 0 0 0
11 Push_Column 0 1 0
12 Pop_Column 1 1 0
13 Pop_Column 1 0 0
14 Cursor_Insert 1 0 0
15 Cursor_Next 0 10 0
16 NOOP 0 0 0
)");
}

// The record is locked ahead of the first new value; the index changes are applied once, behind
// the loop.
TEST_F(ModifyProgram, UpdatesEveryRecord) {
    EXPECT_EQ(Compile("update b set id = id + 1, y = null"),
              R"(0 Cursor_Open 0 1 0 'b'
1 Cursor_Column 0 0 0 'id'
2 Cursor_Column 0 1 0 'y'
3 Cursor_First 0 13 0
4 Cursor_LockForUpdate 0 0 0
5 Push_Column 0 0 0
6 Push_Literal 0 0 0 '1'
7 Add 0 0 0
8 Pop_Column 0 0 0
9 Push_Literal 0 0 0
10 Pop_Column 0 1 0
11 Cursor_Update 0 0 0
12 Cursor_Next 0 4 0
13 Cursor_Update_Indexes 0 0 0
14 NOOP 0 0 0
)");
}

// Both jumps go to Next: the moved comparison must equal 1, what is left must differ from 0.
TEST_F(ModifyProgram, SkipsARecordWhenEitherPartOfWhereFails) {
    EXPECT_EQ(Compile("update a set k = k + 1 where k > 2 and (x = 'a' or x = 'b')"),
              R"(0 Cursor_Open 0 1 0 'a'
1 Cursor_Column 0 0 0 'k'
2 Cursor_Column 0 1 0 'x'
3 Cursor_First 0 27 0
4 Push_Column 0 0 0
5 Push_Literal 0 0 0 '2'
6 GreaterThan 0 0 0
7 Jump_NE 1 26 0
8 Push_Column 0 1 0
9 Push_Literal 0 0 0 'a'
10 Equal 0 0 0
11 Jump_EQ 0 14 0
12 Push_Integer 1 0 0
13 Jump 18 0 0
14 NOOP 0 0 0
15 Push_Column 0 1 0
16 Push_Literal 0 0 0 'b'
17 Equal 0 0 0
18 NOOP 0 0 0
19 Jump_EQ 0 26 0
20 Cursor_LockForUpdate 0 0 0
21 Push_Column 0 0 0
22 Push_Literal 0 0 0 '1'
23 Add 0 0 0
24 Pop_Column 0 0 0
25 Cursor_Update 0 0 0
26 Cursor_Next 0 4 0
27 Cursor_Update_Indexes 0 0 0
28 NOOP 0 0 0
)");
}

// The walk starts at the lower bound and ends at the first key above the upper one.
TEST_F(ModifyProgram, UpdatesAlongTheIndexOfItsBounds) {
    EXPECT_EQ(Compile("update c set p = p + 1 where p > 0 and p < 9"),
              R"(0 Cursor_Open 0 1 0 'c'
1 Cursor_Column 0 0 0 'p'
2 Push_Literal 0 0 0 '0'
3 Cursor_Index 0 0 1 'cp'
4 Cursor_First 0 24 0
5 Push_Column 0 0 0
6 Push_Literal 0 0 0 '9'
7 Cursor_LessThan 0 0 0
8 Jump_EQ 0 24 0
9 Push_Column 0 0 0
10 Push_Literal 0 0 0 '0'
11 GreaterThan 0 0 0
12 Push_Column 0 0 0
13 Push_Literal 0 0 0 '9'
14 LessThan 0 0 0
15 And 0 0 0
16 Jump_NE 1 23 0
17 Cursor_LockForUpdate 0 0 0
18 Push_Column 0 0 0
19 Push_Literal 0 0 0 '1'
20 Add 0 0 0
21 Pop_Column 0 0 0
22 Cursor_Update 0 0 0
23 Cursor_Next 0 5 0
24 Cursor_Update_Indexes 0 0 0
25 NOOP 0 0 0
)");
}

// The sub-query stays in WHERE, and opens its table at the head of the program.
TEST_F(ModifyProgram, UpdatesWithASubqueryOverItsOwnCursor) {
    EXPECT_EQ(Compile("update c set p = 1 where q = (select max(id) from b)"),
              R"(0 Cursor_Open 0 1 0 'c'
1 Cursor_Column 0 0 0 'p'
2 Cursor_Column 0 1 0 'q'
3 Cursor_Open 1 0 0 'b'
4 Cursor_Column 1 0 0 'id'
5 Cursor_First 0 35 0
6 Push_Column 0 1 0
7 Push_Integer 0 0 0
8 Bucket 0 1 0
9 Bucket_Default 0 0 0
10 Cursor_First 1 15 0
11 Bucket_Record 0 0 0
12 Push_Column 1 0 0
13 Bucket_Max 0 0 0
14 Cursor_Next 1 11 0
15 NOOP 0 0 0
16 Bucket_First 0 24 0
17 Jump_NE 1 19 0
18 Error 0 0 0
19 NOOP 0 0 0
20 Push_Bucket 0 0 0
21 Copy 0 0 0
22 Push_Integer 1 0 0
23 Bucket_Next 0 17 0
24 NOOP 0 0 0
25 Jump_NE 0 27 0
26 Push_Null 0 0 0
27 NOOP 0 0 0
28 Equal 0 0 0
29 Jump_EQ 0 34 0
30 Cursor_LockForUpdate 0 0 0
31 Push_Literal 0 0 0 '1'
32 Pop_Column 0 0 0
33 Cursor_Update 0 0 0
34 Cursor_Next 0 6 0
35 Cursor_Update_Indexes 0 0 0
36 NOOP 0 0 0
)");
}

// First, Delete, Next, and the index changes once.
TEST_F(ModifyProgram, DeletesWithoutAKey) {
    EXPECT_EQ(Compile("delete from b"),
              R"(0 Cursor_Open 0 1 0 'b'
1 Cursor_First 0 4 0
2 Cursor_Delete 0 0 0
3 Cursor_Next 0 2 0
4 NOOP 0 0 0
5 Cursor_Delete_Indexes 0 0 0
)");
}

// By alias; only the table that is written loads its indexes.
TEST_F(ModifyProgram, DeletesTheTablesNamedInFrontOfFrom) {
    EXPECT_EQ(Compile("delete u from a u, b where u.id = b.id"),
              R"(0 Cursor_Open 0 1 0 'a'
1 Cursor_Column 0 0 0 'id'
2 Cursor_Open 1 0 0 'b'
3 Cursor_Column 1 0 0 'id'
4 Cursor_First 0 16 0
5 Push_Column 0 0 0
6 Cursor_Index 1 1 0 'bid'
7 Cursor_First 1 14 0
8 Push_Column 0 0 0
9 Push_Column 1 0 0
10 Equal 0 0 0
11 Jump_NE 1 13 0
12 Cursor_Delete 0 0 0
13 Cursor_Next 1 8 0
14 NOOP 0 0 0
15 Cursor_Next 0 5 0
16 NOOP 0 0 0
17 Cursor_Delete_Indexes 0 0 0
)");
}

// Without a name all tables are written.
TEST_F(ModifyProgram, DeletesFromEveryTableOfTheJoin) {
    EXPECT_EQ(Compile("delete from a, b where a.id = b.id"),
              R"(0 Cursor_Open 0 1 0 'a'
1 Cursor_Column 0 0 0 'id'
2 Cursor_Open 1 1 0 'b'
3 Cursor_Column 1 0 0 'id'
4 Cursor_First 0 17 0
5 Push_Column 0 0 0
6 Cursor_Index 1 1 0 'bid'
7 Cursor_First 1 15 0
8 Push_Column 0 0 0
9 Push_Column 1 0 0
10 Equal 0 0 0
11 Jump_NE 1 14 0
12 Cursor_Delete 0 0 0
13 Cursor_Delete 1 0 0
14 Cursor_Next 1 8 0
15 NOOP 0 0 0
16 Cursor_Next 0 5 0
17 NOOP 0 0 0
18 Cursor_Delete_Indexes 0 0 0
19 Cursor_Delete_Indexes 1 0 0
)");
}

// In the order of the names, not of FROM; a name written twice is a target twice.
TEST_F(ModifyProgram, DeletesInTheOrderOfTheNames) {
    EXPECT_EQ(Compile("delete b, b, a from a, b"),
              R"(0 Cursor_Open 0 1 0 'a'
1 Cursor_Open 1 1 0 'b'
2 Cursor_First 0 10 0
3 Cursor_First 1 8 0
4 Cursor_Delete 1 0 0
5 Cursor_Delete 1 0 0
6 Cursor_Delete 0 0 0
7 Cursor_Next 1 4 0
8 NOOP 0 0 0
9 Cursor_Next 0 3 0
10 NOOP 0 0 0
11 Cursor_Delete_Indexes 1 0 0
12 Cursor_Delete_Indexes 1 0 0
13 Cursor_Delete_Indexes 0 0 0
)");
}

// One instruction, with the list of columns.
TEST_F(ModifyProgram, CreatesATable) {
    EXPECT_EQ(Compile("create table n (a char(3), b numeric(5, 2))"),
              R"(0 Create_Table 0 0 0 'n' list
)");
}

TEST_F(ModifyProgram, AddsColumns) {
    EXPECT_EQ(Compile("alter table a add (n char(3))"),
              R"(0 Alter_Table_Add 0 0 0 'a' list
)");
}

TEST_F(ModifyProgram, DropsAColumn) {
    EXPECT_EQ(Compile("alter table a drop column x"),
              R"(0 Alter_Table_Drop 0 0 0 'a' 'x'
)");
}

TEST_F(ModifyProgram, DropsATable) {
    EXPECT_EQ(Compile("drop table a"),
              R"(0 Drop_Table 0 0 0 'a'
)");
}

// The table first, then the index.
TEST_F(ModifyProgram, CreatesAnIndex) {
    EXPECT_EQ(Compile("create unique index ax on a (x, k desc)"),
              R"(0 Create_Index 1 0 0 'a' 'ax' list
)");
}

TEST_F(ModifyProgram, DropsAnIndex) {
    EXPECT_EQ(Compile("drop index bid"),
              R"(0 Drop_Index 0 0 0 'bid'
)");
}

}  // namespace
}  // namespace ovrasql
