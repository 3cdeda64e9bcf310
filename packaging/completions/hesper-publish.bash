# bash completion for hesper-publish
_hesper_publish() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  case $previous in
    --payload-file) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    --transport) mapfile -t COMPREPLY < <(compgen -W 'vsock serial' -- "$current") ;;
    --cid | --topic | --port | --from-port | --timeout | --sequence | --token | --category | --create-time | \
      --history-port) COMPREPLY=() ;;
    *) mapfile -t COMPREPLY < <(compgen -W '--transport --cid --topic --payload-file --raw --port --from-port
         --timeout --sequence --token --category --create-time --serve-history --lines --history-port --help' \
         -- "$current") ;;
  esac
}
complete -F _hesper_publish hesper-publish
