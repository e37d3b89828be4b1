# Sourced: functions that make a clean Debian 12 in the folder $root and run commands there. Needs root; logs go to $work.

suite=bookworm

# This machine's package mirror.
mirror() {
  local found
  found=$(cat /etc/apt/sources.list /etc/apt/sources.list.d/*.{list,sources} 2>/dev/null |
    grep -oE '^(deb |URIs:).*' | grep -oE 'https?://[^ ]*/debian/?( |$)' | head -n 1 | tr -d ' ' || true)
  echo "${found:-http://deb.debian.org/debian}"
}

# make_root [BASE]: copies BASE, an existing debootstrap folder, or runs debootstrap.
make_root() {
  mkdir -p "$root"
  if [ -n "${1:-}" ]; then
    cp -a "$1/." "$root"
  else
    say "downloading Debian (takes some minutes)"
    debootstrap --variant=minbase "$suite" "$root" "$(mirror)" >"$work/debootstrap.log" 2>&1 ||
      fail "debootstrap: $(tail -n 5 "$work/debootstrap.log")"
  fi
  cp -a /etc/apt/apt.conf.d/. "$root/etc/apt/apt.conf.d/"
  [ ! -d /etc/apt/auth.conf.d ] || cp -a /etc/apt/auth.conf.d/. "$root/etc/apt/auth.conf.d/"
  cp -L /etc/resolv.conf "$root/etc/resolv.conf"
}

# in_root COMMAND...: runs it in $root; kills its background processes when it ends.
in_root() {
  unshare --mount --pid --fork --kill-child bash -c '
    set -e
    root=$1
    shift
    mount -t proc proc "$root/proc"
    mount --bind /dev "$root/dev"
    exec chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
  ' bash "$root" "$@"
}

# needs_of FOLDER: the external dependencies of the packages in it, in control file syntax.
needs_of() {
  local file
  for file in "$1"/*.deb; do
    dpkg-deb -f "$file" Depends | tr ',' '\n'
  done | sed 's/^ *//' | grep -vE '^$|^obexphone' | sort -u | paste -sd,
}

# apt_in_root ARGUMENT...: runs apt-get; prints its output only if it fails.
apt_in_root() {
  in_root apt-get -qq "$@" >"$work/apt.log" 2>&1 || fail "$(tail "$work/apt.log")"
}
