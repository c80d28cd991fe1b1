#!/usr/bin/env bash
# The station under faults that others cause: drivers that come and go between two looks, disks and
# hosts that are short of something, users that collide, ends at the wrong moment. As root in a private
# devpts, so that no other program's ptys are reached, first as root and then as an ordinary user; as
# the user who calls it otherwise.
#
#   station_faults_test.sh PROGRAMS [CASE]    PROGRAMS has Tarnwick and tarnwick-station; all cases
#   TARNWICK_TIMES=10                         so many times the rounds
# Cases are called by their names.
# shellcheck disable=SC2317
set -uo pipefail
self=$(cd "$(dirname "$0")" && pwd)/$(basename "$0")
times=${TARNWICK_TIMES:-1}
node=dev/cu.wwanCMD19
imei=012345006780006
kext=/Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext
cases='reloaded_driver reloaded_unseen no_next_pty node_at_every_moment user_on_an_old_pty
half_a_command temporary_root ignored_signals root_gone_under_a_deaf_command blocked_child_signal
moved_root nothing_grows'

fail() {
    echo "    $*"
    exit 1
}

# rounds N: as many numbers, times TARNWICK_TIMES.
rounds() { seq $(($1 * times)); }

# until_true COMMAND...: within ten seconds.
until_true() {
    local tries=1000
    until "$@"; do
        ((tries -= 1)) || fail "never: $*"
        sleep 0.01
    done
}

# Inside of a station, whose root is the working folder.

identity() {
    local said
    said=$(timeout 10 Tarnwick -e)
    [ "$said" = "$imei" ] || fail "round $1: $said"
}

leads_elsewhere() { [ "$(readlink "$node")" != "$1" ]; }
served_elsewhere() { identity after && leads_elsewhere "$1"; }
is_gone() { rmdir "$1" 2>/dev/null; }
free_descriptor() {
    local fd=0
    while [ -e "/proc/$PPID/fd/$fd" ]; do fd=$((fd + 1)); done
    echo "$fd"
}
open_descriptors() { find "/proc/$PPID/fd" -type l | wc -l; }
resident() { awk '/VmRSS/ { print $2 }' "/proc/$PPID/status"; }

# The tool waits at a larger scale than the station, which has its turn in that time on a busy machine.
in_reloaded_driver() {
    local round
    printf 'user-id 0\ntime-scale 0.05\n' >host.conf
    for round in $(rounds 40); do
        Tarnwick -c >said || fail "round $round: status $?, $(tail -n 1 said)"
    done
}

# The station is stopped, so that it sees one state before and the same state behind.
in_reloaded_unseen() {
    local round
    for round in $(rounds 5); do
        "$PWD/sbin/kextload" "$kext" && until_true test -e dev/tty.KeySerial1
        kill -STOP "$PPID"
        "$PWD/sbin/kextunload" "$kext" && "$PWD/sbin/kextload" "$kext"
        kill -CONT "$PPID"
        until_true test -e dev/tty.KeySerial1
        "$PWD/sbin/kextunload" "$kext" && until_true test ! -e dev/tty.KeySerial1
    done
}

complaints() { grep -c 'no new pty' "$TARNWICK_SAID"; }

# short_of TAKE GIVE: the command TAKE takes away what the next pty needs, GIVE gives it back.
short_of() {
    local round before
    sleep 0.2  # until old ptys are closed
    before=$(complaints)
    eval "$1" || fail "cannot do: $1"
    for round in 1 2 3 4; do identity "$round after $1"; done
    [ "$(complaints)" = $((before + 1)) ] || fail "not said once: $(cat "$TARNWICK_SAID")"
    eval "$2" || fail "cannot do: $2"
    until_true served_elsewhere "$(readlink "$node")"
}

in_no_next_pty() {
    if [ "$(id -u)" = 0 ] && [ -n "${TARNWICK_PRIVATE-}" ]; then
        short_of 'mount --bind dev dev && mount -o remount,bind,ro dev' 'umount dev'
        # shellcheck disable=SC2016
        short_of 'number=0; while ln -s x "full$((number += 1))"; do :; done 2>/dev/null' 'rm full*'
        # shellcheck disable=SC2016
        short_of 'mount -o "remount,max=$(find /dev/pts -name "[0-9]*" | wc -l)" /dev/pts' \
            'mount -o remount,max=1000 /dev/pts'
    fi
    [ "$(id -u)" = 0 ] || short_of 'chmod a-w dev' 'chmod u+w dev'
    # shellcheck disable=SC2016
    short_of 'prlimit --nofile="$(free_descriptor):" --pid "$PPID"' 'prlimit --nofile=1000: --pid "$PPID"'
}

in_node_at_every_moment() {
    local round said
    for round in $(rounds 60); do
        identity "$round"
        exec 3<>"$node" || fail "round $round: refused"
        printf 'AT\r' >&3
        read -r -t 10 said <&3 || fail "round $round: no answer"
        exec 3>&-
    done
}

# Whoever followed the node before it was moved is served, and so is the next user on the new pty.
in_user_on_an_old_pty() {
    local round old said served=0
    for round in $(rounds 30); do
        old=$(readlink "$node")
        printf 'AT\r' >"$node"
        until_true leads_elsewhere "$old"
        { exec 3<>"$old"; } 2>/dev/null || continue  # too late: that pty is gone
        identity "$round"
        printf 'AT\r' >&3
        read -r -t 10 said <&3 || fail "round $round: no answer on the old pty"
        exec 3>&-
        served=$((served + 1))
    done
    [ "$served" != 0 ] || fail 'nobody came in time'
}

