#pragma once

// A database in the memory host, opened through a Schema of its own, with short ways to say what a
// test does with it.

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "foundation/coll_list.h"
#include "foundation/list.h"
#include "schema/column_definition.h"
#include "schema/index.h"
#include "schema/schema.h"
#include "schema/sql_index_column.h"
#include "schema/table.h"
#include "tests/support/memory_host.h"

namespace ovrasql {

inline std::string Text(TextView view) {
    return std::string(view.data, static_cast<size_t>(view.length));
}

struct Column {
    const char* name;
    int32_t type;
    int32_t width;
    int32_t scale = 0;
};

class SchemaTest : public ::testing::Test {
  protected:
    // A test that goes through several cases calls this before each.
    void SetUp() override {
        schema_.reset();
        TheHost().Reset();
        TheHost().AddDirectory("db");
        database_ = TheHost().MakeDatabase();
    }

    void TearDown() override {
        schema_.reset();
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
        EXPECT_EQ(TheHost().AllocatedCount(), 0);
        EXPECT_TRUE(TheHost().Misuses().empty())
            << (TheHost().Misuses().empty() ? "" : TheHost().Misuses().front());
    }

    [[nodiscard]] std::unique_ptr<Schema> NewSchema() {
        return std::make_unique<Schema>(TheHost().Program(), database_, 10);
    }

    void CreateDatabase(const char* path = "db/main.dbf") {
        schema_ = NewSchema();
        ASSERT_TRUE(schema_->Create(path)) << Error();
    }

    // Ends the database and opens it again, as another process would see it.
    void Reopen(const char* path = "db/main.dbf") {
        schema_ = NewSchema();
        ASSERT_TRUE(schema_->Open(path)) << Error();
    }

    [[nodiscard]] std::string Error() const { return Text(schema_->Error()); }

    static void Fill(CollList<ColumnDefinition>* list, std::initializer_list<Column> columns) {
        for (const Column& column : columns) {
            auto definition = std::make_unique<ColumnDefinition>();
            definition->name = column.name;
            definition->type = column.type;
            definition->width = column.width;
            definition->scale = column.scale;
            list->Insert(std::move(definition), ListPlace::kTail);
        }
    }

    [[nodiscard]] bool CreateTable(const char* name, std::initializer_list<Column> columns) {
        CollList<ColumnDefinition> list(/*ownsItems=*/true);
        Fill(&list, columns);
        return schema_->CreateTable(name, list);
    }

    [[nodiscard]] bool AddColumns(const char* name, std::initializer_list<Column> columns) {
        CollList<ColumnDefinition> list(/*ownsItems=*/true);
        Fill(&list, columns);
        return schema_->AlterTableAdd(name, list);
    }

    // A column with "-" in front is descending.
    [[nodiscard]] bool CreateIndex(const char* table, const char* name, bool unique,
                                   std::initializer_list<const char*> columns) {
        List<SQLIndexColumn> list(/*ownsItems=*/true);
        for (const char* column : columns) {
            auto part = std::make_unique<SQLIndexColumn>();
            part->ascending = column[0] != '-';
            part->name = part->ascending ? column : column + 1;
            list.Insert(std::move(part), ListPlace::kTail);
        }
        return schema_->CreateIndex(table, name, unique, list);
    }

    // The table with all its indexes open, as a statement that writes has it.
    [[nodiscard]] std::unique_ptr<Table> OpenForWriting(const char* name) {
        std::unique_ptr<Table> table = schema_->OpenTable(name);
        EXPECT_NE(table, nullptr) << Error();
        if (table != nullptr) {
            EXPECT_TRUE(schema_->OpenIndexes(*table)) << Error();
        }
        return table;
    }

    static void SetValues(Table& table, std::initializer_list<const char*> values) {
        auto field = table.Data().Fields().begin();
        for (const char* value : values) {
            (*field)->SetValue(value);
            ++field;
        }
    }

    void Insert(const char* name, std::initializer_list<const char*> values) {
        const std::unique_ptr<Table> table = OpenForWriting(name);
        SetValues(*table, values);
        ASSERT_TRUE(table->InsertRecord()) << Text(table->Error());
    }

    void Delete(const char* name, uint32_t recordNumber) {
        const std::unique_ptr<Table> table = OpenForWriting(name);
        ASSERT_TRUE(table->ReadRecord(recordNumber));
        ASSERT_TRUE(table->DeleteRecord());
        ASSERT_TRUE(table->ApplyIndexDeletes());
    }

    // One text a record, values joined by "|", "*" in front of a deleted one.
    [[nodiscard]] std::vector<std::string> Records(const char* name) {
        std::vector<std::string> records;
        const std::unique_ptr<Table> table = schema_->OpenTable(name);
        if (table == nullptr) {
            return {"no table: " + Error()};
        }
        for (uint32_t number = 1; table->Data().ReadRecord(number); ++number) {
            std::string record = table->Data().IsDeleted() ? "*" : "";
            const char* between = "";
            for (OvraSQLField* field : table->Data().Fields()) {
                record += between + Text(field->ValueText());
                between = "|";
            }
            records.push_back(record);
        }
        return records;
    }

    // The entries of an index in order, each as "key=record".
    [[nodiscard]] std::vector<std::string> Keys(const char* tableName, const char* indexName) {
        std::vector<std::string> keys;
        const std::unique_ptr<Table> table = schema_->OpenTable(tableName);
        Index* index = table == nullptr ? nullptr : schema_->OpenIndex(*table, indexName);
        if (index == nullptr) {
            return {"no index: " + Error()};
        }
        uint32_t number = 0;
        bool found = false;
        // Every key begins with the empty text, so this lands on the first entry.
        EXPECT_TRUE(index->Seek("", /*exact=*/false, &number, &found));
        if (!found) {
            return keys;
        }
        TextView key;
        keys.push_back(KeyOfRecord(*index, number) + "=" + std::to_string(number));
        while (index->File().Next(&number, &key, /*lock=*/true) && number != 0) {
            keys.push_back(Text(key) + "=" + std::to_string(number));
        }
        return keys;
    }

    std::unique_ptr<Schema> schema_;
    void* database_ = nullptr;

  private:
    static std::string KeyOfRecord(Index& index, uint32_t number) {
        EXPECT_TRUE(index.OwnerTable()->Data().ReadRecord(number));
        String key;
        index.BuildKey(&key);
        return Text(key);
    }
};

using Texts = std::vector<std::string>;

}  // namespace ovrasql
