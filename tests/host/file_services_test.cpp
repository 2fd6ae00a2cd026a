// The services as the library calls them, where they do more than pass a call on: new files of a
// rebuild, and files that are used under a claim.

#include <filesystem>
#include <set>

#include "ovrasql/services.h"
#include "tests/host/two_programs.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/few_descriptors.h"

namespace ovrasql {

// There is no in-memory host here whose own allocations were to be spared.
int ServiceDepth() { return 0; }

}  // namespace ovrasql

namespace ovrahost {
namespace {

// While it lives, one allocation fails, counted from 1.
class FailingAllocation {
  public:
    explicit FailingAllocation(int64_t number) {
        ovratest::allocationCount = 0;
        ovratest::failingAllocation = number;
        ovratest::countingAllocations = true;
    }
    ~FailingAllocation() { ovratest::countingAllocations = false; }
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    static bool WasReached() { return ovratest::allocationCount >= ovratest::failingAllocation; }
};

class FileServicesTest : public TwoProgramsTest {
  protected:
    FileServicesTest() {
        one_.SetLockTimeout(0);
        other_.SetLockTimeout(0);
    }

    static void* OpenFile(HostProgram* program, const std::string& path) {
        return ovFile_Open(program, kDatabaseRoot, path.data(), static_cast<int32_t>(path.size()),
                           kExisting);
    }

    // A new file beside another; its name is left in temporary_.
    void* MakeTemporary(HostProgram* program, const std::string& path) {
        char* name = nullptr;
        int32_t length = 0;
        void* file =
            ovFile_MakeTemporary(program, kDatabaseRoot, path.data(),
                                 static_cast<int32_t>(path.size()), kTemporary, &name, &length);
        temporary_ = file == nullptr ? "" : std::string(name, static_cast<std::size_t>(length));
        ovProgram_Free(program, name);
        return file;
    }

    static int32_t Rename(HostProgram* program, const std::string& from, const std::string& to) {
        return ovFile_Rename(program, kDatabaseRoot, from.data(), static_cast<int32_t>(from.size()),
                             kDatabaseRoot, to.data(), static_cast<int32_t>(to.size()));
    }

