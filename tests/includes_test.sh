#!/usr/bin/env bash
# The arrows run one way: no room includes one above it, and no two files include each other, directly
# or through others, a source and its header being one.
#
#   includes_test.sh SOURCES
set -euo pipefail
cd "$1"
# Each room, and what is below it.
export BELOW='
cli modem rf siggen discovery serial platform
modem rf discovery serial platform
rf discovery serial platform
siggen discovery serial platform
discovery serial platform
serial platform
devicetree platform
station platform
platform'

arrows=$(awk '{ print $1 }' <<<"$BELOW" | xargs grep -rE '^#include "' |
    sed -e 's/\.[a-z]*:#include "/ /' -e 's/\.h"$//')
upwards=$(awk '
    BEGIN {
        count = split(ENVIRON["BELOW"], lines, "\n")
        for (line = 1; line <= count; ++line) {
            room = lines[line]
            sub(/ .*/, "", room)
            below[room] = " " lines[line] " "
        }
    }
    { split($1, from, "/"); split($2, to, "/") }
    index(below[from[1]], " " to[1] " ") == 0 { print $1 " includes " $2 }' <<<"$arrows")
circles=$(tsort <<<"$arrows" 2>&1 >/dev/null || true)
[ -z "$upwards$circles" ] || { printf '%s\n' "$upwards" "$circles" && exit 1; }
