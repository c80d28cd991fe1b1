#!/usr/bin/env bash
# The completion files know every option that the help has, and their shells can read them.
#
#   completion_test.sh COMPLETION_FOLDER TARNWICK
set -euo pipefail
cd "$1"
tarnwick=$2
status=0

usage=$("$tarnwick") || [ $? -eq 2 ]
letters=$(sed -n 's/^  -\(.\) : .*/\1/p' <<<"$usage")
[ "$letters" ]
for letter in $letters; do
    for file in Tarnwick.bash _Tarnwick; do
        grep -q -e "-$letter\b" "$file" || { echo "$file: nothing about -$letter" && status=1; }
    done
done
for file in *.bash; do bash -n "$file" || status=1; done
if command -v zsh >/dev/null; then
    for file in _*; do zsh -n "$file" || status=1; done
fi
exit $status