in_half_a_command() {
    local round line
    for round in $(rounds 60); do
        printf 'AT+CG' >"$node"
        identity "$round"
    done
    line=$(printf '%04000d' 0)
    for round in $(rounds 10); do
        printf %s "$line" >"$node"
        identity "$round of 4,000 bytes"
    done
}

in_nothing_grows() {
    local round descriptors memory
    for round in $(seq 20); do identity "$round"; done
    sleep 0.2  # until old ptys are closed
    descriptors=$(open_descriptors) memory=$(resident)
    for round in $(rounds 100); do identity "$round"; done
    sleep 0.2
    [ "$(open_descriptors)" = "$descriptors" ] || fail "$descriptors descriptors at first"
    [ "$(resident)" -le $((memory + 200)) ] || fail "$memory KB at first, $(resident) KB now"
}

# Around a station.

station() { tarnwick-station --time-scale 0.01 "$@"; }
at_station() { station "${@:2}" "$self" inside "$1" || fail "status $?"; }

# Also where a host cannot tell the station of changes.
in_either_mode() {
    local look
    for look in no yes; do TARNWICK_LOOK_AROUND=$look at_station "$1"; done
}

reloaded_driver() { in_either_mode reloaded_driver; }
reloaded_unseen() { in_either_mode reloaded_unseen; }
node_at_every_moment() { at_station node_at_every_moment; }
user_on_an_old_pty() { at_station user_on_an_old_pty; }
half_a_command() { at_station half_a_command; }
nothing_grows() { at_station nothing_grows; }

no_next_pty() {
    mkdir root
    if [ "$(id -u)" = 0 ] && [ -n "${TARNWICK_PRIVATE-}" ]; then
        mount -t tmpfs -o nr_inodes=60 tmpfs root
    fi
    TARNWICK_SAID=$PWD/said at_station no_next_pty -r root 2>said
}

temporary_root() {
    local round limit
    mkdir roots
    export TMPDIR=$PWD/roots
    for round in $(rounds 40); do
        station sh -c "while :; do \$TARNWICK_STATION/sbin/kextload $kext; done & sleep 0.02; kill \$!"
    done 2>/dev/null
    for limit in $(seq 4 30); do (ulimit -n "$limit" && station true) 2>/dev/null; done
    until_true is_gone roots
}

ignored_signals() {
    local said
    # HUP, INT and QUIT; nothing more at the command, no less at the station.
    # shellcheck disable=SC2016
    said=$(trap '' HUP INT QUIT && station sh -c 'kill -INT $PPID; grep SigIgn /proc/self/status') ||
        fail "status $?"
    [ $((0x${said#SigIgn:?} & 7)) = 7 ] || fail "$said"
    # CHLD and PIPE, which the station wants otherwise for itself.
    said=$(env --ignore-signal=CHLD,PIPE tarnwick-station grep SigIgn /proc/self/status) ||
        fail "status $?"
    [ $((0x${said#SigIgn:?} & 0x11000)) = $((0x11000)) ] || fail "$said"
}

root_gone_under_a_deaf_command() {
    local signal status
    for signal in TERM INT; do
        # shellcheck disable=SC2016
        env --default-signal=INT timeout -k 10 -s "$signal" 1 tarnwick-station \
            sh -c 'trap "" TERM INT; echo $$ >deaf; rm -rf "$TARNWICK_STATION"; sleep 60' 2>/dev/null
        status=$?
        kill -9 "$(cat deaf)" 2>/dev/null
        [ "$status" = 124 ] || fail "$signal: status $status"
    done
}

blocked_child_signal() { timeout 20 env --block-signal=CHLD tarnwick-station true || fail "status $?"; }

moved_root() {
    station -r here sh -c 'mv here there; sleep 60' 2>/dev/null && fail 'it did not end'
    [ -z "$(ls -A there/dev)" ] || fail "$(ls -A there/dev)"
}

# once as USER: all cases, each in a folder of its own.
once() {
    local status=0 name work
    for name in $only; do
        work=$(mktemp -d)
        if ! (cd "$work" && "$name"); then
            echo "$1: $name failed"
            status=1
        fi
        mountpoint -q "$work/root" && umount -lR "$work/root"
        chmod -R u+w "$work"
        rm -rf "$work"
    done
    return "$status"
}

if [ "$1" = inside ]; then
    cd "$TARNWICK_STATION" && "in_$2"
    exit
fi
programs=$(cd "$1" && pwd)
only=${2-$cases}
if [ "$(id -u)" != 0 ]; then
    PATH=$programs:$PATH once 'an ordinary user'
    exit
fi
if [ -z "${TARNWICK_PRIVATE-}" ]; then
    if unshare -m mount -t devpts -o newinstance,ptmxmode=0666 devpts /dev/pts 2>/dev/null; then
        TARNWICK_PRIVATE=yes exec unshare -m "$self" "$@"
    fi
    echo 'no private devpts can be mounted here: the cases that need one are left out'
else
    mount -t devpts -o newinstance,ptmxmode=0666 devpts /dev/pts
    mount --bind /dev/pts/ptmx /dev/ptmx
fi
# Root's own build folder may be closed to others.
copies=$(mktemp -d)
trap 'rm -rf "$copies"' EXIT
cp "$self" "$programs/Tarnwick" "$programs/tarnwick-station" "$copies" && chmod 755 "$copies"
status=0
self=$copies/$(basename "$self") PATH=$copies:$PATH once root || status=1
TARNWICK_PRIVATE='' setpriv --reuid 65534 --regid 65534 --clear-groups \
    "$copies/$(basename "$self")" "$copies" "$only" || status=1
exit "$status"
