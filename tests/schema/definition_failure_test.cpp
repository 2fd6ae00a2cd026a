// Each definition with each call of the host failing once. Whatever it is, the operation ends with
// a message or with success, nothing is leaked or misused, and the catalog can still be read.

#include <functional>

#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class DefinitionFailureTest : public SchemaTest {
  protected:
    // Two tables, the first with a memo, two indexes, two records and a deleted one.
    void MakeDatabase() {
        SetUp();
        CreateDatabase();
        ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"n", 1, 4}, {"text", 4, 10}}));
        ASSERT_TRUE(CreateIndex("t", "ia", true, {"a"}));
        ASSERT_TRUE(CreateIndex("t", "in", false, {"n"}));
        ASSERT_TRUE(CreateTable("u", {{"a", 0, 5}}));
        Insert("t", {"x", "1", "one"});
        Insert("t", {"y", "2", "two"});
        Insert("t", {"z", "3", "three"});
        Delete("t", 2);
        Reopen();
    }

    // Runs the operation with the first call failing, then the second, until none is left.
    void FailEachCall(const std::function<bool()>& operation) {
        for (int64_t call = 1;; ++call) {
            MakeDatabase();
            TheHost().FailCall(call);
            const bool succeeded = operation();
            const bool failed = TheHost().FailureHappened();
            TheHost().ClearFailures();
            if (!failed) {
                EXPECT_TRUE(succeeded) << Error();
                EXPECT_GT(call, 5);
                return;
            }
            EXPECT_TRUE(succeeded || !Error().empty()) << call;
            EXPECT_TRUE(schema_->TableExists("u")) << call;
            schema_.reset();
            ASSERT_EQ(TheHost().OpenFileCount(), 0) << call;
            ASSERT_EQ(TheHost().AllocatedCount(), 0) << call;
            ASSERT_TRUE(TheHost().Misuses().empty()) << call << TheHost().Misuses().front();
        }
    }
};

TEST_F(DefinitionFailureTest, CreateTable) {
    FailEachCall([this] { return CreateTable("v", {{"a", 0, 5}, {"text", 4, 10}}); });
}

TEST_F(DefinitionFailureTest, DropTable) {
    FailEachCall([this] { return schema_->DropTable("t"); });
}

TEST_F(DefinitionFailureTest, AlterTableAdd) {
    FailEachCall([this] { return AddColumns("t", {{"b", 0, 5}}); });
}

TEST_F(DefinitionFailureTest, AlterTableDrop) {
    FailEachCall([this] { return schema_->AlterTableDrop("t", "text"); });
}

TEST_F(DefinitionFailureTest, CreateIndex) {
    FailEachCall([this] { return CreateIndex("t", "other", false, {"-n", "-a"}); });
}

TEST_F(DefinitionFailureTest, DropIndex) {
    FailEachCall([this] { return schema_->DropIndex("ia"); });
}

TEST_F(DefinitionFailureTest, OpenForWriting) {
    FailEachCall([this] {
        const std::unique_ptr<Table> table = schema_->OpenTable("t");
        return table != nullptr && schema_->OpenIndexes(*table);
    });
}

// A catalog that has been cut short or overwritten with noise: every operation ends.
TEST_F(DefinitionFailureTest, DamagedCatalogsAreSurvived) {
    const std::function<bool()> operations[] = {
        [this] {
            return CreateTable("v", {{"a", 0, 5}});
        },
        [this] { return schema_->DropTable("t"); },
        [this] {
            return AddColumns("t", {{"b", 0, 5}});
        },
        [this] { return schema_->AlterTableDrop("t", "text"); },
        [this] { return CreateIndex("t", "other", false, {"n"}); },
        [this] { return schema_->DropIndex("ia"); },
        [this] { return schema_->Pack(); },
        [this] { return schema_->DropIndex("0"); },
    };
    uint32_t noise = 12345;
    for (const char* file : {"db/main.dbf", "db/main.ovx", "db/maini.ovx"}) {
        for (size_t round = 0; round < 80; ++round) {
            MakeDatabase();
            schema_.reset();
            Bytes damaged = TheHost().FileBytes(file);
            for (int32_t change = 0; change < 8; ++change) {
                noise = noise * 1664525U + 1013904223U;
                damaged[(noise >> 8) % damaged.size()] = static_cast<uint8_t>(noise >> 24);
            }
            if (round % 3 == 0) {
                damaged.resize(damaged.size() * round / 80);
            }
            TheHost().SetFile(file, damaged);
            schema_ = NewSchema();
            const bool opened = schema_->Open("db/main.dbf");
            EXPECT_TRUE(opened || !Error().empty()) << file << round;
            const bool succeeded = operations[round % std::size(operations)]();
            EXPECT_TRUE(succeeded || !Error().empty()) << file << round;
            schema_.reset();
            ASSERT_EQ(TheHost().OpenFileCount(), 0) << file << round;
            ASSERT_TRUE(TheHost().Misuses().empty()) << file << round;
        }
    }
}

}  // namespace
}  // namespace ovrasql
