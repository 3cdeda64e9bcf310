# bash completion for hesper-host
_hesper_host() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} words
  case $previous in
    --entitlement) COMPREPLY=(GUEST_DATA_ACCESS); return ;;
    --cid | --bios-uuid | --vm-uuid | --mgr-vm-id | --subject | --expires-in) COMPREPLY=(); return ;;
    --out | --hybrid | --serial | --qmp) mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
  esac
  case ${COMP_WORDS[1]} in
    add) words='--cid --bios-uuid --vm-uuid --mgr-vm-id --hybrid --serial --privileged --unprivileged --help' ;;
    remove) words='--cid --help' ;;
    list) words='--help' ;;
    import) words='--qmp --help' ;;
    hook) words='--help' ;;
    token) words='--subject --entitlement --expires-in --out --help' ;;
    *) words='add remove list import hook token --help' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _hesper_host hesper-host
