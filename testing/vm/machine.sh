# Boots VMs and talks to them. A VM has a folder $work/NAME; its second serial port has a shell.

declare -A to_vm from_vm vm_process
# What a VM has for its boot and for a command, in seconds.
boot_limit=90 command_limit=30

# A VM that doesn't go on is told apart from one that does what it shouldn't; see what lab.sh does at the end.
hung() {
  echo "VM $1 $2" > "$work/hung"
  show_logs >&2
  exit 3
}

# boot NAME MEMORY IMAGE [ARGUMENT OF QEMU...]: under $vm_acceleration, tcg or kvm.
boot() {
  launch "$@"
  await_init "$1" && return
  echo "HUNG - VM $1 before its init ran; it is tried once more"
  show_logs
  kill_vm "$1"
  launch "$@"
  await_init "$1" || hung "$1" "before its init ran, twice"
}
await_init() {
  local status=0
  listen "$1" "$boot_limit" > /dev/null || status=$?
  [ $status -ne $ended ] || fail "VM $1 has ended before its init ran"
  return $status
}

launch() {
  local name=$1 memory=$2 image=$3 folder=$work/$1 processor=max
  shift 3
  [ "$vm_acceleration" = tcg ] || processor=host
  open_control "$name"
  qemu-system-x86_64 -accel "$vm_acceleration" -cpu "$processor" -machine q35 -m "$memory" -smp 1 -nographic \
    -nodefaults -no-reboot -kernel "$kernel" -initrd "$image" -append "console=ttyS0 panic=-1 quiet" -name "$name" \
    -serial "file:$folder/console" -chardev "pipe,id=control,path=$folder/control" -serial chardev:control \
    -qmp "unix:$folder/qmp,server=on,wait=off" "$@" < /dev/null > "$folder/qemu.log" 2>&1 &
  vm_process[$name]=$!
  children+=($!)
}

# The pipes of a VM's shell; they have no other end yet.
open_control() {
  local folder=$work/$1
  mkdir -p "$folder"
  rm -f "$folder"/control.*
  mkfifo "$folder/control.in" "$folder/control.out"
  exec {to_vm[$1]}<> "$folder/control.in" {from_vm[$1]}<> "$folder/control.out"
}

# As a host's crash or an administrator ends it.
kill_vm() {
  kill -9 "${vm_process[$1]}" 2> /dev/null || true
  wait "${vm_process[$1]}" 2> /dev/null || true
}

# Prints what a VM's shell writes until it tells a status, and gives that; or that the VM has ended, or still works at it.
# usage: listen NAME SECONDS
ended=254 late=255
listen() {
  local end=$((SECONDS + $2)) line='' part
  while [ $SECONDS -lt $end ]; do
    kill -0 "${vm_process[$1]}" 2> /dev/null || return $ended
    if IFS= read -r -t 1 -u "${from_vm[$1]}" part; then
      line+=$part
      [[ $line != "=== "* ]] || return "${line#=== }"
      printf '%s\n' "$line"
      line=''
    else
      line+=$part
    fi
  done
  return $late
}

# Runs a line in a VM; prints what it writes, gives its status. usage: in_vm NAME LINE [SECONDS]
in_vm() {
  local status=0
  printf '%s\n' "$2" >& "${to_vm[$1]}"
  listen "$1" "${3:-$command_limit}" || status=$?
  case $status in
    "$ended") fail "VM $1 has ended at: $2" ;;
    "$late") hung "$1" "at: $2" ;;
  esac
  return $status
}
