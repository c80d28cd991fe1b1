#!/usr/bin/env bash
# Measures the tool at simulated stations, beside other programs' starts and identity queries, all
# side by side in one run, and prints tables (times in milliseconds).
#
#   scripts/bench.sh [--tsv FILE]     BENCH_ROUNDS=N: runs of each program (default 21)
#
# A trace shows what a run asks for: commands (writes to a terminal), demanded pauses, shell lines,
# system calls, heap allocations. Children is what its shell lines take when they are run alone.
# Addition is the median wall time without pauses and children; less first, without the start of the
# bare program, too. Most runs are at a small time scale; a trace and its runs are at the same one.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
self=$top/scripts/bench.sh
build=$top/build
scale=0.02
rounds=${BENCH_ROUNDS:-21}
hspa=/dev/cu.wwanCMD19
evdo=/dev/cu.wwanCMD29

# trace ROOT COMMAND...: commands, pauses, shell lines, system calls, parted by tabs.
trace() {
    TARNWICK_STATION=$1 strace -o "$work/trace" -y "${@:2}" >/dev/null 2>&1 || true
    awk -v OFS='\t' '
        /^[a-z]/ { calls++ }
        /^write\([0-9]+<\/dev\/pts/ { commands++ }
        /^clock_nanosleep/ && match($0, /tv_sec=[0-9]+, tv_nsec=[0-9]+/) {
            split(substr($0, RSTART, RLENGTH), part, /[=,]/)
            pauses += part[2] * 1e3 + part[4] / 1e6
        }
        /^wait4\(/ { lines++ }
        END { printf "%d\t%.2f\t%d\t%d\n", commands, pauses, lines, calls }' "$work/trace"
}

# "-" for a program that is linked statically. The tool has a twin that is not.
allocations() {
    local program=$2
    [ "$program" != "$build/Tarnwick" ] || program+=-dynamic
    TARNWICK_STATION=$1 memusage -n "$(basename "$program")" "$program" "${@:3}" 2>&1 >/dev/null |
        sed 's/\x1b\[[0-9;]*m//g' | awk -F '|' '
            $1 ~ /^ *(malloc|realloc|calloc)$/ { split($2, part, " "); count += part[1]; seen = 1 }
            END { print seen ? count : "-" }'
}

# The most memory that it had at a time, in KiB; the middle one of three runs.
peak() {
    local count
    for count in 1 2 3; do
        TARNWICK_STATION=$1 env time -o "$work/peak" -f %M "${@:2}" >/dev/null 2>&1 || true
        tail -n 1 "$work/peak"
    done | sort -n | sed -n 2p
}

# subject NAME STATION COMMAND...: a line for tarnwick-bench; without STATION there is none.
subject() {
    local root=${2:+$work/$2} program
    program=$(command -v "$3") || { echo "bench.sh: not installed: $3" >&2 && return; }
    set -- "$1" "$root" "$program" "${@:4}"
    printf '%s\t' "$1" "$(trace "${@:2}")" "$(allocations "${@:2}")" "$(peak "${@:2}")" "$root"
    printf '%s\n' "${*:3}"
}

option() { subject "Tarnwick $1 (${2%/*})" "${2#*/}" Tarnwick "$1" "${@:3}"; }

subjects() {
    local letter count
    # The first is what the others are measured against, the second what their shell lines take.
    subject 'bare C program' '' "$work/bare"
    subject 'the shell line of -c and -s' loaded sh "$work/line"
    subject 'bare C program, not static' '' "$work/dynamic"
    subject 'picocom --help' '' picocom --help
    subject 'Tarnwick -v, no station' '' Tarnwick -v
    subject 'comgt, IMEI' two comgt -s -d "$work/two$hspa" "$work/imei"
    subject 'gsmctl, IMEI' two gsmctl -d "$work/two$hspa" me4
    option -v station/two
    option -h station/two
    for letter in a e f p i k m n t w; do option -$letter hspa/two $hspa; done
    for letter in a e f p i k m n t w; do option -$letter evdo/two $evdo; done
    option -b wcdma/two 7 9400 20 1 $hspa
    option -b off/two 7 9400 20 0 $hspa
    option -b gsm/two 5 600 10 1 $hspa
    option -b evdo/two 0 25 10 1 $evdo
    option -r wcdma/two 1 7 9400 0 $hspa
    option -r gsm/two 1 5 600 0 $hspa
    option -r evdo/two 1 1 25 0 $evdo
    option -c generator/loaded
    option -s wcdma/loaded 1 7 9400 -50 0 $hspa
    option -s gsm/loaded 1 5 600 -50 0 $hspa
    option -s evdo/loaded 1 1 25 -50 0 $evdo
    for count in 1 2 3 4; do option -w "$count modules/$count"; done
    for letter in e w f; do option -$letter "time scale 1/real" $hspa; done
}

table() { tee -a "${BENCH_TSV:-/dev/null}" | column -t -s "$(printf '\t')" -R "$(seq -s , 2 13)"; }

report() {
    subjects >"$work/subjects"
    echo "== Runs, $rounds of each; time scale $scale unless the name says otherwise"
    tarnwick-bench runs "$rounds" <"$work/subjects" | table
    printf '\n== Replies of growing length: Tarnwick -w, time scale %s\n' "$scale"
    TARNWICK_STATION=$work/replies tarnwick-bench replies "$rounds" | table
    printf '\n== Captures of growing size\n'
    tarnwick-bench captures "$work/captures" | table
}

if [ "${BENCH_WORK-}" ]; then
    work=$BENCH_WORK
    report
    exit
fi

if [ "${1-}" = --tsv ] && [ $# -eq 2 ]; then
    BENCH_TSV=$(realpath "$2")
    export BENCH_TSV
    : >"$BENCH_TSV"
elif [ $# -gt 0 ]; then
    echo 'Usage: scripts/bench.sh [--tsv FILE]' >&2
    exit 2
fi

"$top/scripts/packages.sh" build bench
[ -f "$build/build.ninja" ] || (cd "$top" && cmake --preset release -DBUILD_TESTING=OFF) >/dev/null
cmake --build "$build" --target Tarnwick Tarnwick-dynamic tarnwick-station tarnwick-bench >&2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
echo 'int main(void) { return 0; }' >"$work/bare.c"
gcc -O2 -static -o "$work/bare" "$work/bare.c"
gcc -O2 -o "$work/dynamic" "$work/bare.c"
# What the tool asks before it uses the generator.
printf '%s\n' "\"\$TARNWICK_STATION\"/usr/sbin/kextstat | grep Keyspan >/dev/null" >"$work/line"
# The same question that -e asks, with no pause of the script's own.
printf '%s\n' opengt 'set senddelay 0' 'send "AT+CGSN^m"' 'waitfor 5 "OK"' >"$work/imei"

# Stations, each run by the one before it, so that all end with the last one's command.
nest=()
station() {
    nest+=(tarnwick-station --root "$work/$1" --time-scale "$2" "${@:3}" --)
}
station two $scale -m hspa -m evdo
# With a driver to load, the waits for the adapter's node would not be the same in every run.
station loaded $scale -m hspa -m evdo --driver-loaded
station replies $scale -m hspa
station real 1 -m hspa
modules=()
for count in 1 2 3 4; do
    modules+=(-m hspa)
    station "$count" $scale "${modules[@]}"
done
export PATH=$build:$PATH TARNWICK=$build/Tarnwick BENCH_WORK=$work
# Ahead of all else on the machine, where that is allowed: a busy machine must not be what is measured.
ahead=()
if chrt -f 1 true 2>/dev/null; then ahead=(chrt -f 1); fi
${ahead[@]+"${ahead[@]}"} "${nest[@]}" "$self"
