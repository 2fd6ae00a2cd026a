// The two functions that the shared library shows to the world. Everything else is hidden behind
// the table that the second one gives.

#include "library/function_table.h"
#include "library/host_services.h"
#include "ovrasql/library.h"

void ovra_register_library(void* module) { ovrasql::BindHostServices(module); }

const void* ovra_database_library(void) { return &ovrasql::kLibraryFunctionTable; }
