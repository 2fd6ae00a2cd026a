// Buckets: groups, their order and their accumulators.

#include "engine/sql_bucket.h"

#include <string>

#include "tests/engine/program.h"

namespace ovrasql {
namespace {

class BucketTest : public EngineTest {
  protected:
    // A bucket with one accumulator and a default group.
    static Program WithDefault() {
        Program program;
        program.Do(SQL_Bucket, 0, 1).Do(SQL_Bucket_Default, 0);
        return program;
    }
    // Folds the literals in by one instruction and reads the accumulator.
    static std::string Fold(int32_t opcode, const std::vector<std::string>& values,
                            bool caseInsensitive = false) {
        Program program = WithDefault();
        for (const std::string& value : values) {
            program.Literal(value).Do(opcode, 0, 0);
        }
        program.Do(SQL_Push_Bucket, 0, 0);
        return Evaluate(program, caseInsensitive);
    }
};

TEST_F(BucketTest, CountsRows) {
    Program program = WithDefault();
    program.Do(SQL_Bucket_Count, 0, 0).Do(SQL_Bucket_Count, 0, 0).Do(SQL_Push_Bucket, 0, 0);
    EXPECT_EQ(Evaluate(program), "2");
}

TEST_F(BucketTest, CountsDistinctValuesNullAmongThem) {
    EXPECT_EQ(Fold(SQL_Bucket_Count_Distinct, {"a", "a", ""}), "2");
    EXPECT_EQ(Fold(SQL_Bucket_Count_Distinct, {"a", "A"}), "2");
    EXPECT_EQ(Fold(SQL_Bucket_Count_Distinct, {"a", "A"}, true), "1");
    EXPECT_EQ(Fold(SQL_Bucket_Count_Distinct, {"1", "1.0"}), "2");  // by text
}

TEST_F(BucketTest, AveragesWithoutNulls) {
    EXPECT_EQ(Fold(SQL_Bucket_Average, {"1", "2", ""}), "1.5");
    EXPECT_EQ(Fold(SQL_Bucket_Average, {"", ""}), "");
    EXPECT_EQ(Fold(SQL_Bucket_Average, {"1", "abc"}), "0.5");  // a bad number counts as 0
}

TEST_F(BucketTest, SumsWithoutNulls) {
    EXPECT_EQ(Fold(SQL_Bucket_Sum, {"1", "2.5", ""}), "3.5");
    Program program = WithDefault();
    program.Do(SQL_Push_Bucket, 0, 0).Do(SQL_IsNull);
    EXPECT_EQ(Evaluate(program), "1");  // over nothing it is NULL
}

TEST_F(BucketTest, MinAndMaxCompareAsValuesDo) {
    EXPECT_EQ(Fold(SQL_Bucket_Min, {"10", "9", ""}), "9");
    EXPECT_EQ(Fold(SQL_Bucket_Max, {"10", "9", ""}), "10");
    EXPECT_EQ(Fold(SQL_Bucket_Min, {"b", "a", "c"}), "a");
    EXPECT_EQ(Fold(SQL_Bucket_Max, {"b", "a", "c"}), "c");
    EXPECT_EQ(Fold(SQL_Bucket_Max, {"1", "1.0"}), "1");  // a tie keeps the earlier one
    EXPECT_EQ(Fold(SQL_Bucket_Min, {"A", "a"}, true), "A");
    EXPECT_EQ(Fold(SQL_Bucket_Max, {"", ""}), "");
}

TEST_F(BucketTest, MinOfTextsThatNeverCompareAsNumbers) {
    Program program = WithDefault();
    for (const char* text : {"x9", "x10"}) {
        program.Literal(text).Integer(2).Do(SQL_Substring, 0).Do(SQL_Bucket_Min, 0, 0);
    }
    program.Do(SQL_Push_Bucket, 0, 0);
    // The first value went in as a text of the cell, and the new one is text by its kind.
    EXPECT_EQ(Evaluate(program), "10");
}

TEST_F(BucketTest, PopStoresAStartValue) {
    Program program = WithDefault();
    program.Integer(0).Do(SQL_Pop_Bucket, 0, 0).Do(SQL_Bucket_Count, 0, 0);
    program.Do(SQL_Push_Bucket, 0, 0);
    EXPECT_EQ(Evaluate(program), "1");
}

TEST_F(BucketTest, GroupsComeInTheOrderOfTheirAppearance) {
    Program program;
    program.Do(SQL_Bucket, 0, 2);
    for (const char* key : {"z", "a", "z", "m"}) {
        program.Literal(key).Do(SQL_Bucket_Record, 0, 1, 0);
        program.Do(SQL_Bucket_Count, 0, 0).Literal(key).Do(SQL_Pop_Bucket, 0, 1);
    }
    const int32_t first = program.Count();
    program.Do(SQL_Bucket_First, 0, first + 4);
    program.Do(SQL_Push_Bucket, 0, 1).Do(SQL_Push_Bucket, 0, 0);
    program.Do(SQL_Bucket_Next, 0, first + 1);
    EXPECT_EQ(Evaluate(program), "z|2|a|1|m|1");
}

TEST_F(BucketTest, AKnownGroupJumpsUnlessTheTargetIsZero) {
    Program program;
    program.Do(SQL_Bucket, 0, 0);
    program.Literal("a").Do(SQL_Bucket_Record, 0, 1, 0);
    program.Literal("a").Do(SQL_Bucket_Record, 0, 1, 6).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(program), "2");
    Program falling;
    falling.Do(SQL_Bucket, 0, 0);
    falling.Literal("a").Do(SQL_Bucket_Record, 0, 1, 0);
    falling.Literal("a").Do(SQL_Bucket_Record, 0, 1, 0).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(falling), "1|2");
}

