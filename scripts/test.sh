#!/usr/bin/env bash
# Builds everything and runs the tests, after installing what is missing. Operands go to ctest;
# without any, what takes long is left out (the labels slow and valgrind).
set -euo pipefail
cd "$(dirname "$0")/.."
folders=$(scripts/build.sh tests)
[ $# -gt 0 ] || set -- --label-exclude 'slow|valgrind'
# Much of a test's time is waiting for a device.
jobs=$((5 * $(getconf _NPROCESSORS_ONLN)))
status=0
for folder in $folders; do
    ctest --test-dir "$folder" --output-on-failure -j "$jobs" "$@" || status=$?
done
exit $status
