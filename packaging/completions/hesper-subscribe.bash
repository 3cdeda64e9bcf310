# bash completion for hesper-subscribe
_hesper_subscribe() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  case $previous in
    --vm-id-type) mapfile -t COMPREPLY < <(compgen -W 'mgr bios vm' -- "$current") ;;
    --token-file | --password-file) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    --port | --vm | --topic | --past | --user | --count) COMPREPLY=() ;;
    *) mapfile -t COMPREPLY < <(compgen -W '--port --vm-id-type --vm --topic --past --token-file --user
         --password-file --count --help' -- "$current") ;;
  esac
}
complete -F _hesper_subscribe hesper-subscribe
