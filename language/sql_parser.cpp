#include "language/sql_parser.h"

#include <cstring>
#include <utility>

#include "compile/sql_code_generator.h"

namespace ovrasql {

SQLParser::SQLParser(SQLCodeGenerator* generator) : generator_(generator) {}

SQLParser::~SQLParser() = default;

bool SQLParser::Parse(TextView text) {
    auto copy = std::make_unique_for_overwrite<char[]>(static_cast<size_t>(text.length));
    std::memcpy(copy.get(), text.data, static_cast<size_t>(text.length));
    const TextView kept(copy.get(), text.length);
    // The old tree goes before the text that its names point into.
    generator_->Reset(kept);
    text_ = std::move(copy);
    scanner_.Start(kept);
    error_.Clear();
    nesting_ = 0;
    Next();
    if (ParseStatement()) {
        return true;
    }
    // No pass may meet a half-built tree, whose derived tables are gone already.
    generator_->Reset(kept);
    return false;
}

// statement: ("alter" "table" ... | "create" ... | "delete" ... | "drop" ... | "insert" ...
//             | "select" ... | "update" ...) end of text
bool SQLParser::ParseStatement() {
    const int32_t start = scanner_.Token();
    bool parsed = false;
    switch (start) {
        case token::kAlter:
            parsed = ParseAlter();
            break;
        case token::kCreate:
            parsed = ParseCreate();
            break;
        case token::kDelete:
            Next();
            parsed = ParseDelete();
            break;
        case token::kDrop:
            parsed = ParseDrop();
            break;
        case token::kInsert:
            Next();
            parsed = ParseInsert();
            break;
        case token::kSelect:
            Next();
            parsed = ParseSelect();
            break;
        case token::kUpdate:
            Next();
            parsed = ParseUpdate();
            break;
        default:
            return SetError("Syntax Error: Empty SQL Statement");
    }
    return parsed && (Is(token::kTokenEnd) || UnfinishedError());
}

// alter: "alter" "table" alter table
bool SQLParser::ParseAlter() {
    if (!ExpectNext(token::kTable, "TABLE")) {
        return false;
    }
    Next();
    return ParseAlterTable();
}

// create: "create" (create index | "table" create table)
bool SQLParser::ParseCreate() {
    Next();
    if (Is(token::kIndex) || Is(token::kUnique)) {
        return ParseCreateIndex();
    }
    return Take(token::kTable, "TABLE") && ParseCreateTable();
}

// drop: "drop" ("index" drop index | "table" drop table)
bool SQLParser::ParseDrop() {
    Next();
    if (Is(token::kIndex)) {
        Next();
        return ParseDropIndex();
    }
    return Take(token::kTable, "TABLE or INDEX") && ParseDropTable();
}

// --- messages ----------------------------------------------------------------------------------

bool SQLParser::SetError(TextView text) {
    error_.Assign(text);
    return false;
}

bool SQLParser::ExpectedError(TextView what) {
    if (Is(token::kTokenEnd)) {
        error_ = String::Join({"Syntax Error: Expected ", what, " at end of query"});
    } else {
        error_ = String::Join({"Syntax Error: Expected ", what, ", found '", Text(), "'"});
    }
    return false;
}

bool SQLParser::UnexpectedError() {
    error_ = String::Join({"Syntax Error: '", Text(), "' unexpected"});
    return false;
}

bool SQLParser::MismatchedError() { return SetError("Syntax Error: Mismatched parentheses"); }

bool SQLParser::UnfinishedError() {
    return SetError("Syntax Error: SQL command not properly ended");
}

bool SQLParser::NestingLevel::Check() const {
    return parser_->nesting_ <= kMaximumNesting ||
           parser_->SetError("Syntax Error: Statement is nested too deeply");
}

// --- steps -------------------------------------------------------------------------------------

bool SQLParser::Expect(int32_t code, TextView what) { return Is(code) || ExpectedError(what); }

bool SQLParser::ExpectNext(int32_t code, TextView what) {
    Next();
    return Expect(code, what);
}

bool SQLParser::Take(int32_t code, TextView what) {
    if (!Expect(code, what)) {
        return false;
    }
    Next();
    return true;
}

// Required: some forms have one message for a missing ")" and some the other.
bool SQLParser::TakeMatchingParenthesis() {
    if (!Is(token::kCloseParenthesis)) {
        return MismatchedError();
    }
    Next();
    return true;
}

bool SQLParser::TakeCloseParenthesis() {
    return Take(token::kCloseParenthesis, "close parenthesis");
}

}  // namespace ovrasql
