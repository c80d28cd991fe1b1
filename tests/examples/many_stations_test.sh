#!/usr/bin/env bash
# Many stations at once, and many notebooks.
# shellcheck source=support.sh
. "$(dirname "$0")/support.sh"

printf '%s\t--time-scale 0.001 -m %s\n' good hspa weak hspa,fault=error@AT!DASCHAN >stations.tsv
output=$("$examples/many-stations" stations.tsv "$examples/receive-sweep" -n channels 3 1 1 1 \
    2>errors)
expect 'many stations: exit status' 1 $?
expect 'many stations: tables' "$(for row in "good	$header" "weak	$header" \
    'good	1	3	1	935.200012	-	-113	-120	-100	ok' 'weak	1	3	1	?	-	?	-120	-100	missing'; do
    echo "$row"
done | LC_ALL=C sort)" "$(LC_ALL=C sort <<<"$output")"
expect 'many stations: summary' 'good: good
weak: failed (1)' "$(sed -n 's/ after [0-9.]* s$//p' errors)"

# Logins, with an "ssh" that stays on this machine. A login has a SHELL, which this run may lack.
# shellcheck disable=SC2016 # its script
printf '%s\n' '#!/bin/sh' 'until [ "$1" = exec ]; do shift; done' 'SHELL=/bin/sh exec sh -c "$*"' >ssh
chmod +x ssh
# shellcheck disable=SC2016 # the words arrive as they are
expect 'many notebooks' 'op@mac-02	a  b $HOME' \
    "$(export PARALLEL_SSH=$work/ssh
    "$examples/many-stations" -S op@mac-02 echo 'a  b' '$HOME' 2>/dev/null)"

finish
