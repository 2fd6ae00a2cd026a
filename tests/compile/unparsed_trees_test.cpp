// Trees that the parser does not make and no pass leaves behind, put together by hand: what is
// missing in them is followed by no pass, and what they hold besides is left alone.

#include <memory>
#include <string>

#include "compile/generate_scan.h"
#include "compile/tree/aggregates.h"
#include "compile/tree/complex_elements.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"
#include "language/tokens.h"
#include "tests/compile/compile_database.h"

namespace ovrasql {
namespace {

class UnparsedTrees : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table t (a char(5), n integer)");
        Define("create index t_a on t (a)");
        generator_ = std::make_unique<SQLCodeGenerator>(&TheSchema());
        query_ = generator_->NewSelectStatement()->query.get();
        expression_ = std::make_unique<SQLExpression>(generator_.get(), query_->references);
        table_ = std::make_unique<SQLTableReference>(generator_.get(), "t", "t");
        ASSERT_TRUE(table_->Bind());
    }
    void TearDown() override { expression_.reset(); }

    SQLExpressionNode* NewNode(NodeKind kind) {
        auto* const node = query_->references->Nodes().Make<SQLExpressionNode>();
        node->kind = kind;
        return node;
    }
    SQLExpressionNode* NewOperator(int32_t operatorCode, SQLExpressionNode* left,
                                   SQLExpressionNode* right) {
        SQLExpressionNode* const node = NewNode(NodeKind::kOperator);
        node->operatorCode = operatorCode;
        node->left = left;
        node->right = right;
        for (SQLExpressionNode* child : {left, right}) {
            if (child != nullptr) {
                child->parent = node;
            }
        }
        return node;
    }
    // A use of the table's column a.
    SQLExpressionNode* NewColumn() {
        SQLExpressionNode* const node = NewNode(NodeKind::kColumn);
        node->column = &column_;
        return node;
    }
    void ResolveColumn() { ASSERT_EQ(table_->ResolveColumn(&column_), 1); }

    // What of the condition can be tested without any table.
    SQLExpressionNode* Extracted(SQLExpressionNode* condition) {
        expression_->root->left = condition;
        condition->parent = expression_->root;
        Stack<SQLTableReference> none(false);
        table_->searchCondition = nullptr;
        const bool moved =
            generator_->ExtractCondition(table_.get(), none, expression_->root, nullptr, nullptr);
        EXPECT_EQ(moved, table_->searchCondition != nullptr);
        return table_->searchCondition;
    }
    int32_t IndexChosenFor(SQLExpressionNode* condition) {
        return generator_->ChooseIndex(table_.get(), condition, 0);
    }
    // A term of ORDER BY whose expression's root has these children.
    void OrderBy(SQLExpressionNode* left, SQLExpressionNode* right = nullptr) {
        SQLExpression* const term = query_->NewOrderBy();
        term->root->left = left;
        term->root->right = right;
    }
    std::string Listing() { return ProgramListing(*generator_); }

    std::unique_ptr<SQLCodeGenerator> generator_;
    SQLQuery* query_ = nullptr;
    std::unique_ptr<SQLExpression> expression_;
    std::unique_ptr<SQLTableReference> table_;
    SQLColumnReference column_{TextView("a")};
};

// --- expressions

TEST_F(UnparsedTrees, AnExpressionWithoutNodesIsEmpty) {
    expression_->root->left = nullptr;
    EXPECT_TRUE(expression_->IsEmpty());
    expression_->root = nullptr;
    EXPECT_TRUE(expression_->IsEmpty());
}

TEST_F(UnparsedTrees, AGroupThatWasNotOpenedIsNotClosed) {
    const SQLExpressionNode* const current = expression_->current;
    expression_->CloseGroup();
    EXPECT_EQ(expression_->current, current);
}

TEST_F(UnparsedTrees, ABetweenWithoutBoundsIsAlwaysTrue) {
    expression_->SetLiteral("1");
    expression_->AddBetween();
    ASSERT_TRUE(generator_->GenerateExpression(expression_->root));
    EXPECT_EQ(Listing(),
              "0 Push_Literal 0 0 0 '1'\n"
              "1 Jump 3 0 0\n"
              "2 Jump 7 0 0\n"
              "3 NOOP 0 0 0\n"
              "4 Pop 0 0 0\n"
              "5 Push_Integer 1 0 0\n"
              "6 Jump 9 0 0\n"
              "7 Pop 0 0 0\n"
              "8 Push_Integer 0 0 0\n"
              "9 NOOP 0 0 0\n");
}

TEST_F(UnparsedTrees, AGroupColumnThatWasNotResolvedIsRefused) {
    SQLAggregateColumn accumulator(generator_.get(), query_->references, &column_);
    EXPECT_FALSE(accumulator.GenerateAccumulate());
    EXPECT_EQ(Text(generator_->Error()), "Unresolved column 'a'");
}

