#!/usr/bin/env bash
# Installs what is missing, builds, and prints the folders of the builds, the simulated one last.
#
#   scripts/build.sh programs      what is installed
#   scripts/build.sh tests         all of it
#
# On a Mac build/ gets the tool for real modules, and build-desk/ the one for simulated stations; the
# station, which is built there, is reached from both.
set -euo pipefail
cd "$(dirname "$0")/.."
refuse() { echo "$1" >&2 && exit 1; }

case $PWD$(pwd -P) in
*[:\;\"\\]*) refuse "Please build elsewhere: in $PWD one of : ; \" \\ parts what must stay together." ;;
esac
folders='build'
[ "$(uname)" != Darwin ] || folders='build build-desk'
purposes=(build)
testing=OFF
if [ "$1" = tests ]; then
    purposes=(build test examples)
    testing=ON
fi

for folder in $folders; do
    { mkdir -p "$folder" && [ -w "$folder" ]; } 2>/dev/null ||
        refuse "Nothing can be written to $PWD/$folder: please build in a copy of your own."
done
scripts/packages.sh "${purposes[@]}"

# cached NAME: what the folder was made with; nothing if it is new.
cached() { sed -n "s/^$1:[A-Z]*=//p" "$folder/CMakeCache.txt" 2>/dev/null || true; }

# What a compiler says of itself behind its name: it may be found by several.
identity() { "${1%% *}" --version 2>/dev/null | sed 's/^[^ ]* //; q' || true; }

for folder in $folders; do
    preset=release
    programs=(Tarnwick tarnwick_devicetree)
    if [ "$folder" = build-desk ]; then
        preset=desk
        ln -sf ../build-desk/tarnwick-station build/tarnwick-station
    fi
    compiler=$(cached CMAKE_CXX_COMPILER)
    [ -z "$compiler" ] || type -P "$compiler" >/dev/null ||
        refuse "$PWD/$folder was made with $compiler, which is gone: please remove it."
    [ -z "$compiler" ] || [ "$(identity "$compiler")" = "$(identity "${CXX:-$compiler}")" ] ||
        refuse "$PWD/$folder was made with $compiler, and CXX is $CXX now: please remove it."
    generator=$(cached CMAKE_GENERATOR)
    [ "${generator:-Ninja}" = Ninja ] ||
        refuse "$PWD/$folder was made for $generator, not for Ninja: please remove it."
    # The tests stay in a folder that has them.
    if [ $testing = ON ] || [ ! -f "$folder/build.ninja" ]; then
        cmake --preset "$preset" -DBUILD_TESTING=$testing >"$folder/configure.log" 2>&1 ||
            { cat "$folder/configure.log" >&2 && exit 1; }
    fi
    [ "$folder" != "${folders##* }" ] || programs+=(tarnwick-station)
    [ $testing = OFF ] || programs=(all)
    cmake --build "$folder" --target "${programs[@]}" >&2
    echo "$folder"
done
