#pragma once

// HistoryWriter: statements put together at random over up to four tables, all kinds of definitions
// and changes, as steps of statement_scripts.h. The same seed writes the same history as long as
// the same statements succeed.

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace ovrasql {

struct ColumnPlan {
    std::string name;
    std::string type;
};

struct TablePlan {
    std::string name;
    std::vector<ColumnPlan> columns;
    std::vector<std::string> indexes;
};

// Writes statements, and keeps in mind which tables and indexes there are.
class HistoryWriter {
  public:
    explicit HistoryWriter(uint32_t seed) : random_(seed) {}

    // The next statement; its parameters are for "?". The plan changes when it has succeeded.
    std::string Next(std::vector<std::string>* parameters) {
        parameters->clear();
        afterwards_ = [] {};
        if (tables_.empty() || (tables_.size() < 4 && Below(25) == 0)) {
            return CreateTable();
        }
        TablePlan& table = tables_[Below(tables_.size())];
        switch (Below(40)) {
            case 0:
                return DropTable(table);
            case 1:
                return AlterAdd(table);
            case 2:
                return AlterDrop(table);
            case 3:
            case 4:
                return CreateIndex(table);
            case 5:
                return DropIndex(table);
            case 6:
                return "pack";
            case 7:
                return "open";
            case 8:
                return Below(2) == 0 ? "option caseinsensitive" : "option casesensitive";
            case 9:
            case 10:
                return "insert into " + table.name + " select * from " + table.name + Where(table) +
                       " order by " + AnyColumn(table).name;
            default:
                return Change(table, parameters);
        }
    }
    void Succeeded() { afterwards_(); }

  private:
    size_t Below(size_t bound) { return random_() % bound; }
    std::string Number(size_t bound) { return std::to_string(Below(bound)); }

    const ColumnPlan& AnyColumn(const TablePlan& table) {
        return table.columns[Below(table.columns.size())];
    }

    ColumnPlan NewColumn() {
        static const char* const kTypes[] = {"char(3)",    "char(12)", "varchar(120)",
                                             "numeric(4)", "integer",  "numeric(3,2)",
                                             "boolean",    "memo"};
        return {"c" + std::to_string(++names_), kTypes[Below(std::size(kTypes))]};
    }

    std::string CreateTable() {
        TablePlan plan;
        plan.name = "t" + Number(6);
        std::string sql;
        for (size_t count = 1 + Below(6); count > 0; --count) {
            plan.columns.push_back(NewColumn());
            sql += (sql.empty() ? "" : ", ") + plan.columns.back().name + " " +
                   plan.columns.back().type;
        }
        afterwards_ = [this, plan] { tables_.push_back(plan); };
        return "create table " + plan.name + " (" + sql + ")";
    }

    std::string DropTable(const TablePlan& table) {
        const std::string name = table.name;
        afterwards_ = [this, name] {
            std::erase_if(tables_, [&](const TablePlan& plan) { return plan.name == name; });
        };
        return "drop table " + name;
    }

    std::string AlterAdd(TablePlan& table) {
        const ColumnPlan column = NewColumn();
        afterwards_ = [&table, column] { table.columns.push_back(column); };
        return "alter table " + table.name + " add " + column.name + " " + column.type;
    }

    std::string AlterDrop(TablePlan& table) {
        const std::string name = AnyColumn(table).name;
        if (table.columns.size() == 1) {
            return "pack";
        }
        afterwards_ = [&table, name] {
            std::erase_if(table.columns, [&](const ColumnPlan& plan) { return plan.name == name; });
        };
        return "alter table " + table.name + " drop column " + name;
    }

    // A name is used for one table only: one that was dropped goes on naming the table it had.
    std::string CreateIndex(TablePlan& table) {
        const std::string name = table.name + "i" + Number(4);
        const std::string direction = Below(3) == 0 ? " desc" : "";
        std::string columns = AnyColumn(table).name + direction;
        for (size_t more = Below(3); more > 0; --more) {
            columns += ", " + AnyColumn(table).name + direction;
        }
        afterwards_ = [&table, name] { table.indexes.push_back(name); };
        return std::string("create ") + (Below(3) == 0 ? "unique " : "") + "index " + name +
               " on " + table.name + " (" + columns + ")";
    }

    std::string DropIndex(TablePlan& table) {
        if (table.indexes.empty()) {
            return "pack";
        }
        const std::string name = table.indexes[Below(table.indexes.size())];
        afterwards_ = [&table, name] { std::erase(table.indexes, name); };
        return "drop index " + name;
    }

    std::string Change(const TablePlan& table, std::vector<std::string>* parameters) {
        if (Below(4) == 0) {
            return "delete from " + table.name + Where(table);
        }
        if (Below(3) == 0) {
            const ColumnPlan& column = AnyColumn(table);
            parameters->push_back(Value(column.type));
            return "update " + table.name + " set " + column.name + " = ?" + Where(table);
        }
        std::string marks;
        for (const ColumnPlan& column : table.columns) {
            marks += marks.empty() ? "?" : ", ?";
            parameters->push_back(Value(column.type));
        }
        return "insert into " + table.name + " values (" + marks + ")";
    }

    std::string Where(const TablePlan& table) {
        const ColumnPlan& column = AnyColumn(table);
        if (column.type == "memo" || Below(3) == 0) {
            return " where length(" + column.name + ") = " + Number(3);
        }
        return " where " + column.name + (Below(2) == 0 ? " = " : " > ") + "'" +
               Value(column.type).substr(0, 10) + "'";
    }

    std::string Value(const std::string& type) {
        if (type == "boolean") {
            return Number(2);
        }
        if (type == "memo") {
            return Text(Below(4) == 0 ? 1500 : 20);
        }
        if (type.find("char") != std::string::npos) {
            return Text(type == "varchar(120)" ? 130 : 6);
        }
        const std::string sign = Below(5) == 0 ? "-" : "";
        return sign + Number(type == "integer" ? 100000 : 30) +
               (type == "numeric(3,2)" ? "." + Number(100) : "");
    }

    // A letter mostly, else a blank, rarely a NUL.
    char OddByte() {
        if (Below(6) == 0) {
            return Below(8) == 0 ? '\0' : ' ';
        }
        return static_cast<char>((Below(2) == 0 ? 'A' : 'p') + Below(9));
    }

    std::string Text(size_t longest) {
        std::string text(Below(longest), static_cast<char>('a' + Below(3)));
        for (size_t place = 0; place < text.size(); place += 1 + Below(7)) {
            text[place] = OddByte();
        }
        return text;
    }

    std::mt19937 random_;
    std::vector<TablePlan> tables_;
    std::function<void()> afterwards_ = [] {};
    int names_ = 0;
};

}  // namespace ovrasql
