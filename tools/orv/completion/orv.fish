# fish completion of orv's command lines; the program itself prints the candidates.

function __orv_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l lines ($words[1] complete $words 2>/dev/null)
    if set -q lines[1]
        printf '%s\n' $lines
    else
        __fish_complete_path (commandline -ct)
    end
end
complete -c orv -f -a '(__orv_complete)'
