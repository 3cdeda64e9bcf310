# bash completion for hesper-emit
_hesper_emit() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  case $previous in
    --file | --socket) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    --token | --timeout) COMPREPLY=() ;;
    *) mapfile -t COMPREPLY < <(compgen -W '--file --lines --latest --token --socket --timeout --help' -- "$current") ;;
  esac
}
complete -F _hesper_emit hesper-emit
