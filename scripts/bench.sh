#!/usr/bin/env bash
# Measures what has been built in build/bench and prints one table; called by ./dev bench.
set -euo pipefail
shopt -s inherit_errexit
export LC_ALL=C # a point in decimals
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/bench
programs=$build/bench
baseline=bench/baseline.tsv
work=
peers=()

usage() {
    cat <<'TEXT'
usage: ./dev bench [--check | --update | --late [REQUESTS [SEED]]]

  (nothing)  measure everything, print the table and write it to build/bench/results.json
  --check    count only the driver's instructions and allocations; fails when a count is more than
             10 % above bench/baseline.tsv, or when a request allocates more than it may
  --update   replace bench/baseline.tsv by the counts of this build
  --late     what late and doubled replies do to this driver and to other clients, in Markdown
TEXT
}

say() { printf '== %s\n' "$*" >&2; }

finish() {
    local peer
    for peer in "${peers[@]}"; do
        kill "$peer" 2>/dev/null || true
    done
    rm -rf "$work"
}

# Requests of the driver whose instructions are counted: kind and items.
driver_rows() {
    local items
    for items in 1 10 100 125 307; do echo "words $items"; done
    for items in 1 10 100 306; do echo "write $items"; done
    for items in 1 10 100 307; do echo "bits $items"; done
    for items in 1 10 100 307; do echo "writebits $items"; done
    for items in 1 10 64; do echo "timers $items"; done
}

# Instructions in user space of one run of a program.
instructions() {
    local log
    log=$(valgrind --tool=callgrind --callgrind-out-file=/dev/null "$@" 2>&1) ||
        { printf '%s\n' "$log" >&2; return 1; }
    awk '/Collected :/ { print $NF }' <<<"$log"
}

# The same for one request: the runs differ in nothing but their number of requests, so that the
# start of the program cancels out. The program takes the number of requests last.
per_request() {
    local few many
    few=$(instructions "$@" 100)
    many=$(instructions "$@" 300)
    echo $(((many - few) / 200))
}

driver_count() { printf '%s\t%s\t%s\n' "$1" "$2" "$(per_request "$programs/driver_load" "$1" "$2")"; }

export programs
export -f instructions per_request driver_count

# One line for each driver row: kind, items, instructions per request.
driver_counts() {
    driver_rows | xargs -P "$(nproc)" -n 2 bash -c 'set -euo pipefail; shopt -s inherit_errexit; driver_count "$1" "$2"' count |
        sort -k1,1 -k2,2n
}

