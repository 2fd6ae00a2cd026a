# Common steps of the long runs in this folder; each of them sources this file. A run named `name`
# builds in build/name, and the last line that it prints is its result.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
run=$(basename "$0")
title=${run//_/ }
build=$PWD/build/$run

# Whatever ends a run early, its last line says so.
trap '[ $? -eq 0 ] || echo "$title: failed"' EXIT

# configure [arguments of cmake]: all that is there, without the checks of form. Little optimisation:
# it is soon built, and the compiler still looks through most of the code. Assertions stay in.
configure() {
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=None \
        -DCMAKE_C_FLAGS_NONE=-O1 -DCMAKE_CXX_FLAGS_NONE=-O1 -DOVRA_BUILD_TESTS=ON -DOVRA_LINT=OFF "$@" >/dev/null
}

build_tests() {
    configure "$@"
    cmake --build "$build"
}

# run_tests [arguments of ctest]: leaves in $passed how many tests there were in how many programs.
run_tests() {
    ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" "$@"
    passed=$(sed -nE 's/^\[  PASSED  \] ([0-9]+) tests?\.$/\1/p' "$build/Testing/Temporary/LastTest.log" |
        awk '{ tests += $1 } END { printf "%d tests in %d programs", tests, NR }')
}

# The tests of single parts and of the library over the in-memory host: quick even where a machine
# is emulated. The others need processes, other programs or a long time.
quick_tests='^(foundation|storage|schema|language|compile|engine|library|sql|host|c_interface|c\.boundary)$'

# cross_build TRIPLET [arguments of cmake]: what needs no package of the target, which is all but the
# prompt program.
cross_build() {
    local target=(-DCMAKE_SYSTEM_NAME=Linux "-DCMAKE_C_COMPILER=$1-gcc" "-DCMAKE_CXX_COMPILER=$1-g++")
    shift
    if [ ! -e "$build/gtest/include" ]; then
        cmake -S /usr/src/googletest -B "$build/googletest" -G Ninja "${target[@]}" "$@" \
            -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$build/gtest" >/dev/null
        cmake --build "$build/googletest" --target install >/dev/null
    fi
    build_tests "${target[@]}" "$@" -DOVRA_BUILD_SHELL=OFF -DGTest_DIR="$build/gtest/lib/cmake/GTest"
}

# compare_databases [emulator]: what the other machine makes of every script of statements, and what
# it makes of the files from here, is the same as here. Leaves in $compared how many files that were.
compare_databases() {
    local here="$build/here" there="$build/there" across="$build/across" native="$build/native" folder
    cmake -S . -B "$native" -G Ninja -DCMAKE_BUILD_TYPE=None -DOVRA_BUILD_SHELL=OFF >/dev/null
    cmake --build "$native" --target portable_files
    rm -rf "$here" "$there" "$across"
    "$native/bin/portable_files" make "$here"
    "$@" "$build/bin/portable_files" make "$there"
    "$@" "$build/bin/portable_files" continue "$here" "$across"
    for folder in "$there" "$across"; do
        compare_folders "$here" "$folder"
    done
    compared="$(find "$here" -type f | wc -l) files the same"
}

# Fails where two folders have not the same files. Bytes 1 to 3 of a table file are a date.
compare_folders() {
    local file skipped
    diff <(cd "$1" && find . -type f | sort) <(cd "$2" && find . -type f | sort)
    (cd "$1" && find . -type f) | while read -r file; do
        skipped=0
        if [[ $file == *.dbf ]]; then
            cmp -n 1 "$1/$file" "$2/$file"
            skipped=4
        fi
        cmp -i "$skipped" "$1/$file" "$2/$file"
    done
}
