#!/usr/bin/env bash
# Types README's sample session and compares what it prints; times and the pseudo-terminal's number
# are not compared. Arguments: the folder with the programs, the source folder.
set -euo pipefail
bin=$1
readme=$2/README.md
work=$(mktemp -d)
simulator=
finish() {
    [ -n "$simulator" ] && kill "$simulator" 2>/dev/null && wait "$simulator"
    rm -rf "$work"
}
trap finish EXIT

normalised() {
    sed -E -e 's#/dev/pts/[0-9]+#/dev/pts/N#' -e 's#^[0-9]{4}-[0-9-]+T[0-9:.]+[+-][0-9:]+ [0-9.]+ \+[0-9.]+#TIMES#'
}

sed -n '/^\$ kvsim/,/^```/p' "$readme" | sed -e '/^```/,$d' -e "s#/tmp/plc#$work/plc#g" >"$work/session"
grep -q '^\$ kvlink' "$work/session" || { echo "README has no session"; exit 1; }
PATH=$bin:$PATH
while IFS= read -r line; do
    case $line in
    '$ kvsim '*)
        echo "$line"
        mkfifo "$work/ready"
        words=${line#'$ kvsim '}
        kvsim ${words%' &'} >"$work/ready" 2>/dev/null &
        simulator=$!
        read -r ready <"$work/ready"
        echo "$ready"
        ;;
    '$ '*)
        echo "$line"
        bash -c "${line#'$ '}" 2>&1
        ;;
    esac
done <"$work/session" >"$work/printed"
diff <(normalised <"$work/session") <(normalised <"$work/printed")
