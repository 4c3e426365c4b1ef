# Completion of ltectl, wansim and modemsim in bash. What there is to complete the programs say themselves, in their help.
# shellcheck shell=bash

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
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
    [ ${#COMPREPLY[@]} -gt 0 ] || mapfile -t COMPREPLY < <(compgen -f -- "$current")
}

complete -F _lterouter_complete ltectl wansim modemsim
