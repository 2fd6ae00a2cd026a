/* The loop that docs/embedding.md shows, with the names that it takes for given. */
#include <stdio.h>

#include "ovrasql/library.h"

void WalkView(const struct ovra_library_table* library, void* database, void* view, void* name,
              void* eof);

void WalkView(const struct ovra_library_table* library, void* database, void* view, void* name,
              void* eof) {
#include "view_loop.inc"
}