check() {
    local status=0
    driver_counts >"$work/counts.tsv"
    awk -F '\t' '
        FNR == NR {
            if ($0 !~ /^#/)
                base[$1 FS $2] = $3
            next
        }
        FNR == 1 { printf "%-10s %6s %12s %12s %8s\n", "request", "items", "baseline", "now", "change" }
        {
            known = ($1 FS $2) in base
            now = known ? base[$1 FS $2] : 0
            worse = !known || $3 > 1.1 * now
            failed += worse
            change = known ? sprintf("%+.1f %%", 100 * ($3 / now - 1)) : "unknown"
            printf "%-10s %6d %12d %12d %8s%s\n", $1, $2, now, $3, change, worse ? "  WORSE" : ""
            ++seen
            delete base[$1 FS $2]
        }
        END {
            for (row in base) {
                print "not measured: " row
                ++failed
            }
            exit failed > 0 || seen == 0
        }' "$baseline" "$work/counts.tsv" || status=1
    "$programs/alloc_count" || status=1
    return "$status"
}

update() {
    {
        echo "# Instructions of the driver alone for one request: kind, items, count. Written by ./dev bench --update."
        driver_counts
    } >"$work/baseline.tsv"
    cp "$work/baseline.tsv" "$baseline"
    cat "$baseline"
}

# row GROUP WHAT UNIT OURS PEER THEIRS AIM: a line of the result. PEER is "-" for none; AIM is "-", or
# "ratio" or "ours", a relation and a number.
row() {
    local IFS=$'\t'
    printf '%s\n' "$*" >>"$build/rows.tsv"
}

difference() { awk -v a="$1" -v b="$2" -v n="$3" 'BEGIN { printf "%.2f", (a - b) / n }'; }

# start_peer PROGRAM...: runs the other end of a line in a process of its own; sets `port`.
start_peer() {
    local ready kind
    ready=$(mktemp -u "$work/ready-XXXXXX")
    mkfifo "$ready"
    "$@" >"$ready" 2>"$work/peer.log" &
    peers+=($!)
    read -r kind port <"$ready" || { cat "$work/peer.log" >&2; return 1; }
    say "peer ${1##*/} on a $kind: $port"
}

stop_peer() {
    kill "${peers[-1]}"
    wait "${peers[-1]}" 2>/dev/null || true
    unset 'peers[-1]'
}

modbus_counts() {
    local registers
    start_peer "$programs/modbus_peer"
    for registers in 1 10 100 125; do
        libmodbus[registers]=$(per_request "$programs/modbus_load" "$port" "$registers")
        serialbus[registers]=$(per_request "$programs/serialbus_load" "$port" "$registers")
    done
    stop_peer
}

driver_group() {
    local kind items count aim one=0 many=0
    driver_counts >"$work/counts.tsv"
    while read -r kind items count; do
        if [ "$kind" = words ] && [ -n "${libmodbus[items]:-}" ]; then
            aim=-
            [ "$items" -gt 10 ] || aim="ratio < 1"
            row "driver alone" "$kind, $items" "instructions" "$count" libmodbus "${libmodbus[items]}" "$aim"
        else
            row "driver alone" "$kind, $items" "instructions" "$count" - - -
        fi
        [ "$kind $items" != "words 1" ] || one=$count
        [ "$kind $items" != "words 307" ] || many=$count
    done <"$work/counts.tsv"
    row "driver alone" "one more word" "instructions" "$(difference "$many" "$one" 306)" libmodbus \
        "$(difference "${libmodbus[125]}" "${libmodbus[1]}" 124)" "ours <= 60"
}

serial_row() {
    local kind=$1 items=$2 count
    count=$(per_request "$programs/serial_load" "$port" "$kind" "$items")
    if [ "$kind" = words ] && [ -n "${serialbus[items]:-}" ]; then
        row "serial port" "$kind, $items" "instructions" "$count" "Qt SerialBus" "${serialbus[items]}" \
            "ratio < 0.25"
        row "serial port" "$kind, $items" "instructions" "$count" libmodbus "${libmodbus[items]}" -
    else
        row "serial port" "$kind, $items" "instructions" "$count" - - -
    fi
}

# System calls of one run; the peers are processes of their own.
system_calls() {
    strace -c -f -o "$work/calls" "$@" >/dev/null
    awk '$NF == "total" { print $4 }' "$work/calls"
}

calls_row() {
    local what=$1 few many
    shift
    few=$(system_calls "$@" 100)
    many=$(system_calls "$@" 300)
    row "system calls" "$what" "calls per request" "$(difference "$many" "$few" 200)" - - -
}

serial_group() {
    local items
    start_peer "$build/bin/kvsim" --pty
    for items in 1 10 100 125 307; do serial_row words "$items"; done
    for items in 1 100 306; do serial_row write "$items"; done
    for items in 1 100 307; do serial_row bits "$items"; done
    for items in 1 100 307; do serial_row writebits "$items"; done
    for items in 1 10 64; do serial_row timers "$items"; done
    for items in 1 307; do
        calls_row "words, $items" "$programs/serial_load" "$port" words "$items"
    done
    calls_row "write, 1" "$programs/serial_load" "$port" write 1
    stop_peer
    start_peer "$programs/modbus_peer"
    calls_row "libmodbus, 1 register" "$programs/modbus_load" "$port" 1
    calls_row "Qt SerialBus, 1 register" "$programs/serialbus_load" "$port" 1
    stop_peer
}

allocations_group() {
    "$programs/alloc_count" >"$work/allocations" || say "a request allocates more than it may"
    while IFS=$'\t' read -r what kind items count rest; do
        case "$what $kind" in
        "allocations write") row "allocations" "$kind, $items" "per request" "$count" - - "ours <= 0" ;;
        "allocations writebits") row "allocations" "$kind, $items" "per request" "$count" - - - ;;
        "allocations "*) row "allocations" "$kind, $items" "per request" "$count" - - "ours <= 1" ;;
        "driver object "*)
            row "memory" "a driver object" "bytes" "${kind%% *}" - - -
            row "memory" "its heap, itself included" "bytes" "${items%% *}" - - -
            ;;
        esac
    done <"$work/allocations"
}

