#!/usr/bin/env bash
# Types the first session of a page that begins with kvsim, and compares what it prints. Times, widths of columns
# and the pseudo-terminal's number are not compared. Arguments: the folder with the programs, the source folder,
# the page in it.
set -euo pipefail
bin=$1
source=$2
page=$2/$3
work=$(mktemp -d)
simulator=
finish() {
    [ -n "$simulator" ] && kill "$simulator" 2>/dev/null && wait "$simulator"
    rm -rf "$work"
}
trap finish EXIT

normalised() {
    sed -E -e "s#$work#/tmp#g" -e 's#/dev/pts/[0-9]+#/dev/pts/N#' -e 's/ +/ /g' \
        -e 's#[0-9]{4}-[0-9-]+T[0-9:.]+[+-][0-9:]+( [0-9.]+ \+[0-9.]+)?#TIME#' -e 's/[0-9]+\.[0-9]{2,}/N/g'
}

sed -n '/^\$ kvsim/,/^```/p' "$page" | sed -e '/^```/,$d' >"$work/session"
grep -q '^\$ kvlink' "$work/session" || { echo "$page has no session"; exit 1; }
cp "$source"/examples/*.csv "$work"
cd "$work"
PATH=$bin:$PATH
while IFS= read -r line; do
    command=${line#'$ '}
    command=${command//\/tmp\/plc/$work/plc}
    case $line in
    '$ kvsim '*)
        echo "$line"
        mkfifo "$work/ready"
        words=${command#'kvsim '}
        kvsim ${words%' &'} >"$work/ready" 2>/dev/null &
        simulator=$!
        read -r ready <"$work/ready"
        echo "$ready"
        ;;
    '$ '*)
        echo "$line"
        bash -c "$command" 2>&1 || true
        ;;
    esac
done <"$work/session" >"$work/printed"
diff <(normalised <"$work/session") <(normalised <"$work/printed")
