#!/usr/bin/env bash
# Checks the form of all C++ files (clang-format), and reads the code that ships for likely mistakes
# (clang-tidy).
# Usage: tools/lint.sh [format | tidy [FOLDER...]]     (both, and all folders, when none is named)
set -euo pipefail
cd "$(dirname "$0")/.."

folders=(shell library foundation storage schema language compile engine host)
beside=(include tests bench fuzz)

check_format() {
    find "${folders[@]}" "${beside[@]}" \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0 |
        xargs -0 clang-format --dry-run -Werror
    echo "format: good"
}

# The files of a folder are read as one, since nearly all the time goes into the headers that they
# share. Clang counts sign conversions among the conversions, GCC does not; the code follows GCC here.
check_mistakes() {
    local folder="$1" joined
    joined=$(mktemp --suffix=.cpp)
    find "$PWD/$folder" -name '*.cpp' | sort | sed 's/.*/#include "&"/' >"$joined"
    local status=0
    clang-tidy --quiet --checks=-bugprone-suspicious-include --config-file=.clang-tidy "$joined" -- \
        -std=c++20 -I. -Iinclude -Wno-sign-conversion -DOVRASQL_VERSION='""' 2>/dev/null || status=1
    rm "$joined"
    [ "$status" -ne 0 ] || echo "tidy: $folder is good"
    return "$status"
}

what="${1:-all}"
[ "$what" = tidy ] || check_format
if [ "$what" != format ]; then
    [ $# -lt 2 ] || folders=("${@:2}")
    if [ ${#folders[@]} -eq 1 ]; then
        check_mistakes "${folders[0]}"
    else
        printf '%s\n' "${folders[@]}" | xargs -n 1 -P "$(nproc)" tools/lint.sh tidy
    fi
fi
