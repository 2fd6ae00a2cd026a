#include "compile/tree/aggregates.h"
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

TEST_F(TreeFailures, EmitNothingForAnEmptyExpression) {
    EXPECT_TRUE(expression_->IsEmpty());
    EXPECT_TRUE(generator_->GenerateExpression(expression_->root));
    EXPECT_TRUE(generator_->GenerateExpression(nullptr));
    EXPECT_EQ(generator_->InstructionCount(), 0);
}

}  // namespace
}  // namespace ovrasql
