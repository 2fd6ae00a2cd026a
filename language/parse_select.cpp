#include <memory>
#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_statements.h"
#include "language/sql_parser.h"

// SELECT: the query block with its unions, FROM and ORDER BY. The block is also the inside of
// sub-queries, of derived tables and of INSERT.
//
// There is no HAVING and no other join than LEFT OUTER JOIN; whatever follows a block that no rule
// takes is left to the rule around it.

namespace ovrasql {

// select: query block [order by]
bool SQLParser::ParseSelect() {
    SQLQuery* const query = generator_->NewSelectStatement()->query.get();
    return ParseQueryBlock(query) && ParseOptionalOrderBy(query);
}

// query block: one block {"union" ["all"] "select" one block}
bool SQLParser::ParseQueryBlock(SQLQuery* first) {
    const NestingLevel level(this);
    return level.Check() && ParseBlockAndUnions(first);
}

bool SQLParser::ParseBlockAndUnions(SQLQuery* first) {
    if (!ParseOneBlock(first, first)) {
        return false;
    }
    while (Is(token::kUnion)) {
        const bool keepsDuplicates = Next() == token::kAll;
        if (keepsDuplicates) {
            Next();
        }
        SQLQuery* const branch = first->AddUnion(!keepsDuplicates);
        if (!Take(token::kSelect, "SELECT") || !ParseOneBlock(first, branch)) {
            return false;
        }
    }
    return true;
}

// one block: ["all"] ["distinct"] select list "from" from item {"," from item}
//            ["where" condition] ["group" "by" value {"," value}]
bool SQLParser::ParseOneBlock(SQLQuery* first, SQLQuery* block) {
    if (Is(token::kAll)) {
        Next();
    }
    if (Is(token::kDistinct)) {
        block->distinct = 1;
        Next();
    }
    if (!ParseSelectList(block) || !Expect(token::kFrom, "FROM")) {
        return false;
    }
    do {
        Next();
        if (!ParseFromItem(first, block)) {
            return false;
        }
    } while (Is(token::kComma));
    if (Is(token::kWhere)) {
        Next();
        if (!ParseCondition(block->NewWhere())) {
            return false;
        }
    }
    return !Is(token::kGroup) || ParseGroupBy(block);
}

// select list: "*" | select item {"," select item}
bool SQLParser::ParseSelectList(SQLQuery* block) {
    if (Is(token::kStar)) {
        block->SetAllColumns();
        Next();
        return true;
    }
    if (!ParseSelectItem(block)) {
        return false;
    }
    while (Is(token::kComma)) {
        Next();
        if (!ParseSelectItem(block)) {
            return false;
        }
    }
    return true;
}

// select item: name "." "*" | ("recno" | value) ["as" name]
bool SQLParser::ParseSelectItem(SQLQuery* block) {
    const int32_t start = scanner_.TokenStart();
    if (Is(token::kTokenIdentifier) && ParseTableStar(block)) {
        return true;
    }
    SQLSelectedColumn* const item = block->AddSelectedColumn();
    if (Is(token::kRecno)) {
        item->type = SQLSelectedColumn::kRowNumber;
        Next();
    } else if (!ParseValue(item->expression.get())) {
        return false;
    }
    return ParseItemName(item, start);
}

// Looks past a name for ".*". When it isn't there, the name is current again.
bool SQLParser::ParseTableStar(SQLQuery* block) {
    const TextView table = Text();
    if (Next() == token::kPoint) {
        if (Next() == token::kStar) {
            block->AddTableStar(table);
            Next();
            return true;
        }
        scanner_.PushBackToken();
    }
    scanner_.PushBackToken();
    return false;
}

// A bare column names its item in the spelling typed there; two items may share one reference.
// Any other item is named by its source text, which begins behind an opening quote and ends before
// a closing one.
bool SQLParser::ParseItemName(SQLSelectedColumn* item, int32_t start) {
    if (Is(token::kAs)) {
        if (!ExpectNext(token::kTokenIdentifier, "identifier")) {
            return false;
        }
        item->name = Text();
        Next();
        return true;
    }
    const bool isColumn = item->type == SQLSelectedColumn::kExpression &&
                          item->expression->root->left->kind == NodeKind::kColumn;
    item->name = isColumn ? scanner_.PreviousText() : scanner_.Text(start, scanner_.PreviousEnd());
    return true;
}

// from item: derived table | table spec
bool SQLParser::ParseFromItem(SQLQuery* first, SQLQuery* block) {
    return Is(token::kOpenParenthesis) ? ParseDerivedTable(first) : ParseTableSpec(block);
}

// table spec: name [alias] {"left" "outer" "join" name [alias] "on" condition}
bool SQLParser::ParseTableSpec(SQLQuery* query) {
    TextView name;
    TextView alias;
    if (!ParseTableAndAlias(&name, &alias)) {
        return false;
    }
    query->AddTable(name, alias);
    while (Is(token::kLeft)) {
        if (!ExpectNext(token::kOuter, "OUTER") || !ExpectNext(token::kJoin, "JOIN")) {
            return false;
        }
        Next();
        if (!ParseTableAndAlias(&name, &alias)) {
            return false;
        }
        query->AddOuterTable(name, alias);
        if (!Take(token::kOn, "ON") || !ParseCondition(query->NewOn())) {
            return false;
        }
    }
    return true;
}

// An alias that was not written is the very text of the name; that is how the two are told apart.
bool SQLParser::ParseTableAndAlias(TextView* name, TextView* alias) {
    if (!Expect(token::kTokenIdentifier, "identifier")) {
        return false;
    }
    *name = Text();
    *alias = *name;
    if (Next() == token::kTokenIdentifier) {
        *alias = Text();
        Next();
    }
    return true;
}

// derived table: "(" "select" query block [order by] ")" [["as"] alias]
// Required: it joins the tables of the first block, also when a later union branch names it.
bool SQLParser::ParseDerivedTable(SQLQuery* first) {
    if (!ExpectNext(token::kSelect, "SELECT")) {
        return false;
    }
    Next();
    auto derived = std::make_unique<SQLTableReferenceFromSelect>(generator_);
    SQLQuery* const query = derived->query.get();
    if (!ParseQueryBlock(query) || !ParseOptionalOrderBy(query) || !TakeCloseParenthesis() ||
        !ParseDerivedTableAlias(derived.get())) {
        return false;
    }
    first->AddFromSelect(std::move(derived));
    return true;
}

bool SQLParser::ParseDerivedTableAlias(SQLTableReferenceFromSelect* derived) {
    if (Is(token::kAs)) {
        if (!ExpectNext(token::kTokenIdentifier, "identifier")) {
            return false;
        }
    } else if (!Is(token::kTokenIdentifier)) {
        return true;
    }
    derived->alias = Text();
    Next();
    return true;
}

// group by: "group" "by" value {"," value}
bool SQLParser::ParseGroupBy(SQLQuery* block) {
    if (!ExpectNext(token::kBy, "BY")) {
        return false;
    }
    do {
        Next();
        if (!ParseValue(block->NewGroupBy())) {
            return false;
        }
    } while (Is(token::kComma));
    return true;
}

// order by: "order" "by" order term {"," order term}
bool SQLParser::ParseOptionalOrderBy(SQLQuery* query) {
    if (!Is(token::kOrder)) {
        return true;
    }
    if (!ExpectNext(token::kBy, "BY")) {
        return false;
    }
    do {
        Next();
        if (!ParseOrderTerm(query)) {
            return false;
        }
    } while (Is(token::kComma));
    return true;
}

// order term: value ["asc" | "desc"]
bool SQLParser::ParseOrderTerm(SQLQuery* query) {
    if (!ParseValue(query->NewOrderBy())) {
        return false;
    }
    if (Is(token::kAsc) || Is(token::kDesc)) {
        query->currentOrderBy->ascending = Is(token::kAsc) ? 1 : 0;
        Next();
    }
    return true;
}

}  // namespace ovrasql
