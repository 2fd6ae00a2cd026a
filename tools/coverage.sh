#!/usr/bin/env bash
# Prints line and branch coverage of the library's seven folders, from the profiles that the programs of
# a coverage build have left, and checks the reasons for what is not covered. `./test coverage` calls it
# at its end.
# Usage: tools/coverage.sh [build folder]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build/coverage}"

command -v llvm-cov-14 >/dev/null || { echo "llvm-cov-14 is missing: apt-get install llvm-14" >&2; exit 1; }
llvm-profdata-14 merge -sparse -failure-mode=all "$build"/profiles/*.profraw -o "$build/all.profdata"

# Every program and shared library that may have run has its own copy of the code's map.
maps=()
for object in "$build"/bin/* "$build"/lib/*.so; do
    [ ! -f "$object" ] || maps+=(-object "$object")
done
# Functions of one name in programs of their own (each test program has a main) do not belong to the
# seven folders, so that the warning about them tells nothing.
for format in text lcov; do
    llvm-cov-14 export -format="$format" -instr-profile="$build/all.profdata" "${maps[@]:1}" \
        -ignore-filename-regex="^(/usr|$PWD/tests)/" 2>/dev/null >"$build/coverage.$format"
done
python3 tools/coverage_report.py "$PWD" "$build/coverage.text" "$build/coverage.lcov"
