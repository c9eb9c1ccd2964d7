#!/usr/bin/env bash
# Compares what the programs' help, the man pages and the completion know of options, and the pages'
# syntax. Arguments: the folder with the programs, the source folder, the build folder.
set -euo pipefail
bin=$1
source=$2
completion=$3/completion/kvlink.bash
failed=0

fail() {
    echo "$*"
    failed=1
}

options() { grep -oE -- '--[a-z][a-z-]+' | sort -u; }

help_options() {
    local program=$1 command
    shift
    { "$bin/$program" --help; for command in "$@"; do "$bin/$program" $command --help; done; } | options
}

man_options() { sed 's/\\-/-/g' "$source/man/$1.1" | options; }

compare() {
    local difference
    difference=$(diff <(echo "$2") <(echo "$3")) || fail "$1:" "$difference"
}

# The commands below a command, or all without one.
subcommands() { "$bin/kvlink" "$@" --help | sed -nE '/^Subcommands:/,/^$/s/^  ([a-z-]+).*/\1/p'; }
commands=()
for command in $(subcommands); do
    below=$(subcommands "$command")
    [ -n "$below" ] || commands+=("$command")
    for word in $below; do commands+=("$command $word"); done
done
kvlink=$(help_options kvlink "${commands[@]}")
kvsim=$(help_options kvsim)
compare "kvlink's help and man page" "$kvlink" "$(man_options kvlink)"
compare "kvsim's help and man page" "$kvsim" "$(man_options kvsim)"
compare "kvbridge's help and man page" "$(help_options kvbridge)" "$(man_options kvbridge)"

for command in "${commands[@]}"; do
    grep -qF -- "${command//-/\\-}" "$source/man/kvlink.1" || fail "kvlink(1) does not describe $command"
done
for program in kvbridge kvlink kvsim; do
    lines=$("$bin/$program" --help | wc -l)
    examples=$("$bin/$program" --help | grep -c "^  $program .*")
    [ "$lines" -le 54 ] || fail "$program --help has $lines lines"
    [ "$examples" -ge 5 ] || fail "$program --help has $examples examples"
done

for page in "$source"/man/*; do
    warnings=$(MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
    [ -z "$warnings" ] || fail "$page: $warnings"
done

for picture in "$source"/docs/*.svg; do
    grep -qF "(${picture##*/})" "$source"/docs/*.md || fail "no page shows $picture"
    [ "$(wc -c <"$picture")" -le 30000 ] || fail "$picture has more than 30000 bytes"
done

version=$(sed -nE '/^## /{s/^## ([0-9.]+) - [0-9]{4}-[0-9]{2}-[0-9]{2}$/\1/p;q}' "$source/CHANGELOG.md")
compare "the version in both change logs" "$version-0upstream1" "$(sed -E 's/.*\((.*)\).*/\1/;q' "$source/debian/changelog")"
for program in kvbridge kvlink kvsim; do
    compare "the version in CHANGELOG.md and of $program" "$program $version" \
        "$("$bin/$program" --version | sed -E 's/ \([0-9a-f]{7,}(-dirty)?\)$//')"
done
for package in $(sed -n '/^build_packages=(/,/^)/p' "$source/dev" | grep -oE '[a-z0-9-]+-dev'); do
    grep -qx " $package," "$source/debian/control" || fail "debian/control does not build with $package, as ./dev does"
done

# completed PROGRAM WORD...: what completion offers for the last word.
completed() {
    bash -c 'source "$1"; COMP_WORDS=("${@:2}"); COMP_CWORD=$(($# - 2)); "_${2##*/}" "$2"; echo "${COMPREPLY[*]}"' \
        - "$completion" "$bin/$1" "${@:2}"
}
formats=$(completed kvlink read DM0 --format '')
faults=$(completed kvsim --fault '')
compare 'completion of --cha' --changes-only "$(completed kvlink monitor --cha)"
compare 'completion of --read' --read-only "$(completed kvsim --read)"
compare 'completion of --max' --max-clients "$(completed kvbridge --max)"
compare 'completion of c' 'C CC CM CR CS CTC' "$(completed kvlink monitor c)"
compare 'completion of mo' monitor "$(completed kvlink mo)"
compare 'completion of -k b' 'bit bin bcd bitblock block byte' "$(completed kvlink read DM0 -k b)"
compare 'completion of init' init "$(completed kvlink project '')"
compare 'completion of item types' 's16 s32 string' "$(completed kvlink read DM0 : s)"
links="--links $source/examples/panel.ini"
compare 'completion of a link' panel: "$(completed kvlink monitor $links pan)"
compare 'completion behind a link' 'DM' "$(completed kvlink monitor $links panel : d)"
compare 'completion of a file' "$source/README.md" "$(completed kvlink read DM0 --items "$source/READ")"
for command in "${commands[@]}"; do
    listed=$({ "$bin/kvlink" --help; "$bin/kvlink" $command --help; } | grep -oE '^ +(-.,)?--[a-z-]+' | options)
    compare "completion of $command --" "$listed" "$(completed kvlink $command -- | options)"
done
compare "list-ports's formats" 'text json csv' "$(completed kvlink list-ports --format '')"
[[ $formats == *csv* && $faults == *doubled* ]] || fail "completion gives the formats \"$formats\", the faults \"$faults\""
for word in $formats; do
    grep -qwF -- "${word//-/\\-}" "$source/man/kvlink.1" || fail "kvlink(1) lacks the format $word"
done
for word in $faults; do
    grep -qF -- "${word//-/\\-}" "$source/man/kvsim-faults.5" || fail "kvsim-faults(5) lacks the fault $word"
done
exit $failed
