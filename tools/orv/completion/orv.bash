# Completion of orv's command lines in bash: the program itself says what may come next.

_orv() {
  local word=${COMP_WORDS[COMP_CWORD]} quote= line
  # Inside quotes the word is as it will be; outside them what is special has to be escaped.
  case $word in
    [\"\']*) quote=${word:0:1} word=${word:1} ;;
    *) word=${word//\\/} ;;
  esac
  COMPREPLY=()
  while IFS= read -r line; do
    line=${line%%$'\t'*}
    [ -n "$quote" ] || printf -v line %q "$line"
    COMPREPLY+=("$line")
  done < <("$1" complete "${COMP_WORDS[@]:0:COMP_CWORD}" "$word" 2>/dev/null)
}
complete -o default -F _orv orv
