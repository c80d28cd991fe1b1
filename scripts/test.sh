#!/usr/bin/env bash
# Builds everything and runs the tests, after installing what is missing. Operands go to ctest;
# without any, what takes long is left out (the labels slow and valgrind).
set -euo pipefail
cd "$(dirname "$0")/.."
folders=$(scripts/build.sh tests)
[ $# -gt 0 ] || set -- --label-exclude 'slow|valgrind'

# The tests make hundreds of stations, each with a root of some twenty small files. In memory they
# take a third less time on some disks. Where nothing may be run from there, they stay where they are.
if [ -z "${TMPDIR:-}" ] && memory=$(mktemp -d /dev/shm/tarnwick-tests.XXXXXX 2>/dev/null); then
    trap 'rm -rf "$memory"' EXIT
    printf '#!/bin/sh\n' >"$memory/probe"
    chmod 1777 "$memory" "$memory/probe"  # as /tmp: some tests become another user
    if "$memory/probe" 2>/dev/null; then export TMPDIR=$memory; fi
fi

# Much of a test's time is waiting for a device.
jobs=$((5 * $(getconf _NPROCESSORS_ONLN)))
status=0
for folder in $folders; do
    ctest --test-dir "$folder" --output-on-failure -j "$jobs" "$@" || status=$?
done
exit $status
