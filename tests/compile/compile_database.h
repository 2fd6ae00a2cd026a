#pragma once

// What the tests of the compiler share: a database over the memory host whose tables and indexes
// are defined by SQL text, and a parser with a generator that compile against it. Nothing runs.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "compile/sql_code_generator.h"
#include "compile/tree/sql_statements.h"
#include "language/sql_parser.h"
#include "schema/schema.h"
#include "tests/support/memory_host.h"
#include "tests/support/program_listing.h"

namespace ovrasql {

inline TextView View(std::string_view text) {
    return TextView(text.data(), static_cast<int32_t>(text.size()));
}

inline std::string Text(TextView text) {
    return std::string(text.data, static_cast<size_t>(text.length));
}

class CompileTest : public ::testing::Test {
  protected:
    CompileTest() {
        TheHost().Reset();
        database_ = TheHost().MakeDatabase();
        schema_ = std::make_unique<Schema>(TheHost().Program(), database_, 10);
        EXPECT_TRUE(schema_->Create("main.dbf")) << schema_->Error().CText();
    }

    // Runs a CREATE TABLE or CREATE INDEX straight on the schema.
    void Define(std::string_view sql) {
        SQLCodeGenerator generator(schema_.get());
        SQLParser parser(&generator);
        ASSERT_TRUE(parser.Parse(View(sql))) << parser.Error().CText();
        if (auto* table = dynamic_cast<SQLCreateTableStatement*>(generator.Statement())) {
            ASSERT_TRUE(schema_->CreateTable(table->tableName, table->columns))
                << schema_->Error().CText();
        } else if (auto* index = dynamic_cast<SQLCreateIndexStatement*>(generator.Statement())) {
            ASSERT_TRUE(schema_->CreateIndex(index->tableName, index->indexName, index->unique != 0,
                                             index->columns))
                << schema_->Error().CText();
        } else {
            FAIL() << "no definition: " << sql;
        }
    }

    // The program of the statement, or "! " with the message.
    std::string Compile(std::string_view sql) {
        generator_ = std::make_unique<SQLCodeGenerator>(schema_.get());
        parser_ = std::make_unique<SQLParser>(generator_.get());
        return CompileAgain(sql);
    }

    // The same with the generator in hand.
    std::string CompileAgain(std::string_view sql) {
        if (!parser_->Parse(View(sql))) {
            return "! " + Text(parser_->Error());
        }
        if (!generator_->Compile()) {
            return "! " + Text(generator_->Error());
        }
        return ProgramListing(*generator_);
    }

    Schema& TheSchema() { return *schema_; }
    SQLCodeGenerator& Generator() { return *generator_; }

  private:
    void* database_;
    std::unique_ptr<Schema> schema_;
    std::unique_ptr<SQLCodeGenerator> generator_;
    std::unique_ptr<SQLParser> parser_;
};

}  // namespace ovrasql
