# The kernel of the VMs, and the initial file systems that they run from.

vm_store=$tree/build/vm
kernel=$vm_store/vmlinuz

kernel_package() { apt-cache depends linux-image-cloud-amd64 2> /dev/null | awk '/Depends: linux-image/ {print $2}' || true; }

# Fetches the kernel of Debian's cloud images, and its modules; they are kept. Nothing of it is installed.
fetch_kernel() {
  local package
  package=$(kernel_package)
  [ -n "$package" ] || { apt-get -qq update; package=$(kernel_package); }
  release=${package#linux-image-}
  [ ! -e "$vm_store/$release/complete" ] || { ln -sf "$release/boot/vmlinuz-$release" "$kernel"; return 0; }
  say "fetching the kernel of the VMs, $release"
  rm -rf "$vm_store"
  mkdir -p "$vm_store"
  (cd "$vm_store" && { apt-get -qq download "$package" || { apt-get -qq update && apt-get -qq download "$package"; }; }) 2> /dev/null ||
    fail "$package can't be had"
  dpkg -x "$vm_store/$package"_*.deb "$vm_store/$release"
  rm "$vm_store"/*.deb
  depmod -b "$vm_store/$release" "$release"
  touch "$vm_store/$release/complete"
  ln -sf "$release/boot/vmlinuz-$release" "$kernel"
}

# The files of kernel modules and of those that they need, in the order of loading.
module_files() {
  local module
  for module in "$@"; do
    modprobe -d "$vm_store/$release" -S "$release" --show-depends "$module"
  done | awk '$1 == "insmod" && !seen[$2]++ {print $2}'
}

# Copies files into a root folder, at the same paths, with the libraries that they need.
copy_files() {
  local root=$1 file
  shift
  for file in "$@" $(ldd "$@" 2> /dev/null | grep -oE '/[^ :]+' | grep -v ':$' | sort -u); do
    [ ! -e "$root$file" ] || continue
    mkdir -p "$root$(dirname "$file")"
    cp -rL "$file" "$root$file"
  done
}

# Makes a root folder with a shell; the modules are loaded at start. usage: make_root FOLDER MODULE...
make_root() {
  local root=$1 number=10 file
  shift
  rm -rf "$root"
  mkdir -p "$root"/{bin,sbin,modules,proc,sys,dev,tmp,run,etc,root,usr/bin,usr/sbin}
  cp "$(command -v busybox)" "$root/bin/busybox"
  cp "$lab/init" "$root/init"
  printf 'root:x:0:0::/:/bin/sh\nnobody:x:65534:65534::/:/bin/sh\n' > "$root/etc/passwd"
  printf 'root:x:0:\nnogroup:x:65534:\n' > "$root/etc/group"
  for file in $(module_files "$@"); do
    cp "$file" "$root/modules/$number-$(basename "$file")"
    number=$((number + 1))
  done
}

pack_root() { (cd "$1" && find . -print0 | cpio -0 -o -H newc -R 0:0 --quiet) > "$1.image"; }

# The image of a guest with our programs, and with what its transport takes. usage: make_guest_image NAME MODULE...
make_guest_image() {
  local root=$work/$1
  make_root "$root" virtio_pci "${@:2}"
  cp "${guest_files[@]}" "$root/bin/"
  # A user without rights who may hand data to the agent.
  echo 'hesper:x:900:nobody' >> "$root/etc/group"
  pack_root "$root"
}
make_serial_image() { make_guest_image serial virtio_console; }
make_vsock_image() { make_guest_image vsock vmw_vsock_virtio_transport; }
