#include "language/keyword_lookup.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "language/tokens.h"

// The table of words is part of the dialect: what is reserved can't be a name, and the codes are
// stored in trees and shown in program dumps. So the whole table stands here a second time.

namespace ovrasql {
namespace {

// In the order of their codes, 1 to 226.
const char* const kWords[] = {"absolute",
                              "add",
                              "all",
                              "allocate",
                              "alter",
                              "and",
                              "any",
                              "are",
                              "as",
                              "asc",
                              "assertion",
                              "at",
                              "authorization",
                              "avg",
                              "begin",
                              "between",
                              "bit",
                              "bit_length",
                              "by",
                              "cascade",
                              "cascaded",
                              "case",
                              "cast",
                              "catalog",
                              "char",
                              "char_length",
                              "character",
                              "character_length",
                              "check",
                              "close",
                              "coalesce",
                              "collate",
                              "collation",
                              "column",
                              "commit",
                              "connect",
                              "connection",
                              "constraint",
                              "constraints",
                              "continue",
                              "convert",
                              "corresponding",
                              "count",
                              "create",
                              "current",
                              "current_date",
                              "current_time",
                              "current_timestamp",
                              "cursor",
                              "date",
                              "day",
                              "deallocate",
                              "dec",
                              "decimal",
                              "declare",
                              "default",
                              "deferrable",
                              "deferred",
                              "delete",
                              "desc",
                              "describe",
                              "descriptor",
                              "diagnostics",
                              "dictionary",
                              "disconect",
                              "displacement",
                              "distinct",
                              "domain_disabled",
                              "double",
                              "drop",
                              "else",
                              "end",
                              "end-exec",
                              "escape",
                              "except",
                              "exception",
                              "exec",
                              "execute",
                              "exists",
                              "external",
                              "extract",
                              "false",
                              "fetch",
                              "first",
                              "float",
                              "for",
                              "foreign",
                              "found",
                              "from",
                              "full",
                              "get",
                              "global",
                              "go",
                              "goto",
                              "grant",
                              "group",
                              "having",
                              "hour",
                              "identity",
                              "ignore",
                              "immediate",
                              "in",
                              "include",
                              "index",
                              "indicator",
                              "initially",
                              "inner",
                              "input",
                              "insensitive",
                              "insert",
                              "int",
                              "integer",
                              "intersect",
                              "interval",
                              "into",
                              "is",
                              "isolation",
                              "join",
                              "key",
                              "language",
                              "last",
                              "left",
                              "level",
                              "like",
                              "local",
                              "lower",
                              "match",
                              "max",
                              "min",
                              "minute",
                              "module_disabled",
                              "month",
                              "names",
                              "national",
                              "nchar",
                              "next",
                              "not",
                              "null",
                              "nullif",
                              "numeric",
                              "octet_length",
                              "of",
                              "off",
                              "on",
                              "only",
                              "open",
                              "option",
                              "or",
                              "order",
                              "outer",
                              "output",
                              "overlaps",
                              "partial",
                              "position",
                              "precision",
                              "prepare",
                              "preserve",
                              "primary",
                              "prior",
                              "privileges",
                              "procedure",
                              "public",
                              "read",
                              "real",
                              "references",
                              "restrict",
                              "revoke",
                              "right",
                              "rollback",
                              "rows",
                              "schema",
                              "scroll",
                              "second",
                              "section",
                              "select",
                              "set",
                              "size",
                              "smallint",
                              "some",
                              "sql",
                              "sqlca",
                              "sqlcode",
                              "sqlerror",
                              "sqlstate",
                              "sqlwarning",
                              "substring",
                              "sum",
                              "system",
                              "table",
                              "temporary",
                              "then",
                              "time",
                              "timestamp",
                              "timezone_hour",
                              "timezone_minute",
                              "to",
                              "transaction",
                              "translate",
                              "translation",
                              "true",
                              "union",
                              "unique",
                              "unknown",
                              "update",
                              "upper",
                              "usage",
                              "user",
                              "using",
                              "value_disabled",
                              "values",
                              "varchar",
                              "varying",
                              "view",
                              "when",
                              "whenever",
                              "where",
                              "with",
                              "work",
                              "write",
                              "year",
                              "zone",
                              "memo",
                              "bool",
                              "boolean",
                              "recno",
                              "ifnull"};

const std::map<std::string, int32_t> kMarks = {
    {",", 1000}, {"(", 1001},  {")", 1002},       {"<", 1003},      {">", 1004}, {".", 1005},
    {":", 1006}, {"=", 1007},  {"*", 1008},       {"+", 1009},      {"-", 1010}, {"?", 1011},
    {"/", 1012}, {"<>", 1013}, {">_equal", 1014}, {"<_equal", 1015}};

TextView View(const std::string& text) {
    return TextView(text.data(), static_cast<int32_t>(text.size()));
}

int32_t CodeOf(const std::string& text) {
    const SQLKeyword* const row = SQLKeywordLookup::Lookup(View(text));
    return row == nullptr ? 0 : row->code;
}

TEST(KeywordLookup, KnowsEveryWordUnderItsCode) {
    int32_t code = 0;
    for (const char* word : kWords) {
        EXPECT_EQ(CodeOf(word), ++code) << word;
    }
    EXPECT_EQ(code, 226);
}

TEST(KeywordLookup, KnowsEveryMarkUnderItsCode) {
    for (const auto& [mark, code] : kMarks) {
        EXPECT_EQ(CodeOf(mark), code) << mark;
    }
}

TEST(KeywordLookup, HoldsNoOtherRow) { EXPECT_EQ(SQLKeywordLookup::Count(), 226 + 16); }

// Of ASCII alone: the locale of the program may have another capital of i.
char Raised(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

TEST(KeywordLookup, FoldsCase) {
    for (const char* word : kWords) {
        std::string upper = word;
        std::string mixed = word;
        for (size_t index = 0; index < upper.size(); ++index) {
            upper[index] = Raised(word[index]);
            mixed[index] = index % 2 == 0 ? Raised(word[index]) : word[index];
        }
        EXPECT_EQ(CodeOf(upper), CodeOf(word)) << upper;
        EXPECT_EQ(CodeOf(mixed), CodeOf(word)) << mixed;
    }
}

TEST(KeywordLookup, MeasuresATerminatedText) {
    const SQLKeyword* const row = SQLKeywordLookup::Lookup(TextView("SeLeCt", -1));
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->code, token::kSelect);
    EXPECT_EQ(row->length, 6);
    EXPECT_STREQ(row->text, "select");
}

TEST(KeywordLookup, LeavesFourWordsFreeAsNames) {
    EXPECT_EQ(CodeOf("value"), 0);
    EXPECT_EQ(CodeOf("domain"), 0);
    EXPECT_EQ(CodeOf("module"), 0);
    EXPECT_EQ(CodeOf("disconnect"), 0);
    EXPECT_EQ(CodeOf("Disconect"), 65);
}

TEST(KeywordLookup, HasNoRowForAnythingElse) {
    EXPECT_EQ(CodeOf("length"), 0);
    EXPECT_EQ(CodeOf(""), 0);
    EXPECT_EQ(CodeOf("sel"), 0);
    EXPECT_EQ(CodeOf("selects"), 0);
    EXPECT_EQ(CodeOf("selecu"), 0);
    EXPECT_EQ(CodeOf("!="), 0);
    EXPECT_EQ(CodeOf(";"), 0);
    EXPECT_EQ(CodeOf(std::string("select\0", 7)), 0);
    EXPECT_EQ(CodeOf("s\xE9lect"), 0);
    EXPECT_EQ(CodeOf(std::string(100000, 'a')), 0);
}

// Each word with one letter changed or one letter more is none, unless it is a word itself.
TEST(KeywordLookup, TellsNearMissesApart) {
    std::map<std::string, int32_t> known = kMarks;
    int32_t code = 0;
    for (const char* word : kWords) {
        known[word] = ++code;
    }
    for (const char* word : kWords) {
        for (char letter = 'a'; letter <= 'z'; ++letter) {
            std::string near = word;
            near.back() = letter;
            EXPECT_EQ(CodeOf(near), known.count(near) != 0 ? known[near] : 0) << near;
            near = std::string(word) + letter;
            EXPECT_EQ(CodeOf(near), known.count(near) != 0 ? known[near] : 0) << near;
        }
    }
}

}  // namespace
}  // namespace ovrasql
