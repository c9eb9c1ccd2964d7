#!/usr/bin/env bash
# Makes each listed edit in a copy of the sources and asks whether a test notices; called by ./dev mutate.
#
# A list (*.edits) holds, line by line:
#   file PATH       the source that the following edits change
#   tests NAME...   the tests that are tried first; an edit that passes them meets all of them
#   edit NAME       one edit: the old text in lines "- ", the new text in lines "+ ", none to delete it
# The old text, which may be a part of a line, must occur exactly once.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

lists=tests/mutations
wanted=95 # per cent caught
all_tests=(
    bit_array byte_order data_pack checksum plc_address command drv_dev_setting settings_stream txpackage
    host_environment link_database driver_session driver_read driver_write plugin explorer runtime
)
memory_kib=4194304 # a run that asks for more fails, as an endless one does after its test's time-out

case ${1:-} in
-*)
    echo "usage: ./dev mutate [FILTER]    FILTER: a part of 'PATH: NAME' of the edits to try" >&2
    [ "$1" = --help ] || [ "$1" = -h ] && exit 0
    exit 2
    ;;
esac
filter=${1:-}

work=build/mutate
src=$work/src
tree=$work/tree
log=$work/log
original=$work/original
edited=$work/edited # the sources of which the tree may still hold a changed object

copy_sources() {
    rm -rf "$src"
    mkdir -p "$src"
    git ls-files -co --exclude-standard -z | while IFS= read -r -d '' path; do
        [ -e "$path" ] && printf '%s\0' "$path"
    done | tar -c --null -T - | tar -x -C "$src"
    # The copies keep their times, so that only what the user changed is built again.
    [ ! -f "$edited" ] || (cd "$src" && xargs -r touch -c) <"$edited"
}

# The tests of the given names: 0 built and passed, 1 a test failed, 2 not built.
try() {
    cmake --build "$tree" --target "${@/#/tst_}" >"$log" 2>&1 || return 2
    local IFS='|'
    (ulimit -v "$memory_kib" && exec ctest --test-dir "$tree" --stop-on-failure -R "^($*)\$") >"$log" 2>&1 ||
        return 1
}

# Changes a source; fails where the old text does not occur exactly once.
change() {
    OLD=$2 NEW=$3 perl -0777 -i -pe '
        my $found = () = /\Q$ENV{OLD}\E/g;
        die "the old text occurs $found times\n" unless $found == 1;
        s/\Q$ENV{OLD}\E/$ENV{NEW}/' "$1" 2>"$log"
}

caught=0
survivors=()
invalid=()

judge() {
    local status=0
    cp -p "$src/$file" "$original"
    if ! change "$src/$file" "$old" "$new"; then
        invalid+=("$file: $name ($(cat "$log"))")
        echo "INVALID: $(cat "$log")"
        cp "$original" "$src/$file"
        return
    fi
    echo "$file" >>"$edited"
    try "${tests[@]}" || status=$?
    if [ $status -eq 0 ]; then
        try "${all_tests[@]}" || status=$?
    fi
    cp "$original" "$src/$file" # with a new time: what was built is out of date
    case $status in
    0)
        survivors+=("$file: $name")
        echo "SURVIVED"
        ;;
    1)
        caught=$((caught + 1))
        sed -n 's/^[[:space:]]*[0-9]* - \([a-z_0-9]*\) (\(.*\))$/caught by \1 (\2)/p' "$log" | grep -m 1 . ||
            { cat "$log" >&2; exit 1; }
        ;;
    *)
        invalid+=("$file: $name (does not compile)")
        echo "INVALID: does not compile"
        grep -m 3 'error:' "$log" >&2 || cat "$log" >&2
        ;;
    esac
}

# Ends the edit that is being read.
finish() {
    [ -n "$name" ] || return 0
    if [[ "$file: $name" == *"$filter"* ]]; then
        printf '%s: %s: ' "$file" "$name"
        judge
    fi
    name=
}

run_list() {
    local line file='' name='' old='' new='' tests=()
    while IFS= read -r line <&3 || [ -n "$line" ]; do
        case $line in
        'file '*) finish; file=${line#file } ;;
        'tests '*) finish; read -ra tests <<<"${line#tests }" ;;
        'edit '*) finish; name=${line#edit } old='' new='' ;;
        '- '*) old+=${old:+$'\n'}${line#- } ;;
        '+ '*) new+=${new:+$'\n'}${line#+ } ;;
        '' | '#'*) ;;
        *) echo "$1: not understood: $line" >&2; exit 2 ;;
        esac
    done 3<"$1"
    finish
}

copy_sources
echo "building in $tree and running the tests unchanged" >&2
cmake -S "$src" -B "$tree" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 \
    -DCMAKE_CXX_FLAGS=-w -DKV_QT=5 -DKV_TESTS=ON >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
try "${all_tests[@]}" || { cat "$log" >&2; exit 1; }
rm -f "$edited"

for list in "$lists"/*.edits; do
    run_list "$list"
done

total=$((caught + ${#survivors[@]}))
printf '\n'
[ ${#survivors[@]} -eq 0 ] || printf 'survived: %s\n' "${survivors[@]}"
[ ${#invalid[@]} -eq 0 ] || printf 'invalid: %s\n' "${invalid[@]}"
if [ $((total + ${#invalid[@]})) -eq 0 ]; then
    echo "no edit matches '$filter'" >&2
    exit 2
fi
awk -v caught="$caught" -v total="$total" 'BEGIN {
    printf "%d of %d edits caught, %.1f %%\n", caught, total, total ? 100 * caught / total : 0 }'
[ ${#invalid[@]} -eq 0 ] && [ $((caught * 100)) -ge $((total * wanted)) ]
