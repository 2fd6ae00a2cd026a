// What a program is told when the database library cannot be loaded. It is loaded once for a
// process, so that each case runs in a child of this one, which never loads it itself.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "ovrasql/ovrasql.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/temporary_folder.h"

// The in-memory host is not linked, whose own allocations are spared.
namespace ovrasql {
int ServiceDepth() { return 0; }
}  // namespace ovrasql

namespace {

// What the operation gives in a child process, in which OVRASQL_LIBRARY has the value.
std::string InChild(const char* library, const std::function<std::string()>& operation) {
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0) {
        return "no pipe";
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::setenv("OVRASQL_LIBRARY", library, 1);
        const std::string told = operation();
        const ssize_t written = ::write(pipe[1], told.data(), told.size());
        ::_exit(written == static_cast<ssize_t>(told.size()) ? 0 : 1);
    }
    ::close(pipe[1]);
    std::string told;
    std::array<char, 4096> room{};
    ssize_t count = 0;
    while ((count = ::read(pipe[0], room.data(), room.size())) > 0) {
        told.append(room.data(), static_cast<std::size_t>(count));
    }
    ::close(pipe[0]);
    int status = -1;
    ::waitpid(child, &status, 0);
    return status == 0 ? told : "the child has died: " + told;
}

std::string OpeningTells(const char* library) {
    return InChild(library, [] {
        ovra_database* database = nullptr;
        const int32_t opened = ovra_open("db.dbf", &database);
        const std::string told = ovra_error(database);
        ovra_close(database);
        return opened == 0 ? told : "opened";
    });
}

// The same through a host that was loaded by its path.
std::string OpeningTells(void* host) {
    const auto open = reinterpret_cast<decltype(&ovra_open)>(::dlsym(host, "ovra_open"));
    const auto error = reinterpret_cast<decltype(&ovra_error)>(::dlsym(host, "ovra_error"));
    ovra_database* database = nullptr;
    open("db.dbf", &database);
    return error(database);
}

constexpr char kCannotBeLoaded[] = "The database library cannot be loaded: ";

TEST(LibraryLoading, MissingFileIsToldOf) {
    const std::string told = OpeningTells("/no/such/library.so");
    EXPECT_EQ(told.rfind(kCannotBeLoaded, 0), 0U) << told;
    EXPECT_NE(told.find("/no/such/library.so"), std::string::npos) << told;
}

TEST(LibraryLoading, AnotherLibraryIsToldOf) {
    EXPECT_EQ(OpeningTells("libm.so.6"), "The file found as the database library is none");
}

TEST(LibraryLoading, AnotherInterfaceVersionIsToldOf) {
    EXPECT_EQ(OpeningTells(OVRA_OTHER_VERSION),
              "The database library has another interface version");
}

// A handle is given all the same, and whatever is tried with it has the reason, too.
TEST(LibraryLoading, EveryCallThatFollowsTellsTheReason) {
    const std::string told = InChild("/no/such/library.so", [] {
        ovra_database* database = nullptr;
        std::string reasons;
        const auto note = [&](bool failed) {
            const std::string reason = ovra_error(database);
            reasons += failed && reason.rfind(kCannotBeLoaded, 0) == 0 ? "+" : "-" + reason;
        };
        note(ovra_create("db.dbf", &database) == 0);
        note(ovra_query(database, "select 1", -1, nullptr, 0) == 0);
        note(ovra_compile(database, "select 1", -1) == 0);
        note(ovra_open_view(database, "select 1", -1, nullptr, 0) == nullptr);
        note(ovra_set_option(database, "log", "") == 0);
        note(ovra_pack(database) == 0);
        ovra_close(database);
        return reasons;
    });
    EXPECT_EQ(told, "++++++");
}

