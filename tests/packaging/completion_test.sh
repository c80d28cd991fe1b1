#!/usr/bin/env bash
# The completion files know what the help and the refusals name, their shells can read them, and bash
# offers the right thing for a place.
#
#   completion_test.sh COMPLETION_FOLDER TARNWICK [STATION]
set -euo pipefail
cd "$1"
tarnwick=$2
station=${3-}
status=0

complain() {
    echo "$1"
    status=1
}

# known WHAT FILE...: each of the files has the word.
known() {
    local file
    for file in "${@:2}"; do
        grep -qE -e "(^|[^[:alnum:]-])$1([^[:alnum:]-]|\$)" "$file" || complain "$file: nothing about $1"
    done
}

usage=$("$tarnwick") || [ $? -eq 2 ]
letters=$(sed -n 's/^  -\(.\) : .*/\1/p' <<<"$usage")
[ "$letters" ]
for letter in $letters; do known "-$letter" Tarnwick.bash _Tarnwick; done
for file in *.bash; do bash -n "$file" || status=1; done
if command -v zsh >/dev/null; then
    for file in _*; do zsh -n "$file" || status=1; done
fi
[ "$station" ] || exit $status

# choices ARGUMENT...: those that the station names when it refuses the arguments.
choices() {
    "$station" "$@" 2>&1 | sed -n '1s/.*\(: \|one of \)//p' | tr -d ,
}

options=$("$station" --help | sed -n 's/^  .*\(--[a-z-]*\) .*/\1/p')
[ "$options" ]
for word in $options $(choices -m hspa,x=x) $(choices -m evdo,x=x) $(choices --generator-fault x) \
    $(choices -m hspa,sim=x); do
    known "$word" tarnwick-station.bash _tarnwick-station
done

# offers LINE CHOICE...: bash parts its words at "=", too.
offers() {
    local spaced=${1//=/ = }
    read -ra COMP_WORDS <<<"$spaced"
    [[ $1 != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _tarnwick_station
    [ "${COMPREPLY[*]-}" = "${*:2}" ] || complain "'$1': offers ${COMPREPLY[*]-}, not ${*:2}"
}

# shellcheck source=/dev/null
. ./tarnwick-station.bash
offers 'tarnwick-station --ti' --time-scale
offers 'tarnwick-station -m ' hspa evdo
offers 'tarnwick-station -m evdo,a' evdo,asleep=
offers 'tarnwick-station -m evdo,s'
offers 'tarnwick-station -m hspa,sim=' present absent pin error
offers 'tarnwick-station --module=hspa,sim=absent,b' absent,busy=
offers 'tarnwick-station --verbose -m evdo --generator-fault=lat' late
offers 'tarnwick-station --time-scale 0.1 _tarnwick_station_off' _tarnwick_station_offer
offers 'tarnwick-station -m hspa -- _tarnwick_station_off' _tarnwick_station_offer
exit $status
