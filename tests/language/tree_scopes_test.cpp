#include <gtest/gtest.h>

#include <string>

#include "compile/tree/aggregates.h"
#include "compile/tree/complex_elements.h"
#include "compile/tree/sql_reference_manager.h"
#include "tests/language/tree_dump.h"

// Who sees whom: the scopes, blocks and targets that the parser hangs on what it builds. Name
// resolution and the search for movable conditions read nothing else.

namespace ovrasql {
namespace {

class TreeScopes : public ::testing::Test {
  protected:
    // The only statement of the test, parsed.
    SQLQuery* Select(const std::string& text) {
        EXPECT_TRUE(bench_.parser.Parse(TextView(text.data(), static_cast<int32_t>(text.size()))));
        return bench_.Query();
    }
    static SQLQuery* SubqueryOf(const SQLExpressionNode* node) {
        return dynamic_cast<SQLQuery*>(node->element);
    }

    ParserBench bench_;
};

TEST_F(TreeScopes, NumbersTheStatementTypes) {
    const struct {
        const char* text;
        int32_t type;
    } statements[] = {{"create table t (a char)", 0},
                      {"alter table t add a char", 1},
                      {"alter table t drop column a", 2},
                      {"drop table t", 3},
                      {"create index i on t (a)", 4},
                      {"drop index i", 5},
                      {"select a from t", 6},
                      {"insert into t values (1)", 7},
                      {"update t set a = 1", 8},
                      {"delete from t", 9}};
    for (const auto& statement : statements) {
        ASSERT_TRUE(bench_.parser.Parse(statement.text)) << statement.text;
        EXPECT_EQ(bench_.generator.Statement()->Type(), statement.type) << statement.text;
        EXPECT_NE(bench_.generator.Statement()->references, nullptr);
        EXPECT_EQ(bench_.generator.Statement()->generator, &bench_.generator);
    }
}

TEST_F(TreeScopes, GivesTheStatementsBlockTheStatementsScope) {
    SQLQuery* const query = Select("select a from t where b = 1");
    EXPECT_EQ(query->references, bench_.generator.Statement()->references);
    EXPECT_EQ(query->references->Parent(), nullptr);
    EXPECT_EQ(query->kind, SQLQuery::kRows);
    EXPECT_EQ(query->parentQuery, nullptr);
    EXPECT_EQ(query->updateTarget, nullptr);
    EXPECT_EQ(query->where->query, query);
    EXPECT_EQ(query->where->references, query->references);
    EXPECT_EQ(query->where->selectItem, 0);
}

TEST_F(TreeScopes, StartsEverySlotUnassigned) {
    const SQLQuery* const query = Select("select a from t");
    EXPECT_EQ(query->distinctBucket, -1);
    EXPECT_EQ(query->bucket, -1);
    EXPECT_EQ(query->unionBucket, -1);
    EXPECT_EQ(query->temporaryTable, -1);
    EXPECT_EQ(query->bucketFirstJump, -1);
    EXPECT_EQ(query->nextAccumulator, 0);
    EXPECT_EQ(query->selected->First()->position, -1);
    const SQLTableReference* const table = query->lastTable;
    EXPECT_EQ(table->cursor, -1);
    EXPECT_EQ(table->columnCount, 0);
    EXPECT_EQ(table->firstJump, -1);
    EXPECT_EQ(table->testJump, -1);
    EXPECT_EQ(table->stopJump, -1);
    EXPECT_EQ(table->loadIndexes, 0);
    EXPECT_EQ(table->keyValues, nullptr);
}

TEST_F(TreeScopes, SharesOneReferenceAmongUsesOfAName) {
    SQLQuery* const query = Select("select a, A, t.a from t where a = t.A");
    const SQLExpressionNode* const comparison = query->where->root->left;
    SQLColumnReference* const plain = comparison->left->column;
    SQLColumnReference* const qualified = comparison->right->column;
    EXPECT_NE(plain, qualified);
    EXPECT_EQ(plain->useCount, 3);
    EXPECT_EQ(qualified->useCount, 2);
    EXPECT_EQ(query->selected->First()->expression->root->left->column, plain);
}

TEST_F(TreeScopes, PutsASubqueryBelowItsBlock) {
    SQLQuery* const outer = Select("select a from t where b = (select c from u)");
    const SQLQuery* const inner = SubqueryOf(outer->where->root->left->right);
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(inner->kind, SQLQuery::kSingleValue);
    EXPECT_EQ(inner->parentQuery, outer);
    EXPECT_NE(inner->references, outer->references);
    EXPECT_EQ(inner->references->Parent(), outer->references);
}

TEST_F(TreeScopes, PutsAnInSubqueryBelowItsBlock) {
    SQLQuery* const outer = Select("select a from t where b in (select c from u)");
    auto* const in = dynamic_cast<SQLIn*>(outer->where->root->left->element);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(in->query, outer);
    EXPECT_EQ(in->subquery->kind, SQLQuery::kInList);
    EXPECT_EQ(in->subquery->parentQuery, outer);
    EXPECT_EQ(in->subquery->references->Parent(), outer->references);
}

// A sub-query inside BETWEEN has the scope, but not the block, around it.
TEST_F(TreeScopes, CutsElementExpressionsFromTheirBlock) {
    SQLQuery* const outer = Select("select sum(a) from t where b between (select c from u) and 2");
    auto* const between = dynamic_cast<SQLBetween*>(outer->where->root->left->element);
    ASSERT_NE(between, nullptr);
    EXPECT_EQ(between->low->query, nullptr);
    EXPECT_EQ(between->low->updateTarget, nullptr);
    const SQLQuery* const inner = SubqueryOf(between->low->root->left->left);
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(inner->parentQuery, nullptr);
    EXPECT_EQ(inner->references->Parent(), outer->references);
    const SQLAggregate* const sum = outer->selected->First()->expression->aggregates.First();
    EXPECT_EQ(sum->expression->query, nullptr);
    EXPECT_EQ(sum->expression->references, outer->references);
    EXPECT_EQ(sum->bucket, -1);
    EXPECT_EQ(sum->position, 0);
}

TEST_F(TreeScopes, MakesUnionBranchesSiblings) {
    SQLQuery* const outer = Select(
        "select a from t where b in (select c from u union select d "
        "from v) union select e from w");
    const SQLQuery* const branch = outer->unions.First()->query.get();
    EXPECT_NE(branch->references, outer->references);
    EXPECT_EQ(branch->references->Parent(), nullptr);
    EXPECT_EQ(branch->parentQuery, nullptr);
    auto* const in = dynamic_cast<SQLIn*>(outer->where->root->left->element);
    const SQLQuery* const inner = in->subquery->unions.First()->query.get();
    EXPECT_EQ(inner->references->Parent(), outer->references);
    EXPECT_EQ(inner->parentQuery, outer);
    EXPECT_EQ(inner->kind, SQLQuery::kRows);
}

TEST_F(TreeScopes, ShutsADerivedTableIn) {
    SQLQuery* const outer = Select(
        "select a from t, (select b from u where c = (select d from v)"
        ") x");
    const auto* const derived = dynamic_cast<SQLTableReferenceFromSelect*>(outer->lastTable);
    ASSERT_NE(derived, nullptr);
    EXPECT_EQ(outer->references->Tables().Find("X"), derived);
    EXPECT_TRUE(derived->name.IsEmpty());
    EXPECT_EQ(derived->query->references, derived->innerReferences.get());
    EXPECT_EQ(derived->innerReferences->Parent(), nullptr);
    EXPECT_EQ(derived->query->kind, SQLQuery::kRows);
    EXPECT_EQ(derived->query->parentQuery, nullptr);
    const SQLQuery* const inner = SubqueryOf(derived->query->where->root->left->right);
    EXPECT_EQ(inner->references->Parent(), derived->innerReferences.get());
}

TEST_F(TreeScopes, TellsAWrittenAliasFromTheName) {
    SQLQuery* const query = Select("select a from t, u u");
    const SQLTableReference* const plain = query->references->Tables().ItemAt(0);
    const SQLTableReference* const aliased = query->references->Tables().ItemAt(1);
    EXPECT_EQ(plain->alias.data, plain->name.data);
    EXPECT_NE(aliased->alias.data, aliased->name.data);
    EXPECT_EQ(DumpText(aliased->alias), "u");
}

// Two derived tables without a name have one alias, and none that was written.
TEST_F(TreeScopes, GivesNamelessDerivedTablesOneEmptyAlias) {
    SQLQuery* const query = Select("select a from (select a from t), (select a from t)");
    for (const SQLTableReference* table : query->references->Tables()) {
        EXPECT_TRUE(table->alias.IsEmpty());
        EXPECT_EQ(table->alias.data, table->name.data);
    }
    EXPECT_EQ(query->references->Tables().Count(), 2);
}

TEST_F(TreeScopes, KnowsAnEmptyExpression) {
    SQLQuery* const query = Select("select count(*) from t where (a) = 1");
    const SQLAggregate* const count = query->selected->First()->expression->aggregates.First();
    EXPECT_TRUE(count->expression->IsEmpty());
    EXPECT_FALSE(query->where->IsEmpty());
    query->where->root->left->kind = NodeKind::kGroup;
    EXPECT_FALSE(query->where->IsEmpty());
    query->where->root->left->left = nullptr;
    query->where->root->left->right = nullptr;
    EXPECT_TRUE(query->where->IsEmpty());
    query->where->root->left = nullptr;
    EXPECT_TRUE(query->where->IsEmpty());
}

}  // namespace
}  // namespace ovrasql
