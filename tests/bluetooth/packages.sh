# Sourced by run: gets packages from Debian's archive.

# Installed.
installed=(qemu-system-x86 busybox-static cpio kmod xz-utils zstd binutils python3 dbus-daemon dbus-system-bus-common obexftp
  openobex-apps)
# Only unpacked, so that no Bluetooth daemon starts here.
unpacked=(bluez bluez-test-tools bluez-obexd python3-dbus)

packages=$work/packages
tree=$work/tree

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    fail "'$*' needs root: run this as root, or install sudo"
  fi
}

is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

apt_install() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends "$@" >/dev/null
}

update_lists() {
  [ -n "${lists_updated:-}" ] || as_root apt-get -qq update || true
  lists_updated=yes
}

install_programs() {
  local missing=() package
  for package in "${installed[@]}"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing ${missing[*]}"
  update_lists
  apt_install --download-only "${missing[@]}" || skip "These could not be downloaded: ${missing[*]}"
  apt_install "${missing[@]}" || fail "these could not be installed: ${missing[*]}"
}

# download NAME...: downloads missing packages.
download() {
  local name missing=()
  for name in "$@"; do
    compgen -G "$packages/${name}_*.deb" >/dev/null || missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  (cd "$packages" && apt-get -qq -o APT::Sandbox::User=root download "${missing[@]}")
}

# Known to be good. In later 6.1 kernels, a failed RFCOMM connect crashes krfcommd.
kernels() {
  echo linux-image-6.1.0-50-amd64
  apt-cache search --names-only '^linux-image-6\.12\.[0-9]+\+deb12-amd64$' | cut -d' ' -f1 | sort -rV | head -n 3
}

# Sets kernel_package to the file.
download_kernel() {
  local name turn
  for turn in now later; do
    for name in $(kernels); do
      if download "$name" 2>$work/download.log; then
        kernel_package=$(compgen -G "$packages/${name}_*.deb" | head -n 1)
        return
      fi
    done
    update_lists
  done
  skip "No kernel could be downloaded (tried $(kernels | xargs)): $(tail -n 1 $work/download.log)"
}

# Libraries that the unpacked programs need and this system lacks.
libraries_of_unpacked() {
  apt-get -s install --no-install-recommends "${unpacked[@]}" | awk '$1 == "Inst" && $2 ~ /^lib/ {print $2}'
}

download_programs() {
  local names turn
  for turn in now later; do
    if names=$(libraries_of_unpacked) && download "${unpacked[@]}" $names; then return; fi
    update_lists
  done
  fail "these could not be downloaded: ${unpacked[*]}"
}

# Unpacks only what this machine and that of tests/system need, not hundreds of megabytes.
unpack_kernel() {
  local folder patterns=('./boot/vmlinuz-*' './lib/modules/*/modules.*' './lib/modules/*/kernel/fs/mbcache.ko*')
  for folder in arch/x86/crypto crypto drivers/block drivers/bluetooth drivers/virtio fs/9p fs/ext4 fs/fscache fs/jbd2 \
    fs/netfs lib net/9p net/bluetooth net/rfkill; do
    patterns+=("./lib/modules/*/kernel/$folder/*")
  done
  # Patterns may match nothing: folders have moved between versions.
  dpkg --fsys-tarfile "$kernel_package" | tar -x -C $tree --wildcards "${patterns[@]}" 2>/dev/null || true
  kernel_version=$(ls $tree/lib/modules)
  depmod -b $tree "$kernel_version"
}

extract_vmlinux() {
  local image=$tree/boot/vmlinuz-$kernel_version sectors offset size unpack
  # The boot header: how many sectors come before the code, and where in the code the compressed kernel is. Its last
  # four bytes are the size of the kernel.
  sectors=$(od -An -tu1 -j $((0x1f1)) -N 1 "$image")
  offset=$(od -An -tu4 -j $((0x248)) -N 4 "$image")
  size=$(od -An -tu4 -j $((0x24c)) -N 4 "$image")
  offset=$(((sectors + 1) * 512 + offset))
  dd if="$image" iflag=skip_bytes,count_bytes skip=$offset count=$((size - 4)) bs=1M status=none >$work/compressed
  case $(od -An -tx1 -N 4 $work/compressed | tr -d ' ') in
    fd377a58) unpack=xz ;;
    28b52ffd) unpack=zstd ;;
    *) fail "$image holds a kernel that is compressed in an unknown way" ;;
  esac
  $unpack -dc <$work/compressed >$work/vmlinux
  rm $work/compressed
}

unpack_packages() {
  local file contents
  contents=$(
    echo "$kernel_package"
    ls $packages
    cat $here/packages.sh
  )
  if [ "$contents" != "$(cat $work/unpacked 2>/dev/null)" ]; then
    rm -rf $tree $work/unpacked
    mkdir -p $tree
    for file in $packages/*.deb; do
      case $file in
        */linux-image-*) ;;
        *) dpkg -x "$file" $tree ;;
      esac
    done
    unpack_kernel
    extract_vmlinux
    echo "$contents" >$work/unpacked
  fi
  kernel_version=$(ls $tree/lib/modules)
}

fetch_packages() {
  mkdir -p $packages
  install_programs
  download_kernel
  download_programs
  unpack_packages
  echo "The machine has Linux $kernel_version and BlueZ $(ls $packages | sed -n 's/^bluez_\([^-_]*\).*/\1/p')."
}
