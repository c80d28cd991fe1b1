#!/usr/bin/env bash
# What each script does with wrong operands, and with -h.
# shellcheck source=support.sh
. "$(dirname "$0")/support.sh"

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

finish
