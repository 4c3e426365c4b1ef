#compdef ltectl wansim modemsim lteweb
# Completion of ltectl, wansim, modemsim and lteweb in zsh. What may stand next the programs say themselves.
# shellcheck disable=all

local line
local -a plain described
for line in ${(f)"$(_call_program candidates ${(q)words[1]} --complete ${(q)words[2,CURRENT]} 2>/dev/null)"}; do
    if [[ $line == :files ]]; then
        [[ $PREFIX != --*=* ]] || compset -P '*='
        _files
        return
    elif [[ $line == *$'\t'* ]]; then
        described+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}")
    else
        plain+=("$line")
    fi
done
(( ! $#described )) || _describe -t candidates candidate described
(( ! $#plain )) || compadd -- $plain
