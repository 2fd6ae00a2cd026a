#pragma once

// Parts of a path, by its text alone. Both '/' and '\' separate. Byte 0 is never looked at, so a
// name that begins with its only dot is whole, and a separator there is no directory.

#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

// The path without the extension of its last name.
[[nodiscard]] String StripExtension(TextView path);

// The path up to and including its last separator; empty without one.
[[nodiscard]] String DirectoryPart(TextView path);

}  // namespace ovrasql
