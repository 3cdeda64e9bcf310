# bash completion for hesper-bridge
_hesper_bridge() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  case $previous in
    --host-dir) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
    --vsock-port) COMPREPLY=() ;;
    *) mapfile -t COMPREPLY < <(compgen -W '--vsock-port --host-dir --no-vsock --help' -- "$current") ;;
  esac
}
complete -F _hesper_bridge hesper-bridge
