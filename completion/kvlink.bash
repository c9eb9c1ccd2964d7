# Bash completion of kvlink and kvsim: commands, options, ports and devices. The build puts the devices in.

_kvlink_devices='@KV_DEVICES@'
_kvlink_link='--port --tcp --sim --station --project-port --project --retry --delay --timeout --trace --driver
    --help --version'

_kvlink_ports() {
    compgen -G '/dev/tty[SUA][SCM0-9]*' -- || true
    compgen -G '/dev/serial/by-id/*' -- || true
}

_kvlink() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word command='' options
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
        info | read | write | monitor | ping | bench | replay | list-ports | project) command=$word ;;
        esac
    done
    COMPREPLY=()
    case $previous in
    --port)
        mapfile -t COMPREPLY < <(compgen -W "$(_kvlink_ports)" -- "$current")
        return
        ;;
    --project | --driver | init)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --format)
        if [ "$command" = list-ports ]; then
            mapfile -t COMPREPLY < <(compgen -W 'text json' -- "$current")
            return
        fi
        mapfile -t COMPREPLY < <(compgen -W 'text json jsonl csv value' -- "$current")
        return
        ;;
    --word-order)
        mapfile -t COMPREPLY < <(compgen -W 'low-first high-first' -- "$current")
        return
        ;;
    --project-port)
        mapfile -t COMPREPLY < <(compgen -W 'COM1 COM2 COM3 ETHERNET' -- "$current")
        return
        ;;
    --tcp | --station | --retry | --delay | --timeout | --count | --interval | --duration | --max-gap | --requests | --baud | -n)
        return
        ;;
    -k | --kind)
        mapfile -t COMPREPLY < <(compgen -W \
            'bit u8 u16 s16 u32 s32 f32 hex bin bcd string byte word dword block bitblock' -- "$current")
        return
        ;;
    esac
    case $command in
    read) options='--count --kind --word-order --max-gap --no-merge --twice --format' ;;
    write) options='--kind --word-order --dry-run --verify --format' ;;
    monitor) options='--kind --word-order --max-gap --no-merge --twice --format --interval --count --duration --changes-only' ;;
    ping) options='--count --interval' ;;
    bench) options='--requests --baud' ;;
    list-ports) options='--format' ;;
    *) options='' ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$_kvlink_link $options" -- "$current")
        return
    fi
    case $command in
    '') mapfile -t COMPREPLY < <(compgen -W \
        'info read write monitor ping bench replay list-ports project' -- "$current") ;;
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
        mapfile -t COMPREPLY < <(compgen -W 'no-reply close-connection silence error-reply wrong-station
            wrong-close noise-before noise-inside noise-after cut doubled split late' -- "$current")
        ;;
    *)
        mapfile -t COMPREPLY < <(compgen -W '--pty --tcp --link --station --set --load --save --live
            --read-only --baud --bits-per-char --reply-delay --jitter --fault --faults --seed --trace
            --help --version' -- "$current")
        ;;
    esac
}

complete -F _kvlink kvlink
complete -F _kvsim kvsim