// A program in C++ can close a database where its static objects are destroyed, long after main.
TEST(LibraryLoading, DatabaseIsClosedBehindTheHostsOwnStaticObjects) {
    static ovra_database* database;
    static std::string expected;
    const ovratest::TemporaryFolder folder;
    const std::string path = folder.File("db.dbf");
    for (const char* library : {"/no/such/library.so", ""}) {
        expected = *library == '\0' ? "Table 'none' does not exist" : kCannotBeLoaded;
        const pid_t child = ::fork();
        if (child == 0) {
            // Registered before the host loads the library, so that it runs after all that does.
            std::atexit([] {
                ovra_query(database, "drop table none", -1, nullptr, 0);
                const bool told = std::string(ovra_error(database)).rfind(expected, 0) == 0;
                ovra_close(database);
                ::_exit(told ? 17 : 1);
            });
            ::setenv("OVRASQL_LIBRARY", library, 1);
            ovra_create(path.c_str(), &database);
            std::exit(2);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 17) << expected;
    }
}

// Memory can have been short for the loading, too.
TEST(LibraryLoading, ClosingThrowsNothingWhenMemoryHasRunOut) {
    for (int failing = 1; failing <= 20; ++failing) {
        const std::string told = InChild("/no/such/library.so", [failing] {
            ovratest::failingAllocation = failing;
            ovratest::allocationsFailForEver = true;
            ovratest::countingAllocations = true;
            ovra_database* database = nullptr;
            ovra_open("db.dbf", &database);
            ovratest::allocationCount = failing;
            ovra_close(database);
            ovratest::countingAllocations = false;
            return std::string("closed");
        });
        EXPECT_EQ(told, "closed") << "allocation " << failing;
    }
}

// A file that is there is the one that is meant: what the system's loader would find besides must
// not hide what is wrong with it.
TEST(LibraryLoading, BrokenFileBesideTheHostIsTheOneToldOf) {
    const ovratest::TemporaryFolder folder;
    const std::string host = folder.File("libovrahost.so");
    std::filesystem::copy_file(OVRA_HOST_LIBRARY, host);
    const std::string broken = folder.Write("libovrasql.so", "no library");
    const std::string told = InChild("", [&]() -> std::string {
        void* loaded = ::dlopen(host.c_str(), RTLD_NOW | RTLD_LOCAL);
        return loaded == nullptr ? ::dlerror() : OpeningTells(loaded);
    });
    EXPECT_EQ(told.rfind(kCannotBeLoaded + broken, 0), 0U) << told;
}

// The system's loader knows such a file by the path that it was asked for.
TEST(LibraryLoading, FolderOfTheHostIsFoundFromAnotherFolder) {
    const ovratest::TemporaryFolder folder;
    std::filesystem::create_directory(folder.File("lib"));
    std::filesystem::copy_file(OVRA_HOST_LIBRARY, folder.File("lib/libovrahost.so"));
    const std::string broken = folder.Write("lib/libovrasql.so", "no library");
    const std::string told = InChild("", [&]() -> std::string {
        std::filesystem::current_path(folder.Path());
        void* loaded = ::dlopen("lib/libovrahost.so", RTLD_NOW | RTLD_LOCAL);
        std::filesystem::current_path("/");
        return loaded == nullptr ? ::dlerror() : OpeningTells(loaded);
    });
    EXPECT_EQ(told.rfind(kCannotBeLoaded + broken, 0), 0U) << told;
}

// The first call of a process makes what all later ones share. Nothing may be thrown at a program
// that need not be written in C++.
TEST(LibraryLoading, FirstCallThrowsNothingWhenMemoryRunsOut) {
    const ovratest::TemporaryFolder folder;
    const std::string path = folder.File("db.dbf");
    for (int failing = 1; failing <= 20; ++failing) {
        const std::string told = InChild("", [&]() -> std::string {
            ovratest::failingAllocation = failing;
            ovratest::countingAllocations = true;
            ovra_database* database = nullptr;
            const int32_t created = ovra_create(path.c_str(), &database);
            ovratest::countingAllocations = false;
            const std::string text = ovra_error(database);
            ovra_close(database);
            return created == 0 && !text.empty() ? "told" : "created, or no text: " + text;
        });
        EXPECT_EQ(told, "told") << "allocation " << failing;
    }
}

}  // namespace
