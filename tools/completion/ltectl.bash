# Completion of ltectl, wansim and modemsim in bash. What there is to complete the programs say themselves, in their help.
# shellcheck shell=bash

# The words that ltectl log takes behind those that are there.
_lterouter_log_words()
{
    local levels="debug info error"
    case "$#:${1:-}" in
        0:)
            echo on off time "$levels"
            "$program" log 2>/dev/null | sed -n 's/ id=.*//p'
            ;;
        1:time | 1:debug | 1:info | 1:error | 2:*) echo on off ;;
        1:*) echo on off "$levels" ;;
    esac
}

_lterouter_complete()
{
    local program=$1 current=$2 previous=$3
    local words=() word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* ]] || words+=("$word")
    done
    local help candidates=
    help=$("$program" "${words[@]}" --help 2>/dev/null)
    if [[ $current == -* ]]; then
        candidates=$(sed -n 's/^  \(--[a-z-]*\).*/\1/p' <<<"$help" | sort -u)
    elif [[ $previous != --* ]] || ! grep -qE "^  $previous [A-Za-z]+[^ ]*  " <<<"$help"; then
        candidates=$(sed -n '/^commands:/,/^options:/s/^  \([a-z-]*\) .*/\1/p' <<<"$help" | sort -u)
    fi
    if [[ ${words[0]:-} = log && $current != -* ]]; then
        candidates=$(_lterouter_log_words "${words[@]:1}" | tr ' ' '\n' | sort -u)
    fi
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
    [ ${#COMPREPLY[@]} -gt 0 ] || mapfile -t COMPREPLY < <(compgen -f -- "$current")
}

complete -F _lterouter_complete ltectl wansim modemsim
