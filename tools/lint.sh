#!/usr/bin/env bash
# Checks the form of all C++ files (clang-format) and reads them for likely mistakes (clang-tidy).
# Usage: tools/lint.sh BUILD_FOLDER [format|tidy]     (the folder with compile_commands.json)
set -euo pipefail
cd "$(dirname "$0")/.."

build="$1"
what="${2:-all}"
folders=(include library foundation storage schema language compile engine host shell)
beside=(tests bench fuzz)

if [ "$what" != tidy ]; then
    find "${folders[@]}" "${beside[@]}" \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0 |
        xargs -0 clang-format --dry-run -Werror
    echo "format: good"
fi
if [ "$what" != format ]; then
    # Clang counts sign conversions among the conversions, GCC does not; the code follows GCC here.
    find "${folders[@]}" -name '*.cpp' -print0 |
        xargs -0 -n 4 -P "$(nproc)" clang-tidy -p "$build" --quiet \
            --extra-arg=-Wno-sign-conversion --extra-arg=-Wno-unknown-warning-option 2>/dev/null
    echo "tidy: good"
fi
