# Sourced by run: makes the machine's disk, a Debian with the dependencies of our packages, and its initramfs.

root=$PWD/$system/root
disk=$system/disk
inside=(systemd-sysv udev dbus dbus-user-session libpam-systemd bluez bluez-test-tools obexftp kmod python3 python3-dbus sqlite3)
controllers=(ctr ecb cmac algif_hash algif_skcipher hci_vhci rfcomm)
disk_modules=(virtio_pci virtio_blk ext4 9pnet_virtio 9p)

put_modules() {
  mkdir -p "$root/lib/modules"
  cp -r "$tree/lib/modules/$kernel_version" "$root/lib/modules/"
  depmod -b "$root" "$kernel_version"
  printf '%s\n' "${controllers[@]}" >"$root/etc/modules-load.d/controllers.conf"
}

# enable UNIT TARGET: installs a unit from stdin.
enable() {
  cat >"$root/etc/systemd/system/$1"
  mkdir -p "$root/etc/systemd/system/$2.wants"
  ln -s "../$1" "$root/etc/systemd/system/$2.wants/$1"
}

put_units() {
  enable checks.service multi-user.target <<'UNIT'
[Unit]
Description=Checks of the packages
After=multi-user.target dbus.service bluetooth.service

[Service]
ExecStart=/bin/sh /given/tests/start
RequiresMountsFor=/given /log
UNIT
  mkdir -p "$root/given" "$root/log"
  cat >"$root/etc/fstab" <<'TABLE'
/dev/vda / ext4 defaults 0 0
given /given 9p trans=virtio,version=9p2000.L,msize=262144,ro 0 0
log /log 9p trans=virtio,version=9p2000.L,msize=262144 0 0
TABLE
}

# Anna will be in the group that may use the telephone, Bert not.
put_settings() {
  in_root useradd --create-home anna
  in_root useradd --create-home bert
  echo phone >"$root/etc/hostname"
  echo 127.0.0.1 localhost phone >"$root/etc/hosts"
}

make_disk() {
  local contents
  contents=$(
    echo "${inside[*]} $(needs_of $given/packages) $kernel_version"
    cat tests/system/disk.sh
  )
  [ "$contents" != "$(cat $system/made 2>/dev/null)" ] || return 0
  rm -rf --one-file-system "$root" $system/made
  echo "Making a bootable Debian"
  make_root "${DEBIAN_BASE:-}"
  apt_in_root update
  apt_in_root install -y --no-install-recommends "${inside[@]}"
  apt_in_root satisfy -y --no-install-recommends "$(needs_of $given/packages)"
  apt_in_root clean
  put_modules
  put_units
  put_settings
  rm -f $disk
  mke2fs -q -t ext4 -d "$root" $disk 3G
  rm -rf --one-file-system "$root"
  echo "$contents" >$system/made
}

# Loads the modules for the disk and starts its systemd.
make_initramfs() {
  local name file image=$system/image
  rm -rf $image
  mkdir -p $image/{bin,dev,proc,disk,modules}
  cp "$(command -v busybox)" $image/bin/
  for name in "${disk_modules[@]}"; do
    modprobe -d "$PWD/$tree" -S "$kernel_version" --show-depends "$name" || fail "the kernel has no module $name"
  done | awk '$1 == "insmod" && !seen[$2]++ {print $2}' >$image/modules/list
  while read -r file; do
    cp "$file" $image/modules/
    basename "$file"
  done <$image/modules/list >$image/modules/in-order
  cp tests/system/guest/init $image/init
  chmod +x $image/init
  (cd $image && find . -print0 | cpio -0 -o -H newc --quiet -R 0:0) >$system/initramfs
}
