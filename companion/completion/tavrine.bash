# Completion of tavrine for bash. The program itself tells what may stand next.

_tavrine() {
  local word meaning glued='' before='' words=()
  # Where bash splits words at "=", what it took apart is one word for the program.
  for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
    if [[ ${#words[@]} -gt 0 && ($word == = || $before == =) ]]; then
      words[-1]+=$word
      glued=yes
    else
      words+=("$word")
      glued=''
    fi
    before=$word
  done
  local begun=${words[-1]}
  [[ $begun == -*=* ]] && begun=${begun#*=}

  COMPREPLY=()
  while IFS=$'\t' read -r word meaning; do
    case $word in
      :files) compopt -o filenames 2>/dev/null
        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$begun") ;;
      :folders) compopt -o filenames 2>/dev/null
        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -d -- "$begun") ;;
      :hosts) mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -A hostname -- "$begun") ;;
      *) [[ $glued ]] && word=${word#*=}
        COMPREPLY+=("$word") ;;
    esac
  done < <("${1/#\~/$HOME}" --complete "${words[@]}" 2>/dev/null)
}

complete -F _tavrine tavrine
