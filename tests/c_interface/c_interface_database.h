#pragma once

// CInterfaceTest: a database with a table of two rows, over the real library and real files.

#include <gtest/gtest.h>

#include "ovrasql/ovrasql.h"
#include "tests/support/temporary_folder.h"

namespace ovratest {

class CInterfaceTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(ovra_create(folder_.File("db.dbf").c_str(), &database_), 1);
        Run("create table t (id integer, word char(10), price numeric(6,2))");
        Run("insert into t values (1, 'one', 1.5)");
        Run("insert into t values (2, '', '-2.25')");
    }
    void TearDown() override { ovra_close(database_); }

    void Run(const char* statement) {
        ASSERT_EQ(ovra_query(database_, statement, -1, nullptr, 0), 1) << ovra_error(database_);
    }
    ovra_view* Open(const char* statement) {
        return ovra_open_view(database_, statement, -1, nullptr, 0);
    }

    TemporaryFolder folder_;
    ovra_database* database_ = nullptr;
};

}  // namespace ovratest
