# Bash completion of kvlink and kvsim. The programs' own help has their commands, options, types,
# formats and faults; the build puts the devices in.

_kvlink_devices='@KV_DEVICES@'

# The help of a program's command or, with an empty name, of the program.
_kvlink_help() { "${1/#\~/$HOME}" ${2:+"$2"} --help 2>/dev/null; }

_kvlink_commands() { _kvlink_help "$1" '' | sed -nE '/^Subcommands:/,/^$/s/^ +([a-z-]+) .*/\1/p'; }

_kvlink_types() { _kvlink_help "$1" read | sed -nE 's/^ *TYPE: //p' | tr -d ,; }

_kvlink_options() { { _kvlink_help "$1" ''; [ -z "$2" ] || _kvlink_help "$1" "$2"; } | sed -nE 's/^ +(-.,)?(--[a-z-]+).*/\2/p'; }

# The words that an option of a command takes.
_kvlink_words() { _kvlink_help "$1" "$2" | sed -nE "s/^ *$3 ([a-z0-9-]+(\|[a-z0-9-]+)+).*/\1/p" | tr '|' ' '; }

_kvsim_faults() { _kvlink_help "$1" '' | sed -n '/^KIND is /,/\.$/{s/^KIND is //;s/[,.]//g;p}'; }

_kvlink_ports() {
    compgen -G '/dev/tty[SUA][SCM0-9]*' -- || true
    compgen -G '/dev/serial/by-id/*' -- || true
}

_kvlink() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word command=''
    local commands
    mapfile -t commands < <(_kvlink_commands "$1")
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ " ${commands[*]} " == *" $word "* ]] && command=$word
    done
    COMPREPLY=()
    case $previous in
    --port)
        mapfile -t COMPREPLY < <(compgen -W "$(_kvlink_ports)" -- "$current")
        return
        ;;
    --project | --driver | --output | init)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --format | --word-order)
        mapfile -t COMPREPLY < <(compgen -W "$(_kvlink_words "$1" "$command" "$previous")" -- "$current")
        return
        ;;
    --rotate)
        mapfile -t COMPREPLY < <(compgen -W 'daily' -- "$current")
        return
        ;;
    --project-port)
        mapfile -t COMPREPLY < <(compgen -W 'COM1 COM2 COM3 ETHERNET' -- "$current")
        return
        ;;
    --tcp | --station | --retry | --delay | --timeout | --count | --interval | --duration | --max-gap | --deadband | --requests | --baud | -n)
        return
        ;;
    -k | --kind)
        mapfile -t COMPREPLY < <(compgen -W \
            "$(_kvlink_types "$1") byte word dword block bitblock" -- "$current")
        return
        ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_kvlink_options "$1" "$command")" -- "$current")
        return
    fi
    case $command in
    '') mapfile -t COMPREPLY < <(compgen -W "${commands[*]}" -- "$current") ;;
    replay) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    project) mapfile -t COMPREPLY < <(compgen -W 'init' -- "$current") ;;
    read | write | monitor | bench)
        mapfile -t COMPREPLY < <(compgen -W "$_kvlink_devices" -- "${current^^}")
        compopt -o nospace 2>/dev/null
        ;;
    esac
}

_kvsim() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    case $previous in
    --load | --save | --faults | --link)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    --set | --live | --read-only)
        mapfile -t COMPREPLY < <(compgen -W "$_kvlink_devices" -- "${current^^}")
        compopt -o nospace 2>/dev/null
        ;;
    --fault)
        mapfile -t COMPREPLY < <(compgen -W "$(_kvsim_faults "$1")" -- "$current")
        ;;
    *)
        mapfile -t COMPREPLY < <(compgen -W "$(_kvlink_options "$1" '')" -- "$current")
        ;;
    esac
}

complete -F _kvlink kvlink
complete -F _kvsim kvsim
