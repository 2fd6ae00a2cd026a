#include "tests/compile/compile_database.h"

// Whole programs of nested loops: inner and outer joins.

namespace ovrasql {
namespace {

class JoinProgram : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table a (x char(5), k numeric(5), id numeric(5), ok bool)");
        Define("create table b (y char(5), id numeric(5))");
        Define("create index bid on b (id)");
    }
};

// The condition on the first table is tested in its loop; the key of the second is rebuilt for
// each row of the first. The ORDER BY column belongs to the second table, so the rows are sorted.
TEST_F(JoinProgram, NestsLoopsInTheOrderOfFromAndSortsBehindThem) {
    EXPECT_EQ(Compile("select a.x, b.y from a, b where a.k = 1 and a.id = b.id order by b.y"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Cursor_Column 0 2 0 'id'
4 Cursor_Open 1 0 0 'b'
5 Cursor_Column 1 0 0 'y'
6 Cursor_Column 1 1 0 'id'
7 Result 0 1 0 'x'
8 Result 1 1 0 'y'
9 Result 2 0 0 'eof'
10 Push_Integer 0 0 0
11 Pop_Result 2 0 0
12 Temporary_Table 0 3 0
13 Cursor_First 0 35 0
14 Push_Column 0 1 0
15 Push_Literal 0 0 0 '1'
16 Equal 0 0 0
17 Jump_NE 1 34 0
18 Push_Column 0 2 0
19 Cursor_Index 1 1 0 'bid'
20 Cursor_First 1 33 0
21 Push_Column 0 2 0
22 Push_Column 1 1 0
23 Equal 0 0 0
24 Jump_NE 1 32 0
25 Push_Column 0 0 0
26 Push_Column 1 0 0
27 Temporary_Record 0 0 0
28 Pop_Temporary 0 1 0
29 Pop_Temporary 0 0 0
30 Push_Column 1 0 0
31 Pop_Temporary 0 2 0
32 Cursor_Next 1 21 0
33 NOOP 0 0 0
34 Cursor_Next 0 14 0
35 NOOP 0 0 0
36 Temporary_Sort 0 0 0 list
37 Temporary_First 0 44 0
38 Push_Temporary 0 0 0
39 Push_Temporary 0 1 0
40 Pop_Result 1 0 0
41 Pop_Result 0 0 0
42 Output 0 0 0
43 Temporary_Next 0 38 0
44 NOOP 0 0 0
45 Push_Integer 1 0 0
46 Pop_Result 2 0 0
)");
}

// Three ways lead to the join point: no row at all, a first match, and a search that ran out. The
// second phase starts at the condition written a second time, and its misses go to Next.
TEST_F(JoinProgram, PassesOnceWithNullsWhenNothingMatches) {
    EXPECT_EQ(Compile("select a.x, b.y from a left outer join b on a.id = b.id"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'id'
3 Cursor_Open 1 0 0 'b'
4 Cursor_Column 1 0 0 'y'
5 Cursor_Column 1 1 0 'id'
6 Result 0 1 0 'x'
7 Result 1 1 0 'y'
8 Result 2 0 0 'eof'
9 Push_Integer 0 0 0
10 Pop_Result 2 0 0
11 Cursor_First 0 33 0
12 Push_Column 0 1 0
13 Cursor_Index 1 1 0 'bid'
14 Cursor_First 1 25 0
15 Push_Column 0 1 0
16 Push_Column 1 1 0
17 Equal 0 0 0
18 Jump_EQ 1 25 0
19 Cursor_Next 1 15 0
20 Jump 25 0 0
21 Push_Column 0 1 0
22 Push_Column 1 1 0
23 Equal 0 0 0
24 Jump_NE 1 31 0
25 NOOP 0 0 0
26 Push_Column 0 0 0
27 Push_Column 1 0 0
28 Pop_Result 1 0 0
29 Pop_Result 0 0 0
30 Output 0 0 0
31 Cursor_Next 1 21 0
32 Cursor_Next 0 12 0
33 NOOP 0 0 0
34 Push_Integer 1 0 0
35 Pop_Result 2 0 0
)");
}

// The failing stop test goes to the join point with the row in hand, not to the end. The second
// phase has no stop test.
TEST_F(JoinProgram, ShowsTheRowBeyondTheStopBoundOfAnOuterJoin) {
    EXPECT_EQ(Compile("select a.x from a left outer join b on b.id < 5"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Open 1 0 0 'b'
3 Cursor_Column 1 0 0 'id'
4 Result 0 1 0 'x'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Cursor_First 0 31 0
9 Cursor_Index 1 0 0 'bid'
10 Cursor_First 1 25 0
11 Push_Column 1 0 0
12 Push_Literal 0 0 0 '5'
13 Cursor_LessThan 1 0 0
14 Jump_EQ 0 25 0
15 Push_Column 1 0 0
16 Push_Literal 0 0 0 '5'
17 LessThan 0 0 0
18 Jump_EQ 1 25 0
19 Cursor_Next 1 11 0
20 Jump 25 0 0
21 Push_Column 1 0 0
22 Push_Literal 0 0 0 '5'
23 LessThan 0 0 0
24 Jump_NE 1 29 0
25 NOOP 0 0 0
26 Push_Column 0 0 0
27 Pop_Result 0 0 0
28 Output 0 0 0
29 Cursor_Next 1 21 0
30 Cursor_Next 0 9 0
31 NOOP 0 0 0
32 Push_Integer 1 0 0
33 Pop_Result 1 0 0
)");
}

// The equality moved to the table, the OR stayed in ON: both are tested and joined by And, in both
// phases. WHERE is never moved onto an outer-joined table; its failing goes to the Next of the
// innermost loop.
TEST_F(JoinProgram, TestsTheMovedAndTheLeftPartOfOnAsOne) {
    EXPECT_EQ(Compile("select a.x from a left outer join b on a.id = b.id and (b.y = 'p' or b.y = "
                      "'q') where b.y = 'p'"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'id'
3 Cursor_Open 1 0 0 'b'
4 Cursor_Column 1 0 0 'id'
5 Cursor_Column 1 1 0 'y'
6 Result 0 1 0 'x'
7 Result 1 0 0 'eof'
8 Push_Integer 0 0 0
9 Pop_Result 1 0 0
10 Cursor_First 0 58 0
11 Push_Column 0 1 0
12 Cursor_Index 1 1 0 'bid'
13 Cursor_First 1 48 0
14 Push_Column 0 1 0
15 Push_Column 1 0 0
16 Equal 0 0 0
17 Push_Column 1 1 0
18 Push_Literal 0 0 0 'p'
19 Equal 0 0 0
20 Jump_EQ 0 23 0
21 Push_Integer 1 0 0
22 Jump 27 0 0
23 NOOP 0 0 0
24 Push_Column 1 1 0
25 Push_Literal 0 0 0 'q'
26 Equal 0 0 0
27 NOOP 0 0 0
28 And 0 0 0
29 Jump_EQ 1 48 0
30 Cursor_Next 1 14 0
31 Jump 48 0 0
32 Push_Column 0 1 0
33 Push_Column 1 0 0
34 Equal 0 0 0
35 Push_Column 1 1 0
36 Push_Literal 0 0 0 'p'
37 Equal 0 0 0
38 Jump_EQ 0 41 0
39 Push_Integer 1 0 0
40 Jump 45 0 0
41 NOOP 0 0 0
42 Push_Column 1 1 0
43 Push_Literal 0 0 0 'q'
44 Equal 0 0 0
45 NOOP 0 0 0
46 And 0 0 0
47 Jump_NE 1 56 0
48 NOOP 0 0 0
49 Push_Column 1 1 0
50 Push_Literal 0 0 0 'p'
51 Equal 0 0 0
52 Jump_EQ 0 56 0
53 Push_Column 0 0 0
54 Pop_Result 0 0 0
55 Output 0 0 0
56 Cursor_Next 1 32 0
57 Cursor_Next 0 11 0
58 NOOP 0 0 0
59 Push_Integer 1 0 0
60 Pop_Result 1 0 0
)");
}

// The whole of ON moved, so there is no And.
TEST_F(JoinProgram, LeavesNothingInOnForAnOuterJoinWithoutColumns) {
    EXPECT_EQ(Compile("select a.x from a left outer join b on 1 = 1"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Open 1 0 0 'b'
3 Result 0 1 0 'x'
4 Result 1 0 0 'eof'
5 Push_Integer 0 0 0
6 Pop_Result 1 0 0
7 Cursor_First 0 25 0
8 Cursor_First 1 19 0
9 Push_Literal 0 0 0 '1'
10 Push_Literal 0 0 0 '1'
11 Equal 0 0 0
12 Jump_EQ 1 19 0
13 Cursor_Next 1 9 0
14 Jump 19 0 0
15 Push_Literal 0 0 0 '1'
16 Push_Literal 0 0 0 '1'
17 Equal 0 0 0
18 Jump_NE 1 23 0
19 NOOP 0 0 0
20 Push_Column 0 0 0
21 Pop_Result 0 0 0
22 Output 0 0 0
23 Cursor_Next 1 15 0
24 Cursor_Next 0 8 0
25 NOOP 0 0 0
26 Push_Integer 1 0 0
27 Pop_Result 1 0 0
)");
}

}  // namespace
}  // namespace ovrasql
