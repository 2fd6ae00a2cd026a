#!/usr/bin/env bash
# Prints line and branch coverage of the library's seven folders after `./test coverage`.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v gcovr >/dev/null || { echo "gcovr is missing: apt-get install gcovr" >&2; exit 1; }
gcovr --root . --object-directory build/coverage \
    --filter '(library|foundation|storage|schema|language|compile|engine)/' \
    --exclude-throw-branches --print-summary "$@"
