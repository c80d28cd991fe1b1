#!/usr/bin/env bash
# Installs into a folder, runs what is there, and builds a program of somebody else on it.
#
#   install_test.sh BUILD_FOLDER
set -euo pipefail
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# quietly COMMAND...: what it says is shown if it fails.
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log" && exit 1; }; }

quietly cmake --install "$build" --prefix "$work/first"
# A package may be unpacked anywhere.
mv "$work/first" "$work/prefix"
for file in man/man8/Tarnwick.8 man/man1/tarnwick-station.1 doc/tarnwick/examples/Tarnwick.pm \
    bash-completion/completions/Tarnwick bash-completion/completions/tarnwick-station \
    zsh/site-functions/_Tarnwick zsh/site-functions/_tarnwick-station; do
    [ -s "$work/prefix/share/$file" ] || { echo "not installed: $file" && exit 1; }
done

cd "$work/prefix/share/doc/tarnwick"
grep -rnE '(scripts|tests|.ci|build)/[a-z]' . && echo 'names what is not installed' && exit 1
grep -roE '\]\([^):]+\)' --include='*.md' . | sed -e 's/)$//' -e 's/:](/ /' >"$work/links"
[ -s "$work/links" ]
while read -r document link; do
    [ -e "${document%/*}/$link" ] || { echo "$document: dead link: $link" && exit 1; }
done <"$work/links"

quietly cmake -G Ninja -S "$here/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix"
quietly cmake --build "$work/consumer"
PATH=$work/prefix/bin:$PATH
[ "$(tarnwick-station Tarnwick -w)" = ON ]
tarnwick-station --time-scale 0.01 -- examples/receive-sweep -h >"$work/usage"
[ "$(tarnwick-station "$work/consumer/consumer" | paste -sd ' ' -)" = '0: 0x8232 0: Simulated,Station' ]
