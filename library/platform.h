#pragma once

// The one place that knows the platform: everything else is the language's own library.

namespace ovrasql {

// The address behind a name in a loaded module, null when the module has no such name. `module` is
// what the platform's loader gave, and null is the running program. The name ends with a NUL.
[[nodiscard]] void* FindInModule(void* module, const char* name);

// From now on `before` is called before this process forks, and `after` in both that come out of
// it. Nothing on platforms without fork; and where there is no memory for it, a fork is as it was.
void AroundFork(void (*before)(), void (*after)());

}  // namespace ovrasql
