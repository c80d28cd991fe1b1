#!/usr/bin/env bash
# Runs the tool at a simulated station with one HSPA and one EVDO module, after installing and
# building what is missing.
#
#   scripts/demo.sh               a tour of the options
#   scripts/demo.sh -w            just that, with the tool's own exit status (any operands)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)

run() {
    printf '\n$ Tarnwick %s\n' "$*"
    local status=0
    Tarnwick "$@" || status=$?
    [ "$status" -eq 0 ] || printf '(exit status %d)\n' "$status"
}

show() { printf '\n$ cat %s\n' "$1" && cat "$TARNWICK_STATION/$1"; }

tour() {
    local hspa=/dev/cu.wwanCMD19 evdo=/dev/cu.wwanCMD29
    printf '\n== The radio: read, switch off, read, switch on, read\n'
    for option in -w -f -w -p -w; do run "$option" "$hspa"; done
    printf '\n== Who is this module? Both families, in the order of the table\n'
    for option in -e -n -m -t; do run "$option"; done
    run -k "$hspa"
    run -i
    run -a
    printf '\n== The receive level, without and with the signal generator\n'
    run -r 1 3 62 0 "$hspa"
    run -c
    run -s 1 3 62 -50 0 "$hspa"
    run -s 2 8 9750 -60 1 "$hspa"
    run -s 1 1 25 -45 1 "$evdo"
    printf '\n== The test transmitter, on and off\n'
    run -b 7 9400 20 1 "$hspa"
    show state/wwanCMD19
    run -b 7 9400 20 0 "$hspa"
    show state/wwanCMD19
    printf '\n== What the front end says\n'
    run -w "$evdo"
    run -r 3 9 1 0
    run -v
    run -h
}

if [ "${TARNWICK_TOUR-}" = yes ]; then
    tour
    exit
fi

folders=$("$top/scripts/build.sh" programs)
PATH=$top/${folders##*$'\n'}:$PATH

if [ $# -gt 0 ]; then
    exec tarnwick-station -m hspa -m evdo -- Tarnwick "$@"
fi

echo 'The tour runs with all pauses at a fifth of their length.'
TARNWICK_TOUR=yes exec tarnwick-station --time-scale 0.2 -m hspa -m evdo -- "$top/scripts/demo.sh"
