# bash completion of orv's command lines; the program itself prints the candidates.

# Prints a word of the command line without its quotes and escapes. Inside quotes it is literal.
_orv_plain() {
  local rest=$1 plain=
  case $rest in
    [\"\']*)
      plain=${rest:1}
      [ ${#rest} -gt 1 ] && [ "${rest: -1}" = "${rest:0:1}" ] && plain=${plain%?}
      ;;
    *)
      while [[ $rest == *\\* ]]; do
        plain+=${rest%%\\*} rest=${rest#*\\}
        plain+=${rest:0:1} rest=${rest:1}
      done
      plain+=$rest
      ;;
  esac
  printf '%s' "$plain"
}

_orv() {
  local word=${COMP_WORDS[COMP_CWORD]} quote= line i last=0 start=
  local -a words=()
  # Bash divides words at equals signs; the program takes them whole, and bash replaces only what
  # follows the sign.
  for ((i = 0; i <= COMP_CWORD; ++i)); do
    line=$(_orv_plain "${COMP_WORDS[i]}")
    if ((i > 0)) && [[ ${COMP_WORDS[i]} == '=' || ${COMP_WORDS[i - 1]} == '=' ]]; then
      start=${words[last]}
      words[last]+=$line
    else
      start=
      last=${#words[@]}
      words+=("$line")
    fi
  done
  [[ $word == '=' ]] && start=${words[last]}
  [[ $word == [\"\']* ]] && quote=${word:0:1}
  COMPREPLY=()
  while IFS= read -r line; do
    line=${line%%$'\t'*}
    # After a part of a value the word goes on.
    [[ $line == *[=\\] ]] && compopt -o nospace 2>/dev/null
    line=${line#"$start"}
    [ -n "$quote" ] || printf -v line %q "$line"
    COMPREPLY+=("$line")
  done < <("$1" complete "${words[@]}" 2>/dev/null)
}
complete -o default -F _orv orv
