#!/usr/bin/env bash
# Installs the Debian packages that a job needs and that are missing, and says which.
# Usage: tools/setup.sh build|test|coverage     (set OVRA_NO_INSTALL=1 to only look)
set -euo pipefail

build_packages=(g++ cmake ninja-build libcli11-dev libcsv-dev libedit-dev nlohmann-json3-dev)
test_packages=(libgtest-dev python3 binutils clang-format clang-tidy)
# Other programs that read and write the same files; the tests against them are skipped without them.
peer_packages=(shapelib libdbd-xbase-perl gdal-bin)

case "${1:-build}" in
    build) wanted=("${build_packages[@]}") ;;
    test | coverage)
        wanted=("${build_packages[@]}" "${test_packages[@]}")
        [ "$1" = test ] || wanted+=(gcovr)
        [ -n "${OVRA_NO_PEERS:-}" ] || wanted+=("${peer_packages[@]}")
        ;;
    *) echo "usage: $0 build|test|coverage" >&2; exit 2 ;;
esac

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
