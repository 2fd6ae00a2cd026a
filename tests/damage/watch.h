#pragma once

#include <string>

// Names the damage that is being tried when the program dies or hangs in it. A case that takes ten
// seconds of processor time (a hundred under sanitizers) counts as a hang.
namespace ovratest {

void WatchCase(const std::string& name);

}  // namespace ovratest
