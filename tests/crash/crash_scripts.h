#pragma once

// The scripts that are killed at each of their changes: those of statement_scripts.h, and some
// whose changes of files no other test needs.

#include <vector>

#include "tests/support/statement_scripts.h"

namespace ovrasql {

const std::vector<StatementScript>& CrashScripts();

}  // namespace ovrasql
