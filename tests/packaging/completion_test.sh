#!/usr/bin/env bash
# The help has every option that the tool takes, and no other; the completion files know them all, and
# their shells can read them.
#
#   completion_test.sh COMPLETION_FOLDER TARNWICK
set -euo pipefail
cd "$1"
tarnwick=$2
status=0

usage=$("$tarnwick") || [ $? -eq 2 ]
letters=$(sed -n 's/^  -\(.\) : .*/\1/p' <<<"$usage")
[ "$letters" ]
# Of any other letter getopt says so ("invalid option -- x", "illegal option -- x" on a Mac).
taken=$(for letter in {a..z} {A..Z} {0..9}; do
    case $("$tarnwick" "-$letter" operand 2>&1) in *' option -- '*) ;; *) echo "$letter" ;; esac
done)
diff <(sort <<<"$letters") <(sort <<<"$taken") || { echo 'the help and the options differ' && status=1; }
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
