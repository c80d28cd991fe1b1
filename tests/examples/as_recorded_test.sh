#!/usr/bin/env bash
# What another station's module says, recorded, replayed without it, and changed.
# shellcheck source=support.sh
. "$(dirname "$0")/support.sh"

recorded() { TIME_SCALE=0.001 "$examples/as-recorded" log "$@"; }
# shellcheck disable=SC2016 # the inner shell's
expect 'recorded: the module itself' $'ON\n012345006780006\nexit status 0' \
    "$(export -f recorded && export examples && station -m hspa -- bash -c \
        'recorded "hspa,device=$TARNWICK_STATION/dev/cu.wwanCMD19" sh -c "Tarnwick -w; Tarnwick -e"')"
expect 'recorded: the same again' '0' "$(recorded hspa sh -c 'Tarnwick -w; Tarnwick -e'; echo $?)"
sed -i.bak s/012345006780006/490154203237518/ log
expect 'recorded: another answer, and a command that is new' \
    ' ON|-012345006780006|+490154203237518|+| exit status 0|never recorded: AT!PRIID?|1' \
    "$({ recorded hspa sh -c 'Tarnwick -w; Tarnwick -e; Tarnwick -k'; echo $?; } |
        tail -n +4 | paste -sd '|' -)"

finish
