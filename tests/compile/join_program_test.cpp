#include "tests/compile/compile_database.h"

// Whole programs of nested loops: inner and outer joins and sub-queries, which stand inline in the
// loop around them.

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
    EXPECT_EQ(Compile("select a.x from a left outer join b on a.id = b.id and (b.y = 'p' or b.y = 'q') where b.y = 'p'"),
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

// A flag lies above the value: 0 at the start, 1 after a row. A row that finds 1 fails the run; no
// row leaves NULL. The name a.id reaches the outer cursor, so the key is rebuilt for each outer
// row.
TEST_F(JoinProgram, KeepsOneValueOfASubquery) {
    EXPECT_EQ(Compile("select x, (select y from b where id = a.id) from a"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'id'
3 Cursor_Open 1 0 0 'b'
4 Cursor_Column 1 0 0 'y'
5 Cursor_Column 1 1 0 'id'
6 Result 0 1 0 'x'
7 Result 1 1 0 '(select y from b where id = a.id)'
8 Result 2 0 0 'eof'
9 Push_Integer 0 0 0
10 Pop_Result 2 0 0
11 Cursor_First 0 36 0
12 Push_Column 0 0 0
13 Push_Integer 0 0 0
14 Push_Column 0 1 0
15 Cursor_Index 1 1 0 'bid'
16 Cursor_First 1 28 0
17 Push_Column 1 1 0
18 Push_Column 0 1 0
19 Equal 0 0 0
20 Jump_NE 1 27 0
21 Jump_NE 1 23 0
22 Error 0 0 0
23 NOOP 0 0 0
24 Push_Column 1 0 0
25 Copy 0 0 0
26 Push_Integer 1 0 0
27 Cursor_Next 1 17 0
28 NOOP 0 0 0
29 Jump_NE 0 31 0
30 Push_Null 0 0 0
31 NOOP 0 0 0
32 Pop_Result 1 0 0
33 Pop_Result 0 0 0
34 Output 0 0 0
35 Cursor_Next 0 12 0
36 NOOP 0 0 0
37 Push_Integer 1 0 0
38 Pop_Result 2 0 0
)");
}

// No count and no early way out: the very code of a single value, whose truth WHERE tests.
TEST_F(JoinProgram, ReadsExistsAsTheValueOfTheOnlyRow) {
    EXPECT_EQ(Compile("select x from a where exists (select y from b)"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Open 1 0 0 'b'
3 Cursor_Column 1 0 0 'y'
4 Result 0 1 0 'x'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Cursor_First 0 27 0
9 Push_Integer 0 0 0
10 Cursor_First 1 18 0
11 Jump_NE 1 13 0
12 Error 0 0 0
13 NOOP 0 0 0
14 Push_Column 1 0 0
15 Copy 0 0 0
16 Push_Integer 1 0 0
17 Cursor_Next 1 11 0
18 NOOP 0 0 0
19 Jump_NE 0 21 0
20 Push_Null 0 0 0
21 NOOP 0 0 0
22 Jump_EQ 0 26 0
23 Push_Column 0 0 0
24 Pop_Result 0 0 0
25 Output 0 0 0
26 Cursor_Next 0 9 0
27 NOOP 0 0 0
28 Push_Integer 1 0 0
29 Pop_Result 1 0 0
)");
}

// The tested value is kept below each comparison; a match jumps out of the open loops, and both
// ways out drop the value for the answer.
TEST_F(JoinProgram, LeavesTheLoopsOfAnInSubqueryOnAMatch) {
    EXPECT_EQ(Compile("select x from a where k in (select id from b)"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Cursor_Open 1 0 0 'b'
4 Cursor_Column 1 0 0 'id'
5 Result 0 1 0 'x'
6 Result 1 0 0 'eof'
7 Push_Integer 0 0 0
8 Pop_Result 1 0 0
9 Cursor_First 0 28 0
10 Push_Column 0 1 0
11 Cursor_First 1 16 0
12 Push_Column 1 0 0
13 Equal 1 0 0
14 Jump_EQ 1 20 0
15 Cursor_Next 1 12 0
16 NOOP 0 0 0
17 Pop 0 0 0
18 Push_Integer 0 0 0
19 Jump 22 0 0
20 Pop 0 0 0
21 Push_Integer 1 0 0
22 NOOP 0 0 0
23 Jump_NE 1 27 0
24 Push_Column 0 0 0
25 Pop_Result 0 0 0
26 Output 0 0 0
27 Cursor_Next 0 10 0
28 NOOP 0 0 0
29 Push_Integer 1 0 0
30 Pop_Result 1 0 0
)");
}

// The temporary table is filled whole, and the match leaves its walk.
TEST_F(JoinProgram, RunsAUnionInAnInSubqueryToItsEnd) {
    EXPECT_EQ(Compile("select x from a where k in (select id from b union all select k from a)"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Cursor_Open 1 0 0 'b'
4 Cursor_Column 1 0 0 'id'
5 Cursor_Open 2 0 0 'a'
6 Cursor_Column 2 0 0 'k'
7 Result 0 1 0 'x'
8 Result 1 0 0 'eof'
9 Push_Integer 0 0 0
10 Pop_Result 1 0 0
11 Cursor_First 0 43 0
12 Push_Column 0 1 0
13 Temporary_Table 0 1 0
14 Cursor_First 1 19 0
15 Push_Column 1 0 0
16 Temporary_Record 0 0 0
17 Pop_Temporary 0 0 0
18 Cursor_Next 1 15 0
19 NOOP 0 0 0
20 Cursor_First 2 25 0
21 Push_Column 2 0 0
22 Temporary_Record 0 0 0
23 Pop_Temporary 0 0 0
24 Cursor_Next 2 21 0
25 NOOP 0 0 0
26 Temporary_First 0 31 0
27 Push_Temporary 0 0 0
28 Equal 1 0 0
29 Jump_EQ 1 35 0
30 Temporary_Next 0 27 0
31 NOOP 0 0 0
32 Pop 0 0 0
33 Push_Integer 0 0 0
34 Jump 37 0 0
35 Pop 0 0 0
36 Push_Integer 1 0 0
37 NOOP 0 0 0
38 Jump_NE 1 42 0
39 Push_Column 0 0 0
40 Pop_Result 0 0 0
41 Output 0 0 0
42 Cursor_Next 0 12 0
43 NOOP 0 0 0
44 Push_Integer 1 0 0
45 Pop_Result 1 0 0
)");
}

// Once for the key and once for the output; the table inside it is derived, and its condition has
// moved to the table once only.
TEST_F(JoinProgram, GeneratesASubqueryTwiceUnderDistinct) {
    EXPECT_EQ(Compile("select distinct (select k from (select k from a where k = 1) d) from b"),
              R"(0 Cursor_Open 0 0 0 'b'
1 Cursor_Open 1 0 0 'a'
2 Cursor_Column 1 0 0 'k'
3 Result 0 1 0 '(select k from (select k from a where k = 1) d)'
4 Result 1 0 0 'eof'
5 Push_Integer 0 0 0
6 Pop_Result 1 0 0
7 Bucket 0 1 0
8 Cursor_First 0 62 0
9 Push_Integer 0 0 0
10 Temporary_Table 0 1 0
11 Cursor_First 1 20 0
12 Push_Column 1 0 0
13 Push_Literal 0 0 0 '1'
14 Equal 0 0 0
15 Jump_NE 1 19 0
16 Push_Column 1 0 0
17 Temporary_Record 0 0 0
18 Pop_Temporary 0 0 0
19 Cursor_Next 1 12 0
20 NOOP 0 0 0
21 Temporary_First 0 29 0
22 Jump_NE 1 24 0
23 Error 0 0 0
24 NOOP 0 0 0
25 Push_Temporary 0 0 0
26 Copy 0 0 0
27 Push_Integer 1 0 0
28 Temporary_Next 0 22 0
29 NOOP 0 0 0
30 Jump_NE 0 32 0
31 Push_Null 0 0 0
32 NOOP 0 0 0
33 Bucket_Record 0 1 60
34 Push_Integer 0 0 0
35 Temporary_Table 0 1 0
36 Cursor_First 1 45 0
37 Push_Column 1 0 0
38 Push_Literal 0 0 0 '1'
39 Equal 0 0 0
40 Jump_NE 1 44 0
41 Push_Column 1 0 0
42 Temporary_Record 0 0 0
43 Pop_Temporary 0 0 0
44 Cursor_Next 1 37 0
45 NOOP 0 0 0
46 Temporary_First 0 54 0
47 Jump_NE 1 49 0
48 Error 0 0 0
49 NOOP 0 0 0
50 Push_Temporary 0 0 0
51 Copy 0 0 0
52 Push_Integer 1 0 0
53 Temporary_Next 0 47 0
54 NOOP 0 0 0
55 Jump_NE 0 57 0
56 Push_Null 0 0 0
57 NOOP 0 0 0
58 Pop_Result 0 0 0
59 Output 0 0 0
60 NOOP 0 0 0
61 Cursor_Next 0 9 0
62 NOOP 0 0 0
63 Push_Integer 1 0 0
64 Pop_Result 1 0 0
)");
}

// And has no jump: both sides are evaluated on every row. The left side cannot be tested apart, as
// it stays behind with the OR.
TEST_F(JoinProgram, RunsTheSubqueryOnTheRightOfAnd) {
    EXPECT_EQ(Compile("select x from a where (k = 1 or k = 2) and exists (select y from b)"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Cursor_Open 1 0 0 'b'
4 Cursor_Column 1 0 0 'y'
5 Result 0 1 0 'x'
6 Result 1 0 0 'eof'
7 Push_Integer 0 0 0
8 Pop_Result 1 0 0
9 Cursor_First 0 40 0
10 Push_Column 0 1 0
11 Push_Literal 0 0 0 '1'
12 Equal 0 0 0
13 Jump_EQ 0 16 0
14 Push_Integer 1 0 0
15 Jump 20 0 0
16 NOOP 0 0 0
17 Push_Column 0 1 0
18 Push_Literal 0 0 0 '2'
19 Equal 0 0 0
20 NOOP 0 0 0
21 Push_Integer 0 0 0
22 Cursor_First 1 30 0
23 Jump_NE 1 25 0
24 Error 0 0 0
25 NOOP 0 0 0
26 Push_Column 1 0 0
27 Copy 0 0 0
28 Push_Integer 1 0 0
29 Cursor_Next 1 23 0
30 NOOP 0 0 0
31 Jump_NE 0 33 0
32 Push_Null 0 0 0
33 NOOP 0 0 0
34 And 0 0 0
35 Jump_EQ 0 39 0
36 Push_Column 0 0 0
37 Pop_Result 0 0 0
38 Output 0 0 0
39 Cursor_Next 0 10 0
40 NOOP 0 0 0
41 Push_Integer 1 0 0
42 Pop_Result 1 0 0
)");
}

}  // namespace
}  // namespace ovrasql
