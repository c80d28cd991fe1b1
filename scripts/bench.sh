#!/usr/bin/env bash
# Measures the tool's options at a simulated station, beside a program that does nothing, picocom's
# help and, if wanted, another build of the tool, all in one run. Pauses take a thousandth of their
# time.
#
#   scripts/bench.sh [--runs N] [--beside BUILD_FOLDER]
#
# Prints of each the median wall time and the mean processor time in milliseconds, the system calls
# and the peak memory in KiB; then the same of the other build, and our times divided by its times.
set -euo pipefail
export LC_ALL=C
top=$(cd "$(dirname "$0")/.." && pwd)
hspa=/dev/cu.wwanCMD19
evdo=/dev/cu.wwanCMD29

# row NAME RUNS PROGRAM OPERAND...: one without a path is each build's.
row() {
    local name=$1 runs=$2 programs=("$3") commands=() program calls peak
    [ "${3#/}" != "$3" ] || programs=("$build/$3" ${beside:+"$beside/$3"})
    shift 3
    : >"$work/traces"
    for program in "${programs[@]}"; do
        commands+=("$(printf %q "$program") $*")
        : | tee "$work/calls" >"$work/peak"
        strace -c -o "$work/calls" "$program" "$@" &>/dev/null || true
        env time -q -o "$work/peak" -f %M "$program" "$@" &>/dev/null || true
        calls=$(awk '$NF == "total" { print $4 }' "$work/calls")
        peak=$(<"$work/peak")
        echo "${calls:--},${peak:--}" >>"$work/traces"
    done
    hyperfine -N -i -w 3 -r "$runs" --export-csv "$work/times" "${commands[@]}" &>/dev/null
    # The columns behind the command, which may have commas of its own.
    sed -e 1d -e 's/.*,\(\([^,]*,\)\{6\}\)/\1/' "$work/times" | paste -d , "$work/traces" - |
        awk -F , -v name="$name" '
            NR == 1 { printf "%-26s", name; wall = $5; processor = $6 + $7 }
            { printf "%9.2f%9.2f%7s%8s", $5 * 1e3, ($6 + $7) * 1e3, $1, $2 }
            NR == 2 { printf "%8.2f%6.2f", wall / $5, processor / ($6 + $7) }
            END { print "" }'
}

# capture ENTRIES: what ioreg prints, entries ten deep.
capture() {
    awk -v count="$1" 'BEGIN {
        print "<plist version=\"1.0\"><array>"
        for (i = 1; i <= count; i++) {
            printf "<dict><key>IORegistryEntryID</key><integer>%.0f</integer>", 4294967296 + i
            printf "<key>IORegistryEntryName</key><string>device%d</string>", i
            print "<key>IOObjectClass</key><string>IOService</string>"
            print "<key>compatible</key><data>YmVuY2gsZGV2aWNlAA==</data>"
            print "<key>vendor-id</key><integer>4523</integer>"
            print "<key>IORegistryEntryChildren</key><array>"
            if (i % 10 == 0)
                for (depth = 0; depth < 10; depth++) print "</array></dict>"
        }
        print "</array></plist>"
    }'
}

rows() {
    local head='     wall      CPU  calls     KiB'
    printf '%-26s%s' '' "$head${beside:+$head  ratios}" && echo
    row 'a program of nothing' "$runs" "$work/bare"
    row 'picocom --help' "$runs" "$(command -v picocom)" --help
    local letter operands
    for letter in v h; do row "-$letter" "$runs" Tarnwick "-$letter"; done
    for letter in a e f p i k m n t w; do
        row "-$letter, HSPA" "$runs" Tarnwick "-$letter" $hspa
        row "-$letter, EVDO" "$runs" Tarnwick "-$letter" $evdo
    done
    while read -r operands; do
        # shellcheck disable=SC2086 # words
        row "${operands% /*}" "$runs" Tarnwick $operands
    done <<END
-b 7 9400 20 1 $hspa
-b 7 9400 20 0 $hspa
-b 5 600 10 1 $hspa
-r 1 7 9400 0 $hspa
-r 1 1 25 0 $evdo
-c
-s 1 7 9400 -50 0 $hspa
-s 1 1 25 -50 0 $evdo
END
    "$build/tarnwick-station" -r "$work/relay" --time-scale 0.001 \
        -m "hspa,device=$TARNWICK_STATION$hspa" >"$work/ready" &
    until [ -s "$work/ready" ] || ! kill -0 $!; do sleep 0.1; done
    TARNWICK_STATION=$work/relay row '-w, HSPA, relayed' "$runs" Tarnwick -w $hspa
    kill $!
    mkdir -p "$work/large/ioregistry" "$work/tree/ioregistry"
    capture 100000 >"$work/large/ioregistry/IOService.plist"
    TARNWICK_STATION=$work/large row '-v, 100,000 entries' $((runs / 10 + 2)) Tarnwick -v
    # It is built with the tests.
    [ -x "$build/devicetree_bench" ] && [ -x "${beside:-$build}/devicetree_bench" ] || return 0
    "$build/devicetree_bench" capture >"$work/tree/ioregistry/IOService.plist"
    TARNWICK_STATION=$work/tree row 'tarnwick_devicetree' "$runs" devicetree_bench
}

if [ "${BENCH_WORK-}" ]; then
    work=$BENCH_WORK runs=$BENCH_RUNS build=$BENCH_BUILD beside=$BENCH_BESIDE
    rows
    exit
fi

runs=50 beside=''
while [ $# -gt 1 ]; do
    case $1 in
    --runs) runs=$2 ;;
    --beside) beside=$(cd "$2" && pwd) ;;
    *) break ;;
    esac
    shift 2
done
[ $# -eq 0 ] || { echo 'Usage: scripts/bench.sh [--runs N] [--beside BUILD_FOLDER]' >&2 && exit 2; }
"$top/scripts/packages.sh" bench
folders=$("$top/scripts/build.sh" programs)
build=$top/${folders##*$'\n'}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
type -P strace >/dev/null || echo 'There is no strace here, so system calls are not counted.' >&2
env time -f %M true &>/dev/null || echo 'There is no GNU time here, so memory is not measured.' >&2
echo 'int main() { return 0; }' >"$work/bare.cpp"
c++ -O2 -static -o "$work/bare" "$work/bare.cpp" 2>/dev/null || c++ -O2 -o "$work/bare" "$work/bare.cpp"
# With a driver to load, the waits for the adapter's node would not be the same in every run.
BENCH_WORK=$work BENCH_RUNS=$runs BENCH_BUILD=$build BENCH_BESIDE=$beside \
    "$build/tarnwick-station" --time-scale 0.001 -m hspa -m evdo --driver-loaded -- \
    "$top/scripts/bench.sh"
