#!/usr/bin/env bash
# The example scripts at simulated stations: examples_test.sh FOLDER-OF-THE-PROGRAMS
set -uo pipefail
examples=$(cd "$(dirname "$0")/../../examples" && pwd)
PATH=$(cd "$1" && pwd):$PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit
# prove parts what it is to run at blanks, and the way here may have some.
ln -s "$examples" examples
failures=0

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

expect 'every limit of both families holds at good notebooks' \
    'All tests successful.
Files=2, Tests=38
Result: PASS
evdo ok
hspa ok' \
    "$(TIME_SCALE=0.001 prove -j4 -e examples/simulated-check hspa evdo 2>&1 |
        sed -e 's/ \.\.* / /' -e 's/,  *[0-9]* wallclock.*//' | LC_ALL=C sort)"

# Each fault fails the test that measures it, and leaves the station as it should be. The last: a weak
# signal, and a failed exchange whose text would do.
cat >short.limits <<'END'
# A comment, and a blank line:

radio is on    | -w              | ON
radio goes off | -f              | nothing
SKU            | -k              | 9901042
SIM is present | -i              | /^SIM PRESENT = 1,1$/
SIM interface  | -a              | PASS
temperatures   | -t              | 10..60
GSM 900        | -s 1 3 62 -50 0 | -83..-77
transmitter    | -b 3 62 20 1    | nothing
END
while IFS='|' read -r module edit failed; do
    sed "$edit" short.limits >edited.limits
    output=$(station -m "$module" -- "$examples/station-check" edited.limits 2>errors)
    expect "$module $edit: exit status" 1 $?
    expect "$module $edit: failed tests" "$failed" \
        "$(grep -o '^not ok [0-9]*' <<<"$output" | cut -c 8- | paste -sd ' ' -)"
    expect "$module $edit: afterwards" 'radio=on transmitter=off output=off' "$(radiation)"
done <<'END'
hspa,sim=absent,temp=41/75,fault=error@AT!PRIID?||3 4 5 6
hspa,fault=error@AT!DAGGAVGRSSI||7
hspa,fault=error@AT!DASTXON|s/ -50 0/ -60 0/;/ -b /s/nothing/\/.\//|7 8
END
# Left by the last of them.
expect 'what an operator reads of a failed test' \
    "#   Failed test 'GSM 900'
# out of limits: Tarnwick -s 1 3 62 -60 0
# expected: -83..-77
# Issue \"AT!DASBAND=10\"
# -90 dBm
#   Failed test 'transmitter'" "$(grep -v ' line [0-9]*\.$' errors | head -n 6)"

# Nothing in this plan is answered, so that it does not matter how soon a second is over.
grep -v -e ' -f ' -e ' -b ' -e ' -s ' short.limits >silent.limits
expect 'a silent module is given up' \
    '1..5
not ok 1 - radio is on
not ok 2 - SKU
ok 3 # skip the module is silent
ok 4 # skip the module is silent
ok 5 # skip the module is silent' \
    "$(station -m hspa,fault=silent -- "$examples/station-check" -t 1 silent.limits 2>/dev/null)"

# Interrupted while a module keeps silent and its transmitter is on.
printf '%s\n' 'on | -b 3 62 20 1 | nothing' 'radio | -w | ON' >interrupted.limits
# shellcheck disable=SC2016 # $$ is the inner shell's
station -t transcript -m hspa,fault=silent@AT+CFUN? -- \
    sh -c 'echo $$ >process; exec "$@"' - "$examples/station-check" interrupted.limits &>/dev/null &
until grep -q 'AT+CFUN?' transcript 2>/dev/null; do sleep 0.01; done
kill "$(cat process)"
wait $!
expect 'interrupted: exit status' 1 $?
expect 'interrupted: afterwards' 'radio=on transmitter=off output=off' "$(radiation)"

header='receiver	band	channel	MHz	generator	reading	low	high	verdict'
output=$(station -m hspa -- "$examples/receive-sweep" -r 1,2 -o "a 'level'" \
    levels 8 9750 -90 -30 60 2>errors)
