# A VM that is a Linux host with vhost and KVM, which the machine itself needs not be: processors of AMD are emulated with
# their virtualization. Other VMs run in it, nested.

programs=(nornhesperd hesper-bridge hesper-host hesper-subscribe hesper-publish)

# The image of it has the tree's programs at the paths that they have here, and what runs VMs.
# usage: make_host_image [FILE...]
make_host_image() {
  local root=$work/outer program
  make_root "$root" vhost_vsock kvm-amd
  make_vsock_image
  mkdir -p "$root$bin"
  for program in "${programs[@]}"; do strip -g -o "$root$bin/$program" "$bin/$program"; done
  copy_files "$root" "${programs[@]/#/$bin/}" "$tree/build/release/root" \
    "$(command -v bash)" "$(command -v jq)" "$(command -v qemu-system-x86_64)" /usr/lib/x86_64-linux-gnu/libgcc_s.so.1 \
    /usr/share/qemu/{pvh.bin,linuxboot_dma.bin,kvmvapic.bin} /usr/share/seabios/bios-256k.bin \
    "$lab" "$tree/tools/demo-common" "$kernel" "$@"
  ln -s "$(command -v bash)" "$root/bin/bash" 2> /dev/null || true
  mkdir -p "$root/images"
  cp "$work/vsock.image" "$root/images/"
}

# Boots it, and has it run a script of the tree; gives the script's status. usage: in_outer MEMORY SECONDS SCRIPT [ARGUMENT...]
in_outer() {
  local memory=$1 limit=$2 status=0
  shift 2
  pack_root "$work/outer"
  boot outer "$memory" "$work/outer.image"
  in_vm outer "vm_acceleration=kvm bash $*" "$limit" | grep --line-buffered . || status=$?
  kill_vm outer
  return $status
}

# Puts libvirt and our hook into the image, as Debian and our package do.
add_libvirt() {
  local root=$work/outer libraries=/usr/lib/x86_64-linux-gnu
  copy_files "$root" /usr/sbin/libvirtd /usr/bin/virsh "$libraries/qemu/accel-tcg-x86_64.so" /usr/share/libvirt/cpu_map \
    "$libraries"/libvirt/connection-driver/libvirt_driver_{qemu,network,secret,storage}.so
  mkdir -p "$root"/etc/{libvirt/hooks/qemu.d,default} "$root"/var/{cache,lib,log}/libvirt
  ln -s /run "$root/var/run"
  printf 'libvirt-qemu:x:64055:64055::/:/bin/false\n' >> "$root/etc/passwd"
  printf 'kvm:x:104:\nlibvirt-qemu:x:64055:\n' >> "$root/etc/group"
  printf '%s\n' 'user = "root"' 'group = "root"' 'security_driver = "none"' 'namespaces = [ ]' 'cgroup_controllers = [ ]' \
    'stdio_handler = "file"' > "$root/etc/libvirt/qemu.conf"
  echo 'auth_unix_rw = "none"' > "$root/etc/libvirt/libvirtd.conf"
  cp "$tree/packaging/libvirt/nornhesperd" "$root/etc/libvirt/hooks/qemu.d/nornhesperd"
  chmod +x "$root/etc/libvirt/hooks/qemu.d/nornhesperd"
  echo KRELL_HOST_DIR=/run/tessaly/host > "$root/etc/default/nornhesperd"
  ln -s "$bin/hesper-host" "$root/usr/bin/hesper-host"
}
