#!/usr/bin/env bash
# What scripts/packages.sh does on desks that this machine is not: their programs are stand-ins.
# shellcheck disable=SC2016 # the stand-ins expand their own variables
set -uo pipefail
packages=$(cd "$(dirname "$0")/../../scripts" && pwd)/packages.sh
desk=$(mktemp -d)
trap 'rm -rf "$desk"' EXIT
export desk
unset CXX
for program in bash env sed sort head grep; do ln -s "$(type -P $program)" "$desk/"; done
failures=0

# fake NAME TEXT: a program of the desk.
fake() { printf '#!/bin/bash\n%s\n' "$2" >"$desk/$1" && chmod +x "$desk/$1"; }

# expect TITLE STATUS WANTED PURPOSE: the script's exit status, what it says, what it had installed.
expect() {
    local output status=0
    : >"$desk/log"
    output=$(PATH=$desk "$BASH" "$packages" "$4" 2>&1) || status=$?
    output+=$(sed 's/^/ <- /' "$desk/log")
    [ "$status $output" != "$2 $3" ] || return 0
    printf '== %s\nwanted: %s\n   got: %s\n' "$1" "$2 $3" "$status $output"
    failures=$((failures + 1))
}

fake uname 'echo Linux'
fake id 'echo 1000'
fake cmake 'echo cmake version 3.25.1'
fake ninja ''
fake c++ 'case "$*" in *version) echo 12 ;; *-E*) ! grep -q gtest ;; esac'
expect 'tools that no package brought' 0 '' build
expect 'a host with other packages' 0 \
    'No apt-get here, and maybe not all of what Debian calls so: perl gnuplot-nox parallel' examples
CXX='nowhere/c++ -O1' expect 'a compiler that is not there' 1 \
    'CXX names nowhere/c++ -O1, and there is no such compiler.' build
fake cmake 'echo cmake version 3.18.4'
expect 'an old tool' 1 \
    'Tarnwick needs CMake 3.22 or later; this machine has 3.18.4, and nothing was installed.' build
fake cmake 'echo cmake version 3.25.1'

fake apt-get 'echo "${*:4}" >>"$desk/log"'
expect 'no sudo' 1 'There is no sudo here; please install as root: perl gnuplot-nox parallel' examples
fake sudo '"$@"'
fake prove ''
expect 'sudo' 0 'Installing: gnuplot-nox parallel <- update
 <- install -y --no-install-recommends gnuplot-nox parallel' examples
fake gnuplot ''
fake apt-get 'echo "$4" >>"$desk/log"
[ "$(grep -c update "$desk/log")" -gt 2 ] || { echo "E: Could not get lock lists/lock." >&2; exit 100; }'
fake sleep ''
expect 'another installation at work' 0 'Waiting for another installation to end.
Installing: parallel <- update
 <- update
 <- update
 <- install' examples
fake apt-get 'echo "E: no space left" >&2; exit 100'
expect 'a failed installation' 1 'E: no space left' examples
# As apt-get and brew do, it takes the interrupt for itself and ends well.
fake apt-get 'echo "$4" >>"$desk/log"; kill -INT "$(cat "$desk/shell")"'
fake uname 'echo $PPID >"$desk/shell"; echo Linux'
ln -s "$(type -P cat)" "$desk/"
expect 'Ctrl-C' 130 'Interrupted. <- update' examples

fake uname 'echo Darwin'
fake xcode-select 'exit 2'
fake c++ '! echo "opened the window that offers the tools" >>"$desk/log"'
expect 'a Mac without a compiler' 1 \
    "Please install Apple's command-line tools first: xcode-select --install" build
fake xcode-select ''
fake c++ 'case $* in *version) echo 14 clang ;; esac'
expect 'a Mac without Homebrew' 1 'Please install Homebrew, or these: parallel' examples
fake brew '[ "$1" = install ] && echo "$*" >>"$desk/log"'
expect 'a Mac with Homebrew' 0 'Installing: parallel <- install parallel' examples
exit $((failures > 0))
