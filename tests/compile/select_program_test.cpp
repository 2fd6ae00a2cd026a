#include "tests/compile/compile_database.h"

// Whole programs of single blocks: how rows reach the view, how DISTINCT, UNION, ORDER BY and
// recno stand around the loops. The numbers are instruction indices, the first of the three
// operands is a slot or a number to compare with, the second mostly a target.

namespace ovrasql {
namespace {

class SelectProgram : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table a (x char(5), k numeric(5), id numeric(5), ok bool)");
        Define("create table b (y char(5), id numeric(5))");
        Define("create index bid on b (id)");
    }
};

// The cells are made first, then "eof" is set to 0; each row is popped from the last column to the
// first and handed out in the middle of the loop; behind it "eof" turns to 1. A boolean column has
// a push of its own, and recno is no column. The condition has nothing that could be known ahead:
// the scan runs to its end with it.
TEST_F(SelectProgram, HandsOutARowFromInsideTheLoop) {
    EXPECT_EQ(Compile("select recno, x, ok from a where 1 = 0"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'ok'
3 Result 0 1 0 'recno'
4 Result 1 1 0 'x'
5 Result 2 1 0 'ok'
6 Result 3 0 0 'eof'
7 Push_Integer 0 0 0
8 Pop_Result 3 0 0
9 Cursor_First 0 22 0
10 Push_Literal 0 0 0 '1'
11 Push_Literal 0 0 0 '0'
12 Equal 0 0 0
13 Jump_NE 1 21 0
14 Push_RecordNumber 0 0 0
15 Push_Column 0 0 0
16 Push_BoolColumn 0 1 0
17 Pop_Result 2 0 0
18 Pop_Result 1 0 0
19 Pop_Result 0 0 0
20 Output 0 0 0
21 Cursor_Next 0 10 0
22 NOOP 0 0 0
23 Push_Integer 1 0 0
24 Pop_Result 3 0 0
)");
}

// The key is every value, also one selected twice, and the values are computed again for the
// output. A row seen before jumps to the landing place ahead of Next.
TEST_F(SelectProgram, TestsDistinctInsideTheInnermostLoop) {
    EXPECT_EQ(Compile("select distinct x, x from a"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Result 0 1 0 'x'
3 Result 1 1 0 'x'
4 Result 2 0 0 'eof'
5 Push_Integer 0 0 0
6 Pop_Result 2 0 0
7 Bucket 0 2 0
8 Cursor_First 0 19 0
9 Push_Column 0 0 0
10 Push_Column 0 0 0
11 Bucket_Record 0 2 17
12 Push_Column 0 0 0
13 Push_Column 0 0 0
14 Pop_Result 1 0 0
15 Pop_Result 0 0 0
16 Output 0 0 0
17 NOOP 0 0 0
18 Cursor_Next 0 9 0
19 NOOP 0 0 0
20 Push_Integer 1 0 0
21 Pop_Result 2 0 0
)");
}

// The first block obeys the first union, which keeps all, as does the second one: their records
// never jump. The third is distinct: its record skips the storing. All blocks store into the one
// temporary table.
TEST_F(SelectProgram, RecordsTheRowsOfEveryBranchButSkipsByItsOwnUnion) {
    EXPECT_EQ(Compile("select x from a union all select y from b union select x from a"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Open 1 0 0 'b'
3 Cursor_Column 1 0 0 'y'
4 Cursor_Open 2 0 0 'a'
5 Cursor_Column 2 0 0 'x'
6 Result 0 1 0 'x'
7 Result 1 0 0 'eof'
8 Push_Integer 0 0 0
9 Pop_Result 1 0 0
10 Temporary_Table 0 1 0
11 Bucket 0 1 0
12 Cursor_First 0 19 0
13 Push_Column 0 0 0
14 Bucket_Record 0 1 0
15 Push_Column 0 0 0
16 Temporary_Record 0 0 0
17 Pop_Temporary 0 0 0
18 Cursor_Next 0 13 0
19 NOOP 0 0 0
20 Cursor_First 1 27 0
21 Push_Column 1 0 0
22 Bucket_Record 0 1 0
23 Push_Column 1 0 0
24 Temporary_Record 0 0 0
25 Pop_Temporary 0 0 0
26 Cursor_Next 1 21 0
27 NOOP 0 0 0
28 Cursor_First 2 36 0
29 Push_Column 2 0 0
30 Bucket_Record 0 1 34
31 Push_Column 2 0 0
32 Temporary_Record 0 0 0
33 Pop_Temporary 0 0 0
34 NOOP 0 0 0
35 Cursor_Next 2 29 0
36 NOOP 0 0 0
37 Temporary_First 0 42 0
38 Push_Temporary 0 0 0
39 Pop_Result 0 0 0
40 Output 0 0 0
41 Temporary_Next 0 38 0
42 NOOP 0 0 0
43 Push_Integer 1 0 0
44 Pop_Result 1 0 0
)");
}

// The first union is distinct, so the record of both blocks jumps.
TEST_F(SelectProgram, SkipsDuplicatesOfTheFirstBlockForADistinctUnion) {
    EXPECT_EQ(Compile("select x from a union select y from b"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Open 1 0 0 'b'
3 Cursor_Column 1 0 0 'y'
4 Result 0 1 0 'x'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Temporary_Table 0 1 0
9 Bucket 0 1 0
10 Cursor_First 0 18 0
11 Push_Column 0 0 0
12 Bucket_Record 0 1 16
13 Push_Column 0 0 0
14 Temporary_Record 0 0 0
15 Pop_Temporary 0 0 0
16 NOOP 0 0 0
17 Cursor_Next 0 11 0
18 NOOP 0 0 0
19 Cursor_First 1 27 0
20 Push_Column 1 0 0
21 Bucket_Record 0 1 25
22 Push_Column 1 0 0
23 Temporary_Record 0 0 0
24 Pop_Temporary 0 0 0
25 NOOP 0 0 0
26 Cursor_Next 1 20 0
27 NOOP 0 0 0
28 Temporary_First 0 33 0
29 Push_Temporary 0 0 0
30 Pop_Result 0 0 0
31 Output 0 0 0
32 Temporary_Next 0 29 0
33 NOOP 0 0 0
34 Push_Integer 1 0 0
35 Pop_Result 1 0 0
)");
}

// The sort cell is read back from the row just stored, in every branch: ORDER BY belongs to the
// first block and names a result column.
TEST_F(SelectProgram, OrdersAUnionByItsResultColumn) {
    EXPECT_EQ(Compile("select x from a union all select y from b order by x"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Open 1 0 0 'b'
3 Cursor_Column 1 0 0 'y'
4 Result 0 1 0 'x'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Temporary_Table 0 2 0
9 Cursor_First 0 16 0
10 Push_Column 0 0 0
11 Temporary_Record 0 0 0
12 Pop_Temporary 0 0 0
13 Push_Temporary 0 0 0
14 Pop_Temporary 0 1 0
15 Cursor_Next 0 10 0
16 NOOP 0 0 0
17 Cursor_First 1 24 0
18 Push_Column 1 0 0
19 Temporary_Record 0 0 0
20 Pop_Temporary 0 0 0
21 Push_Temporary 0 0 0
22 Pop_Temporary 0 1 0
23 Cursor_Next 1 18 0
24 NOOP 0 0 0
25 Temporary_Sort 0 0 0 list
26 Temporary_First 0 31 0
27 Push_Temporary 0 0 0
28 Pop_Result 0 0 0
29 Output 0 0 0
30 Temporary_Next 0 27 0
31 NOOP 0 0 0
32 Push_Integer 1 0 0
33 Pop_Result 1 0 0
)");
}

// DISTINCT in the loops, the store behind it, and the sort by a column that is not selected.
TEST_F(SelectProgram, AppliesDistinctBeforeTheRowIsStored) {
    EXPECT_EQ(Compile("select distinct x from a order by k desc"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Result 0 1 0 'x'
4 Result 1 0 0 'eof'
5 Push_Integer 0 0 0
6 Pop_Result 1 0 0
7 Temporary_Table 0 2 0
8 Bucket 0 1 0
9 Cursor_First 0 19 0
10 Push_Column 0 0 0
11 Bucket_Record 0 1 17
12 Push_Column 0 0 0
13 Temporary_Record 0 0 0
14 Pop_Temporary 0 0 0
15 Push_Column 0 1 0
16 Pop_Temporary 0 1 0
17 NOOP 0 0 0
18 Cursor_Next 0 10 0
19 NOOP 0 0 0
20 Temporary_Sort 0 0 0 list
21 Temporary_First 0 26 0
22 Push_Temporary 0 0 0
23 Pop_Result 0 0 0
24 Output 0 0 0
25 Temporary_Next 0 22 0
26 NOOP 0 0 0
27 Push_Integer 1 0 0
28 Pop_Result 1 0 0
)");
}

// Through a temporary table recno leaves its cell NULL-less but unused: the number is pushed when
// the row is handed out.
TEST_F(SelectProgram, ComputesTheRowNumberAsTheRowGoesOut) {
    EXPECT_EQ(Compile("select recno, x from a order by k"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Result 0 1 0 'recno'
4 Result 1 1 0 'x'
5 Result 2 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 2 0 0
8 Temporary_Table 0 3 0
9 Cursor_First 0 18 0
10 Push_RecordNumber 0 0 0
11 Push_Column 0 0 0
12 Temporary_Record 0 0 0
13 Pop_Temporary 0 1 0
14 Pop_Temporary 0 0 0
15 Push_Column 0 1 0
16 Pop_Temporary 0 2 0
17 Cursor_Next 0 10 0
18 NOOP 0 0 0
19 Temporary_Sort 0 0 0 list
20 Temporary_First 0 27 0
21 Push_RecordNumber 0 0 0
22 Push_Temporary 0 1 0
23 Pop_Result 1 0 0
24 Pop_Result 0 0 0
25 Output 0 0 0
26 Temporary_Next 0 21 0
27 NOOP 0 0 0
28 Push_Integer 1 0 0
29 Pop_Result 2 0 0
)");
}

// The inner block fills the table, one cell a column from the last to the first; a star shows the
// columns in that order, so reversed. What is left of WHERE goes on with the next row of the
// temporary table.
TEST_F(SelectProgram, ReadsADerivedTableFromItsTemporaryTable) {
    EXPECT_EQ(Compile("select * from (select x, k from a) d where k = 1"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Result 0 1 0 'k'
4 Result 1 1 0 'x'
5 Result 2 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 2 0 0
8 Temporary_Table 0 2 0
9 Cursor_First 0 16 0
10 Push_Column 0 0 0
11 Push_Column 0 1 0
12 Temporary_Record 0 0 0
13 Pop_Temporary 0 1 0
14 Pop_Temporary 0 0 0
15 Cursor_Next 0 10 0
16 NOOP 0 0 0
17 Temporary_First 0 28 0
18 Push_Temporary 0 1 0
19 Push_Literal 0 0 0 '1'
20 Equal 0 0 0
21 Jump_EQ 0 27 0
22 Push_Temporary 0 1 0
23 Push_Temporary 0 0 0
24 Pop_Result 1 0 0
25 Pop_Result 0 0 0
26 Output 0 0 0
27 Temporary_Next 0 18 0
28 NOOP 0 0 0
29 Push_Integer 1 0 0
30 Pop_Result 2 0 0
)");
}

// A condition without columns could be tested at the first table, but a derived one has no place
// for it: it stays in WHERE.
TEST_F(SelectProgram, KeepsAConstantConditionOffADerivedTable) {
    EXPECT_EQ(Compile("select x from (select x from a) d where 1 = 0"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Result 0 1 0 'x'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Temporary_Table 0 1 0
7 Cursor_First 0 12 0
8 Push_Column 0 0 0
9 Temporary_Record 0 0 0
10 Pop_Temporary 0 0 0
11 Cursor_Next 0 8 0
12 NOOP 0 0 0
13 Temporary_First 0 22 0
14 Push_Literal 0 0 0 '1'
15 Push_Literal 0 0 0 '0'
16 Equal 0 0 0
17 Jump_EQ 0 21 0
18 Push_Temporary 0 0 0
19 Pop_Result 0 0 0
20 Output 0 0 0
21 Temporary_Next 0 14 0
22 NOOP 0 0 0
23 Push_Integer 1 0 0
24 Pop_Result 1 0 0
)");
}

// The table is made anew inside the outer loop. Two loops end with two landing places.
TEST_F(SelectProgram, RunsADerivedTableOnceForEachOuterRow) {
    EXPECT_EQ(Compile("select a.x, d.y from a, (select y from b) d where d.y = a.x"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Open 1 0 0 'b'
3 Cursor_Column 1 0 0 'y'
4 Result 0 1 0 'x'
5 Result 1 1 0 'y'
6 Result 2 0 0 'eof'
7 Push_Integer 0 0 0
8 Pop_Result 2 0 0
9 Cursor_First 0 30 0
10 Temporary_Table 0 1 0
11 Cursor_First 1 16 0
12 Push_Column 1 0 0
13 Temporary_Record 0 0 0
14 Pop_Temporary 0 0 0
15 Cursor_Next 1 12 0
16 NOOP 0 0 0
17 Temporary_First 0 28 0
18 Push_Temporary 0 0 0
19 Push_Column 0 0 0
20 Equal 0 0 0
21 Jump_EQ 0 27 0
22 Push_Column 0 0 0
23 Push_Temporary 0 0 0
24 Pop_Result 1 0 0
25 Pop_Result 0 0 0
26 Output 0 0 0
27 Temporary_Next 0 18 0
28 NOOP 0 0 0
29 Cursor_Next 0 10 0
30 NOOP 0 0 0
31 Push_Integer 1 0 0
32 Pop_Result 2 0 0
)");
}

// The derived table of a later branch goes to the first block, so the branch has no loop: one row,
// and its WHERE jumps behind it.
TEST_F(SelectProgram, PassesABranchWithoutATableOfItsOwn) {
    EXPECT_EQ(Compile("select x from a union all select 'c' from (select y from b) d where 1 = 0"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Open 1 0 0 'b'
3 Cursor_Column 1 0 0 'y'
4 Result 0 1 0 'x'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Temporary_Table 1 1 0
9 Cursor_First 0 24 0
10 Temporary_Table 0 1 0
11 Cursor_First 1 16 0
12 Push_Column 1 0 0
13 Temporary_Record 0 0 0
14 Pop_Temporary 0 0 0
15 Cursor_Next 1 12 0
16 NOOP 0 0 0
17 Temporary_First 0 22 0
18 Push_Column 0 0 0
19 Temporary_Record 1 0 0
20 Pop_Temporary 1 0 0
21 Temporary_Next 0 18 0
22 NOOP 0 0 0
23 Cursor_Next 0 10 0
24 NOOP 0 0 0
25 Push_Literal 0 0 0 '1'
26 Push_Literal 0 0 0 '0'
27 Equal 0 0 0
28 Jump_EQ 0 32 0
29 Push_Literal 0 0 0 'c'
30 Temporary_Record 1 0 0
31 Pop_Temporary 1 0 0
32 NOOP 0 0 0
33 Temporary_First 1 38 0
34 Push_Temporary 1 0 0
35 Pop_Result 0 0 0
36 Output 0 0 0
37 Temporary_Next 1 34 0
38 NOOP 0 0 0
39 Push_Integer 1 0 0
40 Pop_Result 1 0 0
)");
}

}  // namespace
}  // namespace ovrasql
