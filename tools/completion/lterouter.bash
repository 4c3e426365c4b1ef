# Completion of ltectl, wansim, modemsim and lteweb in bash. What may stand next the programs say themselves.
# shellcheck shell=bash

_lterouter_complete()
{
    # bash would cut words at "=" and ":".
    local line=${COMP_LINE:0:COMP_POINT} words current candidate
    read -ra words <<<"$line"
    [[ $line != *[[:space:]] ]] || words+=("")
    current=${words[${#words[@]} - 1]}
    COMPREPLY=()
    while IFS= read -r candidate; do
        if [ "$candidate" = :files ]; then
            compopt -o filenames 2>/dev/null # so that bash quotes them
            mapfile -t COMPREPLY < <(compgen -f -- "${current##*=}")
            return
        fi
        candidate=${candidate%%$'\t'*}
        # It replaces only what stands after the last of these.
        candidate=${candidate#"${current%"${current##*[=:]}"}"}
        printf -v candidate %q "$candidate" # the shell is not to make anything of it
        COMPREPLY+=("$candidate")
    done < <("$1" --complete "${words[@]:1}" 2>/dev/null | sort -u)
}

complete -F _lterouter_complete ltectl wansim modemsim lteweb