// How many groups the pairs make.
std::string GroupsOf(const std::vector<std::pair<const char*, const char*>>& pairs,
                     bool caseInsensitive = false) {
    Program program;
    program.Do(SQL_Bucket, 0, 0).Do(SQL_Bucket, 1, 1).Do(SQL_Bucket_Default, 1);
    for (const auto& [first, second] : pairs) {
        program.Literal(first).Literal(second);
        program.Do(SQL_Bucket_Record, 0, 2, program.Count() + 2).Do(SQL_Bucket_Count, 1, 0);
    }
    program.Do(SQL_Push_Bucket, 1, 0);
    return Evaluate(program, caseInsensitive);
}

TEST_F(BucketTest, KeysAreAPlainJoinInTheOrderOfTheValues) {
    EXPECT_EQ(GroupsOf({{"a", "b"}, {"b", "a"}}), "2");
    EXPECT_EQ(GroupsOf({{"a:b", "c"}, {"a", "b:c"}}), "1");
    EXPECT_EQ(GroupsOf({{"c", "a:b"}, {"b:c", "a"}}), "2");
    EXPECT_EQ(GroupsOf({{"", "a"}, {"a", ""}}), "2");
}

TEST_F(BucketTest, CaseMakesNoGroupsOnACaseInsensitiveDatabase) {
    EXPECT_EQ(GroupsOf({{"a", "b"}, {"A", "B"}}), "2");
    EXPECT_EQ(GroupsOf({{"a", "b"}, {"A", "B"}}, true), "1");
    SQLBucket bucket(0, true);
    EXPECT_FALSE(bucket.FindOrCreate("Abc:"));
    EXPECT_TRUE(bucket.FindOrCreate("aBC:"));
    EXPECT_EQ(ToText(bucket.CurrentRecord()->key), "Abc:");  // the first spelling
}

TEST_F(BucketTest, WalksTheDefaultGroupWhenThereIsNoOther) {
    Program program = WithDefault();
    const int32_t first = program.Count();
    program.Do(SQL_Bucket_First, 0, first + 3).Integer(7).Do(SQL_Bucket_Next, 0, first + 1);
    EXPECT_EQ(Evaluate(program), "7");
    Program none;
    none.Do(SQL_Bucket, 0, 1).Do(SQL_Bucket_First, 0, 3).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(none), "2");
    // Once there are groups the default one is not walked.
    Program both = WithDefault();
    both.Literal("a").Do(SQL_Bucket_Record, 0, 1, 0).Do(SQL_Bucket_Count, 0, 0);
    const int32_t start = both.Count();
    both.Do(SQL_Bucket_First, 0, start + 3).Do(SQL_Push_Bucket, 0, 0);
    both.Do(SQL_Bucket_Next, 0, start + 1);
    EXPECT_EQ(Evaluate(both), "1");
}

TEST_F(BucketTest, AWalkThatHasEndedStaysEnded) {
    SQLBucket bucket(1, false);
    EXPECT_FALSE(bucket.FindOrCreate("a"));
    EXPECT_FALSE(bucket.FindOrCreate("b"));
    EXPECT_TRUE(bucket.First());
    EXPECT_TRUE(bucket.Next());
    for (int32_t step = 0; step < 3; ++step) {
        EXPECT_FALSE(bucket.Next());
        EXPECT_EQ(bucket.CurrentRecord(), nullptr);
    }
    EXPECT_TRUE(bucket.First());
    EXPECT_TRUE(bucket.CurrentRecord()->key == TextView("a"));
}

TEST_F(BucketTest, AWalkThatHasNotBegunHasNoNextGroup) {
    SQLBucket bucket(1, false);
    EXPECT_FALSE(bucket.FindOrCreate("a"));
    EXPECT_FALSE(bucket.Next());
    EXPECT_EQ(bucket.CurrentRecord(), nullptr);
}

