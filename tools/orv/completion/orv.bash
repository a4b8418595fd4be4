# bash completion of orv's command lines; the program itself prints the candidates.

_orv() {
  local word=${COMP_WORDS[COMP_CWORD]} quote= line
  # Inside quotes the word is literal; outside them special characters must be escaped.
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
