#include "tests/language/tree_dump.h"

#include "compile/tree/aggregates.h"
#include "compile/tree/complex_elements.h"
#include "compile/tree/sql_reference_manager.h"
#include "language/keyword_lookup.h"

namespace ovrasql {

namespace {

std::string OperatorName(int32_t code) {
    if (code == token::kLengthFunction) {
        return "length";
    }
    if (code == token::kGreaterEqual) {
        return ">=";
    }
    if (code == token::kLessEqual) {
        return "<=";
    }
    for (int32_t row = 0; row < SQLKeywordLookup::Count(); ++row) {
        if (SQLKeywordLookup::Row(row).code == code) {
            return SQLKeywordLookup::Row(row).text;
        }
    }
    return "operator " + std::to_string(code);
}

std::string DumpColumn(const SQLColumnReference* column) {
    const std::string name = DumpText(column->name);
    return column->qualified ? DumpText(column->table) + "." + name : name;
}

std::string DumpAggregate(const SQLAggregate* aggregate) {
    std::string name = OperatorName(aggregate->function);
    if (dynamic_cast<const SQLAggregateCountDistinct*>(aggregate) != nullptr) {
        name += "-distinct";
    }
    const SQLExpression* const inner = aggregate->expression.get();
    return "(" + name + " " + (inner->IsEmpty() ? "*" : DumpExpression(inner)) + ")";
}

// An element over its tested value; SUBSTRING has none.
std::string DumpElementOperator(const SQLExpressionNode* node) {
    const std::string left = DumpNode(node->left);
    if (const auto* between = dynamic_cast<const SQLBetween*>(node->element)) {
        return "(between " + left + " " + DumpExpression(between->low.get()) + " " +
               DumpExpression(between->high.get()) + ")";
    }
    if (const auto* substring = dynamic_cast<const SQLSubstring*>(node->element)) {
        std::string parts =
            DumpExpression(substring->string.get()) + " " + DumpExpression(substring->start.get());
        if (substring->length != nullptr) {
            parts += " " + DumpExpression(substring->length.get());
        }
        return "(substring " + parts + ")";
    }
    const auto* in = dynamic_cast<const SQLIn*>(node->element);
    std::string text = "(in " + left;
    if (in->subquery != nullptr) {
        return text + " " + DumpQuery(in->subquery.get()) + ")";
    }
    for (const SQLExpressionNode* value : in->values) {
        text += " " + DumpNode(value);
    }
    return text + ")";
}

std::string DumpElement(const SQLComplexElement* element) {
    if (const auto* aggregate = dynamic_cast<const SQLAggregate*>(element)) {
        return DumpAggregate(aggregate);
    }
    const auto* query = dynamic_cast<const SQLQuery*>(element);
    return "(value " + DumpQuery(query) + ")";
}

std::string DumpLeaf(const SQLExpressionNode* node) {
    switch (node->kind) {
        case NodeKind::kLiteral:
            return "'" + DumpText(node->text) + "'";
        case NodeKind::kColumn:
            return DumpColumn(node->column);
        case NodeKind::kDynamic:
            return "?" + std::to_string(node->dynamicIndex);
        default:
            return DumpElement(node->element);
    }
}

std::string DumpItem(const SQLSelectedColumn* item) {
    if (item->correlation.length > 0) {
        return DumpText(item->correlation) + "." + DumpText(item->name);
    }
    const bool isRowNumber = item->type == SQLSelectedColumn::kRowNumber;
    return (isRowNumber ? "recno" : DumpExpression(item->expression.get())) + " as \"" +
           DumpText(item->name) + "\"";
}

std::string DumpTable(const SQLTableReference* table) {
    if (const auto* derived = dynamic_cast<const SQLTableReferenceFromSelect*>(table)) {
        return "(" + DumpQuery(derived->query.get()) + " " + DumpText(table->alias) + ")";
    }
    std::string text = DumpText(table->name);
    if (table->alias.data != table->name.data) {
        text += ":" + DumpText(table->alias);
    }
    if (table->outerLeft != nullptr) {
        text = "(outer " + DumpText(table->outerLeft->alias) + " " + text + " " +
               DumpExpression(table->on.get()) + ")";
    }
    return text;
}

std::string DumpColumns(const CollList<ColumnDefinition>& columns) {
    std::string text;
    for (const ColumnDefinition* column : columns) {
        text += " (" + DumpText(column->name) + " " + std::to_string(column->type) + " " +
                std::to_string(column->width) + " " + std::to_string(column->scale) + ")";
    }
    return text;
}

std::string DumpInsert(const SQLInsertStatement* statement) {
    std::string text = "(insert " + DumpText(statement->target->name) + " (columns";
    if (statement->allColumns != 0) {
        text += " *";
    }
    for (const SQLColumnReference* column : statement->columns) {
        text += " " + DumpColumn(column);
    }
    text += ")";
    if (statement->query != nullptr) {
        return text + " " + DumpQuery(statement->query.get()) + ")";
    }
    text += " (values";
    for (const SQLExpression* value : statement->values) {
        text += " " + DumpExpression(value);
    }
    return text + "))";
}

std::string DumpUpdate(const SQLUpdateStatement* statement) {
    std::string text = "(update " + DumpText(statement->target->name);
    for (const SQLUpdatedColumn* column : statement->columns) {
        text += " (set " + DumpColumn(column->column) + " " +
                DumpExpression(column->expression.get()) + ")";
    }
    if (statement->where != nullptr) {
        text += " (where " + DumpExpression(statement->where.get()) + ")";
    }
    return text + ")";
}

std::string DumpCreateIndex(const SQLCreateIndexStatement* statement) {
    std::string text = statement->unique != 0 ? "(create-unique-index " : "(create-index ";
    text += DumpText(statement->indexName) + " " + DumpText(statement->tableName);
    for (const SQLIndexColumn* column : statement->columns) {
        text += " (" + DumpText(column->name) + (column->ascending != 0 ? " asc)" : " desc)");
    }
    return text + ")";
}

std::string DumpDelete(const SQLDeleteStatement* statement) {
    std::string text = "(delete (targets";
    for (const SQLCorrelation* correlation : statement->correlations) {
        text += " " + DumpText(correlation->name);
    }
    return text + ") " + DumpQuery(statement->query.get()) + ")";
}

}  // namespace

std::string DumpText(TextView text) {
    return std::string(text.data, static_cast<size_t>(text.length));
}

std::string DumpNode(const SQLExpressionNode* node) {
    if (node == nullptr) {
        return "null";
    }
    if (node->kind == NodeKind::kGroup) {
        return node->left == nullptr ? "_" : "(group " + DumpNode(node->left) + ")";
    }
    if (node->kind != NodeKind::kOperator) {
        return node->left == nullptr ? DumpLeaf(node)
                                     : "(over " + DumpLeaf(node) + " " + DumpNode(node->left) + ")";
    }
    if (node->operatorCode == 0) {
        return DumpElementOperator(node);
    }
    std::string text = "(" + OperatorName(node->operatorCode) + " " + DumpNode(node->left);
    if (node->right != nullptr) {
        text += " " + DumpNode(node->right);
    }
    return text + ")";
}

std::string DumpExpression(const SQLExpression* expression) {
    return DumpNode(expression->root->left);
}

std::string DumpQuery(const SQLQuery* query) {
    std::string text = query->distinct != 0 ? "(select-distinct" : "(select";
    if (query->allColumns != 0) {
        text += " *";
    }
    for (const SQLSelectedColumn* item : *query->selected) {
        text += " " + DumpItem(item);
    }
    text += " (from";
    for (const SQLTableReference* table : query->references->Tables()) {
        text += " " + DumpTable(table);
    }
    text += ")";
    if (query->where != nullptr) {
        text += " (where " + DumpExpression(query->where.get()) + ")";
    }
    if (query->groupBy.Count() > 0) {
        text += " (group-by";
        for (const SQLExpression* term : query->groupBy) {
            text += " " + DumpExpression(term);
        }
        text += ")";
    }
    for (const SQLUnion* branch : query->unions) {
        text += branch->distinct != 0 ? " (union " : " (union-all ";
        text += DumpQuery(branch->query.get()) + ")";
    }
    if (query->orderBy.Count() > 0) {
        text += " (order-by";
        for (const SQLOrderBy* term : query->orderBy) {
            text += " " + DumpExpression(term->expression.get()) +
                    (term->ascending != 0 ? " asc" : " desc");
        }
        text += ")";
    }
    return text + ")";
}

std::string DumpStatement(const SQLStatement* statement) {
    if (const auto* create = dynamic_cast<const SQLCreateTableStatement*>(statement)) {
        return "(create-table " + DumpText(create->tableName) + DumpColumns(create->columns) + ")";
    }
    if (const auto* add = dynamic_cast<const SQLAlterTableAddStatement*>(statement)) {
        return "(alter-add " + DumpText(add->tableName) + DumpColumns(add->columns) + ")";
    }
    if (const auto* drop = dynamic_cast<const SQLAlterTableDropStatement*>(statement)) {
        return "(alter-drop " + DumpText(drop->tableName) + " " + DumpText(drop->columnName) + ")";
    }
    if (const auto* drop = dynamic_cast<const SQLDropTableStatement*>(statement)) {
        return "(drop-table \"" + DumpText(drop->tableName) + "\")";
    }
    if (const auto* create = dynamic_cast<const SQLCreateIndexStatement*>(statement)) {
        return DumpCreateIndex(create);
    }
    if (const auto* drop = dynamic_cast<const SQLDropIndexStatement*>(statement)) {
        return "(drop-index \"" + DumpText(drop->indexName) + "\")";
    }
    if (const auto* select = dynamic_cast<const SQLSelectStatement*>(statement)) {
        return DumpQuery(select->query.get());
    }
    if (const auto* insert = dynamic_cast<const SQLInsertStatement*>(statement)) {
        return DumpInsert(insert);
    }
    if (const auto* update = dynamic_cast<const SQLUpdateStatement*>(statement)) {
        return DumpUpdate(update);
    }
    if (const auto* remove = dynamic_cast<const SQLDeleteStatement*>(statement)) {
        return DumpDelete(remove);
    }
    return "no statement";
}

std::string ParserBench::Parse(const std::string& text) {
    if (!parser.Parse(TextView(text.data(), static_cast<int32_t>(text.size())))) {
        return DumpText(parser.Error());
    }
    return DumpStatement(generator.Statement());
}

std::string ParserBench::Condition(const std::string& text) {
    const std::string whole = Parse("select a from t where " + text);
    return generator.Statement() == nullptr ? whole : DumpExpression(Query()->where.get());
}

std::string ParserBench::Value(const std::string& text) {
    const std::string whole = Parse("select " + text + " from t");
    return generator.Statement() == nullptr
               ? whole
               : DumpExpression(Query()->selected->First()->expression.get());
}

}  // namespace ovrasql
