#pragma once

// The table of entry points that the host gets: 48 words of 64 bits at fixed positions, constant
// and shared by all databases. Its layout and each entry are told in include/ovrasql/library.h.

#include "ovrasql/library.h"

namespace ovrasql {

extern const ovra_library_table kLibraryFunctionTable;

}  // namespace ovrasql
