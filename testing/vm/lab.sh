# The lab of real VMs, for the tests and the demo: whoever reads this has set $bin, the folder of the built programs.
# Without KVM: a plain guest with virtio-serial runs here, one with vsock is nested in a VM that is its host.

lab=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
tree=$(readlink -f "$lab/../..")
# The programs of guests.
guest_files=("$tree"/build/guest/bin/hesper-{publish,guestd,emit})
vm_acceleration=${vm_acceleration:-tcg}
. "$tree/tools/demo-common"
# A serial port is a terminal too, but not one that anybody looks at.
[ "$vm_acceleration" = tcg ] || bold='' green='' red='' plain=''
. "$lab/images.sh"
. "$lab/machine.sh"
. "$lab/host.sh"
. "$lab/guests.sh"
. "$lab/outer.sh"

end_lab() {
  local status=$?
  if [ -e "$work/hung" ]; then
    printf '%sHUNG - %s%s\n' "$red" "$(cat "$work/hung")" "$plain"
    status=3
  fi
  clean_up
  exit $status
}
trap end_lab EXIT
