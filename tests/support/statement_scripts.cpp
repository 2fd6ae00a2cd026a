#include "tests/support/statement_scripts.h"

#include <cstdlib>

namespace ovrasql {

namespace {

using Steps = std::vector<ScriptStep>;

// Two tables with a unique and a plain index, memo texts, and a deleted record.
Steps SmallShop() {
    return {
        "create table t (a integer, b char(10), m memo)",
        "create table u (a integer, b char(4))",
        "create unique index ta on t (a)",
        "create index tb on t (b, a)",
        "insert into t (a, b, m) values (1, 'one', 'text of one')",
        "insert into t (a, b, m) values (2, 'two', 'text of two')",
        "insert into t (a, b, m) values (4, 'four', '')",
        "insert into t (a, b, m) values (3, 'two', 'text of three')",
        "insert into u (a, b) values (1, 'x')",
        "insert into u (a, b) values (3, 'y')",
        "delete from t where a = 4",
    };
}

Steps Joined(Steps first, const Steps& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// A text of more than one block of a memo file; two of them differ from their first letter on.
std::string LongText(char letter, size_t length) {
    std::string text(length, letter);
    for (size_t i = 0; i < length; i += 40) {
        text[i] = static_cast<char>('a' + (i / 40) % 26);
    }
    return text.replace(0, 1, 1, letter);
}

ScriptStep Refused(const char* sql) {
    ScriptStep step(sql);
    step.fails = true;
    return step;
}

// A key of 60 letters that sorts by its number. Eight keys fill a page of an index, however long
// they are.
std::string Key(int number) {
    std::string digits = std::to_string(1000 + number);
    return "k" + digits + std::string(55, 'x');
}

// Table k with an index on its keys, filled with the given numbers in this order.
Steps KeyTable(const char* index, const std::vector<int>& numbers) {
    Steps steps = {"create table k (name char(60), n numeric(5))", index};
    for (const int number : numbers) {
        steps.emplace_back("insert into k values (?, ?)",
                           std::vector<std::string>{Key(number), std::to_string(number)});
    }
    return steps;
}

std::vector<int> Range(int first, int last, int stride = 1) {
    std::vector<int> numbers;
    for (int number = first; number <= last; number += stride) {
        numbers.push_back(number);
    }
    return numbers;
}

constexpr const char* kPlainKeys = "create index kn on k (name)";
constexpr const char* kUniqueKeys = "create unique index kn on k (name)";
constexpr const char* kDescendingKeys = "create index kn on k (name desc)";

using Scripts = std::vector<StatementScript>;

void AddInserts(Scripts& scripts) {
    scripts.push_back({"insert_with_memo_and_two_indexes",
                       SmallShop(),
                       {"insert into t (a, b, m) values (9, 'nine', 'text of nine')",
                        "select a, b, m from t where a = 9"}});
    scripts.push_back({"insert_all_columns_from_parameters",
                       SmallShop(),
                       {{"insert into t values (?, :2, ?)", {"12", "twelve"}},
                        {"insert into u values (?, ?)", {"7", "seven"}}}});
    scripts.push_back({"insert_leaves_columns_empty",
                       Joined(SmallShop(), {"create table w (n numeric(5,2), o boolean, c char)"}),
                       {"insert into t (b) values ('only b')", "insert into w (c) values ('c')",
                        "insert into w values ('-1.5', 1, null)",
                        "insert into w values ('2.25', '', 'd')", "select * from w"}});
    scripts.push_back({"insert_refused_by_a_unique_index",
                       SmallShop(),
                       {Refused("insert into t (a, b, m) values (2, 'again', 'not stored')"),
                        "insert into t (a, b) values (5, 'five')"}});
    scripts.push_back({"insert_from_select",
                       SmallShop(),
                       {"insert into t (a, b) select a + 20, 'copy' from u",
                        "insert into u select a, b from t where a > 20"}});
    scripts.push_back({"insert_from_itself_through_a_sorted_table",
                       SmallShop(),
                       {"insert into t (a, b, m) select a + 50, b, m from t order by b desc, a",
                        "insert into u select a + 1, b from u union select a, b from u"}});
    scripts.push_back({"insert_memo_of_several_blocks",
                       SmallShop(),
                       {{"insert into t values (20, 'long', ?)", {LongText('L', 1300)}},
                        {"insert into t values (21, 'exact', ?)", {LongText('E', 510)}},
                        {"insert into t values (22, 'one more', ?)", {LongText('M', 511)}},
                        "select m from t where a >= 20"}});
}

void AddUpdates(Scripts& scripts) {
    scripts.push_back({"update_row_with_memo_and_key",
                       SmallShop(),
                       {"update t set b = 'new', m = 'another text' where a = 2",
                        "select a, m from t where b = 'new' and a = 2"}});
    scripts.push_back({"update_all_rows_and_keys", SmallShop(), {"update t set a = a + 30"}});
    scripts.push_back({"update_without_change_of_keys",
                       SmallShop(),
                       {"update t set b = b, m = null where a > 1", "update u set b = upper(b)"}});
    scripts.push_back(
        {"update_walks_the_index_it_changes",
         SmallShop(),
         {"update t set a = a + 10 where a > 1", "update t set b = 'z' where b = 'two'"}});
    scripts.push_back(
        {"update_by_subquery",
         SmallShop(),
         {"update u set b = 'max' where a = (select max(a) from t)",
          "update t set a = 77, b = 'in' where a in (select a from u) and b like 'o%'",
          "update t set b = 'none' where a = 12345"}});
    scripts.push_back({"update_refused_by_a_unique_index",
                       SmallShop(),
                       {Refused("update t set a = 3 where a = 2"),
                        "update t set a = 8 where a = 2 and (b = 'two' or b = 'ten')"}});
    scripts.push_back(
        {"update_memo_grows_and_shrinks",
         Joined(SmallShop(), {{"insert into t values (20, 'long', ?)", {LongText('L', 1300)}}}),
         {{"update t set m = ? where a = 1", {LongText('G', 700)}},
          "update t set m = 'short' where a = 20",
          "select m from t where a = 1 or a = 20"}});
    scripts.push_back({"update_moves_keys_between_pages",
                       KeyTable(kPlainKeys, Range(1, 20)),
                       {{"update k set name = ? where n = 3", {Key(500)}},
                        {"update k set name = ?, n = n + 100 where n > 15", {Key(0)}}}});
}

void AddDeletes(Scripts& scripts) {
    scripts.push_back({"delete_a_row", SmallShop(), {"delete from t where a = 2"}});
    scripts.push_back(
        {"delete_all_rows", SmallShop(), {"delete from t", "select count(*) from t"}});
    scripts.push_back({"delete_from_several_tables",
                       SmallShop(),
                       {"delete t, u from t, u where t.a = u.a and t.a = 3",
                        "delete t.* from t left outer join u on t.a = u.a where t.a < 2"}});
    scripts.push_back(
        {"delete_by_subquery",
         SmallShop(),
         {"delete from t where a in (select a from u)",
          "delete from u where exists (select 1 from t where t.a = u.a) or u.b is null"}});
    scripts.push_back(
        {"delete_over_an_outer_join",
         SmallShop(),
         {"delete t from t left outer join u on u.a = t.a where u.b is null",
          "delete u from t left outer join u on u.a = t.a where t.a > 1", "select a from u"}});
    scripts.push_back(
        {"delete_and_insert_the_same_key",
         SmallShop(),
         {"delete from t where a = 1", "insert into t values (1, 'again', 'text again')",
          "select b, m from t where a = 1"}});
}

void AddSelects(Scripts& scripts) {
    scripts.push_back(
        {"select_scan_and_star",
         SmallShop(),
         {"select * from t", "select t.*, a as number, recno from t where b <> 'one'"}});
    scripts.push_back(
        {"select_by_index",
         SmallShop(),
         {"select b, m from t where a = 3", "select a from t where b = 'two' and a > 2",
          "select a, b, m from t where a >= 2", "select b from t order by a"}});
    scripts.push_back({"select_by_descending_index",
                       KeyTable(kDescendingKeys, Range(1, 30)),
                       {{"select n from k where name = ?", {Key(5)}},
                        "option caseinsensitive",
                        {"select n from k where name > ? order by name desc", {Key(20)}}}});
    scripts.push_back({"select_functions",
                       SmallShop(),
                       {"select upper(b), lower(b), length(m), ifnull(m, 'none'), "
                        "substring(b from 2), substring(b from 1 for 2), a - 2 * 3 / 4 + 1 from t",
                        "select a from t where not (a = 1) and b is not null and m like '%tw_' or "
                        "a not between 2 and 3 or a <= -5 or a < 1"}});
    scripts.push_back({"select_distinct_and_order_by",
                       SmallShop(),
                       {"select distinct b, a + 1 from t order by b desc, a",
                        "select all b from t order by length(b) desc, upper(b) asc"}});
    scripts.push_back({"select_memo_through_a_temporary_table",
                       SmallShop(),
                       {"select m, a from t order by m desc", "select distinct m from t"}});
    scripts.push_back(
        {"select_outer_joins",
         SmallShop(),
         {"select t.a, u.a from t left outer join u on t.a = u.a where t.a > 1",
          "select x.a, y.b, z.m from u x left outer join u y on x.a = y.a and y.b = 'y' "
          "left outer join t z on z.a = y.a"}});
    scripts.push_back({"select_joins_by_index",
                       SmallShop(),
                       {"select u.b, t.m from u, t where t.a = u.a",
                        "select p.a, q.a, r.b from t p, t q, u r where p.b = q.b and r.a = p.a"}});
    scripts.push_back(
        {"select_subqueries",
         SmallShop(),
         {"select a from t where a = (select a from u where u.a = t.a)",
          "select (select max(u.b) from u where u.a = t.a), b from t where a in (1, '3', 5)",
          {"select a from t where exists (select 1 from u where u.a = t.a) and a in (?, :1)",
           {"3"}},
          Refused("select a from t where a = (select a from u)")}});
    // The derived table, or the groups, are made again after the value was taken from them.
    scripts.push_back(
        {"subquery_values_that_are_kept",
         SmallShop(),
         {"select a, (select d.n from u, (select a as m, b as n from t) d "
          "where u.a = d.m and d.m = 1) from t",
          "select (select distinct (select max(m) from t) from u) from t",
          "update u set b = (select d.n from u x, (select a as m, upper(b) as n from t) d "
          "where d.m = x.a and d.m = 1) where a = 3"}});
    scripts.push_back(
        {"select_unions",
         SmallShop(),
         {"select a, b from t union select a, b from u union all select 1, 'x' from u",
          "select a from t where a = 2 union all select a from u order by a desc"}});
    scripts.push_back({"select_groups",
                       SmallShop(),
                       {"select b, count(*), sum(a), count(distinct m) from t group by b",
                        "select avg(a), min(b), max(m), count(m) from t",
                        "select b, max(a) as top from t group by b order by top desc"}});
    scripts.push_back(
        {"select_from_derived_tables",
         SmallShop(),
         {"select x.n from (select a as n from t) x where x.n in (1, 3)",
          "select u.b, d.big from u, (select b, max(a) as big from t group by b) as d "
          "where d.big >= u.a"}});
    scripts.push_back({"select_case_insensitively",
                       SmallShop(),
                       {"option caseinsensitive", "select a from t where b = 'TWO' and a > 1",
                        "select b from t where b > 'F' order by b", "option casesensitive",
                        "select a from t where upper(b) = 'TWO'"}});
}

void AddViews(Scripts& scripts) {
    scripts.push_back(
        {"views_walked_partly",
         SmallShop(),
         {"walk 1 select a, m from t", "walk 0 select a from t where a > 1 order by b",
          "walk 9 select b, count(*) from t group by b",
          "walk 1 select a from u union select a from t"}});
    scripts.push_back({"view_columns_are_revealed",
                       SmallShop(),
                       {"reveal select a, b as name, m, a / 2, recno from t",
                        "reveal select count(*) from t where a > 100"}});
    scripts.push_back({"statement_from_the_cache",
                       SmallShop(),
                       {{"select b from t where a = ?", {"1"}},
                        {"select b from t where a = ?", {"3"}},
                        {"update u set b = ? where a = 1", {"p"}},
                        {"update u set b = ? where a = 1", {"q"}},
                        "option statement_cache_size 1",
                        {"select b from t where a = ?", {"2"}},
                        "option statement_cache_size 0",
                        {"select b from t where a = ?", {"1"}}}});
    scripts.push_back(
        {"refused_statements",
         SmallShop(),
         {Refused("select a from nowhere"), Refused("select c from t"),
          Refused("insert into t values (1)"), Refused("select a from"),
          Refused("create table t (a integer)"), Refused("drop table nowhere"),
          Refused("create index ta on u (a)"), Refused("drop index nowhere"),
          Refused("alter table t drop column a"), Refused("alter table t add b memo"),
          Refused("create index tc on t (a asc, b desc)"), "select count(*) from u"}});
    scripts.push_back({"log_option",
                       SmallShop(),
                       {"option log", "select a from t where a = 2", "option log other.log",
                        "insert into u values (5, 'log')", "pack"}});
}

void AddDatabases(Scripts& scripts) {
    scripts.push_back({"create_database", {}, {"create", "create table t (a integer)"}});
    scripts.push_back({"create_over_a_database", SmallShop(), {"create"}});
    scripts.push_back(
        {"open_and_reopen",
         SmallShop(),
         {"open", "insert into u values (8, 'z')", "open", "select * from u", "open"}});
    scripts.push_back({"pack_with_memos_and_indexes", SmallShop(), {"pack", "select a, m from t"}});
    scripts.push_back(
        {"pack_after_many_changes",
         Joined(SmallShop(), {{"insert into t values (20, 'long', ?)", {LongText('L', 1300)}},
                              {"update t set m = ? where a = 1", {LongText('G', 700)}},
                              "delete from t where a = 2",
                              "create table v (x char(3))",
                              "drop table v",
                              "create index ub on u (b desc)",
                              "drop index ub"}),
         {"pack", "insert into t values (2, 'back', 'text')"}});
}

void AddDefinitions(Scripts& scripts) {
    scripts.push_back({"create_table_with_memo",
                       SmallShop(),
                       {"create table v (a integer, b char(10), m memo)",
                        "insert into v values (1, 'b', 'memo text')", "select m from v"}});
    scripts.push_back(
        {"create_table_of_every_type",
         SmallShop(),
         {"create table v (c char, d character(5), e varchar(7), n numeric, p numeric(4), "
          "q decimal(6,2), i integer, s smallint, o bool, l boolean)",
          "insert into v values ('c', 'dd', 'eee', 1, 2, '3.5', 4, 5, 1, 0)"}});
    scripts.push_back(
        {"create_table_in_a_folder",
         SmallShop(),
         {"option subdir_char _", "create table far_off_v (a integer, m memo)",
          "create index far_i on far_off_v (a)", "insert into far_off_v values (1, 'm')",
          "drop index far_i", "drop table far_off_v"}});
    scripts.push_back({"create_table_where_one_was",
                       Joined(SmallShop(), {"drop table t"}),
                       {"create table t (x char(5))", "insert into t values ('new')",
                        "create index ta on t (x)"}});
    scripts.push_back({"drop_table", SmallShop(), {"drop table t", "select * from u"}});
    scripts.push_back({"create_index",
                       SmallShop(),
                       {"create index ub on u (b)", "select a from u where b = 'y'"}});
    scripts.push_back(
        {"create_unique_descending_index",
         SmallShop(),
         {"create unique index ub on u (a desc, b desc)", "insert into u values (2, 'm')"}});
    scripts.push_back({"create_unique_index_over_equal_keys",
                       SmallShop(),
                       {Refused("create unique index tu on t (b)"), "create index tu on t (b)"}});
    scripts.push_back({"create_index_with_several_pages",
                       KeyTable("create index kx on k (n)", Range(1, 24)),
                       {"create unique index kn on k (name)"}});
    scripts.push_back({"drop_index", SmallShop(), {"drop index tb", "drop index ta"}});
    scripts.push_back({"alter_table_add_columns",
                       SmallShop(),
                       {"alter table t add (c boolean, d numeric(5,2))",
                        "alter table u add note memo", "update u set note = 'n' where a = 1"}});
    scripts.push_back({"alter_table_drop_column",
                       SmallShop(),
                       {"alter table t drop column m", "alter table u drop column b",
                        "insert into t values (6, 'six')"}});
}

void AddIndexPages(Scripts& scripts) {
    scripts.push_back(
        {"index_root_splits",
         KeyTable(kUniqueKeys, Range(1, 8)),
         {{"insert into k values (?, 9)", {Key(9)}}, {"insert into k values (?, 10)", {Key(0)}}}});
    // In order, the first page splits at its 9th key and the last one at every 5th from there; the
    // 9th of those splits fills the root beyond its 8 keys.
    scripts.push_back({"index_grows_a_third_level",
                       KeyTable(kPlainKeys, Range(1, 48)),
                       {{"insert into k values (?, 49)", {Key(49)}},
                        {"insert into k values (?, 50)", {Key(50)}}}});
    // From two pages of 4 keys under one, by deletion: keys move between siblings, then pages merge
    // and the root goes.
    scripts.push_back({"index_pages_merge",
                       KeyTable(kPlainKeys, Range(1, 10)),
                       {"delete from k where n = 1", "delete from k where n = 2",
                        "delete from k where n = 10", "delete from k where n >= 4"}});
    scripts.push_back({"index_loses_a_level",
                       KeyTable(kPlainKeys, Range(1, 49)),
                       {"delete from k where n <= 20"}});
    scripts.push_back({"index_of_equal_keys",
                       KeyTable("create index kn on k (n)",
                                {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 3, 9, 7, 7, 7, 7, 7, 7, 7, 7}),
                       {"delete from k where n = 7 and name like 'k%' and n <> 9",
                        "select n from k where n = 3"}});
}

Scripts MakeScripts() {
    Scripts scripts;
    AddInserts(scripts);
    AddUpdates(scripts);
    AddDeletes(scripts);
    AddSelects(scripts);
    AddViews(scripts);
    AddDatabases(scripts);
    AddDefinitions(scripts);
    AddIndexPages(scripts);
    return scripts;
}

std::string_view WithoutFirstWord(std::string_view text) {
    const size_t blank = text.find(' ');
    return blank == std::string_view::npos ? std::string_view() : text.substr(blank + 1);
}

bool BeginsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

}  // namespace

const std::vector<StatementScript>& StatementScripts() {
    static const Scripts scripts = MakeScripts();
    return scripts;
}

const StatementScript& ScriptNamed(std::string_view name) {
    for (const StatementScript& script : StatementScripts()) {
        if (script.name == name) {
            return script;
        }
    }
    std::abort();
}

StepKind KindOf(const ScriptStep& step) {
    const std::string_view text = step.text;
    if (text == "create") {
        return StepKind::kCreate;
    }
    if (text == "open") {
        return StepKind::kOpen;
    }
    if (text == "pack") {
        return StepKind::kPack;
    }
    if (BeginsWith(text, "option ")) {
        return StepKind::kOption;
    }
    if (BeginsWith(text, "select ")) {
        return StepKind::kSelect;
    }
    if (BeginsWith(text, "walk ")) {
        return StepKind::kWalk;
    }
    return BeginsWith(text, "reveal ") ? StepKind::kReveal : StepKind::kStatement;
}

bool ReadsOnly(const ScriptStep& step) {
    const StepKind kind = KindOf(step);
    return kind != StepKind::kCreate && kind != StepKind::kPack && kind != StepKind::kStatement;
}

std::string_view SqlOf(const ScriptStep& step) {
    const StepKind kind = KindOf(step);
    if (kind == StepKind::kWalk) {
        return WithoutFirstWord(WithoutFirstWord(step.text));
    }
    return kind == StepKind::kReveal ? WithoutFirstWord(step.text) : std::string_view(step.text);
}

int WalkedRows(const ScriptStep& step) {
    return std::atoi(std::string(WithoutFirstWord(step.text)).c_str());
}

std::pair<std::string_view, std::string_view> OptionOf(const ScriptStep& step) {
    const std::string_view rest = WithoutFirstWord(step.text);
    const std::string_view value = WithoutFirstWord(rest);
    return {rest.substr(0, rest.find(' ')), value};
}

}  // namespace ovrasql
