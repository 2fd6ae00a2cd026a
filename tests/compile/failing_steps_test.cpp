// The operations of tables, aggregates and INSERT that answer success or failure: most of those
// that exist can't fail. What fails here are others in their places, and the statement fails with
// each.

#include <memory>
#include <string>

#include "compile/tree/aggregates.h"
#include "compile/tree/complex_elements.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"
#include "tests/compile/compile_database.h"

namespace ovrasql {
namespace {

// Its star, its opening and the end of its scan fail.
class FailingTable : public SQLTableReference {
  public:
    explicit FailingTable(SQLCodeGenerator* owner) : SQLTableReference(owner, "f", "f") {}
    [[nodiscard]] bool ExpandStar(SQLQuery* /*query*/) override {
        return generator->SetError("no star");
    }
    [[nodiscard]] bool GenerateOpen() override { return generator->SetError("no opening"); }
    [[nodiscard]] int32_t GenerateScanEnd() override {
        static_cast<void>(generator->SetError("no end"));
        return -1;
    }
};

class FailingAggregate : public SQLAggregateCount {
  public:
    using SQLAggregateCount::SQLAggregateCount;
    [[nodiscard]] bool GenerateDefault() override { return generator->SetError("no start value"); }
};

class FailingInsert : public SQLInsertStatement {
  public:
    FailingInsert(SQLCodeGenerator* owner, bool atColumns)
        : SQLInsertStatement(owner), atColumns_(atColumns) {
        SetTarget("t");
    }
    [[nodiscard]] bool GenerateColumns() override {
        return !atColumns_ || generator->SetError("no columns");
    }
    [[nodiscard]] bool GeneratePopColumns() override { return generator->SetError("no popping"); }

  private:
    bool atColumns_;
};

class FailingSteps : public CompileTest {
  protected:
    void SetUp() override { generator_ = std::make_unique<SQLCodeGenerator>(&TheSchema()); }

    // A table that fails, as the only one of the block, open and on the way to its rows.
    void AddFailingTable(SQLQuery* query) {
        SQLTableReference* const table =
            query->references->AddTable(std::make_unique<FailingTable>(generator_.get()));
        query->tableStack.Push(table);
    }
    SQLQuery* NewFailingSelect() {
        SQLQuery* const query = generator_->NewSelectStatement()->query.get();
        AddFailingTable(query);
        return query;
    }
    [[nodiscard]] std::string Error() const { return Text(generator_->Error()); }

    std::unique_ptr<SQLCodeGenerator> generator_;
};

TEST_F(FailingSteps, AStarThatDoesNotExpandFailsThePreparation) {
    SQLQuery all(generator_.get(), generator_->NewReferenceManager(nullptr));
    SQLQuery one(generator_.get(), generator_->NewReferenceManager(nullptr));
    all.SetAllColumns();
    one.AddTableStar("f");
    for (SQLQuery* query : {&all, &one}) {
        ASSERT_TRUE(query->references->BindTables());  // none yet: the failing one is not looked up
        AddFailingTable(query);
        EXPECT_FALSE(query->PrepareQuery());
        EXPECT_EQ(Error(), "no star");
    }
}

TEST_F(FailingSteps, ATableThatDoesNotOpenFailsTheOpeningOfAll) {
    SQLInsertStatement* const insert = generator_->NewInsertStatement();
    AddFailingTable(insert->NewQuery());
    EXPECT_FALSE(generator_->GenerateOpenCursors());
    EXPECT_EQ(Error(), "no opening");
    EXPECT_FALSE(insert->GenerateSelect());
}

TEST_F(FailingSteps, AScanThatDoesNotEndFailsTheSelect) {
    NewFailingSelect();
    EXPECT_FALSE(generator_->Statement()->Generate());
    EXPECT_EQ(Error(), "no end");
}

TEST_F(FailingSteps, AScanThatDoesNotEndFailsTheGroups) {
    SQLQuery* const query = NewFailingSelect();
    query->AddSelectedColumn()->expression->SetCountStar();
    ASSERT_TRUE(query->NumberAggregates());
    EXPECT_FALSE(query->GenerateBody());
    EXPECT_EQ(Error(), "no end");
}

TEST_F(FailingSteps, AScanThatDoesNotEndFailsTheDelete) {
    SQLDeleteStatement* const statement = generator_->NewDeleteStatement();
    AddFailingTable(statement->query.get());
    EXPECT_FALSE(statement->Generate());
    EXPECT_EQ(Error(), "no end");
}

TEST_F(FailingSteps, AScanThatDoesNotEndFailsTheInWithIt) {
    SQLQuery* const outer = generator_->NewSelectStatement()->query.get();
    SQLIn in(generator_.get(), outer->references, outer);
    AddFailingTable(in.NewSubquery());
    EXPECT_FALSE(in.Generate());
    EXPECT_EQ(Error(), "no end");
}

TEST_F(FailingSteps, AScanThatDoesNotEndFailsTheDerivedTable) {
    generator_->NewSelectStatement();
    SQLTableReferenceFromSelect derived(generator_.get());
    AddFailingTable(derived.query.get());
    derived.optimized = true;
    EXPECT_EQ(derived.GenerateScanStart(), -1);
    EXPECT_EQ(Error(), "no end");
}

TEST_F(FailingSteps, AnAggregateWithoutItsStartValueFailsTheBlock) {
    SQLQuery* const query = generator_->NewSelectStatement()->query.get();
    FailingAggregate aggregate(generator_.get(), query->references);
    query->aggregates.Insert(&aggregate, ListPlace::kTail);
    EXPECT_FALSE(query->GenerateBody());
    EXPECT_EQ(Error(), "no start value");
}

TEST_F(FailingSteps, ColumnsThatCannotBeWrittenFailTheInsert) {
    FailingInsert atColumns(generator_.get(), true);
    EXPECT_FALSE(atColumns.Generate());
    EXPECT_EQ(Error(), "no columns");
    FailingInsert atValues(generator_.get(), false);
    atValues.NewQuery();
    EXPECT_FALSE(atValues.Generate());
    EXPECT_EQ(Error(), "no popping");
}

}  // namespace
}  // namespace ovrasql
