# Guests of a host, one kind by virtio-serial and one by vsock, with the same functions: $transport says which.

bios_uuid() { printf '%08d-2222-4333-8444-555555555555' "$1"; }

# boot_guest NAME CID NUMBER: the cid is for vsock alone, the number makes the BIOS uuid.
boot_guest() {
  local devices=() line folder=$work/$1
  if [ "$transport" = vsock ]; then
    devices=(-device "vhost-vsock-pci,guest-cid=$2")
  else
    devices=(-device virtio-serial-pci)
    for line in publish history; do
      devices+=(-chardev "socket,id=$line,path=$folder/$line,server=on,wait=off"
        -device "virtserialport,chardev=$line,name=com.tessaly.norn.hesper.$line")
    done
  fi
  boot "$1" 96 "$images/$transport.image" -uuid "$(bios_uuid "$3")" "${devices[@]}"
}

# A domain as libvirt tells of it. usage: domain_xml NAME CID NUMBER
domain_xml() {
  local line
  printf "<domain type='kvm'><name>%s</name><uuid>%s</uuid><devices>" "$1" "$(bios_uuid "$3")"
  if [ "$transport" = vsock ]; then
    printf "<vsock model='virtio'><cid auto='yes' address='%s'/></vsock>" "$2"
  else
    for line in publish history; do
      printf "<channel type='unix'><source mode='bind' path='%s'/><target type='virtio' name='%s'/></channel>" \
        "$work/$1/$line" "com.tessaly.norn.hesper.$line"
    done
  fi
  printf '</devices></domain>'
}

# Registers a guest: what QEMU tells of itself, or what an administrator knows. usage: register NAME CID NUMBER
register() {
  if [ "$transport" = vsock ]; then
    "$bin/hesper-host" import --qmp "$work/$1/qmp" > /dev/null
  else
    "$bin/hesper-host" add --cid "$2" --bios-uuid "$(bios_uuid "$3")" --vm-uuid "$(bios_uuid "$3")" --mgr-vm-id "$1" \
      --serial "$work/$1/publish,$work/$1/history"
  fi
}
# What libvirt calls at a VM's start and end. usage: hook NAME CID NUMBER OPERATION
hook() { domain_xml "$1" "$2" "$3" | "$bin/hesper-host" hook "$1" "$4" begin - 2>> "$work/hook.log"; }
# is_listed NAME CID NUMBER [PATTERN OF CONNECTIONS]
is_listed() {
  "$bin/hesper-host" list | awk -v name="$1" -v cid="$2" -v uuid="$(bios_uuid "$3")" -v connections="^${4:-.*}$" \
    '$1 == cid && $5 ~ connections && $7 == uuid && $9 == name {found = 1} END {exit !found}'
}
is_unlisted() { ! "$bin/hesper-host" list | awk '{print $1}' | grep -qx "$1"; }

# publish NAME TOPIC PAYLOAD [OPTION...]: once, from inside; prints the acknowledgement.
publish() { in_vm "$1" "printf %s '$3' | hesper-publish --topic $2 --timeout 10 ${*:4}"; }
# The same as a user without rights.
publish_unprivileged() { in_vm "$1" "printf %s '$3' | su nobody -c 'hesper-publish --topic $2 --timeout 5'"; }

# Starts a program in a guest that publishes lines, and keeps them for those who ask. usage: start_publisher NAME TOPIC
start_publisher() {
  in_vm "$1" "mkfifo /tmp/lines; hesper-publish --topic $2 --serve-history --lines < /tmp/lines > /tmp/acknowledgements 2>&1 & exec 4> /tmp/lines" > /dev/null
}
publish_line() { in_vm "$1" "echo '$2' >&4" > /dev/null; }
acknowledged() { [ "$(in_vm "$1" "grep -c status.:.ok /tmp/acknowledgements")" = "$2" ]; }

# Starts the agent in a guest, as its package would. usage: start_agent NAME
start_agent() {
  in_vm "$1" "mkdir -p /run/hesper /var/lib/hesper/guest /var/lib/hesper/textfile; hesper-guestd >> /tmp/agent.log 2>&1 & echo \$! > /tmp/agent.pid" > /dev/null
  await "the agent's start" in_vm "$1" "test -S /run/hesper/guest.sock"
}
kill_agent() { in_vm "$1" "kill -9 \$(cat /tmp/agent.pid)" > /dev/null; }
# emit NAME TOPIC TEXT: hands data to the agent.
emit() { in_vm "$1" "hesper-emit $2 '$3'"; }
emit_unprivileged() { in_vm "$1" "su nobody -c \"hesper-emit $2 '$3'\""; }
