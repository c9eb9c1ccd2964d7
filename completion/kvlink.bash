# Bash completion of kvlink, kvsim and kvbridge. The programs' own help has their commands, options, types, formats and faults;
# the build puts the devices in.

_kvlink_devices='@KV_DEVICES@'

# The help of a program or of one of its commands.
_kvlink_help() { "${1/#\~/$HOME}" "${@:2}" --help 2>/dev/null; }

_kvlink_commands() { _kvlink_help "$@" | sed -nE '/^Subcommands:/,/^$/s/^  ([a-z-]+).*/\1/p'; }

# The options of a command, and those of the program.
_kvlink_options() { { _kvlink_help "$@"; _kvlink_help "$1"; } | sed -nE 's/^ +(-.,)?(--[a-z-]+).*/\2/p' | sort -u; }

# _kvlink_takes OPTION PROGRAM COMMAND...: what the help says that an option takes; nothing for a flag.
_kvlink_takes() {
    [[ $1 != -* ]] || { _kvlink_help "${@:2}"; _kvlink_help "$2"; } | sed -nE "s/^ +(-.,)?$1(,--[a-z-]+)? ([^ ]+).*/\3/p" | head -n 1
}

# What the arguments of a command are.
_kvlink_arguments() { _kvlink_help "$@" | sed -nE '/^Positionals:/,/^$/s/^  [A-Za-z]+ ([^ ]+).*/\1/p'; }

_kvlink_types() { _kvlink_help "$@" | sed -nE 's/^ *TYPE: (.*)/\1/p' | tr -d ','; }

_kvlink_faults() { _kvlink_help "$1" | sed -n '/^KIND is /,/\.$/{s/^KIND is //;s/[,.]//g;p}'; }

_kvlink_ports() {
    compgen -G '/dev/tty[SUA][SCM0-9]*' -- || true
    compgen -G '/dev/serial/by-id/*' -- || true
}

_kvlink_links() {
    local i files=("${XDG_CONFIG_HOME:-$HOME/.config}/kvlink/links.ini" /etc/kvlink/links.ini)
    for i in "${!COMP_WORDS[@]}"; do
        [[ ${COMP_WORDS[i]} != --links ]] || files=("${COMP_WORDS[i + 1]/#\~/$HOME}")
    done
    sed -nE 's/^ *\[(.*)\].*/\1/p' "${files[@]}" 2>/dev/null
}

# The words among alternatives; capitals stand for something else.
_kvlink_choices() { tr '|' '\n' <<<"$1" | grep -v '[A-Z]'; }

# _kvlink_words WORDS CURRENT
_kvlink_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2"); }

# _kvlink_values OPTION TAKES CURRENT PROGRAM COMMAND...: the values of an option, or of an argument when OPTION is empty.
# @return 1 when they are not known
_kvlink_values() {
    local current=$3 takes=$2
    case $1:$takes in
    --project-port:*) _kvlink_words 'COM1 COM2 COM3 ETHERNET' "$current" ;;
    --link:NAME) _kvlink_words "$(_kvlink_links)" "$current" ;;
    *:ADDRESS* | *:DEVICE* | *:RANGE*)
        _kvlink_words "$_kvlink_devices" "${current^^}"
        # An item may name its link.
        [[ $takes != ADDRESS\[* ]] ||
            mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -S : -W "$(_kvlink_links)" -- "$current")
        compopt -o nospace 2>/dev/null
        ;;
    *:FILE* | *:\[=FILE\] | *:TRACE | *:PATH) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    *:COMMAND) mapfile -t COMPREPLY < <(compgen -c -- "$current") ;;
    *:DEV*) _kvlink_words "$(_kvlink_ports)" "$current" ;;
    *:KIND*) _kvlink_words "$(_kvlink_faults "$4")" "$current" ;;
    *:TYPE*) _kvlink_words "$(_kvlink_types "${@:4}") $(_kvlink_choices "$takes")" "$current" ;;
    *:*\|*) _kvlink_words "$(_kvlink_choices "$takes")" "$current" ;;
    *) return 1 ;;
    esac
}

_kvlink() {
    local program=$1 current=${COMP_WORDS[COMP_CWORD]} at=$((COMP_CWORD - 1)) word commands takes command=()
    commands=$(_kvlink_commands "$program")
    for word in "${COMP_WORDS[@]:1:at}"; do
        [[ -n $word && $'\n'$commands$'\n' == *$'\n'"$word"$'\n'* ]] || continue
        command+=("$word")
        commands=$(_kvlink_commands "$program" "${command[@]}")
    done
    COMPREPLY=()
    # Readline takes = and : for words.
    [[ $current != [=:] ]] || { current='' at=$COMP_CWORD; }
    if [[ ${COMP_WORDS[at]} == : ]]; then
        if grep -qxFe "${COMP_WORDS[at - 1]}" <(_kvlink_links); then
            _kvlink_words "$_kvlink_devices" "${current^^}"
            return
        fi
        takes=$(_kvlink_takes "${COMP_WORDS[at - 2]}" "$program" "${command[@]}")
        [[ $takes == HOST* ]] || _kvlink_words "$(_kvlink_types "$program" "${command[@]}")" "$current"
        return
    fi
    [[ ${COMP_WORDS[at]} != = ]] || at=$((at - 1))
    takes=$(_kvlink_takes "${COMP_WORDS[at]}" "$program" "${command[@]}")
    # The value of --trace stands behind a = only.
    if [[ -n $takes && ( $takes != \[* || ${COMP_WORDS[at + 1]} == = ) ]]; then
        _kvlink_values "${COMP_WORDS[at]}" "$takes" "$current" "$program" "${command[@]}"
    elif [[ $current == -* ]]; then
        _kvlink_words "$(_kvlink_options "$program" "${command[@]}")" "$current"
    elif [[ -n $commands ]]; then
        _kvlink_words "$commands" "$current"
    else
        for takes in $(_kvlink_arguments "$program" "${command[@]}"); do
            _kvlink_values '' "$takes" "$current" "$program" "${command[@]}" && return
        done
        [[ ${#command[@]} -gt 0 ]] || _kvlink_words "$(_kvlink_options "$program")" "$current"
    fi
}

_kvsim() { _kvlink "$@"; }
_kvbridge() { _kvlink "$@"; }

complete -F _kvlink kvlink
complete -F _kvsim kvsim
complete -F _kvbridge kvbridge