TEST_F(UnparsedTrees, ABoundOnAColumnThatWasNotResolvedIsRefused) {
    table_->stopBound = std::make_unique<SQLIndexableExpression>();
    table_->stopBound->column = &column_;
    EXPECT_FALSE(GenerateStopTest(table_.get()));
    EXPECT_EQ(Text(generator_->Error()), "Unresolved column 'a'");
}

// --- conditions that move

TEST_F(UnparsedTrees, OfNothingNothingMoves) {
    Stack<SQLTableReference> none(false);
    EXPECT_FALSE(generator_->ExtractCondition(table_.get(), none, nullptr, nullptr, nullptr));
    expression_->root->left = nullptr;
    EXPECT_FALSE(
        generator_->ExtractCondition(table_.get(), none, expression_->root, nullptr, nullptr));
    EXPECT_EQ(Extracted(NewNode(NodeKind::kGroup)), nullptr);
}

TEST_F(UnparsedTrees, AnAndWithoutOneSideMovesAsAWhole) {
    SQLExpressionNode* const literal = NewNode(NodeKind::kLiteral);
    for (SQLExpressionNode* half :
         {NewOperator(token::kAnd, nullptr, literal), NewOperator(token::kAnd, literal, nullptr)}) {
        EXPECT_EQ(Extracted(half), half);
    }
}

// An OR stays. With no table to keep a new AND for both of the rest, the left one moves alone.
TEST_F(UnparsedTrees, WithoutATableOnePartMovesAtATime) {
    SQLExpressionNode* const first = NewNode(NodeKind::kLiteral);
    SQLExpressionNode* const second = NewNode(NodeKind::kLiteral);
    SQLExpressionNode* const stays = NewOperator(token::kOr, nullptr, nullptr);
    SQLExpressionNode* const inner = NewOperator(token::kAnd, first, stays);
    SQLExpressionNode* const outer = NewOperator(token::kAnd, inner, second);
    EXPECT_EQ(Extracted(outer), first);
    EXPECT_EQ(outer->left, stays);
}

// Every node but a root has a parent. One that has none is taken out all the same.
TEST_F(UnparsedTrees, ALinkUpwardsThatIsMissingIsNotFollowed) {
    SQLExpressionNode* const alone = NewNode(NodeKind::kLiteral);
    const auto taken = [&](SQLExpressionNode* parent) {
        expression_->root->left = alone;
        alone->parent = parent;
        Stack<SQLTableReference> none(false);
        return generator_->ExtractCondition(table_.get(), none, expression_->root, nullptr,
                                            nullptr) &&
               table_->searchCondition == alone;
    };
    EXPECT_TRUE(taken(nullptr));
    SQLExpressionNode* const half = NewOperator(token::kAnd, alone, nullptr);
    EXPECT_TRUE(taken(half));
    EXPECT_EQ(half->left, nullptr);
    SQLExpressionNode* const other = NewNode(NodeKind::kLiteral);
    SQLExpressionNode* const whole = NewOperator(token::kAnd, alone, other);
    EXPECT_TRUE(taken(whole));
    EXPECT_EQ(whole->right, nullptr);
}

TEST_F(UnparsedTrees, PartsWithoutAParentAreJoined) {
    SQLExpressionNode* const first = NewNode(NodeKind::kLiteral);
    SQLExpressionNode* const second = NewNode(NodeKind::kLiteral);
    SQLExpressionNode* const stays = NewOperator(token::kOr, nullptr, nullptr);
    SQLExpressionNode* const inner = NewOperator(token::kAnd, first, stays);
    SQLExpressionNode* const outer = NewOperator(token::kAnd, inner, second);
    first->parent = nullptr;
    second->parent = nullptr;
    expression_->root->left = outer;
    outer->parent = expression_->root;
    Stack<SQLTableReference> tables(false);
    tables.Push(table_.get());
    ASSERT_TRUE(
        generator_->ExtractCondition(table_.get(), tables, expression_->root, nullptr, nullptr));
    const SQLExpressionNode* const joined = table_->searchCondition;
    EXPECT_EQ(joined->left, first);
    EXPECT_EQ(joined->right, second);
}

// The right side of an element's node is empty. One that is not counts like any other operand.
TEST_F(UnparsedTrees, AnElementWithARightSideMovesWithIt) {
    SQLExpressionNode* const tested = NewNode(NodeKind::kLiteral);
    SQLExpressionNode* const group = NewNode(NodeKind::kGroup);
    group->right = NewOperator(token::kOr, nullptr, nullptr);
    SQLExpressionNode* const element = NewOperator(0, tested, group);
    EXPECT_EQ(Extracted(element), nullptr);
    group->right = NewNode(NodeKind::kLiteral);
    EXPECT_EQ(Extracted(element), element);
}

// --- indexes

