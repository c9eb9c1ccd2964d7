#!/usr/bin/env bash
# Does what docs/library.md says, in an empty folder: writes its files, types its commands, and compares what they
# print where the page shows that. Arguments: the installation's folder, its library folder, the page, the empty
# folder, the compiler, the generator, and flags if there are any.
set -euo pipefail
prefix=$1
page=$3
work=$4
compiler=$(command -v "$5")
export PKG_CONFIG_PATH=$prefix/$2/pkgconfig CMAKE_PREFIX_PATH=$prefix PATH=$work/compiler:$prefix/bin:$PATH
export CMAKE_GENERATOR=$6 CXX=$compiler CXXFLAGS="${7-} -Wall -Wextra -Wconversion -Wshadow -Werror"
mkdir -p "$work/compiler" "$work/driver"
printf '#!/bin/sh\nexec %s %s "$@"\n' "$compiler" "${7-}" >"$work/compiler/g++"
chmod +x "$work/compiler/g++"
cd "$work/driver"
awk '/^```(cpp|cmake) /{file=$2; next} /^```/{file=""} file{print >file}' "$page"
awk '/^```/{isSession = !isBlock && /^```$/; isBlock = !isBlock; next} isSession' "$page" >"$work/session"
trap 'kill $(jobs -p) 2>/dev/null || true' EXIT

normalised() { sed -E -e "s/$address/127.0.0.1:7001/g" -e 's/^[0-9]{4}-[0-9T:.+-]+ [0-9.]+ \+[0-9.]+/TIME/' "$1"; }

compare() {
    [ ! -s "$work/expected" ] || diff <(normalised "$work/expected") <(normalised "$work/printed") ||
        { echo "otherwise than on the page: $command"; exit 1; }
    : >"$work/expected"
}

address=127.0.0.1:7001
command=
: >"$work/expected"
while IFS= read -r line <&3; do
    if [[ $line != '$ '* ]]; then
        echo "$line" >>"$work/expected"
        continue
    fi
    compare
    command=${line#'$ '}
    if [[ $command == *' &' ]]; then
        mkfifo "$work/ready"
        ${command//7001 &/0} >"$work/ready" &
        read -r _ address <"$work/ready"
        echo "tcp $address" >"$work/printed"
    elif ! eval "${command//127.0.0.1:7001/$address}" >"$work/printed" 2>&1 && [[ $command != *T1=1* ]]; then
        cat "$work/printed"
        echo "failed: $command"
        exit 1
    fi
done 3<"$work/session"
compare
