#!/usr/bin/env bash
# The manual pages are well formed and know every option that the programs know.
#
#   manual_test.sh DOCS TARNWICK STATION
set -euo pipefail
docs=$1 tarnwick=$2 station=$3
status=0

if ! command -v mandoc >/dev/null; then
    echo 'skipped: mandoc is not installed'
    exit 77
fi

# expect_items PAGE MACRO OPTION...: each option has an item of its own in the page.
expect_items() {
    local page=$1 macro=$2 option
    shift 2
    [ $# -gt 0 ] || { echo "$page: no options to look for" && status=1; }
    for option in "$@"; do
        grep -Eq "^\.It Fl (. , )?$macro$option( |\$)" "$page" ||
            { echo "$page: nothing about the option $option" && status=1; }
    done
}

mandoc -Tlint -Wwarning "$docs/Tarnwick.8" "$docs/tarnwick-station.1" || status=1

# Without arguments the tool prints its usage text on any machine, and ends with 2.
usage=$("$tarnwick") || [ $? -eq 2 ]
# shellcheck disable=SC2046 # options have no blanks
expect_items "$docs/Tarnwick.8" '' $(sed -n 's/^  -\(.\) : .*/\1/p' <<<"$usage")
# shellcheck disable=SC2046
expect_items "$docs/tarnwick-station.1" - $("$station" --help | sed -n 's/.*  *--\([a-z-]*\) .*/\1/p')
exit $status
