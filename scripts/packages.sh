#!/usr/bin/env bash
# The packages that each job needs, in one list, and what installs those that are missing.
#
#   scripts/packages.sh PURPOSE...     build, test, check, fuzz, docs, examples, bench, macos
set -euo pipefail

debian_packages() {
    case $1 in
    build) echo cmake ninja-build g++ libexpat1-dev ;;
    test) echo libgtest-dev libgmock-dev valgrind mandoc bash-completion zsh gnokii-cli gammu comgt ppp ;;
    check) echo clang clang-format clang-tidy cppcheck git shellcheck ;;
    fuzz) echo clang libclang-rt-14-dev ;;
    docs) echo mandoc bash-completion zsh lintian dpkg-dev debootstrap ;;
    examples) echo perl gnuplot-nox parallel ;;
    bench) echo picocom comgt gsm-utils strace libc-devtools bsdextrautils time ;;
    macos) echo clang lld-14 llvm ;;
    *)
        echo "packages.sh: unknown purpose: $1" >&2
        return 2
        ;;
    esac
}

install_debian() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q ' installed$' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    echo "Installing: ${missing[*]}" >&2
    ${as_root[@]+"${as_root[@]}"} apt-get -qq update >/dev/null
    ${as_root[@]+"${as_root[@]}"} env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq install -y --no-install-recommends "${missing[@]}" >/dev/null
}

# On a Mac the command-line tools bring the compiler; Homebrew has the rest.
install_macos() {
    local formula
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

if [ "$(uname)" = Darwin ]; then
    install_macos
else
    packages=()
    for purpose in "$@"; do
        # shellcheck disable=SC2207 # package names have no blanks
        packages+=($(debian_packages "$purpose"))
    done
    install_debian "${packages[@]}"
fi
