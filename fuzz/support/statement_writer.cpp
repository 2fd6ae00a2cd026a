#include "fuzz/support/statement_writer.h"

namespace ovrasql::fuzz {

std::string StatementWriter::Statement() {
    switch (Below(10)) {
        case 0:
        case 1:
        case 2:
            return Modification();
        case 3:
            return Definition();
        default:
            return Query(3) + (Below(2) == 0 ? "" : OrderBy());
    }
}

std::string StatementWriter::Literal() {
    return Pick({"0", "1", "3", "7", "12", "99999", "-4", "'-1.5'", "'anna'", "'Bob'", "''", "'10'",
                 "null", "?", ":1", "'1e300'", "'nan'", "' 3'", "'eightchr9'"});
}

std::string StatementWriter::Column() {
    return Pick({"a", "b", "s", "m", "ok", "id", "t.a", "t.b", "t.s", "t.id", "u.x", "u.y", "u.z",
                 "x", "y", "e.a", "d.a", "recno"});
}

std::string StatementWriter::Table() { return Pick({"t", "u", "e", "t", "u", "n"}); }

std::string StatementWriter::Function(int depth) {
    switch (Below(6)) {
        case 0:
            return Pick({"upper(", "lower(", "length("}) + Value(depth) + ")";
        case 1:
            return "ifnull(" + Value(depth) + ", " + Value(depth) + ")";
        case 2:
            return "substring(" + Value(depth) + " from " + Pick({"1", "0", "-2", "99"}) +
                   Pick({")", " for 2)", " for 0)"});
        case 3:
            return Pick({"sum(", "avg(", "min(", "max(", "count(", "count(distinct "}) +
                   Value(depth) + ")";
        case 4:
            return "count(*)";
        default:
            return "(" + Query(depth) + ")";
    }
}

std::string StatementWriter::Value(int depth) {
    if (depth <= 0) {
        return Below(2) == 0 ? Literal() : Column();
    }
    switch (Below(9)) {
        case 0:
        case 1:
            return Literal();
        case 2:
        case 3:
        case 4:
            return Column();
        case 5:
            return Value(depth - 1) + Pick({" + ", " - ", " * ", " / "}) + Value(depth - 1);
        case 6:
            return "(" + Value(depth - 1) + ")";
        default:
            return Function(depth - 1);
    }
}

std::string StatementWriter::Predicate(int depth) {
    switch (Below(depth <= 0 ? 3 : 9)) {
        case 0:
        case 1:
        case 2:
            return Column() + Pick({" = ", " < ", " > ", " <= ", " >= ", " <> ", " like "}) +
                   (Below(2) == 0 ? Literal() : Column());
        case 3:
            return Value(depth - 1) + Pick({" between ", " not between "}) + Value(depth - 1) +
                   " and " + Value(depth - 1);
        case 4:
            return Value(depth - 1) + Pick({" in (1, 'anna', ?)", " not in (3, :1)"});
        case 5:
            return Value(depth - 1) + Pick({" in (", " not in ("}) + Query(depth - 1) + ")";
        case 6:
            return Pick({"exists (", "not exists ("}) + Query(depth - 1) + ")";
        case 7:
            return Value(depth - 1) + Pick({" is null", " is not null"});
        default:
            return Pick({"(", "not ("}) + Condition(depth - 1) + ")";
    }
}

std::string StatementWriter::Condition(int depth) {
    std::string condition = Predicate(depth);
    while (Below(3) == 0) {
        condition += Pick({" and ", " and ", " or "}) + Predicate(depth - 1);
    }
    return condition;
}

std::string StatementWriter::From(int depth) {
    std::string from = Table();
    switch (Below(6)) {
        case 0:
            from += ", " + Table() + " d";
            break;
        case 1:
            from += " left outer join u on " + Condition(depth - 1);
            break;
        case 2:
            from += depth > 0 ? ", (" + Query(depth - 1) + ")" + Pick({" d", " as d"}) : ", e";
            break;
        case 3:
            from += ", u";
            break;
        default:
            break;
    }
    return " from " + from;
}

std::string StatementWriter::Query(int depth) {
    std::string query = Pick({"select ", "select ", "select distinct ", "select all "});
    if (Below(4) == 0) {
        query += Pick({"*", "t.*", "*, a"});
    } else {
        query += Value(depth);
        while (Below(3) == 0) {
            query += ", " + Value(depth - 1) + Pick({"", "", " as n"});
        }
    }
    query += From(depth);
    if (Below(2) == 0) {
        query += " where " + Condition(depth);
    }
    if (Below(5) == 0) {
        query += " group by " + Column() + (Below(2) == 0 ? "" : ", " + Column());
    }
    if (depth > 0 && Below(6) == 0) {
        query += Pick({" union ", " union all "}) + Query(depth - 1);
    }
    return query;
}

std::string StatementWriter::OrderBy() {
    std::string order = " order by " + (Below(4) == 0 ? "upper(s)" : Column());
    order += Pick({"", " desc", " asc"});
    return order + (Below(3) == 0 ? ", " + Column() : "");
}

std::string StatementWriter::Modification() {
    switch (Below(6)) {
        case 0:
            return "insert into t values (" + Literal() + ", " + Literal() + ", " + Literal() +
                   ", " + Literal() + ", " + Literal() + ", " + Literal() + ")";
        case 1:
            return "insert into u (x, y) values (" + Value(1) + ", " + Literal() + ")";
        case 2:
            return "insert into e (a, s) " + Query(1);
        case 3:
            return "update t set " + Pick({"a", "b", "s", "m", "ok", "id"}) + " = " + Value(2) +
                   (Below(3) == 0 ? "" : " where " + Condition(1));
        case 4:
            return "update u set y = " + Value(1) + ", z = " + Literal() + " where " + Condition(1);
        default:
            return "delete " + Pick({"", "", "t ", "u ", "t, u "}) + "from t" + Pick({"", ", u"}) +
                   (Below(5) == 0 ? "" : " where " + Condition(2));
    }
}

std::string StatementWriter::Definition() {
    const std::string type =
        Pick({"char(3)", "numeric(4,2)", "memo", "boolean", "integer", "char(255)"});
    const std::string table = Table();
    switch (Below(7)) {
        case 0:
            return "create table n (a " + type + ", s " + Pick({"memo", "char(8)"}) + ")";
        case 1:
            return "alter table " + table + " add " + Pick({"c1 ", "c2 "}) + type;
        case 2:
            return "alter table " + table + " drop column " + Pick({"a", "s", "m", "z", "c1"});
        case 3:
            return "drop table " + table;
        case 4:
            return "drop index " + Pick({"ta", "tdown", "ux", "uy", "i1", "i2"});
        default:
            return "create " + Pick({"", "", "unique "}) + "index " + Pick({"i1", "i2"}) + " on " +
                   table + " (" + Pick({"a", "s", "x", "a, s", "s desc", "y, x", "m", "ok, a"}) +
                   ")";
    }
}

}  // namespace ovrasql::fuzz
