#!/usr/bin/env bash
# What each job needs, in one list, and what installs those that are missing.
#
#   scripts/packages.sh PURPOSE...     build, test, check, fuzz, docs, examples, bench, macos
set -euo pipefail
# An installer that takes Ctrl-C for itself ends as if all was well.
trap 'echo "Interrupted." >&2; exit 130' INT
system=$(uname)
# Its words: CXX may be "ccache g++".
read -ra compiler <<<"${CXX:-c++}"

refuse() { echo "$1" >&2 && exit 1; }

# The packages of Debian or of Homebrew. What shows that one is there although another way brought it
# stands behind "=": a header, or the command where it has not the package's name.
packages_for() {
    case $system:$1 in
    Darwin:build) echo cmake ninja ;;
    Darwin:test) echo googletest=gtest/gtest.h ;;
    Darwin:examples) echo gnuplot parallel ;;
    Darwin:bench) echo hyperfine picocom ;;
    *:build) echo cmake ninja-build=ninja "g++=${compiler[0]}" libexpat1-dev=expat.h ;;
    *:test)
        echo libgtest-dev=gtest/gtest.h libgmock-dev=gmock/gmock.h valgrind mandoc bash-completion zsh
        echo gnokii-cli=gnokii gammu comgt ppp=chat
        ;;
    *:check) echo clang clang-format clang-tidy cppcheck git shellcheck locales=locale-gen original-awk ;;
    *:fuzz) echo clang libclang-rt-dev ;;
    *:docs) echo mandoc bash-completion zsh lintian dpkg-dev=dpkg-shlibdeps debootstrap ;;
    *:examples) echo perl=prove gnuplot-nox=gnuplot parallel ;;
    *:bench) echo hyperfine picocom strace time ;;
    *:macos) echo clang lld=ld64.lld llvm=llvm-ar libc++-dev libgtest-dev ;;
    *) refuse "packages.sh: nothing is known for this: $1" ;;
    esac
}

# is_there PACKAGE SHOWN
is_there() {
    if [ "$system" = Darwin ]; then
        ! type -P brew || ! brew list "$1" || return 0
    else
        ! dpkg-query -W -f '${Status}' "$1" | grep -q ' installed$' || return 0
    fi
    case $2 in
    *.h) "${compiler[@]}" -x c++ -E - <<<"#include <$2>" ;;
    *) type -P "$2" ;;
    esac
} &>/dev/null

# fits NAME VERSION OLDEST: an unknown version is taken to fit, CMake looks again.
fits() {
    local older
    older=$(printf '%s\n' "$2" "$3" | sort -t . -k 1,1n -k 2,2n | head -n 1)
    [ -z "$2" ] || [ "$older" = "$3" ] ||
        refuse "Tarnwick needs $1 $3 or later; this machine has $2, and nothing was installed."
}

# version PACKAGE COMMAND...: what the command says, or what would be installed.
version() {
    if type -P "$2" >/dev/null; then
        "${@:2}"
    elif type -P apt-cache >/dev/null; then
        LC_ALL=C apt-cache policy "$1" | sed -n 's/^ *Candidate: *\([0-9]*:\)*\([0-9.]*\).*/\2/p'
    fi
}

check_versions() {
    fits CMake "$(version cmake cmake --version | sed 's/^cmake version //; q')" 3.22
    if "${compiler[@]}" --version 2>/dev/null | grep -q clang; then
        fits clang "$("${compiler[@]}" -dumpversion)" 14
    else
        fits GCC "$(version g++ "${compiler[@]}" -dumpversion)" 11
    fi
}

# Waits two minutes for another installation. By itself apt does so for all but its lists.
apt_get() {
    local as_root=() said tries=24
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    until said=$(${as_root[@]+"${as_root[@]}"} env LC_ALL=C DEBIAN_FRONTEND=noninteractive \
        apt-get -qq -o DPkg::Lock::Timeout=120 "$@" 2>&1); do
        [[ $said == *'Could not get lock'* && $((tries -= 1)) -gt 0 ]] || refuse "$said"
        [ $tries -ne 23 ] || echo 'Waiting for another installation to end.' >&2
        sleep 5
    done
}

install() {
    if [ "$system" = Darwin ]; then
        type -P brew >/dev/null || refuse "Please install Homebrew, or these: $*"
        echo "Installing: $*" >&2
        brew install "$@" >&2
    elif ! type -P apt-get >/dev/null; then
        echo "No apt-get here, and maybe not all of what Debian calls so: $*" >&2
    else
        [ "$(id -u)" -eq 0 ] || type -P sudo >/dev/null ||
            refuse "There is no sudo here; please install as root: $*"
        apt_get update
        check_versions
        echo "Installing: $*" >&2
        apt_get install -y --no-install-recommends "$@"
    fi
}

[ "$system" != Darwin ] || xcode-select -p &>/dev/null ||
    refuse "Please install Apple's command-line tools first: xcode-select --install"
[ -z "${CXX-}" ] || type -P "${compiler[0]}" >/dev/null ||
    refuse "CXX names $CXX, and there is no such compiler."
missing=()
for purpose in "$@"; do
    packages=$(packages_for "$purpose")
    for package in $packages; do
        is_there "${package%%=*}" "${package#*=}" || missing+=("${package%%=*}")
    done
done
[ ${#missing[@]} -eq 0 ] || install "${missing[@]}"
check_versions
