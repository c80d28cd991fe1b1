#!/usr/bin/env bash
# Builds the fuzz targets and runs them one after the other, after installing what is missing. One
# line tells how each fared; fails when one of them found something.
#
#   scripts/fuzz.sh [SECONDS [TARGET]...]      60 seconds for each; all targets
#
# A target begins with its kept inputs, tests/fuzz/corpus/TARGET. What it finds on its way goes to
# build-fuzz/corpus/TARGET, and an input that it fails on to build-fuzz/found: given to
# build-fuzz/fuzz_TARGET it shows the failure again, and put among the kept inputs it is a test.
set -euo pipefail
cd "$(dirname "$0")/.."
kept=tests/fuzz/corpus
build=./build-fuzz
seconds=${1:-60}
# shellcheck disable=SC2046 # the names have no blanks
[ $# -gt 1 ] || set -- "$seconds" $(ls "$kept")

if [ "$(uname)" = Darwin ]; then
    echo "Apple's clang brings no libFuzzer: please fuzz on Linux." >&2
    exit 1
fi
scripts/packages.sh build fuzz
[ -f "$build/build.ninja" ] || cmake --preset fuzz >/dev/null
cmake --build "$build" >&2
mkdir -p "$build/found"

# The last number behind `$1` in the log.
figure() { sed -n "s/^\\(.* \\)*$1: *\\([0-9]*\\).*/\\2/p" "$log" | tail -n 1; }

failures=0
for target in "${@:2}"; do
    mkdir -p "$build/corpus/$target"
    log=$build/$target.log
    verdict=clean
    start=$SECONDS
    # The program's own output would be most of the log.
    "$build/fuzz_$target" -max_total_time="$seconds" -timeout=10 -close_fd_mask=3 \
        -print_final_stats=1 -artifact_prefix="$build/found/$target-" \
        "$build/corpus/$target" "$kept/$target" >"$log" 2>&1 || verdict="FAILED, see $log"
    [ "$verdict" = clean ] || failures=$((failures + 1))
    printf '%-16s %11s inputs %6s s   cov %5s   ft %6s   %s\n' "$target" \
        "$(figure stat::number_of_executed_units)" "$((SECONDS - start))" "$(figure cov)" \
        "$(figure ft)" "$verdict"
done
[ "$failures" -eq 0 ]
