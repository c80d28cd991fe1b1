#!/usr/bin/env bash
# Installs what is missing, builds, and prints the folders of the builds, the simulated one last.
#
#   scripts/build.sh programs      what is installed
#   scripts/build.sh tests         all of it
#
# On a Mac build/ gets the tool for real modules, and build-desk/ the one for simulated stations.
set -euo pipefail
cd "$(dirname "$0")/.."
presets=(release)
[ "$(uname)" != Darwin ] || presets=(release desk)
targets=(--target Tarnwick tarnwick-station tarnwick_devicetree)
purposes=(build)
testing=OFF
if [ "$1" = tests ]; then
    targets=()
    purposes=(build test examples)
    testing=ON
fi

folder_of() { [ "$1" = desk ] && echo build-desk || echo build; }

for preset in "${presets[@]}"; do
    folder=$(folder_of "$preset")
    { mkdir -p "$folder" && [ -w "$folder" ]; } 2>/dev/null || {
        echo "Nothing can be written to $PWD/$folder: please build in a copy of your own." >&2
        exit 1
    }
done
scripts/packages.sh "${purposes[@]}"
for preset in "${presets[@]}"; do
    folder=$(folder_of "$preset")
    # The tests stay in a folder that has them.
    if [ $testing = ON ] || [ ! -f "$folder/build.ninja" ]; then
        cmake --preset "$preset" -DBUILD_TESTING=$testing >"$folder/configure.log" 2>&1 ||
            { cat "$folder/configure.log" >&2 && exit 1; }
    fi
    cmake --build "$folder" ${targets[@]+"${targets[@]}"} >&2
    echo "$folder"
done
