#!/usr/bin/env bash
# Incoming tests at simulated stations, good and faulty ones.
# shellcheck source=support.sh
. "$(dirname "$0")/support.sh"

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

finish
