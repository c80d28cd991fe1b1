#!/usr/bin/env bash
# Receive levels: the table, the picture, the progress bar.
# shellcheck source=support.sh
. "$(dirname "$0")/support.sh"

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

finish