expect 'levels: exit status' 1 $?
expect 'levels: table' "$header
1	8	9750	2140.000000	-90	-106	-126	-114	out
1	8	9750	2140.000000	-30	-60	-66	-54	ok
2	8	9750	2140.000000	-90	-106	-126	-114	out
2	8	9750	2140.000000	-30	-64	-66	-54	ok" "$output"
expect 'levels: the table is saved' "$output" "$(cat "a 'level'.tsv")"
expect 'levels: no progress bar but on a terminal' '' "$(cat errors)"
expect 'levels: texts of the picture' \
    'Generator level (dBm)
Level at the receiver (dBm)
Receive level: WCDMA 2100, channel 9750
limits
out of limits
receiver 1
receiver 2' "$(sed -n 's/.*<text>.*>\([^<>]*[a-z][^<>]*\)<.*/\1/p' "a 'level'.svg" | LC_ALL=C sort)"
expect 'levels: the picture as PNG, 860 by 540' '89504e470d0a1a0a 0000035c0000021c' \
    "$(od -An -v -tx1 -N 24 "a 'level'.png" | tr -d ' \n' | sed -E 's/^(.{16}).{16}/\1 /')"

output=$(station -m evdo,fault=error@AT!CHAN=600 -- "$examples/receive-sweep" -l -31,-30 \
    channels 1 0 1200 600 -50 2>errors)
expect 'channels: exit status' 1 $?
expect 'channels: table' "$header
1	1	0	1929.949951	-50	-80	-81	-80	ok
1	1	600	?	-50	?	-81	-80	missing
1	1	1200	1989.949951	-50	-80	-81	-80	ok" "$output"
expect 'channels: what is missing is told' 'receive-sweep: no reading: Tarnwick -s 1 1 600 -50 1' \
    "$(head -n 1 errors)"

# On a terminal the bar, and the table elsewhere; "script" makes a terminal of standard error.
bar=$(station -m hspa -- \
    script -qec "'$examples/receive-sweep' -n channels 3 1 124 123 >table" /dev/null)
expect 'the progress bar' '[] 0 of 2
[####################] 1 of 2
[########################################] 2 of 2' \
    "$(tr '\r' '\n' <<<"$bar" | sed -e 's/  *]/]/' -e '/^$/d')"
expect 'without the generator: table' "$header
1	3	1	935.200012	-	-113	-120	-100	ok
1	3	124	959.799988	-	-113	-120	-100	ok" "$(cat table)"

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

# What another station's module says is recorded, replayed without it, and changed.
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

# Logins, with an "ssh" that stays on this machine. A login has a SHELL, which this run may lack.
# shellcheck disable=SC2016 # its script
printf '%s\n' '#!/bin/sh' 'until [ "$1" = exec ]; do shift; done' 'SHELL=/bin/sh exec sh -c "$*"' >ssh
chmod +x ssh
# shellcheck disable=SC2016 # the words arrive as they are
expect 'many notebooks' 'op@mac-02	a  b $HOME' \
    "$(export PARALLEL_SSH=$work/ssh
    "$examples/many-stations" -S op@mac-02 echo 'a  b' '$HOME' 2>/dev/null)"

# Wrong usage is told on standard error, with status 2; -h is not wrong.
echo 'a name | -w' >broken.limits
while read -r script operands; do
    # shellcheck disable=SC2086 # the operands are words
    output=$("$examples/$script" $operands 2>errors </dev/null)
    expect "$script $operands" '2  told' "$? $output $([ -s errors ] && echo told)"
done <<'END'
station-check
station-check broken.limits
simulated-check hspa evdo
receive-sweep
receive-sweep channels 3 124 1 1 -50
receive-sweep channels 9 1 124 1 -50
receive-sweep -r 1,2 levels 3 62 -90 -30 10
receive-sweep -r 3 levels 3 62 -90 -30 10
receive-sweep -l 5 levels 3 62 -90 -30 10
many-stations
many-stations stations.tsv
many-stations absent.tsv true
many-stations -S mac-01
as-recorded log hspa
END
for script in station-check simulated-check receive-sweep many-stations as-recorded; do
    output=$("$examples/$script" -h)
    expect "$script -h" '0 Usage:' "$? ${output%% *}"
done

exit $((failures > 0))