TEST_F(UnparsedTrees, AComparisonWithoutItsOtherSideNeedsNoIndex) {
    ResolveColumn();
    EXPECT_EQ(IndexChosenFor(NewOperator(token::kEqual, NewColumn(), nullptr)), 0);
    EXPECT_EQ(IndexChosenFor(NewOperator(token::kEqual, NewColumn(), NewNode(NodeKind::kLiteral))),
              1);
}

TEST_F(UnparsedTrees, AColumnOfNoTableNeedsNoIndex) {
    ResolveColumn();
    column_.state = ColumnState::kTemporaryColumn;
    EXPECT_EQ(IndexChosenFor(NewOperator(token::kEqual, NewColumn(), NewNode(NodeKind::kLiteral))),
              0);
}

TEST_F(UnparsedTrees, AWrappedColumnUnderNoOperatorNeedsNoIndex) {
    ResolveColumn();
    SQLExpressionNode* const above =
        NewOperator(token::kEqual, NewOperator(token::kUpper, NewColumn(), nullptr),
                    NewNode(NodeKind::kLiteral));
    EXPECT_EQ(IndexChosenFor(above), 1);
    above->left->parent->kind = NodeKind::kElement;
    EXPECT_EQ(IndexChosenFor(above->left), 0);
}

TEST_F(UnparsedTrees, ATableThatIsNotBoundHasNoIndexes) {
    SQLTableReference unbound(generator_.get(), "t", "t");
    EXPECT_FALSE(unbound.LoadIndexes());
    EXPECT_EQ(generator_->ChooseIndex(&unbound, nullptr, 0), -1);
}

// --- names

TEST_F(UnparsedTrees, AReferenceWithItsSlotsIsNotResolvedAgain) {
    SQLColumnReference* const reference = query_->references->GetColumnReference("nowhere");
    reference->cursor = 0;
    reference->column = 0;
    EXPECT_TRUE(query_->references->ResolveColumns());
    reference->column = -1;
    EXPECT_FALSE(query_->references->ResolveColumns());
    EXPECT_EQ(Text(generator_->Error()), "Unknown field 'nowhere'");
}

TEST_F(UnparsedTrees, OnlyUsedColumnsOfTheTableAreOpened) {
    ResolveColumn();
    column_.useCount = 0;
    ASSERT_TRUE(table_->GenerateOpen());
    EXPECT_EQ(Listing(), "0 Cursor_Open 0 0 0 't'\n");
    column_.useCount = 1;
    column_.state = ColumnState::kTemporaryColumn;
    ASSERT_TRUE(table_->GenerateOpen());
    EXPECT_EQ(Listing(), "0 Cursor_Open 0 0 0 't'\n1 Cursor_Open 0 0 0 't'\n");
}

TEST_F(UnparsedTrees, AnItemOfATableIsAStarByItsNameOnly) {
    query_->AddTableStar("t");
    query_->currentSelected->name = "a";
    EXPECT_TRUE(query_->PrepareQuery());
    EXPECT_EQ(query_->selected->Count(), 1);
}

// --- GROUP BY and ORDER BY

TEST_F(UnparsedTrees, AnEmptyGroupingExpressionGroupsNoColumn) {
    query_->AddSelectedColumn()->expression->SetCountStar();
    query_->AddSelectedColumn()->expression->SetColumn("a");
    query_->NewGroupBy()->root->left = nullptr;
    ASSERT_TRUE(query_->NumberAggregates());
    EXPECT_FALSE(query_->CheckGroupBy());
}

TEST_F(UnparsedTrees, AGroupColumnTakesTheBucketThatIsMissing) {
    query_->AddSelectedColumn()->expression->SetCountStar();
    query_->AddSelectedColumn()->expression->SetColumn("a");
    query_->NewGroupBy()->SetColumn("a");
    ASSERT_TRUE(query_->NumberAggregates());
    query_->bucket = -1;
    ASSERT_TRUE(query_->CheckGroupBy());
    EXPECT_EQ(query_->bucket, 1);
}

TEST_F(UnparsedTrees, TermsThatAreNoColumnAreSorted) {
    OrderBy(nullptr);
    OrderBy(NewOperator(token::kUpper, nullptr, nullptr));
    OrderBy(NewColumn(), NewNode(NodeKind::kLiteral));
    ASSERT_TRUE(query_->PrepareOrderBy());
    EXPECT_EQ(query_->orderByColumns.Count(), 0);
    EXPECT_EQ(query_->temporaryTable, 0);
}

TEST_F(UnparsedTrees, ABlockWithoutATableIsSorted) {
    OrderBy(NewColumn());
    ASSERT_TRUE(query_->PrepareOrderBy());
    EXPECT_EQ(query_->temporaryTable, -1);
    ASSERT_TRUE(query_->OptimizeOrderBy());
    EXPECT_EQ(query_->temporaryTable, 0);
}

}  // namespace
}  // namespace ovrasql
