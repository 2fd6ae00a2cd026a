#pragma once

// HostDatabase, HostView and HostColumn: the host's side of the handles that it shares with the
// library. Each carries one data word that the library sets and reads back.
//
// A database owns its program and its views; a view owns its columns. The library never keeps a
// view or a column beyond the view's close.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "host/host_program.h"
#include "ovrasql/ovrasql.h"

namespace ovrahost {

// A variable of a view: the library's cell of one result column.
struct HostColumn {
    std::string name;
    void* data = nullptr;
};

}  // namespace ovrahost

// The opaque handles of the public header are these very objects.
struct ovra_view {
    ovra_database* database = nullptr;
    void* data = nullptr;
    std::vector<std::unique_ptr<ovrahost::HostColumn>> columns;
    // Visible columns are the first of `columns`; the one behind them is the end mark.
    int32_t visibleColumns = 0;
    bool started = false;
    bool ended = false;
    // A column had no room: the others would stand in wrong places.
    bool lacksColumn = false;
};

struct ovra_database {
    ovrahost::HostProgram program;
    void* data = nullptr;
    std::vector<std::unique_ptr<ovra_view>> views;
    // The reason that the call at work fails, where the library cannot know of it. Else empty.
    std::string hostError;
    // What ovra_error gives: the text of the last call that failed.
    std::string error;
    // A forked process has none of the files that were opened before.
    uint64_t forks = ovrahost::Descriptor::ForkCount();
};

namespace ovrahost {

using HostView = ovra_view;
using HostDatabase = ovra_database;

}  // namespace ovrahost
