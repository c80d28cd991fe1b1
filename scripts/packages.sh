#!/usr/bin/env bash
# The packages that each job needs, in one list, and what installs those that are missing.
#
#   scripts/packages.sh PURPOSE...     build, test, check, fuzz, docs, examples, bench, macos
set -euo pipefail

debian_packages() {
    case $1 in
    build) echo cmake ninja-build g++ libexpat1-dev ;;
    test) echo libgtest-dev libgmock-dev valgrind mandoc bash-completion zsh gnokii-cli gammu comgt ppp ;;
    check) echo clang clang-format clang-tidy cppcheck git shellcheck locales ;;
    fuzz) echo clang libclang-rt-dev ;;
    docs) echo mandoc bash-completion zsh lintian dpkg-dev debootstrap ;;
    examples) echo perl gnuplot-nox parallel ;;
    bench) echo hyperfine picocom strace time ;;
    macos) echo clang lld llvm libc++-dev libgtest-dev ;;
    *)
        echo "packages.sh: unknown purpose: $1" >&2
        return 2
        ;;
    esac
}

# fits NAME VERSION OLDEST: an unknown version is taken to fit, CMake looks again.
fits() {
    local older
    older=$(printf '%s\n' "$2" "$3" | sort -t . -k 1,1n -k 2,2n | head -n 1)
    [ -z "$2" ] || [ "$older" = "$3" ] || {
        echo "Tarnwick needs $1 $3 or later; this machine has $2, and nothing was installed." >&2
        exit 1
    }
}

# version PACKAGE COMMAND...: what the command says, or what would be installed.
version() {
    if command -v "$2" >/dev/null; then
        "${@:2}"
    elif command -v apt-cache >/dev/null; then
        apt-cache policy "$1" | sed -n 's/^ *Candidate: *\([0-9]*:\)*\([0-9.]*\).*/\2/p'
    fi
}

check_versions() {
    local compiler=${CXX:-c++}
    fits CMake "$(version cmake cmake --version | sed 's/^cmake version //; q')" 3.22
    if "$compiler" --version 2>/dev/null | grep -q clang; then
        fits clang "$("$compiler" -dumpversion)" 14
    else
        fits GCC "$(version g++ "$compiler" -dumpversion)" 11
    fi
}

install_debian() {
    local missing=() as_root=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q ' installed$' ||
            missing+=("$package")
    done
    if [ ${#missing[@]} -eq 0 ]; then
        check_versions
        return
    fi
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || {
            echo "There is no sudo here; please install as root: ${missing[*]}" >&2
            exit 1
        }
        as_root=(sudo)
    fi
    ${as_root[@]+"${as_root[@]}"} apt-get -qq update >/dev/null
    check_versions
    echo "Installing: ${missing[*]}" >&2
    ${as_root[@]+"${as_root[@]}"} env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq install -y --no-install-recommends "${missing[@]}" >/dev/null
}

# On a Mac the command-line tools bring the compiler; Homebrew has the rest.
install_macos() {
    local formula
    check_versions
    for formula in cmake ninja googletest; do
        command -v brew >/dev/null || {
            echo "Please install Homebrew, or: cmake ninja googletest" >&2
            return 1
        }
        brew list "$formula" >/dev/null 2>&1 || {
            echo "Installing: $formula" >&2
            brew install "$formula" >&2
        }
    done
}

packages=()
for purpose in "$@"; do
    # shellcheck disable=SC2207 # package names have no blanks
    packages+=($(debian_packages "$purpose"))
done
if [ "$(uname)" = Darwin ]; then
    install_macos
elif command -v apt-get >/dev/null; then
    install_debian "${packages[@]}"
else
    check_versions
    echo "No apt-get here; what Debian calls so must be there: ${packages[*]}" >&2
fi
