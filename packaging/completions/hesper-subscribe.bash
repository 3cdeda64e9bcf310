# bash completion for hesper-subscribe
_hesper_subscribe() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  case $previous in
    --vm-id-type) mapfile -t COMPREPLY < <(compgen -W 'mgr bios vm' -- "$current") ;;
    --format) mapfile -t COMPREPLY < <(compgen -W 'json text' -- "$current") ;;
    --token-file | --password-file | --credentials | --tls-ca | --tls-cert | --tls-key)
      mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    --port | --vm | --topic | --past | --since | --user | --count | --fleet | --prefix | --stream | --host) COMPREPLY=() ;;
    *) mapfile -t COMPREPLY < <(compgen -W '--port --vm-id-type --vm --topic --past --since --token-file --user
         --password-file --count --follow --format --fleet --prefix --stream --host --credentials --tls-ca --tls-cert
         --tls-key --help' -- "$current") ;;
  esac
}
complete -F _hesper_subscribe hesper-subscribe
