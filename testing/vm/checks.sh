# How checks of real VMs speak. Whoever reads this has set $subject.

fail() {
  printf '%sFAILED - %s, %s%s\n' "$red" "$subject" "$*" "$plain"
  show_logs
  exit 1
}
# check TEXT COMMAND...
check() {
  local text=$1
  shift
  "$@" || fail "$text"
  printf '%sok%s - %s, %s\n' "$green" "$plain" "$subject" "$text"
}
# True if a command ends with that status. usage: ends_with STATUS COMMAND...
ends_with() {
  local status=0
  "${@:2}" > "$work/out" || status=$?
  [ $status = "$1" ] || { echo "status $status instead of $1:"; cat "$work/out"; return 1; }
}
# True if a publication gets the answer that a good one gets, byte for byte. usage: is_accepted SEQUENCE COMMAND...
is_accepted() {
  ends_with 0 "${@:2}" && diff "$work/out" <(printf '{\n"sequence":%s,\n"status":"ok",\n"rateLimit":2\n}\n' "$1")
}
# True if that happens, sooner or later. (The text is that of the check that this is in.)
soon() { await "${text:-the connection of the bridge}" "$@"; }
