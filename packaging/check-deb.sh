#!/usr/bin/env bash
# Makes the Debian packages and tries them in a clean system: installs, uses and removes them. Needs
# root.
#
#   packaging/check-deb.sh [CHROOT]     a folder for the clean system, which is kept for the next time
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
chroot=${1:-/tmp/tarnwick-chroot}

"$top/scripts/packages.sh" build docs
cd "$top"
cmake --preset release -DBUILD_TESTING=OFF -B build-package >/dev/null
cmake --build build-package
(cd build-package && rm -f ./*.deb && cpack)
lintian --fail-on error,warning build-package/*.deb

# shellcheck disable=SC1091
[ -x "$chroot/usr/bin/apt-get" ] ||
    debootstrap --variant=minbase "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$chroot"
cp build-package/*.deb "$chroot/tmp"

# The pseudo-terminals of this machine serve the clean system, too; the mount goes with the shell.
# shellcheck disable=SC2016 # the inner shells' variables
unshare --mount sh -c 'mount --bind /dev/pts "$1/dev/pts" && exec chroot "$1" bash -euc "$2"' \
    - "$chroot" '
        export DEBIAN_FRONTEND=noninteractive
        files() { find / -xdev \( -path /proc -o -path /tmp -o -path /var/lib/dpkg -o -path /var/lib/apt \
            -o -path /var/cache -o -path /var/log \) -prune -o -print | sort; }
        apt-get -qq update
        files >/tmp/before
        apt-get -qq install --no-install-recommends /tmp/tarnwick_*.deb
        [ "$(tarnwick-station Tarnwick -w)" = ON ]
        [ "$(tarnwick-station --time-scale 0.1 Tarnwick -s 1 3 62 -50 1 | tail -n 1 | cut -f 5)" = -80 ]
        apt-get -qq purge --autoremove tarnwick
        files | diff /tmp/before -
    '
echo 'The package installs, works and leaves nothing behind.'
