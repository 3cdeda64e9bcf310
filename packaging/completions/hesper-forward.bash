# bash completion for hesper-forward
_hesper_forward() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  case $previous in
    --vm-id-type) mapfile -t COMPREPLY < <(compgen -W 'mgr bios vm' -- "$current") ;;
    --token-file | --password-file | --credentials | --tls-ca | --tls-cert | --tls-key | --state)
      mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    --port | --user | --nats | --prefix | --host | --topic | --past | --most-gap | --stream | --replicas | --keep | \
      --keep-bytes | --duplicates) COMPREPLY=() ;;
    *) mapfile -t COMPREPLY < <(compgen -W '--port --token-file --user --password-file --vm-id-type --nats
         --credentials --tls-ca --tls-cert --tls-key --prefix --host --topic --state --past --most-gap --make-stream
         --stream --replicas --keep --keep-bytes --duplicates --help' -- "$current") ;;
  esac
}
complete -F _hesper_forward hesper-forward
