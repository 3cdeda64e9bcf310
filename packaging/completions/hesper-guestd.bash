# bash completion for hesper-guestd
_hesper_guestd() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  if [ "$previous" = --transport ]; then
    mapfile -t COMPREPLY < <(compgen -W 'vsock serial' -- "$current")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -W '--transport --help' -- "$current"; compgen -f -X '!*.toml' -- "$current"
    compgen -d -- "$current")
}
complete -o filenames -F _hesper_guestd hesper-guestd
