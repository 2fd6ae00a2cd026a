#pragma once

// The library as the host sees it: loaded once for a process, bound to this host's services, and
// reached through its table of entry points.

#include <string>

#include "ovrasql/library.h"

namespace ovrahost {

// Null when the library cannot be loaded; LoadingError() then says why. The table lives as long as
// the process. Safe to call from several threads. The first call can run out of memory, and throws
// then; later ones take none.
//
// The file is the one named by the environment variable OVRASQL_LIBRARY, or libovrasql.so in the
// folder of this host's own file, or what the system's loader finds under that name.
const ovra_library_table* LibraryTable();

// Why there is no table.
const std::string& LoadingError();

}  // namespace ovrahost
