# Common steps of the long runs in this folder; each of them sources this file. A run named `name`
# works in build/name, and the last line that it prints is its result.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
run=$(basename "$0")
title=${run//_/ }
build=$PWD/build/$run
mkdir -p "$build"

# Whatever ends a run early, its last line says so.
trap '[ $? -eq 0 ] || echo "$title: failed"' EXIT

# configure [arguments of cmake]: all that is there, without the checks of form. Little optimisation:
# it is soon built, and the compiler still looks through most of the code. Assertions stay in.
configure() {
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_C_FLAGS_NONE=-O1 \
        -DCMAKE_CXX_FLAGS_NONE=-O1 -DOVRA_BUILD_TESTS=ON -DOVRA_LINT=OFF "$@" >/dev/null
}

# build_targets [targets]: all of them when none is named.
build_targets() {
    cmake --build "$build" ${1:+--target "$@"}
}

# run_tests [arguments of ctest]: leaves in $passed how many tests there were in how many programs.
run_tests() {
    ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" "$@"
    count_passed "$build/Testing/Temporary/LastTest.log"
}

# count_passed LOG: the same from what the programs have printed.
count_passed() {
    passed=$(sed -nE 's/^\[  PASSED  \] ([0-9]+) tests?\.$/\1/p' "$1" |
        awk '{ tests += $1 } END { printf "%d tests in %d programs passed", tests, NR }')
}

# The tests of single parts and of the library over the in-memory host: quick even where a machine
# is emulated. The others need processes, other programs or a long time.
quick=(foundation storage schema language compile engine library sql host c_interface)

# cross_configure TRIPLET [arguments of cmake]: what needs no package of the target, which is all but
# the prompt program.
cross_configure() {
    local target=(-DCMAKE_SYSTEM_NAME=Linux "-DCMAKE_C_COMPILER=$1-gcc" "-DCMAKE_CXX_COMPILER=$1-g++")
    shift
    if [ ! -e "$build/gtest/include" ]; then
        cmake -S /usr/src/googletest -B "$build/googletest" -G Ninja "${target[@]}" "$@" \
            -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$build/gtest" >/dev/null
        cmake --build "$build/googletest" --target install >/dev/null
    fi
    configure "${target[@]}" "$@" -DOVRA_BUILD_SHELL=OFF -DGTest_DIR="$build/gtest/lib/cmake/GTest"
}

# compare_files [emulator]: what the other machine makes of every script of statements, and what it
# makes of the files from here, is the same as here. Leaves in $compared how many files that were.
compare_files() {
    local here="$build/here" there="$build/there" across="$build/across" folder
    cmake --preset release -DOVRA_BUILD_TESTS=ON >/dev/null
    cmake --build --preset release --target portable_files
    rm -rf "$here" "$there" "$across"
    build/release/bin/portable_files make "$here"
    "$@" "$build/bin/portable_files" make "$there"
    "$@" "$build/bin/portable_files" continue "$here" "$across"
    for folder in "$there" "$across"; do
        compare_folders "$here" "$folder"
    done
    compared="$(find "$here" -type f | wc -l) files the same"
}

# Ends the run where two folders have not the same files. Bytes 1 to 3 of a table file are a date.
compare_folders() {
    local file skipped
    diff <(cd "$1" && find . -type f | sort) <(cd "$2" && find . -type f | sort)
    (cd "$1" && find . -type f) | while read -r file; do
        skipped=0
        if [[ $file == *.dbf ]]; then
            cmp -n 1 "$1/$file" "$2/$file" || exit 1
            skipped=4
        fi
        cmp -i "$skipped" "$1/$file" "$2/$file" || exit 1
    done
}
