#pragma once

// The statement classes: what the parser makes of one text and the compiler turns into a program.
//
// The code generator owns the statement; the statement owns its queries, lists and expressions.
// Names are borrowed from the statement text, which the parser keeps as long as the program runs.

#include <cstdint>
#include <memory>

#include "compile/tree/select_items.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"
#include "foundation/coll_list.h"
#include "foundation/hash_table.h"
#include "foundation/list.h"
#include "foundation/text_view.h"
#include "schema/column_definition.h"
#include "schema/sql_index_column.h"

namespace ovrasql {

class SQLQuery;

class SQLStatement {
  public:
    // Takes a new outermost scope from the generator.
    explicit SQLStatement(SQLCodeGenerator* owner);
    virtual ~SQLStatement();
    SQLStatement(const SQLStatement&) = delete;
    SQLStatement& operator=(const SQLStatement&) = delete;

    [[nodiscard]] virtual int32_t Type() const = 0;
    [[nodiscard]] virtual bool Generate() = 0;
    [[nodiscard]] virtual bool Prepare();
    [[nodiscard]] virtual bool Optimize();

    SQLCodeGenerator* const generator;
    SQLReferenceManager* const references;
};

class SQLCreateTableStatement : public SQLStatement {
  public:
    explicit SQLCreateTableStatement(SQLCodeGenerator* owner);
    [[nodiscard]] int32_t Type() const override { return 0; }
    [[nodiscard]] bool Generate() override;

    TextView tableName;
    CollList<ColumnDefinition> columns;
};

class SQLAlterTableStatement : public SQLStatement {
  public:
    using SQLStatement::SQLStatement;

    TextView tableName;
};

class SQLAlterTableAddStatement : public SQLAlterTableStatement {
  public:
    explicit SQLAlterTableAddStatement(SQLCodeGenerator* owner);
    [[nodiscard]] int32_t Type() const override { return 1; }
    [[nodiscard]] bool Generate() override;

    CollList<ColumnDefinition> columns;
};

class SQLAlterTableDropStatement : public SQLAlterTableStatement {
  public:
    using SQLAlterTableStatement::SQLAlterTableStatement;
    [[nodiscard]] int32_t Type() const override { return 2; }
    [[nodiscard]] bool Generate() override;

    TextView columnName;
};

class SQLDropTableStatement : public SQLStatement {
  public:
    using SQLStatement::SQLStatement;
    [[nodiscard]] int32_t Type() const override { return 3; }
    [[nodiscard]] bool Generate() override;

    TextView tableName;
};

class SQLCreateIndexStatement : public SQLStatement {
  public:
    explicit SQLCreateIndexStatement(SQLCodeGenerator* owner);
    [[nodiscard]] int32_t Type() const override { return 4; }
    [[nodiscard]] bool Generate() override;

    // The new column becomes currentColumn.
    void AddColumn(TextView name);

    int32_t unique = 0;
    TextView indexName;
    TextView tableName;
    SQLIndexColumn* currentColumn = nullptr;
    List<SQLIndexColumn> columns;
};

class SQLDropIndexStatement : public SQLStatement {
  public:
    using SQLStatement::SQLStatement;
    [[nodiscard]] int32_t Type() const override { return 5; }
    [[nodiscard]] bool Generate() override;

    TextView indexName;
};

class SQLSelectStatement : public SQLStatement {
  public:
    explicit SQLSelectStatement(SQLCodeGenerator* owner);
    ~SQLSelectStatement() override;
    [[nodiscard]] int32_t Type() const override { return 6; }
    [[nodiscard]] bool Generate() override;
    [[nodiscard]] bool Prepare() override;
    [[nodiscard]] bool Optimize() override;

    std::unique_ptr<SQLQuery> query;
};

class SQLInsertStatement : public SQLStatement {
  public:
    explicit SQLInsertStatement(SQLCodeGenerator* owner);
    ~SQLInsertStatement() override;
    [[nodiscard]] int32_t Type() const override { return 7; }
    [[nodiscard]] bool Generate() override;
    [[nodiscard]] bool Prepare() override;
    [[nodiscard]] bool Optimize() override;
    [[nodiscard]] virtual bool BindTarget();
    [[nodiscard]] virtual bool GenerateOpen();
    [[nodiscard]] virtual bool GenerateColumns();
    [[nodiscard]] virtual bool GeneratePopColumns();
    [[nodiscard]] virtual bool GenerateValues();
    [[nodiscard]] virtual bool GenerateSelect();

    void SetTarget(TextView name);
    // A name written twice is two entries.
    SQLColumnReference* AddColumn(TextView name);
    SQLExpression* NewValue();
    SQLQuery* NewQuery();

    int32_t allColumns = 0;           // no column list was written
    std::unique_ptr<SQLQuery> query;  // null for VALUES
    HashTable<SQLColumnReference> columns;
    List<SQLExpression> values;
    std::unique_ptr<SQLTableReference> target;  // outside every scope: values can't name it
};

class SQLUpdateStatement : public SQLStatement {
  public:
    explicit SQLUpdateStatement(SQLCodeGenerator* owner);
    [[nodiscard]] int32_t Type() const override { return 8; }
    [[nodiscard]] bool Generate() override;

    // Must come first: the expressions below are made with the target.
    void SetTarget(TextView name);
    SQLExpression* AddColumn(TextView name);
    SQLExpression* NewWhere();

    List<SQLUpdatedColumn> columns;
    SQLTableReference* target = nullptr;  // owned by the scope
    std::unique_ptr<SQLExpression> where;
};

// A name written in front of FROM in DELETE.
struct SQLCorrelation {
    TextView name;
};
inline TextView ItemName(const SQLCorrelation& correlation) { return correlation.name; }

class SQLDeleteStatement : public SQLStatement {
  public:
    explicit SQLDeleteStatement(SQLCodeGenerator* owner);
    ~SQLDeleteStatement() override;
    [[nodiscard]] int32_t Type() const override { return 9; }
    [[nodiscard]] bool Generate() override;
    [[nodiscard]] bool Prepare() override;
    [[nodiscard]] bool Optimize() override;

    void AddCorrelation(TextView name);

    HashTable<SQLCorrelation> correlations;
    List<SQLTableReference> targets;  // not owned
    std::unique_ptr<SQLQuery> query;  // holds the tables and the WHERE; selects nothing
};

}  // namespace ovrasql
