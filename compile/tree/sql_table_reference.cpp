#include "compile/tree/sql_table_reference.h"

#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"

namespace ovrasql {

namespace {

// Name and first alias of every derived table: one text, as no alias was written.
constexpr TextView kNoName;

}  // namespace

SQLTableReference::SQLTableReference(SQLCodeGenerator* owner, TextView tableName,
                                     TextView tableAlias)
    : generator(owner),
      name(tableName),
      alias(tableAlias),
      extraConditions(true),
      columns(false, true) {}

SQLTableReference::~SQLTableReference() = default;

SQLTableReferenceFromSelect::SQLTableReferenceFromSelect(SQLCodeGenerator* owner)
    : SQLTableReference(owner, kNoName, kNoName),
      innerReferences(std::make_unique<SQLReferenceManager>(owner, nullptr)),
      query(std::make_unique<SQLQuery>(owner, innerReferences.get())),
      ownColumns(true) {}

SQLTableReferenceFromSelect::~SQLTableReferenceFromSelect() = default;

}  // namespace ovrasql
