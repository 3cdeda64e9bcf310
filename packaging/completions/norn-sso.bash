# bash completion for norn-sso
_norn_sso() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} words
  case $previous in
    --ca | --trust | --cert | --key | --token | --by-token | --password-file | --act-as)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
    --sts | --signer | --user | --lifetime | --audience | --delegate-to) COMPREPLY=(); return ;;
  esac
  case ${COMP_WORDS[1]} in
    acquire) words='--sts --ca --trust --signer --cert --key --user --by-certificate --by-token --password-file --lifetime
      --audience --bearer --renewable --delegable --delegate-to --act-as --help' ;;
    validate) words='--sts --ca --trust --signer --token --help' ;;
    renew) words='--sts --ca --trust --signer --cert --key --token --lifetime --help' ;;
    show) words='--trust --signer --token --json --help' ;;
    *) words='acquire validate renew show --help' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _norn_sso norn-sso
