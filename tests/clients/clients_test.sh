#!/usr/bin/env bash
# Other people's programs at a simulated HSPA module: identity, IMEI and signal come out.
#
#   clients_test.sh STATION
set -uo pipefail
PATH=$PATH:/usr/sbin
self=$(cd "$(dirname "$0")" && pwd)/clients_test.sh
if [ $# -eq 1 ]; then
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    status=0 runs=()
    for client in gnokii gammu comgt chat; do
        if command -v $client >/dev/null; then
            mkdir "$work/$client"
            (cd "$work/$client" && HOME=$PWD "$1" -m hspa,id=352099001761481 "$self" $client started) &
            runs+=($!)
        else
            echo "$client: skipped, it is not installed"
            status=77
        fi
    done
    for run in "${runs[@]}"; do wait "$run" || status=1; done
    exit $status
fi

client=$1
# By a short name: gnokii cuts a longer one.
ln -sfn "$TARNWICK_STATION/dev/cu.wwanCMD19" port

# expect TEXT COMMAND...: the command succeeds, and prints the text.
expect() {
    local output
    output=$(timeout 60 "${@:2}" 2>&1) && grep -qF -- "$1" <<<"$output" && return
    printf '%s: no "%s" in what it printed:\n%s\n' "$client" "$1" "$output"
    exit 1
}

case $client in
gnokii)
    printf '[global]\nmodel = AT\nport = port\nconnection = serial\n' >config
    expect '352099001761481' gnokii --config config --identify
    # Who closes before the answer has come leaves it to the next user.
    exec 3<>port
    printf 'AT+CPBW=1,"5551234",129,"bench"\r' >&3
    while read -rt 60 -u 3 line && [[ $line != OK* ]]; do :; done
    exec 3>&-
    expect 'bench' gnokii --config config --getphonebook SM 1 1
    ;;
gammu)
    printf '[gammu]\ndevice = %s\nconnection = at\n' "$PWD/port" >config
    expect '352099001761481' gammu -c config identify
    ;;
comgt) expect 'Signal Quality: 2,99' comgt -d port sig ;;
chat)
    # shellcheck disable=SC2016 # the inner shell's
    expect 'IMEI: 352099001761481' sh -c 'chat -v -s "" ATZ OK ATI OK <port >port'
    ;;
esac
