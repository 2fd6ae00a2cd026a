#include "compile/tree/aggregates.h"
#include "compile/tree/complex_elements.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "language/tokens.h"
#include "tests/compile/compile_database.h"

// Trees that the parser can't make: the code that guards its tables refuses them.

namespace ovrasql {
namespace {

class TreeFailures : public CompileTest {
  protected:
    void SetUp() override {
        generator_ = std::make_unique<SQLCodeGenerator>(&TheSchema());
        expression_ = std::make_unique<SQLExpression>(generator_.get(),
                                                      generator_->NewSelectStatement()->references);
    }
    void TearDown() override { expression_.reset(); }

    std::string Error() { return Text(generator_->Error()); }

    std::unique_ptr<SQLCodeGenerator> generator_;
    std::unique_ptr<SQLExpression> expression_;
};

TEST_F(TreeFailures, RefuseAnOperatorOutsideTheTable) {
    expression_->SetLiteral("1");
    expression_->InsertAtCurrent(token::kSelect, nullptr, 0);
    EXPECT_FALSE(generator_->GenerateExpression(expression_->root));
    EXPECT_EQ(Error(), "Unknown operator");
}

TEST_F(TreeFailures, RefuseAColumnThatWasNotResolved) {
    expression_->SetColumn("a", "t");
    EXPECT_FALSE(generator_->GenerateExpression(expression_->root));
    EXPECT_EQ(Error(), "Unresolved column 'a'");
}

TEST_F(TreeFailures, RefuseAnAggregateWithoutAFunction) {
    SQLAggregate aggregate(generator_.get(), generator_->Statement()->references, 0);
    aggregate.expression->SetLiteral("1");
    EXPECT_FALSE(aggregate.GenerateAccumulate());
    EXPECT_EQ(Error(), "Unhandled aggregate type");
}

// The operator has a row in the table, though SUBSTRING comes as an element.
TEST_F(TreeFailures, AcceptSubstringAsAnOperator) {
    expression_->SetLiteral("abc");
    expression_->InsertAtCurrent(token::kSubstring, nullptr, 0);
    expression_->SetLiteral("2");
    ASSERT_TRUE(generator_->GenerateExpression(expression_->root));
    EXPECT_EQ(ProgramListing(*generator_),
              "0 Push_Literal 0 0 0 'abc'\n"
              "1 Push_Literal 0 0 0 '2'\n"
              "2 Substring 0 0 0\n");
}

// Required: the element goes on around what failed inside, and the message stays with the
// generator.
TEST_F(TreeFailures, GoOnAroundABoundOfBetween) {
    expression_->SetLiteral("1");
    SQLBetween* const between = expression_->AddBetween();
    between->NewLow()->SetColumn("a", "t");
    between->NewHigh()->SetLiteral("2");
    ASSERT_TRUE(generator_->GenerateExpression(expression_->root));
    EXPECT_EQ(Error(), "Unresolved column 'a'");
    EXPECT_EQ(ProgramListing(*generator_),
              "0 Push_Literal 0 0 0 '1'\n"
              "1 Jump 3 0 0\n"
              "2 Jump 12 0 0\n"
              "3 NOOP 0 0 0\n"
              "4 LessThan 1 0 0\n"
              "5 Jump_EQ 1 2 0\n"
              "6 Push_Literal 0 0 0 '2'\n"
              "7 GreaterThan 1 0 0\n"
              "8 Jump_EQ 1 2 0\n"
              "9 Pop 0 0 0\n"
              "10 Push_Integer 1 0 0\n"
              "11 Jump 14 0 0\n"
              "12 Pop 0 0 0\n"
              "13 Push_Integer 0 0 0\n"
              "14 NOOP 0 0 0\n");
}

TEST_F(TreeFailures, GoOnAroundTheOperandsOfSubstring) {
    SQLSubstring* const substring = expression_->AddSubstring();
    substring->NewString()->SetColumn("a", "t");
    substring->NewStart()->SetColumn("b", "t");
    substring->NewLength()->SetColumn("c", "t");
    ASSERT_TRUE(generator_->GenerateExpression(expression_->root));
    EXPECT_EQ(Error(), "Unresolved column 'c'");
    EXPECT_EQ(ProgramListing(*generator_), "0 Substring 1 0 0\n");
}

TEST_F(TreeFailures, EmitNothingForAnEmptyExpression) {
    EXPECT_TRUE(expression_->IsEmpty());
    EXPECT_TRUE(generator_->GenerateExpression(expression_->root));
    EXPECT_TRUE(generator_->GenerateExpression(nullptr));
    EXPECT_EQ(generator_->InstructionCount(), 0);
}

}  // namespace
}  // namespace ovrasql
