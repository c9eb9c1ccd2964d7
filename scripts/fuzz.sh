#!/usr/bin/env bash
# Runs fuzz targets that have been built and prints one line for each; called by ./dev fuzz.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/fuzz
seconds=
runs=
jobs=2
longest=96 # bytes of an input, or as the longest seed: as short as shows everything, for speed
targets=()

usage() {
    cat <<'TEXT'
usage: ./dev fuzz [--seconds N] [--runs N] [--jobs N] [TARGET...]

  --seconds N  time for each target, 30 unless --runs is given
  --runs N     executions of each target, with no limit of time unless --seconds is given
  --jobs N     targets at a time, 2 by default
  TARGET       bridge, driver, expression, plugin, simulator, tools; all of them by default
TEXT
}

number() {
    [[ ${2:-} =~ ^[1-9][0-9]*$ ]] || { echo "$1 takes a number above 0" >&2; exit 2; }
    echo "$2"
}

while [ $# -gt 0 ]; do
    case $1 in
    --seconds) seconds=$(number "$1" "${2:-}"); shift ;;
    --runs) runs=$(number "$1" "${2:-}"); shift ;;
    --jobs) jobs=$(number "$1" "${2:-}"); shift ;;
    -h | --help) usage; exit 0 ;;
    -*) usage >&2; exit 2 ;;
    *)
        [ -f "fuzz/fuzz_$1.cpp" ] || { echo "no such target: $1" >&2; exit 2; }
        targets+=("$1")
        ;;
    esac
    shift
done
[ -n "$seconds$runs" ] || seconds=30
if [ ${#targets[@]} -eq 0 ]; then
    for source in fuzz/fuzz_*.cpp; do
        source=${source#fuzz/fuzz_}
        targets+=("${source%.cpp}")
    done
fi

# One target: its corpus is a copy, so that nothing is ever written into the sources.
run_target() {
    local target=$1 log=$build/$1.log corpus status=0 seed
    corpus=$(mktemp -d "$build/corpus-$target-XXXXXX")
    cp "fuzz/corpus/$target"/* "$corpus"
    seed=$(find "$corpus" -type f -printf '%s\n' | sort -n | tail -n 1)
    [ "$seed" -le "$longest" ] || longest=$seed
    local options=("-max_len=$longest" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1
        "-artifact_prefix=$build/$target-")
    [ -z "$seconds" ] || options+=("-max_total_time=$seconds")
    [ -z "$runs" ] || options+=("-runs=$runs")
    [ ! -f "fuzz/$target.dict" ] || options+=("-dict=fuzz/$target.dict")
    "$build/fuzz/fuzz_$target" "${options[@]}" "$corpus" >"$log" 2>&1 || status=$?
    rm -rf "$corpus"
    report "$target" "$log" "$status"
    return "$status"
}

# Coverage counts from the seeds' (INITED) to the last line's.
report() {
    awk -v target="$1" -v status="$3" '
        / cov: / {
            for (i = 1; i < NF; ++i)
                if ($i == "cov:")
                    last = $(i + 1)
            if ($2 == "INITED")
                first = last
        }
        /^stat::number_of_executed_units:/ { runs = $2 }
        /^stat::average_exec_per_sec:/ { rate = $2 }
        /Test unit written to/ { file = $NF }
        END {
            printf "%-10s %10d executions %8d per second %5d new coverage %2d crashes\n", target,
                runs, rate, last - first, status != 0
            if (status != 0)
                printf "%-10s input: %s, log: %s\n", target, file == "" ? "none" : file, FILENAME
        }' "$2"
}

# Allocation stacks cost half of the speed; running the crashing input alone shows them. Two frames
# stay, since a leak is not seen with fewer.
export ASAN_OPTIONS=malloc_context_size=2:quarantine_size_mb=8${ASAN_OPTIONS:+:$ASAN_OPTIONS}
export build seconds runs longest
export -f run_target report
mkdir -p "$build"
printf '%s\n' "${targets[@]}" |
    xargs -P "$jobs" -I '{}' bash -c 'set -uo pipefail; run_target "$1" || exit 1' run '{}'
