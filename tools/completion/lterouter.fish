# Completion of ltectl, wansim, modemsim and lteweb in fish. What may stand next the programs say themselves.

function __lterouter_complete
    set -l words (commandline --current-process --tokenize --cut-at-cursor)
    set -l current (commandline --current-token --cut-at-cursor)
    for candidate in ($words[1] --complete $words[2..-1] "$current" 2>/dev/null)
        if test "$candidate" = :files
            set -l prefix (string match --regex -- '^--[^=]*=' $current)
            for file in (__fish_complete_path (string replace -- "$prefix" "" $current))
                echo "$prefix$file"
            end
        else
            echo $candidate
        end
    end
end

for program in ltectl wansim modemsim lteweb
    complete --command $program --no-files --arguments '(__lterouter_complete)'
end
