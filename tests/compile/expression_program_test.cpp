#include "tests/compile/compile_database.h"

// Expressions as stack code: one value is left for whoever asked, comparisons that keep their left
// value have a 1 as their first operand, and a condition is just a value that a jump pops.

namespace ovrasql {
namespace {

class ExpressionProgram : public CompileTest {
  protected:
    void SetUp() override { Define("create table t (a numeric(5), b char(5), ok bool)"); }
};

// Grouped from the left: two sequences, one inside the other. The left side true leaves 1;
// otherwise the value of the right side stands as it is.
TEST_F(ExpressionProgram, JumpsOverTheRightSideOfOr) {
    EXPECT_EQ(Compile("select a from t where a = 1 or a = 2 or a = 3"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Result 0 1 0 'a'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 31 0
7 Push_Column 0 0 0
8 Push_Literal 0 0 0 '1'
9 Equal 0 0 0
10 Jump_EQ 0 13 0
11 Push_Integer 1 0 0
12 Jump 17 0 0
13 NOOP 0 0 0
14 Push_Column 0 0 0
15 Push_Literal 0 0 0 '2'
16 Equal 0 0 0
17 NOOP 0 0 0
18 Jump_EQ 0 21 0
19 Push_Integer 1 0 0
20 Jump 25 0 0
21 NOOP 0 0 0
22 Push_Column 0 0 0
23 Push_Literal 0 0 0 '3'
24 Equal 0 0 0
25 NOOP 0 0 0
26 Jump_EQ 0 30 0
27 Push_Column 0 0 0
28 Pop_Result 0 0 0
29 Output 0 0 0
30 Cursor_Next 0 7 0
31 NOOP 0 0 0
32 Push_Integer 1 0 0
33 Pop_Result 1 0 0
)");
}

// Both tests aim at the trampoline behind the first jump, which goes to the answer 0.
TEST_F(ExpressionProgram, TestsBetweenOverAKeptValue) {
    EXPECT_EQ(Compile("select a from t where a between 5 and 1"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Result 0 1 0 'a'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 28 0
7 Push_Column 0 0 0
8 Jump 10 0 0
9 Jump 20 0 0
10 NOOP 0 0 0
11 Push_Literal 0 0 0 '5'
12 LessThan 1 0 0
13 Jump_EQ 1 9 0
14 Push_Literal 0 0 0 '1'
15 GreaterThan 1 0 0
16 Jump_EQ 1 9 0
17 Pop 0 0 0
18 Push_Integer 1 0 0
19 Jump 22 0 0
20 Pop 0 0 0
21 Push_Integer 0 0 0
22 NOOP 0 0 0
23 Jump_NE 1 27 0
24 Push_Column 0 0 0
25 Pop_Result 0 0 0
26 Output 0 0 0
27 Cursor_Next 0 7 0
28 NOOP 0 0 0
29 Push_Integer 1 0 0
30 Pop_Result 1 0 0
)");
}

// The "not" sits on the column, not on the BETWEEN.
TEST_F(ExpressionProgram, AppliesAPrefixNotToTheTestedValue) {
    EXPECT_EQ(Compile("select a from t where not a between 1 and 2"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Result 0 1 0 'a'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 29 0
7 Push_Column 0 0 0
8 Not 0 0 0
9 Jump 11 0 0
10 Jump 21 0 0
11 NOOP 0 0 0
12 Push_Literal 0 0 0 '1'
13 LessThan 1 0 0
14 Jump_EQ 1 10 0
15 Push_Literal 0 0 0 '2'
16 GreaterThan 1 0 0
17 Jump_EQ 1 10 0
18 Pop 0 0 0
19 Push_Integer 1 0 0
20 Jump 23 0 0
21 Pop 0 0 0
22 Push_Integer 0 0 0
23 NOOP 0 0 0
24 Jump_NE 1 28 0
25 Push_Column 0 0 0
26 Pop_Result 0 0 0
27 Output 0 0 0
28 Cursor_Next 0 7 0
29 NOOP 0 0 0
30 Push_Integer 1 0 0
31 Pop_Result 1 0 0
)");
}

// The same with "not" behind the value: it stands above the whole.
TEST_F(ExpressionProgram, NegatesBetweenFromWithin) {
    EXPECT_EQ(Compile("select a from t where a not between 1 and 2"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Result 0 1 0 'a'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 29 0
7 Push_Column 0 0 0
8 Jump 10 0 0
9 Jump 20 0 0
10 NOOP 0 0 0
11 Push_Literal 0 0 0 '1'
12 LessThan 1 0 0
13 Jump_EQ 1 9 0
14 Push_Literal 0 0 0 '2'
15 GreaterThan 1 0 0
16 Jump_EQ 1 9 0
17 Pop 0 0 0
18 Push_Integer 1 0 0
19 Jump 22 0 0
20 Pop 0 0 0
21 Push_Integer 0 0 0
22 NOOP 0 0 0
23 Not 0 0 0
24 Jump_NE 1 28 0
25 Push_Column 0 0 0
26 Pop_Result 0 0 0
27 Output 0 0 0
28 Cursor_Next 0 7 0
29 NOOP 0 0 0
30 Push_Integer 1 0 0
31 Pop_Result 1 0 0
)");
}

// A question mark takes the first parameter, :2 is the second. The tested value is compared and
// kept, and dropped once on either way out.
TEST_F(ExpressionProgram, ComparesAnInListOneByOne) {
    EXPECT_EQ(Compile("select a from t where a in ('a', ?, :2)"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Result 0 1 0 'a'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 31 0
7 Push_Column 0 0 0
8 Jump 10 0 0
9 Jump 23 0 0
10 NOOP 0 0 0
11 Push_Literal 0 0 0 'a'
12 Equal 1 0 0
13 Jump_EQ 1 9 0
14 Push_Dynamic 0 0 0
15 Equal 1 0 0
16 Jump_EQ 1 9 0
17 Push_Dynamic 1 0 0
18 Equal 1 0 0
19 Jump_EQ 1 9 0
20 Pop 0 0 0
21 Push_Integer 0 0 0
22 Jump 25 0 0
23 Pop 0 0 0
24 Push_Integer 1 0 0
25 NOOP 0 0 0
26 Jump_NE 1 30 0
27 Push_Column 0 0 0
28 Pop_Result 0 0 0
29 Output 0 0 0
30 Cursor_Next 0 7 0
31 NOOP 0 0 0
32 Push_Integer 1 0 0
33 Pop_Result 1 0 0
)");
}

// SUBSTRING says by its operand whether a length was given.
TEST_F(ExpressionProgram, CallsTheFunctionsOfText) {
    EXPECT_EQ(Compile("select length(b), upper(lower(b)), ifnull(b, 'z'), substring(b from 2), "
                      "substring(b from 2 for 3) from t"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'b'
2 Result 0 1 0 'length(b)'
3 Result 1 1 0 'upper(lower(b))'
4 Result 2 1 0 'ifnull(b, 'z')'
5 Result 3 1 0 'substring(b from 2)'
6 Result 4 1 0 'substring(b from 2 for 3)'
7 Result 5 0 0 'eof'
8 Push_Integer 0 0 0
9 Pop_Result 5 0 0
10 Cursor_First 0 33 0
11 Push_Column 0 0 0
12 Length 0 0 0
13 Push_Column 0 0 0
14 Lower 0 0 0
15 Upper 0 0 0
16 Push_Column 0 0 0
17 Push_Literal 0 0 0 'z'
18 IfNull 0 0 0
19 Push_Column 0 0 0
20 Push_Literal 0 0 0 '2'
21 Substring 0 0 0
22 Push_Column 0 0 0
23 Push_Literal 0 0 0 '2'
24 Push_Literal 0 0 0 '3'
25 Substring 1 0 0
26 Pop_Result 4 0 0
27 Pop_Result 3 0 0
28 Pop_Result 2 0 0
29 Pop_Result 1 0 0
30 Pop_Result 0 0 0
31 Output 0 0 0
32 Cursor_Next 0 11 0
33 NOOP 0 0 0
34 Push_Integer 1 0 0
35 Pop_Result 5 0 0
)");
}

// The empty operand pushes nothing, so Subtract underflows when it runs; compiling says nothing.
TEST_F(ExpressionProgram, LeavesAMinusWithoutALeftValueOneShort) {
    EXPECT_EQ(Compile("select - a from t"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Result 0 1 0 '- a'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 12 0
7 Push_Column 0 0 0
8 Subtract 0 0 0
9 Pop_Result 0 0 0
10 Output 0 0 0
11 Cursor_Next 0 7 0
12 NOOP 0 0 0
13 Push_Integer 1 0 0
14 Pop_Result 1 0 0
)");
}

// 10 - ((2 * 3) - 4), and a group that holds together.
TEST_F(ExpressionProgram, ClimbsOneLevelInArithmetic) {
    EXPECT_EQ(Compile("select 10 - 2 * 3 - 4, (a + 1) / 2 from t"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Result 0 1 0 '10 - 2 * 3 - 4'
3 Result 1 1 0 '(a + 1) / 2'
4 Result 2 0 0 'eof'
5 Push_Integer 0 0 0
6 Pop_Result 2 0 0
7 Cursor_First 0 24 0
8 Push_Literal 0 0 0 '10'
9 Push_Literal 0 0 0 '2'
10 Push_Literal 0 0 0 '3'
11 Multiply 0 0 0
12 Push_Literal 0 0 0 '4'
13 Subtract 0 0 0
14 Subtract 0 0 0
15 Push_Column 0 0 0
16 Push_Literal 0 0 0 '1'
17 Add 0 0 0
18 Push_Literal 0 0 0 '2'
19 Divide 0 0 0
20 Pop_Result 1 0 0
21 Pop_Result 0 0 0
22 Output 0 0 0
23 Cursor_Next 0 8 0
24 NOOP 0 0 0
25 Push_Integer 1 0 0
26 Pop_Result 2 0 0
)");
}

// One instruction for each operator; all of it moved to the table. A boolean column has its own
// push.
TEST_F(ExpressionProgram, KeepsBothSidesOfEveryAnd) {
    EXPECT_EQ(Compile("select a from t where a <> 1 and a >= 2 and a <= 3 and a > 4 and a < 5 and "
                      "b like 'x%' and not ok and b is not null"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Cursor_Column 0 1 0 'b'
3 Cursor_Column 0 2 0 'ok'
4 Result 0 1 0 'a'
5 Result 1 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 1 0 0
8 Cursor_First 0 44 0
9 Push_Column 0 0 0
10 Push_Literal 0 0 0 '1'
11 NotEqual 0 0 0
12 Push_Column 0 0 0
13 Push_Literal 0 0 0 '2'
14 GreaterThanEqual 0 0 0
15 And 0 0 0
16 Push_Column 0 0 0
17 Push_Literal 0 0 0 '3'
18 LessThanEqual 0 0 0
19 And 0 0 0
20 Push_Column 0 0 0
21 Push_Literal 0 0 0 '4'
22 GreaterThan 0 0 0
23 And 0 0 0
24 Push_Column 0 0 0
25 Push_Literal 0 0 0 '5'
26 LessThan 0 0 0
27 And 0 0 0
28 Push_Column 0 1 0
29 Push_Literal 0 0 0 'x%'
30 Like 0 0 0
31 And 0 0 0
32 Push_BoolColumn 0 2 0
33 Not 0 0 0
34 And 0 0 0
35 Push_Column 0 1 0
36 IsNull 0 0 0
37 Not 0 0 0
38 And 0 0 0
39 Jump_NE 1 43 0
40 Push_Column 0 0 0
41 Pop_Result 0 0 0
42 Output 0 0 0
43 Cursor_Next 0 9 0
44 NOOP 0 0 0
45 Push_Integer 1 0 0
46 Pop_Result 1 0 0
)");
}

// The folded sign fills the group again, so its code comes first and its value is never used.
TEST_F(ExpressionProgram, LeavesAnOverwrittenGroupOnTheStack) {
    EXPECT_EQ(Compile("select a from t where (a + 1) -2 > 3"),
              R"(0 Cursor_Open 0 0 0 't'
1 Cursor_Column 0 0 0 'a'
2 Result 0 1 0 'a'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 18 0
7 Push_Column 0 0 0
8 Push_Literal 0 0 0 '1'
9 Add 0 0 0
10 Push_Literal 0 0 0 '-2'
11 Push_Literal 0 0 0 '3'
12 GreaterThan 0 0 0
13 Jump_NE 1 17 0
14 Push_Column 0 0 0
15 Pop_Result 0 0 0
16 Output 0 0 0
17 Cursor_Next 0 7 0
18 NOOP 0 0 0
19 Push_Integer 1 0 0
20 Pop_Result 1 0 0
)");
}

}  // namespace
}  // namespace ovrasql
