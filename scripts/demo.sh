#!/usr/bin/env bash
# A short tour: kvlink talks to a simulated PLC over a pseudo-terminal, with every line shown, and
# what it reads is compared. The PLC is a kvsim of its own rather than --sim: what one command
# writes, the next one reads. Argument: the folder with kvlink and kvsim.
set -euo pipefail
bin=$1
work=$(mktemp -d)
sim=
# Ends the simulator, by its own process id; a demo that failed shows what the simulator had to say.
finish() {
    local status=$?
    [ -n "$sim" ] && kill "$sim" 2>/dev/null && wait "$sim"
    [ "$status" -eq 0 ] || cat "$work/kvsim.log" >&2
    rm -rf "$work"
}
trap finish EXIT

mkfifo "$work/ready"
"$bin/kvsim" --pty --station 1 --set DM100=4660 --set R1215=1 >"$work/ready" 2>"$work/kvsim.log" &
sim=$!
read -r kind port <"$work/ready" || { echo "demo: kvsim did not start" >&2; exit 1; }
echo "simulated PLC, station 1, on a $kind: $port"

# shown WHAT EXPECTED ARGUMENTS...: runs kvlink with the trace on and compares what it prints.
shown() {
    local what=$1 expected=$2 printed
    shift 2
    [ -n "$what" ] && printf '\n# %s\n' "$what"
    printf '$ kvlink %s --port PORT --station 1 --trace\n' "$*"
    printed=$("$bin/kvlink" "$@" --port "$port,9600,8n1" --station 1 --trace 2>&1 >"$work/values" |
        sed 's/^/    /' >&2 && cat "$work/values")
    [ -n "$printed" ] && printf '%s\n' "$printed"
    if [ "$printed" != "$expected" ]; then
        printf 'demo: expected:\n%s\ngot:\n%s\n' "$expected" "$printed" >&2
        exit 1
    fi
}

"$bin/kvlink" info
shown "a word that the PLC already holds" "4660" read DM100
shown "three words, written and read back" "" write DM200 1 0xFFFF 65000
shown "" $'1\n65535\n65000' read DM200 -n 3
shown "a timer's value, 32 bits" "" write T12 100000 -k dword
shown "" "100000" read T12 -k dword
shown "a run of relays" "" write R1300 1 0 1 -k bit
shown "" $'1\n1\n0\n1' read R1215 -n 4 -k bit
shown "a counter's contact, set by a line of its own" "" write C7 1 -k bit
shown "" "1" read C7 -k bit
echo
echo "demo: all values as expected"
