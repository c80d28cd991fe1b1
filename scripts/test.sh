#!/usr/bin/env bash
# Builds everything and runs the tests, after installing what is missing. Operands go to ctest;
# without any, what takes long is left out (the labels slow and valgrind).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/scripts/packages.sh" build test examples
cd "$top"
cmake --preset release -DBUILD_TESTING=ON >build-test.log 2>&1 ||
    { cat build-test.log >&2 && exit 1; }
rm -f build-test.log
cmake --build --preset release
[ $# -gt 0 ] || set -- --label-exclude 'slow|valgrind'
# Much of a test's time is waiting for a device.
jobs=$((2 * $(getconf _NPROCESSORS_ONLN)))
ctest --test-dir build --output-on-failure -j "$jobs" "$@"
