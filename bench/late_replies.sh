#!/usr/bin/env bash
# What late and doubled replies do to several clients, as a table in Markdown; called by ./dev bench --late.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/bench
programs=$build/bench
requests=${1:-10000}
seed=${2:-1}
share=0.005
timeout=50
late=65
work=$(mktemp -d)
peer=

stop_peer() {
    [ -n "$peer" ] || return 0
    kill "$peer" 2>/dev/null || true
    wait "$peer" 2>/dev/null || true
    peer=
}
trap 'stop_peer; rm -rf "$work"' EXIT

# start_peer PROGRAM...: sets `place`.
start_peer() {
    local kind
    mkfifo "$work/ready"
    "$@" >"$work/ready" 2>"$work/faults" &
    peer=$!
    read -r kind place <"$work/ready" || { cat "$work/faults" >&2; return 1; }
    rm "$work/ready"
}

# How many replies were late or doubled, from a peer's log; kvsim counts, the other one tells each.
injected() {
    awk '/^kvsim: fault (late|doubled): / { n += $NF } /^(late|doubled)$/ { ++n } END { print n + 0 }' "$work/faults"
}

# row CLIENT ROAD RETRIES WORDS LABEL: one client against a peer of its own.
row() {
    local client=$1 road=$2 number=$requests line count
    if [ "$client" != hostlink ]; then
        start_peer "$programs/modbus_peer" "$road" "$seed" "$share" "$late"
    elif [ "$road" = paced ]; then
        start_peer "$build/bin/kvsim" --pty --baud 38400 "${faults[@]}"
    elif [ "$road" = tcp ]; then
        start_peer "$build/bin/kvsim" --tcp 0 "${faults[@]}"
    else
        start_peer "$build/bin/kvsim" --pty "${faults[@]}"
    fi
    # At the speed of a line a request takes a hundred times as long.
    [ "$road" != paced ] || number=$(((requests + 9) / 10))
    line=$("$programs/late_replies" "$client" "$place" "$timeout" "$3" "$4" "$number" "$seed" "$5")
    stop_peer
    count=$(injected)
    [ "$count" -gt 0 ] || { echo "no reply was late or doubled: $5" >&2; return 1; }
    echo "$line $count |"
}

{
    echo device,value
    awk 'BEGIN { for (i = 0; i < 1000; ++i) print "DM" i "," i }'
} >"$work/memory.csv"
faults=(--load "$work/memory.csv" --seed "$seed" --fault "late:$share,$late" --fault "doubled:$share")

cat <<'TEXT'
| client | words | requests | right | failed | silently wrong | longest outage | faults |
|---|---|---|---|---|---|---|---|
TEXT
for words in fixed mixed; do
    row libmodbus rtu 0 "$words" "libmodbus, RTU"
    row libmodbus rtu recovers "$words" "libmodbus, RTU, error recovery on"
    row serialbus rtu 0 "$words" "Qt SerialBus, RTU, 0 retries"
    row serialbus rtu 3 "$words" "Qt SerialBus, RTU, 3 retries (default)"
    row hostlink rtu 0 "$words" "this driver, serial, 0 retries"
    row hostlink rtu 3 "$words" "this driver, serial, 3 retries (default)"
    row hostlink paced 0 "$words" "this driver, serial at 38400 baud, 0 retries"
    row hostlink paced 3 "$words" "this driver, serial at 38400 baud, 3 retries (default)"
    row libmodbus tcp 0 "$words" "libmodbus, TCP"
    row hostlink tcp 3 "$words" "this driver, TCP, 3 retries (default)"
done
