# bash completion for hesper-exporter
_hesper_exporter() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  case $previous in
    --vm-id-type) mapfile -t COMPREPLY < <(compgen -W 'mgr bios vm' -- "$current") ;;
    --token-file | --password-file) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    --port | --user | --listen | --host | --max-age | --series) COMPREPLY=() ;;
    *) mapfile -t COMPREPLY < <(compgen -W '--port --token-file --user --password-file --vm-id-type --listen --host
         --max-age --series --help' -- "$current") ;;
  esac
}
complete -F _hesper_exporter hesper-exporter
