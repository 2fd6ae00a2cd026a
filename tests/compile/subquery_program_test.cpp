#include "tests/compile/compile_database.h"

// Whole programs with sub-queries, which stand inline in the loop around them.

namespace ovrasql {
namespace {

class SubqueryProgram : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table a (x char(5), k numeric(5), id numeric(5), ok bool)");
        Define("create table b (y char(5), id numeric(5))");
        Define("create index bid on b (id)");
    }
};

// A flag lies above the value: 0 at the start, 1 after a row. A row that finds 1 fails the run; no
// row leaves NULL. The name a.id reaches the outer cursor, so the key is rebuilt for each outer
// row.
TEST_F(SubqueryProgram, KeepsOneValueOfASubquery) {
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
TEST_F(SubqueryProgram, ReadsExistsAsTheValueOfTheOnlyRow) {
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
TEST_F(SubqueryProgram, LeavesTheLoopsOfAnInSubqueryOnAMatch) {
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
TEST_F(SubqueryProgram, RunsAUnionInAnInSubqueryToItsEnd) {
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
TEST_F(SubqueryProgram, GeneratesASubqueryTwiceUnderDistinct) {
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
TEST_F(SubqueryProgram, RunsTheSubqueryOnTheRightOfAnd) {
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
