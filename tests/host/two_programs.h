#pragma once

// TwoProgramsTest: two programs that share a file. To locks, they could be in two processes.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "host/file_system.h"
#include "host/host_program.h"
#include "tests/host/open_modes.h"
#include "tests/support/temporary_folder.h"

namespace ovrahost {

constexpr char kInUse[] = "File is in use by another process or an open view";
constexpr char kReplaced[] = "File was replaced by another process; open the database again";

class TwoProgramsTest : public testing::Test {
  protected:
    TwoProgramsTest() {
        path_ = folder_.Write("t.dbf", "old");
        BeginCall(&one_);
        BeginCall(&other_);
    }

    static void BeginCall(HostProgram* program) {
        program->Claims().BeginCall(CallKind::kRunsStatement);
    }
    static void EndCall(HostProgram* program, bool viewsAreOpen = false) {
        program->Rebuild().End();
        program->Claims().EndCall(viewsAreOpen);
    }

    std::unique_ptr<PosixFile> Open(HostProgram* program, int32_t timeout = 0) {
        error_.clear();
        auto file = program->Claims().Open(path_, kExisting, timeout, &error_);
        if (file != nullptr) {
            program->Claims().Add(file.get());
        }
        return file;
    }

    static void Close(HostProgram* program, std::unique_ptr<PosixFile> file) {
        program->Claims().Remove(file.get());
        file.reset();
    }

    // The claim goes with the file.
    bool CanOpen(HostProgram* program) {
        auto file = Open(program);
        const bool opened = file != nullptr;
        if (opened) {
            Close(program, std::move(file));
        }
        return opened;
    }

    // What the services do for a rebuild: a new file beside the old one.
    bool BeginRebuild(HostProgram* program) { return BeginRebuild(program, path_); }
    bool BeginRebuild(HostProgram* program, const std::string& path) {
        error_.clear();
        program->Rebuild().BeginFile();
        std::unique_ptr<PosixFile> claim;
        if (!program->Claims().ClaimForRebuild(path, 0, &claim, &error_)) {
            return false;
        }
        std::string suffix = program->Rebuild().Suffix();
        auto file = MakeTemporaryFile(path, kTemporary, &suffix, &error_);
        EXPECT_TRUE(program->Rebuild().Add(file.get(), std::move(claim), &error_)) << error_;
        EXPECT_EQ(file->Write("new", 3), 3);
        temporary_ = path + suffix;
        return true;
    }

    void Rename(HostProgram* program, const std::string& from, const std::string& to) {
        ASSERT_EQ(RenameFile(from, to, &error_), 0) << error_;
        program->Rebuild().Settle(from);
    }
    void FinishRebuild(HostProgram* program) {
        Rename(program, temporary_, path_);
        EndCall(program);
    }

    // Leaves the table as a process does that dies when the data file has its place and the memo
    // file has not.
    void DieBetweenTheRenames(const std::string& memoPath) {
        HostProgram dead;
        BeginCall(&dead);
        ASSERT_TRUE(BeginRebuild(&dead)) << error_;
        const std::string data = temporary_;
        ASSERT_TRUE(BeginRebuild(&dead, memoPath)) << error_;
        Rename(&dead, data, path_);
        EXPECT_FALSE(CanOpen(&other_)) << "it is still alive";
    }

    static std::string Content(PosixFile* file) {
        char buffer[3] = {};
        EXPECT_EQ(file->Read(buffer, 3), 3);
        return {buffer, 3};
    }

    ovratest::TemporaryFolder folder_;
    std::string path_;
    std::string temporary_;
    std::string error_;
    HostProgram one_;
    HostProgram other_;
};

}  // namespace ovrahost
