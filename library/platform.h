#pragma once

// The one place that knows the platform's loader: everything else is the language's own library.

namespace ovrasql {

// The address behind a name in a loaded module, null when the module has no such name. `module` is
// what the platform's loader gave, and null is the running program. The name ends with a NUL.
[[nodiscard]] void* FindInModule(void* module, const char* name);

}  // namespace ovrasql
