# What the tests of the example scripts have in common, which source it and are called with the folder
# of the programs. Each works in a folder of its own.
# shellcheck shell=bash
set -uo pipefail
examples=$(cd "$(dirname "$0")/../../examples" && pwd)
PATH=$(cd "$1" && pwd):$PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit
# prove parts what it is to run at blanks, and the way here may have some.
ln -s "$examples" examples
failures=0

# The first line of receive-sweep's table.
# shellcheck disable=SC2034 # its tests use it
header='receiver	band	channel	MHz	generator	reading	low	high	verdict'

# expect WHAT WANTED GOT
expect() {
    [ "$2" != "$3" ] || return 0
    printf '== %s\n' "$1"
    diff -u --label wanted --label got <(echo "$2") <(echo "$3")
    failures=$((failures + 1))
}

# station OPTION... -- COMMAND: as tarnwick-station, in no time, with its root left in ./root.
station() {
    rm -rf root
    tarnwick-station --root root --time-scale 0.001 --driver-loaded "$@"
}

# The state that a run left behind.
radiation() {
    (cd root/state && grep -hE '^(radio|transmitter|output)=' wwanCMD19 generator) | paste -sd ' ' -
}

# The end of a test.
finish() { exit $((failures > 0)); }
