#include <string>
#include <string_view>
#include <vector>

#include "compile/tree/aggregates.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"
#include "compile/work_stack.h"
#include "language/tokens.h"
#include "tests/compile/compile_database.h"

// A part that has no code fails the whole statement, wherever it stands: no program is made of the
// rest. The parser leaves no such part, so the literal 'fail' is turned into one behind it.

namespace ovrasql {
namespace {

void Spoil(SQLExpression* expression) {
    if (expression == nullptr) {
        return;
    }
    WorkStack<SQLExpressionNode*> nodes;
    nodes.Push(expression->root);
    while (!nodes.IsEmpty()) {
        SQLExpressionNode* const node = nodes.Pop();
        if (node == nullptr) {
            continue;
        }
        if (node->kind == NodeKind::kLiteral && node->text == TextView("fail")) {
            node->kind = NodeKind::kOperator;
            node->operatorCode = token::kSelect;  // no operator, and not in the table of them
        }
        nodes.Push(node->left);
        nodes.Push(node->right);
    }
    for (SQLAggregate* aggregate : expression->aggregates) {
        Spoil(aggregate->expression.get());
    }
}

void Spoil(SQLQuery& query) {
    for (SQLSelectedColumn* item : *query.selected) {
        Spoil(item->expression.get());
    }
    Spoil(query.where.get());
    for (SQLExpression* expression : query.groupBy) {
        Spoil(expression);
    }
    for (SQLOrderBy* term : query.orderBy) {
        Spoil(term->expression.get());
    }
    for (SQLTableReference* table : query.references->Tables()) {
        Spoil(table->on.get());
        if (auto* derived = dynamic_cast<SQLTableReferenceFromSelect*>(table)) {
            Spoil(*derived->query);
        }
    }
    for (SQLUnion* branch : query.unions) {
        Spoil(*branch->query);
    }
}

class FailingPart : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table t (a char(5), b char(5), n numeric(4))");
        Define("create table u (a char(5))");
        Define("create index byNumber on t (n)");
    }

    // What the compiler says of the statement, whose 'fail' has no code.
    std::string Refusal(std::string_view sql) {
        SQLCodeGenerator generator(&TheSchema());
        SQLParser parser(&generator);
        if (!parser.Parse(View(sql))) {
            return Text(parser.Error());
        }
        if (auto* select = dynamic_cast<SQLSelectStatement*>(generator.Statement())) {
            Spoil(*select->query);
        } else if (auto* update = dynamic_cast<SQLUpdateStatement*>(generator.Statement())) {
            Spoil(update->where.get());
            for (SQLUpdatedColumn* column : update->columns) {
                Spoil(column->expression.get());
            }
        } else if (auto* removal = dynamic_cast<SQLDeleteStatement*>(generator.Statement())) {
            Spoil(*removal->query);
        }
        return generator.Compile() ? "a program" : Text(generator.Error());
    }

    void ExpectRefusals(const std::vector<std::string_view>& statements) {
        for (const std::string_view sql : statements) {
            EXPECT_EQ(Refusal(sql), "Unknown operator") << sql;
        }
    }
};

TEST_F(FailingPart, CompilesWithoutTheLiteral) {
    EXPECT_EQ(Refusal("select a, 'right' from t where b = 'right'"), "a program");
}

TEST_F(FailingPart, FailsInTheSelectList) {
    ExpectRefusals({
        "select a, 'fail' from t",
        "select distinct 'fail' from t",
        "select a from (select 'fail' as a from t) x",
    });
}

TEST_F(FailingPart, FailsInACondition) {
    ExpectRefusals({
        "select a from t where b = 'fail'",
        "select a from t where a = 'x' or b = 'fail'",
        "select t.a from t left outer join u on u.a = 'fail'",
        "select t.a from t left outer join u on u.a = t.a or u.a = 'fail'",
        "delete from t where b = 'fail'",
        "update t set a = 'x' where b = 'fail'",
        "update t set a = 'x' where a = 'x' or b = 'fail'",
        "update t set a = 'fail'",
    });
}

// The value is wanted ahead of the loop, as a key of the index or the bound of a scan in its order.
TEST_F(FailingPart, FailsInAValueThatAnIndexServes) {
    ExpectRefusals({
        "select a from t where n = 'fail'",
        "select a from t where n > 'fail'",
        "select a from t where n < 'fail'",
        "update t set a = 'x' where n = 'fail'",
    });
}

TEST_F(FailingPart, FailsInAnyBlockOfAUnion) {
    ExpectRefusals({
        "select 'fail' from t union select a from u",
        "select 'fail' from t union all select a from u",
        "select a from t union select 'fail' from u",
        "select a from t where b = 'fail' union all select a from u",
    });
}

TEST_F(FailingPart, FailsInATermOfOrderBy) {
    ExpectRefusals({"select a from t order by b + 'fail'"});
}

TEST_F(FailingPart, FailsInAGroupOrAnAggregate) {
    ExpectRefusals({
        "select count(*) from t where b = 'fail'",
        "select a, count(*) from t group by a, 'fail'",
        "select sum('fail') from t",
        "select count('fail') from t",
        "select count(distinct 'fail') from t",
    });
}

}  // namespace
}  // namespace ovrasql
