#include "tests/compile/compile_database.h"

// Programs of blocks with aggregates: the row loops fold into a bucket, a second loop walks the
// groups.

namespace ovrasql {
namespace {

class AggregateProgram : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table a (x char(5), k numeric(5), id numeric(5), ok bool)");
        Define("create table b (y char(5), id numeric(5))");
        Define("create index bid on b (id)");
    }
};

// Without GROUP BY there is one group from the start, and a count begins at 0. The key is empty:
// the record pops nothing. A sum has no start value, so it stays NULL over no rows.
TEST_F(AggregateProgram, StartsTheImplicitGroupWithItsCounts) {
    EXPECT_EQ(Compile("select count(*), sum(k), count(id), count(distinct x) from a where 1 = 0"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'k'
2 Cursor_Column 0 1 0 'id'
3 Cursor_Column 0 2 0 'x'
4 Result 0 1 0 'count(*)'
5 Result 1 1 0 'sum(k)'
6 Result 2 1 0 'count(id)'
7 Result 3 1 0 'count(distinct x)'
8 Result 4 0 0 'eof'
9 Push_Integer 0 0 0
10 Pop_Result 4 0 0
11 Bucket 0 4 0
12 Bucket_Default 0 0 0
13 Push_Integer 0 0 0
14 Pop_Bucket 0 0 0
15 Push_Integer 0 0 0
16 Pop_Bucket 0 2 0
17 Push_Integer 0 0 0
18 Pop_Bucket 0 3 0
19 Cursor_First 0 36 0
20 Push_Literal 0 0 0 '1'
21 Push_Literal 0 0 0 '0'
22 Equal 0 0 0
23 Jump_NE 1 35 0
24 Bucket_Record 0 0 0
25 Bucket_Count 0 0 0
26 Push_Column 0 0 0
27 Bucket_Sum 0 1 0
28 Push_Column 0 1 0
29 IsNull 0 0 0
30 Jump_NE 0 32 0
31 Bucket_Count 0 2 0
32 NOOP 0 0 0
33 Push_Column 0 2 0
34 Bucket_Count_Distinct 0 3 0
35 Cursor_Next 0 20 0
36 NOOP 0 0 0
37 Bucket_First 0 48 0
38 Push_Bucket 0 0 0
39 Push_Bucket 0 1 0
40 Push_Bucket 0 2 0
41 Push_Bucket 0 3 0
42 Pop_Result 3 0 0
43 Pop_Result 2 0 0
44 Pop_Result 1 0 0
45 Pop_Result 0 0 0
46 Output 0 0 0
47 Bucket_Next 0 38 0
48 NOOP 0 0 0
49 Push_Integer 1 0 0
50 Pop_Result 4 0 0
)");
}

// The accumulators are numbered as they stand, the group column behind them; with GROUP BY there
// is no group before the first row. The sum and its addition are computed for each group.
TEST_F(AggregateProgram, KeepsGroupColumnsBesideTheAggregates) {
    EXPECT_EQ(Compile("select x, sum(k) + 1 from a group by x"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Result 0 1 0 'x'
4 Result 1 1 0 'sum(k) + 1'
5 Result 2 0 0 'eof'
6 Push_Integer 0 0 0
7 Pop_Result 2 0 0
8 Bucket 0 2 0
9 Cursor_First 0 17 0
10 Push_Column 0 0 0
11 Bucket_Record 0 1 0
12 Push_Column 0 1 0
13 Bucket_Sum 0 0 0
14 Push_Column 0 0 0
15 Pop_Bucket 0 1 0
16 Cursor_Next 0 10 0
17 NOOP 0 0 0
18 Bucket_First 0 27 0
19 Push_Bucket 0 1 0
20 Push_Bucket 0 0 0
21 Push_Literal 0 0 0 '1'
22 Add 0 0 0
23 Pop_Result 1 0 0
24 Pop_Result 0 0 0
25 Output 0 0 0
26 Bucket_Next 0 19 0
27 NOOP 0 0 0
28 Push_Integer 1 0 0
29 Pop_Result 2 0 0
)");
}

// The key values are pushed in the order written. A column selected twice has two accumulators.
TEST_F(AggregateProgram, GroupsByMoreThanOneColumn) {
    EXPECT_EQ(Compile("select x, k, x, max(id) from a group by k, x"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Cursor_Column 0 2 0 'id'
4 Result 0 1 0 'x'
5 Result 1 1 0 'k'
6 Result 2 1 0 'x'
7 Result 3 1 0 'max(id)'
8 Result 4 0 0 'eof'
9 Push_Integer 0 0 0
10 Pop_Result 4 0 0
11 Bucket 0 4 0
12 Cursor_First 0 25 0
13 Push_Column 0 1 0
14 Push_Column 0 0 0
15 Bucket_Record 0 2 0
16 Push_Column 0 2 0
17 Bucket_Max 0 0 0
18 Push_Column 0 0 0
19 Pop_Bucket 0 1 0
20 Push_Column 0 1 0
21 Pop_Bucket 0 2 0
22 Push_Column 0 0 0
23 Pop_Bucket 0 3 0
24 Cursor_Next 0 13 0
25 NOOP 0 0 0
26 Bucket_First 0 37 0
27 Push_Bucket 0 1 0
28 Push_Bucket 0 2 0
29 Push_Bucket 0 3 0
30 Push_Bucket 0 0 0
31 Pop_Result 3 0 0
32 Pop_Result 2 0 0
33 Pop_Result 1 0 0
34 Pop_Result 0 0 0
35 Output 0 0 0
36 Bucket_Next 0 27 0
37 NOOP 0 0 0
38 Push_Integer 1 0 0
39 Pop_Result 4 0 0
)");
}

// Avg, min and max with an expression of their own.
TEST_F(AggregateProgram, FoldsEveryKindOfAggregate) {
    EXPECT_EQ(Compile("select avg(k), min(k + 1), max(upper(x)) from a"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'k'
2 Cursor_Column 0 1 0 'x'
3 Result 0 1 0 'avg(k)'
4 Result 1 1 0 'min(k + 1)'
5 Result 2 1 0 'max(upper(x))'
6 Result 3 0 0 'eof'
7 Push_Integer 0 0 0
8 Pop_Result 3 0 0
9 Bucket 0 3 0
10 Bucket_Default 0 0 0
11 Cursor_First 0 23 0
12 Bucket_Record 0 0 0
13 Push_Column 0 0 0
14 Bucket_Average 0 0 0
15 Push_Column 0 0 0
16 Push_Literal 0 0 0 '1'
17 Add 0 0 0
18 Bucket_Min 0 1 0
19 Push_Column 0 1 0
20 Upper 0 0 0
21 Bucket_Max 0 2 0
22 Cursor_Next 0 12 0
23 NOOP 0 0 0
24 Bucket_First 0 33 0
25 Push_Bucket 0 0 0
26 Push_Bucket 0 1 0
27 Push_Bucket 0 2 0
28 Pop_Result 2 0 0
29 Pop_Result 1 0 0
30 Pop_Result 0 0 0
31 Output 0 0 0
32 Bucket_Next 0 25 0
33 NOOP 0 0 0
34 Push_Integer 1 0 0
35 Pop_Result 3 0 0
)");
}

// The addition runs for each group, over the accumulator.
TEST_F(AggregateProgram, ReplacesAColumnUnderAnAddition) {
    EXPECT_EQ(Compile("select k + 1, count(*) from a group by k"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'k'
2 Result 0 1 0 'k + 1'
3 Result 1 1 0 'count(*)'
4 Result 2 0 0 'eof'
5 Push_Integer 0 0 0
6 Pop_Result 2 0 0
7 Bucket 0 2 0
8 Cursor_First 0 15 0
9 Push_Column 0 0 0
10 Bucket_Record 0 1 0
11 Bucket_Count 0 0 0
12 Push_Column 0 0 0
13 Pop_Bucket 0 1 0
14 Cursor_Next 0 9 0
15 NOOP 0 0 0
16 Bucket_First 0 25 0
17 Push_Bucket 0 1 0
18 Push_Literal 0 0 0 '1'
19 Add 0 0 0
20 Push_Bucket 0 0 0
21 Pop_Result 1 0 0
22 Pop_Result 0 0 0
23 Output 0 0 0
24 Bucket_Next 0 17 0
25 NOOP 0 0 0
26 Push_Integer 1 0 0
27 Pop_Result 2 0 0
)");
}

// The accumulators are read for the key as they then stand, so a row may never be folded.
TEST_F(AggregateProgram, TestsDistinctAheadOfTheFold) {
    EXPECT_EQ(Compile("select distinct count(*) from a"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Result 0 1 0 'count(*)'
2 Result 1 0 0 'eof'
3 Push_Integer 0 0 0
4 Pop_Result 1 0 0
5 Bucket 0 1 0
6 Bucket_Default 0 0 0
7 Push_Integer 0 0 0
8 Pop_Bucket 0 0 0
9 Bucket 1 1 0
10 Cursor_First 0 17 0
11 Push_Bucket 0 0 0
12 Bucket_Record 1 1 15
13 Bucket_Record 0 0 0
14 Bucket_Count 0 0 0
15 NOOP 0 0 0
16 Cursor_Next 0 11 0
17 NOOP 0 0 0
18 Bucket_First 0 23 0
19 Push_Bucket 0 0 0
20 Pop_Result 0 0 0
21 Output 0 0 0
22 Bucket_Next 0 19 0
23 NOOP 0 0 0
24 Push_Integer 1 0 0
25 Pop_Result 1 0 0
)");
}

// The rows are stored and their sort cell is read back inside the walk over the groups.
TEST_F(AggregateProgram, OrdersGroupsThroughATemporaryTable) {
    EXPECT_EQ(Compile("select x, count(*) as n from a group by x order by n"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Result 0 1 0 'x'
3 Result 1 1 0 'n'
4 Result 2 0 0 'eof'
5 Push_Integer 0 0 0
6 Pop_Result 2 0 0
7 Temporary_Table 0 3 0
8 Bucket 0 2 0
9 Cursor_First 0 16 0
10 Push_Column 0 0 0
11 Bucket_Record 0 1 0
12 Bucket_Count 0 0 0
13 Push_Column 0 0 0
14 Pop_Bucket 0 1 0
15 Cursor_Next 0 10 0
16 NOOP 0 0 0
17 Bucket_First 0 26 0
18 Push_Bucket 0 1 0
19 Push_Bucket 0 0 0
20 Temporary_Record 0 0 0
21 Pop_Temporary 0 1 0
22 Pop_Temporary 0 0 0
23 Push_Temporary 0 1 0
24 Pop_Temporary 0 2 0
25 Bucket_Next 0 18 0
26 NOOP 0 0 0
27 Temporary_Sort 0 0 0 list
28 Temporary_First 0 35 0
29 Push_Temporary 0 0 0
30 Push_Temporary 0 1 0
31 Pop_Result 1 0 0
32 Pop_Result 0 0 0
33 Output 0 0 0
34 Temporary_Next 0 29 0
35 NOOP 0 0 0
36 Push_Integer 1 0 0
37 Pop_Result 2 0 0
)");
}

// It has no columns to check.
TEST_F(AggregateProgram, AcceptsRecnoBesideAnAggregate) {
    EXPECT_EQ(Compile("select recno, count(*) from a"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Result 0 1 0 'recno'
2 Result 1 1 0 'count(*)'
3 Result 2 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 2 0 0
6 Bucket 0 1 0
7 Bucket_Default 0 0 0
8 Push_Integer 0 0 0
9 Pop_Bucket 0 0 0
10 Cursor_First 0 14 0
11 Bucket_Record 0 0 0
12 Bucket_Count 0 0 0
13 Cursor_Next 0 11 0
14 NOOP 0 0 0
15 Bucket_First 0 22 0
16 Push_RecordNumber 0 0 0
17 Push_Bucket 0 0 0
18 Pop_Result 1 0 0
19 Pop_Result 0 0 0
20 Output 0 0 0
21 Bucket_Next 0 16 0
22 NOOP 0 0 0
23 Push_Integer 1 0 0
24 Pop_Result 2 0 0
)");
}

// No bucket, no grouping: a plain scan.
TEST_F(AggregateProgram, IgnoresGroupByWithoutAnAggregate) {
    EXPECT_EQ(Compile("select x from a group by x"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Result 0 1 0 'x'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 11 0
7 Push_Column 0 0 0
8 Pop_Result 0 0 0
9 Output 0 0 0
10 Cursor_Next 0 7 0
11 NOOP 0 0 0
12 Push_Integer 1 0 0
13 Pop_Result 1 0 0
)");
}

// Such an aggregate has no bucket; the run says so.
TEST_F(AggregateProgram, PushesAnAggregateOutsideTheSelectListFromNoBucket) {
    EXPECT_EQ(Compile("select x from a where count(*) = 1"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Result 0 1 0 'x'
3 Result 1 0 0 'eof'
4 Push_Integer 0 0 0
5 Pop_Result 1 0 0
6 Cursor_First 0 15 0
7 Push_Bucket -1 0 0
8 Push_Literal 0 0 0 '1'
9 Equal 0 0 0
10 Jump_EQ 0 14 0
11 Push_Column 0 0 0
12 Pop_Result 0 0 0
13 Output 0 0 0
14 Cursor_Next 0 7 0
15 NOOP 0 0 0
16 Push_Integer 1 0 0
17 Pop_Result 1 0 0
)");
}

// An aggregate block as a single value.
TEST_F(AggregateProgram, ReadsTheLargestValueOfASubquery) {
    EXPECT_EQ(Compile("select x from a where k = (select max(id) from b)"),
              R"(0 Cursor_Open 0 0 0 'a'
1 Cursor_Column 0 0 0 'x'
2 Cursor_Column 0 1 0 'k'
3 Cursor_Open 1 0 0 'b'
4 Cursor_Column 1 0 0 'id'
5 Result 0 1 0 'x'
6 Result 1 0 0 'eof'
7 Push_Integer 0 0 0
8 Pop_Result 1 0 0
9 Cursor_First 0 38 0
10 Push_Column 0 1 0
11 Push_Integer 0 0 0
12 Bucket 0 1 0
13 Bucket_Default 0 0 0
14 Cursor_First 1 19 0
15 Bucket_Record 0 0 0
16 Push_Column 1 0 0
17 Bucket_Max 0 0 0
18 Cursor_Next 1 15 0
19 NOOP 0 0 0
20 Bucket_First 0 28 0
21 Jump_NE 1 23 0
22 Error 0 0 0
23 NOOP 0 0 0
24 Push_Bucket 0 0 0
25 Copy 0 0 0
26 Push_Integer 1 0 0
27 Bucket_Next 0 21 0
28 NOOP 0 0 0
29 Jump_NE 0 31 0
30 Push_Null 0 0 0
31 NOOP 0 0 0
32 Equal 0 0 0
33 Jump_EQ 0 37 0
34 Push_Column 0 0 0
35 Pop_Result 0 0 0
36 Output 0 0 0
37 Cursor_Next 0 10 0
38 NOOP 0 0 0
39 Push_Integer 1 0 0
40 Pop_Result 1 0 0
)");
}

}  // namespace
}  // namespace ovrasql
