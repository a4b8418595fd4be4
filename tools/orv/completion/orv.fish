# fish completion of orv's command lines; the program itself prints the candidates.

# Prints the incomplete word without its quotes and escapes; a quote may be open.
function __orv_plain
    set -l word (commandline -ct)
    string unescape -- $word
    or string unescape -- $word\"
    or string unescape -- $word\'
    or printf '%s\n' $word
end

# Finds the candidates; false without any: then fish completes the names of files.
function __orv_find
    set -l words (commandline -opc) (__orv_plain)
    set -g __orv_lines ($words[1] complete $words 2>/dev/null)
    set -q __orv_lines[1]
end
complete -c orv -n __orv_find -f -a '(printf "%s\n" $__orv_lines)'