wire_group() {
    local baud words aim share requests
    for baud in 9600 19200 38400 57600 115200; do
        start_peer "$build/bin/kvsim" --pty --baud "$baud"
        for words in 1 16 307; do
            requests=$((words == 307 ? 3 : 21))
            aim="ours <= 1.10"
            [ "$baud" -ne 9600 ] || aim="ours <= 1.02"
            share=$("$programs/wire_share" "$port" "$baud" "$words" "$requests")
            row "share of the wire" "$words words at $baud baud" "time / line time" "$share" - - "$aim"
        done
        stop_peer
    done
}

# Seconds that a command takes.
seconds() {
    local before=$EPOCHREALTIME
    "$@" >/dev/null
    awk -v a="$EPOCHREALTIME" -v b="$before" 'BEGIN { printf "%.4f", a - b }'
}

# The words of a screen, as they lie among the others: close together, and far apart.
close_words=(DM100 DM101 DM102 DM104 DM105 DM107 DM108 DM109 DM111 DM112
    DM114 DM116 DM117 DM119 DM120 DM122 DM124 DM126 DM127)
far_words=(DM100 DM101 DM102 DM105 DM110 DM111 DM114 DM120 DM125 DM128
    DM140 DM141 DM150 DM152 DM155 DM160 DM161 DM170 DM175)

# merge_row WHAT AIM WORD...: merged beside one by one.
merge_row() {
    local what=$1 aim=$2 merged single
    shift 2
    local kvlink=("$build/bin/kvlink" --port "$port,9600,8n1" read "$@")
    merged=$(seconds "${kvlink[@]}")
    single=$(seconds "${kvlink[@]}" --no-merge)
    row kvlink "$what, 9600 baud" s "$merged" "one by one" "$single" "$aim"
}

merge_group() {
    start_peer "$build/bin/kvsim" --pty --baud 9600
    merge_row "19 words among 28" "ratio <= 0.25" "${close_words[@]}"
    merge_row "19 words among 76" - "${far_words[@]}"
    stop_peer
}

# The mean of 20 starts, in milliseconds.
start_time() {
    local before=$EPOCHREALTIME
    for _ in {1..20}; do
        "$@" >/dev/null
    done
    awk -v a="$EPOCHREALTIME" -v b="$before" 'BEGIN { printf "%.2f", (a - b) * 1000 / 20 }'
}

