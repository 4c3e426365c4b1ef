# Completion of ltectl, wansim and modemsim in bash. What there is to complete the programs say themselves, in their help.
# shellcheck shell=bash

# The words that ltectl log takes behind those that are there.
_lterouter_log_words()
{
    local levels=(debug info error)
    case "$#:${!#}" in # how many, and the last one
        0:*)
            printf '%s\n' on off time "${levels[@]}"
            "$program" log 2>/dev/null | sed -n 's/ id=.*//p'
            ;;
        *:on | *:off) ;;
        1:time | 1:debug | 1:info | 1:error | 2:*) printf '%s\n' on off ;;
        1:*) printf '%s\n' on off "${levels[@]}" ;;
    esac
}

# Offers those of the lines that it reads which the current word may become, quoted: the shell is not to
# make anything of what a module is called.
_lterouter_offer()
{
    local line
    while IFS= read -r line; do
        printf -v line %q "$line"
        [[ $line != "$current"* ]] || COMPREPLY+=("$line")
    done
}

_lterouter_complete()
{
    local program=$1 current=$2 previous=$3
    local words=() word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* ]] || words+=("$word")
    done
    local help
    COMPREPLY=()
    help=$("$program" "${words[@]}" --help 2>/dev/null)
    if [[ $current == -* ]]; then
        _lterouter_offer < <(sed -n 's/^  \(--[a-z-]*\).*/\1/p' <<<"$help" | sort -u)
    elif [[ ${words[0]:-} = log ]]; then
        _lterouter_offer < <(_lterouter_log_words "${words[@]:1}" | sort -u)
        return # it takes no files
    elif [[ $previous != --* ]] || ! grep -qE "^  $previous [A-Za-z]+[^ ]*  " <<<"$help"; then
        _lterouter_offer < <(sed -n '/^commands:/,/^options:/s/^  \([a-z-]*\) .*/\1/p' <<<"$help" | sort -u)
    fi
    if [ ${#COMPREPLY[@]} -eq 0 ]; then
        compopt -o filenames 2>/dev/null # so that bash quotes them
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -F _lterouter_complete ltectl wansim modemsim
