#!/usr/bin/env bash
# Installs the Debian packages that a job needs and that are missing, and says which.
# Usage: tools/setup.sh [JOB]     build (when none is named), test, coverage, or one of the long runs
#        OVRA_NO_INSTALL=1        only looks
#        OVRA_NO_PEERS=1          does without the other programs that read .dbf files
set -euo pipefail

build_packages=(g++ cmake ninja-build libcli11-dev libcsv-dev libedit-dev nlohmann-json3-dev)
test_packages=(libgtest-dev python3 binutils clang-format clang-tidy)
# Other programs that read and write the same files; the tests against them are skipped without them.
peer_packages=(shapelib libdbd-xbase-perl gdal-bin)
# What a job needs besides the packages of the tests.
declare -A job_packages=(
    [test]=""
    [coverage]="clang-14 llvm-14 libclang-rt-14-dev"
    [bare_debian]="debootstrap git"
    [big_endian]="g++-s390x-linux-gnu googletest qemu-user-static"
    [clang]="clang-14"
    [fuzz]="clang-14 libclang-rt-14-dev"
    [locale]="locales"
    [thirty_two_bit]="g++-i686-linux-gnu googletest"
    [valgrind]="valgrind"
)

job=${1:-build}
wanted=("${build_packages[@]}")
if [ "$job" != build ]; then
    if [ -z "${job_packages[$job]+known}" ]; then
        echo "usage: $0 build|$(IFS='|'; echo "${!job_packages[*]}")" >&2
        exit 2
    fi
    read -ra more <<<"${job_packages[$job]}"
    wanted+=("${test_packages[@]}" "${more[@]}")
    [ -n "${OVRA_NO_PEERS:-}${OVRA_NO_INSTALL:-}" ] || wanted+=("${peer_packages[@]}")
fi

missing=()
for package in "${wanted[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed' ||
        missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

if [ -n "${OVRA_NO_INSTALL:-}" ]; then
    echo "missing packages: ${missing[*]}" >&2
    exit 1
fi
echo "Installing from Debian: ${missing[*]}"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get install -y --no-install-recommends "${missing[@]}" >/dev/null 2>&1 || {
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" apt-get install -y --no-install-recommends "${missing[@]}" >/dev/null
}