memory_group() {
    local plugin=$build/lib/kv-hostlink/drivers/libkv_l20v_host_link.so bytes
    # Code and constants are pages of the file, shared by all who load it; the rest is the process' own.
    bytes=$(size -A "$plugin" | awk '$1 ~ /^\.(data|bss|data\.rel\.ro|init_array|fini_array|dynamic|got|got\.plt)$/ { n += $2 }
        END { print n }')
    row "memory" "the plug-in's own data" "bytes" "$bytes" - - -
    bytes=$(size "$plugin" | awk 'NR == 2 { print $1 }')
    row "memory" "the plug-in's code and constants" "bytes" "$bytes" - - -
    row "start" "kvlink info" "ms" "$(start_time "$build/bin/kvlink" info)" - - -
    start_peer "$build/bin/kvsim" --tcp 0
    row "start" "kvlink read DM0 --tcp" "ms" "$(start_time "$build/bin/kvlink" --tcp "$port" read DM0)" - - -
    row "start" "an empty program (true)" "ms" "$(start_time /bin/true)" - - -
    stop_peer
}

# The best of the repetitions counts, since only disturbances make one slower.
tools_group() {
    "$programs/tools_bench" --benchmark_min_time=0.02 --benchmark_repetitions=5 \
        --benchmark_out="$build/tools.json" --benchmark_out_format=json >/dev/null 2>"$work/tools.log"
    awk -v OFS='\t' '
        function value(line) { sub(/^[^:]*: /, "", line); gsub(/[",]/, "", line); return line }
        /"name":/ { split(value($0), part, "/") }
        /"run_type":/ { counts = value($0) == "iteration" }
        /"cpu_time":/ && counts {
            key = part[1] SUBSEP part[2] SUBSEP part[3]
            ns = value($0) / part[3]
            if (!(key in best) || ns < best[key])
                best[key] = ns
            if (!((part[1], part[2]) in seen)) {
                seen[part[1], part[2]] = 1
                function_of[++n] = part[1]
                form_of[n] = part[2]
            }
        }
        END {
            for (i = 1; i <= n; ++i) {
                f = function_of[i]
                if (form_of[i] == "ours") {
                    print "tools", f ", 1 MiB beside 1 KiB", "ns per byte", best[f, "ours", 1048576], "1 KiB",
                        best[f, "ours", 1024], "ratio <= 3"
                    continue
                }
                limited = form_of[i] == "plain loop" && f ~ /CRC16Calculate|Bits/ ? "ratio <= 1.2" : "-"
                for (size = 1024; size <= 1048576; size *= size == 1024 ? 64 : 16)
                    print "tools", f ", " (size < 1048576 ? size / 1024 " KiB" : "1 MiB"), "ns per byte",
                        best[f, "ours", size], form_of[i], best[f, form_of[i], size], limited
            }
            exit n == 0
        }' "$build/tools.json" >>"$build/rows.tsv"
}

# The table on stdout, its JSON into a file.
report() {
    awk -F '\t' -v json="$build/results.json" '
        function holds(value, aim,   part) {
            split(aim, part, " ")
            return part[2] == "<" ? value < part[3] + 0 : value <= part[3] + 0
        }
        function text(s) { gsub(/["\\]/, "\\\\&", s); return "\"" s "\"" }
        BEGIN {
            printf "%-18s %-46s %-18s %12s %-13s %12s %8s  %s\n", "group", "what", "unit", "ours", "peer", "theirs",
                "ratio", "aim"
            printf "[" >json
        }
        {
            ratio = $5 == "-" || $6 == 0 ? "" : sprintf("%.3f", $4 / $6)
            verdict = ""
            if ($7 != "-") {
                met = holds($7 ~ /^ratio/ ? ratio + 0 : $4 + 0, $7)
                verdict = $7 (met ? ", met" : ", MISSED")
                missed += !met
            }
            printf "%-18s %-46s %-18s %12s %-13s %12s %8s  %s\n", $1, $2, $3, $4, $5 == "-" ? "" : $5,
                $5 == "-" ? "" : $6, ratio, verdict
            printf "%s\n  { \"group\": %s, \"what\": %s, \"unit\": %s, \"ours\": %s, ", (NR > 1 ? "," : ""), text($1),
                text($2), text($3), $4 >json
            printf "\"peer\": %s, \"theirs\": %s, \"ratio\": %s, \"aim\": %s, \"met\": %s }",
                $5 == "-" ? "null" : text($5), $5 == "-" ? "null" : $6, ratio == "" ? "null" : ratio,
                $7 == "-" ? "null" : text($7), ($7 == "-" ? "null" : met ? "true" : "false") >json
        }
        END {
            print "\n]" >json
            printf "%d rows, %d aims missed; %s\n", NR, missed, json
        }' "$build/rows.tsv"
}

measure() {
    local -a libmodbus serialbus
    local port
    : >"$build/rows.tsv"
    say "instructions of the peers"
    modbus_counts
    say "instructions of the driver"
    driver_group
    say "instructions and system calls through the serial port"
    serial_group
    allocations_group
    say "share of the wire"
    wire_group
    merge_group
    say "tools"
    tools_group
    memory_group
    report
}

action=measure
case ${1:-} in
"") ;;
--check) action=check ;;
--update) action=update ;;
--late) exec bash bench/late_replies.sh "${@:2}" ;;
-h | --help) usage; exit 0 ;;
*) usage >&2; exit 2 ;;
esac
work=$(mktemp -d)
trap finish EXIT
"$action"
