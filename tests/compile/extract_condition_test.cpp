#include "tests/compile/compile_database.h"

// Which parts of a condition move to which table. What moved must equal 1 (Jump_NE 1) and is
// tested as soon as its table is open; what stayed must differ from 0 (Jump_EQ 0) and is tested
// inside the innermost loop.

namespace ovrasql {
namespace {

class ExtractCondition : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table t (a numeric(5), b numeric(5), c numeric(5), s char(9))");
        Define("create table u (x numeric(5), y numeric(5))");
    }
};

// a = 1 and b = 3 need the first table alone and are joined under an AND of their own; the other
// two need both. Nothing is left of WHERE.
TEST_F(ExtractCondition, GivesEachTableItsPartsOfTheChain) {
    EXPECT_EQ(Compile("select a from t, u where a = 1 and (x = 2 and b = 3) and y = 4"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Column 0 1 0 'b'
3 Cursor_Open 1 0 0 'u'
4 Cursor_Column 1 0 0 'x'
5 Cursor_Column 1 1 0 'y'
6 Result 0 1 0 'a'
7 Result 1 0 0 'eof'
8 Push_Integer 0 0 0
9 Pop_Result 1 0 0
10 Cursor_First 0 34 0
11 Push_Column 0 0 0
12 Push_Literal 0 0 0 '1'
13 Equal 0 0 0
14 Push_Column 0 1 0
15 Push_Literal 0 0 0 '3'
16 Equal 0 0 0
17 And 0 0 0
18 Jump_NE 1 33 0
19 Cursor_First 1 32 0
20 Push_Column 1 0 0
21 Push_Literal 0 0 0 '2'
22 Equal 0 0 0
23 Push_Column 1 1 0
24 Push_Literal 0 0 0 '4'
25 Equal 0 0 0
26 And 0 0 0
27 Jump_NE 1 31 0
28 Push_Column 0 0 0
29 Pop_Result 0 0 0
30 Output 0 0 0
31 Cursor_Next 1 20 0
32 NOOP 0 0 0
33 Cursor_Next 0 11 0
34 NOOP 0 0 0
35 Push_Integer 1 0 0
36 Pop_Result 1 0 0
)");
}

// The ORs stay, joined by the AND that held them.
TEST_F(ExtractCondition, TakesPartsOutOfBothSidesOfAnAnd) {
    EXPECT_EQ(Compile("select a from t, u where (a = 1 and (x = 2 or a = 3)) and (b = 3 and (c = 4 "
                      "or y = 4))"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Column 0 1 0 'b'
3 Cursor_Column 0 2 0 'c'
4 Cursor_Open 1 0 0 'u'
5 Cursor_Column 1 0 0 'x'
6 Cursor_Column 1 1 0 'y'
7 Result 0 1 0 'a'
8 Result 1 0 0 'eof'
9 Push_Integer 0 0 0
10 Pop_Result 1 0 0
11 Cursor_First 0 51 0
12 Push_Column 0 0 0
13 Push_Literal 0 0 0 '1'
14 Equal 0 0 0
15 Push_Column 0 1 0
16 Push_Literal 0 0 0 '3'
17 Equal 0 0 0
18 And 0 0 0
19 Jump_NE 1 50 0
20 Cursor_First 1 49 0
21 Push_Column 1 0 0
22 Push_Literal 0 0 0 '2'
23 Equal 0 0 0
24 Jump_EQ 0 27 0
25 Push_Integer 1 0 0
26 Jump 31 0 0
27 NOOP 0 0 0
28 Push_Column 0 0 0
29 Push_Literal 0 0 0 '3'
30 Equal 0 0 0
31 NOOP 0 0 0
32 Push_Column 0 2 0
33 Push_Literal 0 0 0 '4'
34 Equal 0 0 0
35 Jump_EQ 0 38 0
36 Push_Integer 1 0 0
37 Jump 42 0 0
38 NOOP 0 0 0
39 Push_Column 1 1 0
40 Push_Literal 0 0 0 '4'
41 Equal 0 0 0
42 NOOP 0 0 0
43 And 0 0 0
44 Jump_EQ 0 48 0
45 Push_Column 0 0 0
46 Pop_Result 0 0 0
47 Output 0 0 0
48 Cursor_Next 1 21 0
49 NOOP 0 0 0
50 Cursor_Next 0 12 0
51 NOOP 0 0 0
52 Push_Integer 1 0 0
53 Pop_Result 1 0 0
)");
}

// b = 3 and c = 4 move together; of the two ANDs only the OR is left, in groups.
TEST_F(ExtractCondition, LeavesTheRestOfANestedAnd) {
    EXPECT_EQ(Compile("select a from t where ((a = 1 or a = 2) and b = 3) and c = 4"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Column 0 1 0 'b'
3 Cursor_Column 0 2 0 'c'
4 Result 0 1 0 'a'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Cursor_First 0 33 0
9 Push_Column 0 1 0
10 Push_Literal 0 0 0 '3'
11 Equal 0 0 0
12 Push_Column 0 2 0
13 Push_Literal 0 0 0 '4'
14 Equal 0 0 0
15 And 0 0 0
16 Jump_NE 1 32 0
17 Push_Column 0 0 0
18 Push_Literal 0 0 0 '1'
19 Equal 0 0 0
20 Jump_EQ 0 23 0
21 Push_Integer 1 0 0
22 Jump 27 0 0
23 NOOP 0 0 0
24 Push_Column 0 0 0
25 Push_Literal 0 0 0 '2'
26 Equal 0 0 0
27 NOOP 0 0 0
28 Jump_EQ 0 32 0
29 Push_Column 0 0 0
30 Pop_Result 0 0 0
31 Output 0 0 0
32 Cursor_Next 0 9 0
33 NOOP 0 0 0
34 Push_Integer 1 0 0
35 Pop_Result 1 0 0
)");
}

// Under a NOT a side counts only as a whole: the OR inside keeps the whole of it back, and nothing
// may be lost.
TEST_F(ExtractCondition, TakesNothingOutForAPartThatStays) {
    EXPECT_EQ(Compile("select a from t where not (((a = 1 or b = 2) and c = 3) and c = 4)"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Column 0 1 0 'b'
3 Cursor_Column 0 2 0 'c'
4 Result 0 1 0 'a'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Cursor_First 0 34 0
9 Push_Column 0 0 0
10 Push_Literal 0 0 0 '1'
11 Equal 0 0 0
12 Jump_EQ 0 15 0
13 Push_Integer 1 0 0
14 Jump 19 0 0
15 NOOP 0 0 0
16 Push_Column 0 1 0
17 Push_Literal 0 0 0 '2'
18 Equal 0 0 0
19 NOOP 0 0 0
20 Push_Column 0 2 0
21 Push_Literal 0 0 0 '3'
22 Equal 0 0 0
23 And 0 0 0
24 Push_Column 0 2 0
25 Push_Literal 0 0 0 '4'
26 Equal 0 0 0
27 And 0 0 0
28 Not 0 0 0
29 Jump_EQ 0 33 0
30 Push_Column 0 0 0
31 Pop_Result 0 0 0
32 Output 0 0 0
33 Cursor_Next 0 9 0
34 NOOP 0 0 0
35 Push_Integer 1 0 0
36 Pop_Result 1 0 0
)");
}

// Not to the first table, for which only one side of it could be tested.
TEST_F(ExtractCondition, MovesANotAsAWhole) {
    EXPECT_EQ(Compile("select a from t, u where not (a = 1 and x = 2)"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Open 1 0 0 'u'
3 Cursor_Column 1 0 0 'x'
4 Result 0 1 0 'a'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Cursor_First 0 25 0
9 Cursor_First 1 23 0
10 Push_Column 0 0 0
11 Push_Literal 0 0 0 '1'
12 Equal 0 0 0
13 Push_Column 1 0 0
14 Push_Literal 0 0 0 '2'
15 Equal 0 0 0
16 And 0 0 0
17 Not 0 0 0
18 Jump_NE 1 22 0
19 Push_Column 0 0 0
20 Pop_Result 0 0 0
21 Output 0 0 0
22 Cursor_Next 1 10 0
23 NOOP 0 0 0
24 Cursor_Next 0 9 0
25 NOOP 0 0 0
26 Push_Integer 1 0 0
27 Pop_Result 1 0 0
)");
}

// It stands over an empty node, which is never found.
TEST_F(ExtractCondition, KeepsSubstringInWhere) {
    EXPECT_EQ(Compile("select a from t where substring(s from 1) = 'x'"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Column 0 1 0 's'
3 Result 0 1 0 'a'
4 Result 1 0 0 'eof'
5 Push_Integer 0 0 0
6 Pop_Result 1 0 0
7 Cursor_First 0 18 0
8 Push_Column 0 1 0
9 Push_Literal 0 0 0 '1'
10 Substring 0 0 0
11 Push_Literal 0 0 0 'x'
12 Equal 0 0 0
13 Jump_EQ 0 17 0
14 Push_Column 0 0 0
15 Pop_Result 0 0 0
16 Output 0 0 0
17 Cursor_Next 0 8 0
18 NOOP 0 0 0
19 Push_Integer 1 0 0
20 Pop_Result 1 0 0
)");
}

// The sub-query in its bound moves along.
TEST_F(ExtractCondition, MovesBetweenByItsTestedValue) {
    EXPECT_EQ(Compile("select a from t where a between (select x from u) and 2"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Open 1 0 0 'u'
3 Cursor_Column 1 0 0 'x'
4 Result 0 1 0 'a'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Cursor_First 0 42 0
9 Push_Column 0 0 0
10 Jump 12 0 0
11 Jump 34 0 0
12 NOOP 0 0 0
13 Push_Integer 0 0 0
14 Cursor_First 1 22 0
15 Jump_NE 1 17 0
16 Error 0 0 0
17 NOOP 0 0 0
18 Push_Column 1 0 0
19 Copy 0 0 0
20 Push_Integer 1 0 0
21 Cursor_Next 1 15 0
22 NOOP 0 0 0
23 Jump_NE 0 25 0
24 Push_Null 0 0 0
25 NOOP 0 0 0
26 LessThan 1 0 0
27 Jump_EQ 1 11 0
28 Push_Literal 0 0 0 '2'
29 GreaterThan 1 0 0
30 Jump_EQ 1 11 0
31 Pop 0 0 0
32 Push_Integer 1 0 0
33 Jump 36 0 0
34 Pop 0 0 0
35 Push_Integer 0 0 0
36 NOOP 0 0 0
37 Jump_NE 1 41 0
38 Push_Column 0 0 0
39 Pop_Result 0 0 0
40 Output 0 0 0
41 Cursor_Next 0 9 0
42 NOOP 0 0 0
43 Push_Integer 1 0 0
44 Pop_Result 1 0 0
)");
}

// The comparison moves, the sub-query does not; inside it the condition moves to the inner table,
// as the outer one is open.
TEST_F(ExtractCondition, KeepsASubqueryInWhere) {
    EXPECT_EQ(Compile("select a from t where a = 1 and exists (select x from u where x = t.c)"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Column 0 1 0 'c'
3 Cursor_Open 1 0 0 'u'
4 Cursor_Column 1 0 0 'x'
5 Result 0 1 0 'a'
6 Result 1 0 0 'eof'
7 Push_Integer 0 0 0
8 Pop_Result 1 0 0
9 Cursor_First 0 36 0
10 Push_Column 0 0 0
11 Push_Literal 0 0 0 '1'
12 Equal 0 0 0
13 Jump_NE 1 35 0
14 Push_Integer 0 0 0
15 Cursor_First 1 27 0
16 Push_Column 1 0 0
17 Push_Column 0 1 0
18 Equal 0 0 0
19 Jump_NE 1 26 0
20 Jump_NE 1 22 0
21 Error 0 0 0
22 NOOP 0 0 0
23 Push_Column 1 0 0
24 Copy 0 0 0
25 Push_Integer 1 0 0
26 Cursor_Next 1 16 0
27 NOOP 0 0 0
28 Jump_NE 0 30 0
29 Push_Null 0 0 0
30 NOOP 0 0 0
31 Jump_EQ 0 35 0
32 Push_Column 0 0 0
33 Pop_Result 0 0 0
34 Output 0 0 0
35 Cursor_Next 0 10 0
36 NOOP 0 0 0
37 Push_Integer 1 0 0
38 Pop_Result 1 0 0
)");
}

// The target of the UPDATE is open for the sub-query in its expressions.
TEST_F(ExtractCondition, MovesToTheSubqueryOfAnUpdatedColumn) {
    EXPECT_EQ(Compile("update t set a = (select x from u where x = t.b)"),
              R"(0 Cursor_Open 0 1 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Column 0 1 0 'b'
3 Cursor_Open 1 0 0 'u'
4 Cursor_Column 1 0 0 'x'
5 Cursor_First 0 27 0
6 Cursor_LockForUpdate 0 0 0
7 Push_Integer 0 0 0
8 Cursor_First 1 20 0
9 Push_Column 1 0 0
10 Push_Column 0 1 0
11 Equal 0 0 0
12 Jump_NE 1 19 0
13 Jump_NE 1 15 0
14 Error 0 0 0
15 NOOP 0 0 0
16 Push_Column 1 0 0
17 Copy 0 0 0
18 Push_Integer 1 0 0
19 Cursor_Next 1 9 0
20 NOOP 0 0 0
21 Jump_NE 0 23 0
22 Push_Null 0 0 0
23 NOOP 0 0 0
24 Pop_Column 0 0 0
25 Cursor_Update 0 0 0
26 Cursor_Next 0 6 0
27 Cursor_Update_Indexes 0 0 0
28 NOOP 0 0 0
)");
}

// A bare 5 must equal 1: no rows.
TEST_F(ExtractCondition, MovesAConstant) {
    EXPECT_EQ(Compile("select a from t where 5"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Result 0 1 0 'a'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 13 0
7 Push_Literal 0 0 0 '5'
8 Jump_NE 1 12 0
9 Push_Column 0 0 0
10 Pop_Result 0 0 0
11 Output 0 0 0
12 Cursor_Next 0 7 0
13 NOOP 0 0 0
14 Push_Integer 1 0 0
15 Pop_Result 1 0 0
)");
}

}  // namespace
}  // namespace ovrasql