    std::set<std::string> FolderContent() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }
};

// The second rename fails, and the process goes on.
TEST_F(FileServicesTest, MarkStaysWithTheDataFileWhenARenameFails) {
    const std::string memo = folder_.Write("t.dbt", "old memo");
    void* data = MakeTemporary(&one_, path_);
    const std::string newData = temporary_;
    void* text = MakeTemporary(&one_, memo);
    ASSERT_NE(data, nullptr);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(ovFile_Write(text, "new", 3), 3);
    ovFile_Close(data);
    ovFile_Close(text);
    std::filesystem::remove(memo);
    std::filesystem::create_directory(memo);
    EXPECT_EQ(Rename(&one_, newData, path_), 0);
    EXPECT_EQ(Rename(&one_, temporary_, memo), -1);
    EXPECT_EQ(one_.LastError(), "Is a directory");
    EndCall(&one_);
    EXPECT_FALSE(CanOpen(&other_)) << "the old texts are those of other rows";
    std::filesystem::remove(memo);
    auto file = Open(&other_);
    ASSERT_NE(file, nullptr) << error_;
    EXPECT_EQ(folder_.Read("t.dbt"), "new");
    EXPECT_FALSE(file->IsMarked());
}

// ALTER TABLE that drops the last memo column deletes the old memo file behind the renames. By then
// it must not be that of somebody who has added a memo column again.
TEST_F(FileServicesTest, NobodyUsesTheTableBetweenTheLastRenameAndWhatFollows) {
    ovFile_Close(MakeTemporary(&one_, path_));
    ASSERT_EQ(Rename(&one_, temporary_, path_), 0);
    EXPECT_FALSE(CanOpen(&other_));
    void* nextTable = OpenFile(&one_, folder_.Write("u.dbf", "next"));
    EXPECT_TRUE(CanOpen(&other_)) << error_;
    ovFile_Close(nextTable);
}

// No claim keeps a table from being dropped while it is copied.
TEST_F(FileServicesTest, RebuiltTableDoesNotTakeThePlaceOfAnother) {
    ovFile_Close(MakeTemporary(&one_, path_));
    std::filesystem::remove(path_);
    EXPECT_EQ(Rename(&one_, temporary_, path_), -1) << "a table that was dropped";
    EXPECT_EQ(one_.LastError(), kReplaced);
    EXPECT_FALSE(FileExists(path_));
    folder_.Write("t.dbf", "created since");
    EXPECT_EQ(Rename(&one_, temporary_, path_), -1);
    EXPECT_EQ(folder_.Read("t.dbf"), "created since");
}

// One allocation after the other fails, until there are no more.
TEST_F(FileServicesTest, NewFileIsGoneAgainWhenMemoryRunsOut) {
    bool failed = true;
    for (int allocation = 1; failed; ++allocation) {
        ASSERT_LT(allocation, 1000);
        BeginCall(&one_);
        one_.SetLastError("");
        char* name = nullptr;
        int32_t length = 0;
        void* file = nullptr;
        {
            const FailingAllocation failing(allocation);
            file = ovFile_MakeTemporary(&one_, kDatabaseRoot, path_.data(),
                                        static_cast<int32_t>(path_.size()), kTemporary, &name,
                                        &length);
        }
        failed = FailingAllocation::WasReached();
        if (file == nullptr) {
            EXPECT_EQ(FolderContent(), std::set<std::string>{"t.dbf"});
            EXPECT_EQ(one_.LastError(), "Out of memory");
        } else {
            EXPECT_FALSE(CanOpen(&other_)) << "allocation " << allocation;
            temporary_ = name;
            ovFile_Close(file);
            std::filesystem::remove(temporary_);
        }
        ovProgram_Free(&one_, name);
        EndCall(&one_);
        EXPECT_TRUE(CanOpen(&other_)) << error_;
        EndCall(&other_);
    }
}

TEST_F(FileServicesTest, LockThatFailsForLackOfMemoryTellsSo) {
    void* holder = OpenFile(&one_, path_);
    void* file = OpenFile(&other_, path_);
    ASSERT_EQ(ovFile_Lock(holder, 2, 0, 32), 0);
    {
        const FailingAllocation failing(1);
        EXPECT_EQ(ovFile_Lock(file, 2, 0, 32), -1);
        EXPECT_TRUE(FailingAllocation::WasReached());
    }
    EXPECT_STREQ(ovFile_Error(&other_, file, nullptr), "Out of memory");
    ovFile_Close(holder);
    ovFile_Close(file);
}

TEST_F(FileServicesTest, NewFileThatCannotBeMadeTellsWhy) {
    const ovratest::FewDescriptors enoughForTheOldFile(1);
    EXPECT_EQ(MakeTemporary(&one_, path_), nullptr);
    EXPECT_EQ(one_.LastError().rfind("Too many open files (" + path_ + ".", 0), 0U)
        << one_.LastError();
}

// As CREATE INDEX does it: a table that was opened for an earlier statement.
TEST_F(FileServicesTest, TableOfAnEarlierCallIsReadUnderAClaim) {
    void* table = OpenFile(&one_, path_);
    EndCall(&one_);
    BeginCall(&one_);
    char byte = 0;
    EXPECT_EQ(ovFile_Read(table, &byte, 1), 1);
    EXPECT_EQ(MakeTemporary(&other_, path_), nullptr);
    EXPECT_EQ(other_.LastError(), std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    EndCall(&one_);
    void* newFile = MakeTemporary(&other_, path_);
    EXPECT_NE(newFile, nullptr) << other_.LastError();
    ovFile_Close(newFile);
    ovFile_Close(table);
}

// A shorter table would be read, and an index of too few keys be listed.
TEST_F(FileServicesTest, CallThatCouldNotReadATableWritesNothing) {
    void* table = OpenFile(&one_, path_);
    void* index = OpenFile(&one_, folder_.Write("index", "keys"));
    EndCall(&one_);
    void* newFile = MakeTemporary(&other_, path_);
    BeginCall(&one_);
    char byte = 0;
    EXPECT_EQ(ovFile_Read(table, &byte, 1), 0);
    EXPECT_EQ(ovFile_Lock(index, 2, 0, 1), -1);
    int32_t length = 0;
    EXPECT_EQ(std::string(ovFile_Error(&one_, index, &length)),
              std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    EXPECT_EQ(ovFile_Lock(index, 1, 0, 1), 0) << "reading is harmless";
    for (void* file : {table, index, newFile}) {
        ovFile_Close(file);
    }
}

// As a view does behind the last row that it knew of. Its steps are no calls.
TEST_F(FileServicesTest, ViewReadsTheHeaderOfTheOldFileAfterARebuildOfItsOwnProgram) {
    void* view = OpenFile(&one_, path_);
    EndCall(&one_, /*viewsAreOpen=*/true);
    BeginCall(&one_);
    ovFile_Close(MakeTemporary(&one_, path_));
    ASSERT_EQ(Rename(&one_, temporary_, path_), 0) << one_.LastError();
    EndCall(&one_, /*viewsAreOpen=*/true);
    for (int header = 0; header < 2; ++header) {
        EXPECT_EQ(ovFile_Lock(view, 2, 0, 32), 0);
        char byte = 0;
        EXPECT_EQ(ovFile_Seek(view, 0), 0);
        EXPECT_EQ(ovFile_Read(view, &byte, 1), 1);
        EXPECT_EQ(byte, 'o');
        EXPECT_EQ(ovFile_Write(view, "!", 1), 0);
        EXPECT_EQ(ovFile_Release(view, 0, 32), 0);
    }
    BeginCall(&one_);
    EXPECT_EQ(ovFile_Lock(view, 2, 0, 32), -1) << "a statement could go on to write";
    EXPECT_STREQ(ovFile_Error(&one_, view, nullptr), kReplaced);
    ovFile_Close(view);
}

// Nobody replaces those, and with a claim on one a statement would no longer wait its turn.
TEST_F(FileServicesTest, FilesOfTheCatalogAreUsedWithoutAClaim) {
    one_.Claims().BeginCall(CallKind::kOpensDatabase);
    void* catalog = OpenFile(&one_, path_);
    EndCall(&one_);
    BeginCall(&one_);
    char byte = 0;
    EXPECT_EQ(ovFile_Read(catalog, &byte, 1), 1);
    void* newFile = MakeTemporary(&other_, path_);
    EXPECT_NE(newFile, nullptr);
    ovFile_Close(newFile);
    ovFile_Close(catalog);
}

}  // namespace
}  // namespace ovrahost
