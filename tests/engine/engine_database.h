#pragma once

// A database for programs built by hand: tables and indexes are made by the defining instructions,
// rows by inserting ones.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "foundation/coll_list.h"
#include "foundation/list.h"
#include "schema/column_definition.h"
#include "schema/schema.h"
#include "schema/sql_index_column.h"
#include "tests/engine/program.h"

namespace ovrasql {

struct TestColumn {
    const char* name;
    int32_t type;
    int32_t width;
    int32_t scale = 0;
};

using Texts = std::vector<std::string>;

class EngineDatabase : public EngineTest {
  protected:
    void SetUp() override {
        EngineTest::SetUp();
        database = TheHost().MakeDatabase();
        schema = std::make_unique<Schema>(TheHost().Program(), database, 10);
        ASSERT_TRUE(schema->Create("main.dbf"));
    }
    void TearDown() override {
        schema.reset();
        EngineTest::TearDown();
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
    }

    static std::unique_ptr<CollList<ColumnDefinition>> ColumnList(
        const std::vector<TestColumn>& columns) {
        auto list = std::make_unique<CollList<ColumnDefinition>>(true);
        for (const TestColumn& column : columns) {
            auto definition = std::make_unique<ColumnDefinition>();
            definition->name = column.name;
            definition->type = column.type;
            definition->width = column.width;
            definition->scale = column.scale;
            list->Insert(std::move(definition), ListPlace::kTail);
        }
        return list;
    }
    static std::unique_ptr<List<SQLIndexColumn>> IndexColumns(const Texts& names) {
        auto list = std::make_unique<List<SQLIndexColumn>>(true);
        for (const std::string& name : names) {
            auto column = std::make_unique<SQLIndexColumn>();
            column->name = TextView(name.data(), static_cast<int32_t>(name.size()));
            list->Insert(std::move(column), ListPlace::kTail);
        }
        return list;
    }

    // "" or the message.
    std::string Run(const Program& program, bool caseInsensitive = false) {
        Machine machine(schema.get());
        const int32_t result = machine.Run(program, caseInsensitive);
        return result < 0 ? machine.Error() : "";
    }
    std::string CreateTable(const std::string& name, const std::vector<TestColumn>& columns) {
        const auto list = ColumnList(columns);
        Program program;
        program.Emit(SQL_Create_Table, 0, 0, 0, name, "", list.get());
        return Run(program);
    }
    std::string CreateIndex(const std::string& name, const std::string& table, const Texts& columns,
                            bool unique = false) {
        const auto list = IndexColumns(columns);
        Program program;
        program.Emit(SQL_Create_Index, unique ? 1 : 0, 0, 0, table, name, list.get());
        return Run(program);
    }
    // A row of literals, in the order of the columns named.
    std::string Insert(const std::string& table, const Texts& columns, const Texts& values) {
        Program program;
        Open(&program, 0, table, columns, true);
        for (size_t i = 0; i < values.size(); ++i) {
            program.Literal(values[i]).Do(SQL_Pop_Column, 0, static_cast<int32_t>(i));
        }
        program.Do(SQL_Cursor_Insert, 0);
        return Run(program);
    }
    static void Open(Program* program, int32_t cursor, const std::string& table,
                     const Texts& columns, bool loadIndexes = false) {
        program->Emit(SQL_Cursor_Open, cursor, loadIndexes ? 1 : 0, 0, table);
        for (size_t i = 0; i < columns.size(); ++i) {
            program->Emit(SQL_Cursor_Column, cursor, static_cast<int32_t>(i), 0, columns[i]);
        }
    }
    // Deletes the record of that number, with its index entries.
    std::string DeleteRecord(const std::string& table, int32_t number) {
        Program program;
        Open(&program, 0, table, {}, true);
        program.Do(SQL_Cursor_First, 0, 1000);
        for (int32_t i = 1; i < number; ++i) {
            program.Do(SQL_Cursor_Next, 0, program.Count() + 1);
        }
        program.Do(SQL_Cursor_LockForUpdate, 0).Do(SQL_Cursor_Delete, 0);
        return Run(program);
    }
    // Walks the cursor's rows, which `program` has made ready, and gives a column's texts.
    Texts Walk(Program* program, int32_t cursor = 0, int32_t column = 0) {
        program->Emit(SQL_Result, 0, 1, 0, "value");
        const int32_t first = program->Count();
        program->Do(SQL_Cursor_First, cursor, first + 5);
        program->Do(SQL_Push_Column, cursor, column).Do(SQL_Pop_Result, 0).Do(SQL_Output);
        program->Do(SQL_Cursor_Next, cursor, first + 1);
        Machine machine(schema.get());
        machine.Load(*program);
        Texts texts;
        int32_t result = machine.loop.Run();
        for (; result == 1; result = machine.loop.Run()) {
            texts.push_back(machine.Result(0));
        }
        return result < 0 ? Texts{"error: " + machine.Error()} : texts;
    }

    void* database = nullptr;
    std::unique_ptr<Schema> schema;
};

}  // namespace ovrasql