TEST_F(BucketTest, ANewDefaultGroupIsEmpty) {
    Program program = WithDefault();
    program.Do(SQL_Bucket_Count, 0, 0).Do(SQL_Push_Bucket, 0, 0).Do(SQL_Bucket_Default, 0);
    program.Do(SQL_Push_Bucket, 0, 0).Do(SQL_IsNull);
    EXPECT_EQ(Evaluate(program), "1|1");  // the value of the old group stays what it is
}

TEST_F(BucketTest, AValueOfABucketMadeAgainStays) {
    Program program = WithDefault();
    program.Integer(5).Do(SQL_Pop_Bucket, 0, 0).Do(SQL_Push_Bucket, 0, 0).Do(SQL_Bucket, 0, 1);
    EXPECT_EQ(Evaluate(program), "5");
}

TEST_F(BucketTest, WithoutAGroupAccumulatorsAreNullAndStoresAreDropped) {
    Program program;
    program.Do(SQL_Bucket, 0, 1).Do(SQL_Bucket_Count, 0, 0);
    for (const int32_t opcode : {SQL_Bucket_Count_Distinct, SQL_Bucket_Average, SQL_Bucket_Sum,
                                 SQL_Bucket_Min, SQL_Bucket_Max, SQL_Pop_Bucket}) {
        program.Literal("5").Do(opcode, 0, 0);
    }
    program.Do(SQL_Push_Bucket, 0, 0).Do(SQL_IsNull);
    EXPECT_EQ(Evaluate(program), "1");
}

TEST_F(BucketTest, AccumulatorsOutsideAreRefused) {
    for (const int32_t accumulator : {-1, 1, 99}) {
        for (const int32_t opcode :
             {SQL_Bucket_Count, SQL_Bucket_Count_Distinct, SQL_Bucket_Average, SQL_Bucket_Sum,
              SQL_Bucket_Min, SQL_Bucket_Max, SQL_Push_Bucket, SQL_Pop_Bucket}) {
            Program program = WithDefault();
            program.Literal("5").Do(opcode, 0, accumulator);
            EXPECT_EQ(Evaluate(program), "error: Invalid instruction");
        }
    }
    Program program = WithDefault();
    program.Do(SQL_Bucket_Record, 0, -1, 0);
    EXPECT_EQ(Evaluate(program), "error: Invalid instruction");
}

TEST_F(BucketTest, AnAggregateWithoutABucketHasItsOwnMessage) {
    for (const int32_t opcode :
         {SQL_Bucket, SQL_Bucket_Default, SQL_Bucket_Record, SQL_Bucket_First, SQL_Bucket_Next,
          SQL_Bucket_Count, SQL_Bucket_Count_Distinct, SQL_Bucket_Average, SQL_Bucket_Sum,
          SQL_Bucket_Min, SQL_Bucket_Max, SQL_Push_Bucket, SQL_Pop_Bucket}) {
        Program program;
        program.Literal("a").Do(opcode, -1, 0);
        EXPECT_EQ(Evaluate(program), "error: Aggregate is not valid in this context");
    }
}

TEST_F(BucketTest, AKeyOfMoreValuesThanThereAreUnderflows) {
    Program program;
    program.Do(SQL_Bucket, 0, 0).Literal("a").Do(SQL_Bucket_Record, 0, 2, 0);
    EXPECT_EQ(Evaluate(program), "error: Stack underflow");
}

// DISTINCT and UNION give their buckets accumulators and use none of them.
TEST_F(BucketTest, AGroupTakesMemoryForWhatItUsesAlone) {
    SQLBucket bucket(1000, false);
    EXPECT_FALSE(bucket.FindOrCreate("a:"));
    EXPECT_EQ(bucket.CurrentRecord()->entries, nullptr);
    bucket.Entry(999)->Sum(1.0);
    EXPECT_NE(bucket.CurrentRecord()->entries, nullptr);
    EXPECT_EQ(bucket.Entry(999)->distinctValues, nullptr);
    bucket.Entry(999)->CountDistinct("a", false);
    EXPECT_NE(bucket.Entry(999)->distinctValues, nullptr);
    EXPECT_EQ(bucket.Entry(0)->distinctValues, nullptr);
}

TEST_F(BucketTest, HoldsManyGroups) {
    SQLBucket bucket(1, false);
    for (int32_t i = 0; i < 3000; ++i) {
        const std::string key = std::to_string(i % 1000) + ":";
        EXPECT_EQ(bucket.FindOrCreate(key.c_str()), i >= 1000);
        bucket.Entry(0)->Count();
    }
    int32_t groups = 0;
    for (bool more = bucket.First(); more; more = bucket.Next(), ++groups) {
        ASSERT_EQ(bucket.Entry(0)->value.GetInteger(), 3);
        ASSERT_EQ(ToText(bucket.CurrentRecord()->key), std::to_string(groups) + ":");
    }
    EXPECT_EQ(groups, 1000);
}

}  // namespace
}  // namespace ovrasql
