#include "tests/support/query_writer.h"

namespace ovrasql {

std::string Folded(std::string text) {
    for (char& letter : text) {
        letter = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return text;
}

Query QueryWriter::Write() {
    query_ = Query();
    switch (chance_.Below(9)) {
        case 0:
            query_.sql = Grouped();
            break;
        case 1:
            query_.sql = "select distinct t.a, t.b from t" + WhereOfT();
            break;
        case 2:
            query_.sql = "select t.a, t.b from t" + WhereOfT();
            query_.sql += chance_.Pick({" union ", " union all "});
            query_.sql += "select x, z from u where " + ConditionOnU(2);
            break;
        case 3:
            query_.sql = Joined();
            break;
        case 4:
            query_.sql = OuterJoined();
            break;
        case 5:
            query_.sql = WithSubquery();
            break;
        case 6:
        case 7:
            query_.sql = Ordered();
            break;
        default:
            query_.sql = "select t.id, a, b, d, s, m, ok, n from t" + WhereOfT();
    }
    return query_;
}

// --- one comparison ------------------------------------------------------------------------

std::string QueryWriter::Value(const std::string& text) {
    // Which of several parameters gets which value is all the same here.
    if (chance_.OneIn(6)) {
        query_.parameters.push_back(text);
        return "?";
    }
    return chance_.OneIn(2) ? "'" + text + "'" : text;
}

std::string QueryWriter::TextValue() { return "'" + Word() + "'"; }

std::string QueryWriter::Word() {
    std::string word;
    for (uint32_t letters = chance_.Below(3) + 1; letters > 0; --letters) {
        word += chance_.Pick({"a", "b", "A", "B", "c"});
    }
    return word;
}

std::string QueryWriter::UpperWord() {
    std::string word = Word();
    return Folded(word);
}

std::string QueryWriter::Comparison() {
    return chance_.Pick({" = ", " = ", " < ", " > ", " <= ", " >= "});
}

std::string QueryWriter::NumberTerm(const std::string& column, uint32_t bound) {
    switch (chance_.Below(12)) {
        case 0:
            return column + " between " + chance_.Number(bound) + " and " + chance_.Number(bound);
        case 1:
            return column + " in (" + chance_.Number(bound) + ", " + chance_.Number(bound) + ")";
        case 2:
            return column + " <> " + chance_.Number(bound);
        case 3:
            return column + " = " + chance_.Number(bound / 2) + " + 1";
        default:
            return column + Comparison() + Value(chance_.Number(bound));
    }
}

std::string QueryWriter::TextTerm(const std::string& column) {
    switch (chance_.Below(6)) {
        case 0:
            return column + " like " + chance_.Pick({"'a%'", "'%b'", "'_'", "'A%'"});
        case 1:
            return "upper(" + column + ")" + Comparison() + "'" + UpperWord() + "'";
        case 2:
            return column + chance_.Pick({" = ''", " is null", " is not null"});
        default:
            return column + Comparison() + TextValue();
    }
}

std::string QueryWriter::TermOnT() {
    switch (chance_.Below(9)) {
        case 0:
            return "t.id" + Comparison() + Value(chance_.Number(30));
        case 1:
        case 2:
            return NumberTerm("t.a", 8);
        case 3:
        case 4:
            return NumberTerm("t.b", 5);
        case 5:
            return "d" + Comparison() + Value(chance_.Number(9));
        case 6:
            return TextTerm("s");
        case 7:
            return chance_.OneIn(2) ? "m" + Comparison() + TextValue()
                                    : "ok = " + chance_.Number(2);
        default:
            return (chance_.OneIn(2) ? "not (n = " : "(n > ") + chance_.Number(4) + ")";
    }
}

std::string QueryWriter::TermOnU() {
    switch (chance_.Below(4)) {
        case 0:
            return TextTerm("y");
        case 1:
            return "z <> " + chance_.Number(4);
        default:
            return NumberTerm("x", 8);
    }
}

// --- conditions ----------------------------------------------------------------------------

std::string QueryWriter::Condition(int depth, std::string (QueryWriter::*term)()) {
    std::string condition = Part(depth, term);
    while (chance_.OneIn(2)) {
        condition += chance_.Pick({" and ", " and ", " and ", " or "}) + Part(depth, term);
    }
    return condition;
}

std::string QueryWriter::Part(int depth, std::string (QueryWriter::*term)()) {
    if (depth > 0 && chance_.OneIn(4)) {
        return "(" + Condition(depth - 1, term) + ")";
    }
    return (this->*term)();
}

std::string QueryWriter::ConditionOnT(int depth) { return Condition(depth, &QueryWriter::TermOnT); }

std::string QueryWriter::ConditionOnU(int depth) { return Condition(depth, &QueryWriter::TermOnU); }

std::string QueryWriter::WhereOfT() { return chance_.OneIn(10) ? "" : " where " + ConditionOnT(2); }

// --- whole queries -------------------------------------------------------------------------

std::string QueryWriter::Grouped() {
    return chance_.OneIn(2)
               ? "select count(*), sum(b), min(a), max(b), count(distinct a) from t" + WhereOfT()
               : "select a, b, count(*), max(n) from t" + WhereOfT() + " group by a, b";
}

// A range must have the column of the later table on its left.
std::string QueryWriter::Link() {
    return chance_.Pick({"t.a = u.x", "u.x = t.a", "u.x > t.a", "u.x <= t.b", "u.y = t.s",
                         "u.x = t.b + 1", "upper(u.y) = upper(t.s)"});
}

std::string QueryWriter::LinkedTerm() {
    switch (chance_.Below(3)) {
        case 0:
            return Link();
        case 1:
            return TermOnT();
        default:
            return TermOnU();
    }
}

std::string QueryWriter::Joined() {
    return "select t.id, t.a, u.x, y from t, u where " + Link() + " and " +
           Condition(2, &QueryWriter::LinkedTerm);
}

std::string QueryWriter::OuterJoined() {
    std::string on = chance_.Pick({"t.a = u.x", "u.x = t.b", "u.y = t.s"});
    while (chance_.OneIn(2)) {
        on += chance_.Pick({" and ", " or "}) +
              chance_.Pick({"x = 3", "z <> 1", "y = 'a'", "t.a = 2"});
    }
    return "select t.id, x, y from t left outer join u on " + on + " where " +
           Condition(1, &QueryWriter::LinkedTerm);
}

std::string QueryWriter::WithSubquery() {
    switch (chance_.Below(3)) {
        case 0:
            return "select id, (select count(*) from u where u.x = t.a and " + ConditionOnU(1) +
                   ") from t" + WhereOfT();
        case 1:
            return "select id from t where a in (select x from u where " + ConditionOnU(1) +
                   ") and " + ConditionOnT(1);
        default:
            return "select id from t where b = (select max(z) from u where x >= t.a) and " +
                   ConditionOnT(1);
    }
}

std::string QueryWriter::Ordered() {
    const std::string direction = chance_.Pick({"", " desc"});
    switch (chance_.Below(5)) {
        case 0:
            query_.ordered = 1;
            return "select a, id, s from t" + WhereOfT() + " order by a" + direction;
        case 1:
            query_.ordered = 2;
            return "select b, a, id from t" + WhereOfT() + " order by b" + direction + ", a" +
                   direction;
        case 2:
            query_.ordered = 1;
            return "select upper(s), id from t" + WhereOfT() + " order by upper(s)" + direction;
        case 3:
            query_.ordered = 1;
            return "select s, id from t" + WhereOfT() + " order by s" + direction;
        default:
            query_.ordered = 1;
            return "select x, id from u, t where t.a = x and " + ConditionOnU(1) + " order by x" +
                   direction;
    }
}

// --- tables, indexes and changes

std::string TableWriter::Word() {
    std::string word;
    for (uint32_t letters = chance_.Below(4); letters > 0; --letters) {
        word += chance_.Pick({"a", "b", "A", "B", "c"});
    }
    return word;
}

std::vector<std::string> TableWriter::Tables(int rowsOfT, int rowsOfU) {
    std::vector<std::string> statements = {
        "create table t (id integer, a integer, b numeric(3), d numeric(3,2), s char(6), "
        "m memo, ok boolean, n integer)",
        "create table u (x integer, y char(6), z integer)"};
    for (int row = 0; row < rowsOfT; ++row) {
        statements.push_back(InsertIntoT(row));
    }
    for (int row = 0; row < rowsOfU; ++row) {
        statements.push_back("insert into u values (" + chance_.Number(8) + ", '" + Word() + "', " +
                             chance_.Number(4) + ")");
    }
    return statements;
}

std::string TableWriter::InsertIntoT(int id) {
    return "insert into t values (" + std::to_string(id) + ", " + chance_.Number(8) + ", " +
           chance_.Number(5) + ", '" + chance_.Number(9) + chance_.Pick({"", ".5", ".25"}) +
           "', '" + Word() + "', '" + Word() + "', " + chance_.Number(2) + ", " +
           chance_.Number(4) + ")";
}

std::vector<std::string> TableWriter::Indexes() {
    std::vector<std::string> statements;
    const std::vector<std::string> columns = {"a", "b", "d", "s", "m", "ok", "id"};
    const uint32_t count = chance_.Below(4) + 2;
    for (uint32_t index = 0; index < count; ++index) {
        const std::string direction = chance_.Pick({"", "", " desc"});
        std::vector<std::string> rest = columns;
        std::string key;
        for (uint32_t parts = chance_.Below(3) + 1; parts > 0; --parts) {
            const auto at = rest.begin() + chance_.Below(static_cast<uint32_t>(rest.size()));
            key += (key.empty() ? "" : ", ") + *at + direction;
            rest.erase(at);
        }
        statements.push_back("create index t" + std::to_string(index) + " on t (" + key + ")");
    }
    if (chance_.OneIn(2)) {
        statements.push_back("create unique index t9 on t (id" +
                             chance_.Pick({"", " desc", ", b"}) + ")");
    }
    statements.push_back("create index u0 on u (" +
                         chance_.Pick({"x", "x desc", "y", "x, y", "y desc, x desc", "x, z"}) +
                         ")");
    if (chance_.OneIn(2)) {
        statements.push_back("create index u1 on u (" + chance_.Pick({"x", "y", "x desc, z desc"}) +
                             ")");
    }
    return statements;
}

std::vector<std::string> TableWriter::Changes(int count) {
    std::vector<std::string> statements;
    for (int change = 0; change < count; ++change) {
        switch (chance_.Below(3)) {
            case 0:
                statements.push_back("delete from t where a = " + chance_.Number(8) +
                                     " and b = " + chance_.Number(5));
                break;
            case 1:
                statements.push_back("update t set a = " + chance_.Number(8) + ", s = '" + Word() +
                                     "', m = '" + Word() + "' where b " +
                                     chance_.Pick({"= ", "> "}) + chance_.Number(5) +
                                     " and n = " + chance_.Number(4));
                break;
            default:
                statements.push_back(InsertIntoT(100 + change));
        }
    }
    return statements;
}

std::string TableWriter::NameOf(const std::string& createIndex) {
    return createIndex.substr(createIndex.find("index ") + 6, 2);
}

}  // namespace ovrasql
