# Sourced by run: builds the machine's initramfs from programs and their libraries.

image=$work/image
libraries=usr/lib/$(uname -m)-linux-gnu
python=python3.11

# The guest loads them in this order: btvirt needs the ciphers to open its device.
modules=(ctr ecb cmac algif_hash algif_skcipher hci_vhci rfcomm virtio_pci 9pnet_virtio 9p)
# Loaded by the kernel on demand.
more_modules=(drbg jitterentropy_rng sha512_generic sha256_generic hmac aes_generic)

# put FILE FOLDER: copies a file, or the target of a link, into a folder of the image.
put() {
  mkdir -p "$image/$2"
  cp -Lp "$1" "$image/$2/"
}

put_programs() {
  local name
  for name in dbus-daemon obexput obex_test; do
    put "$(command -v $name)" usr/bin
  done
  put $tree/usr/bin/btvirt usr/bin
  put $tree/usr/bin/sdptool usr/bin
  put $tree/usr/bin/hcitool usr/bin
  put $tree/usr/bin/btmon usr/bin
  put $tree/usr/bin/bluetoothctl usr/bin
  put $tree/usr/libexec/bluetooth/bluetoothd usr/libexec/bluetooth
  put $tree/usr/libexec/bluetooth/obexd usr/libexec/bluetooth
}

put_telephone() {
  local name
  for name in phone-host phonectl; do
    put "$build/bin/$name" opt/obexphone/bin
  done
  put "$build/lib/libobexservice.so" opt/obexphone/lib
  put "$build/lib/obexservice.xml" opt/obexphone/lib
  strip --strip-debug $image/opt/obexphone/bin/* $image/opt/obexphone/lib/*.so
  mkdir -p $image/data/images
}

put_python() {
  local name
  put /usr/bin/$python usr/bin
  ln -s $python $image/usr/bin/python3
  mkdir -p $image/usr/lib
  tar -c -C /usr/lib --exclude=test --exclude=idlelib --exclude=lib2to3 --exclude=tkinter --exclude=ensurepip \
    --exclude='config-*' --exclude=distutils --exclude=pydoc_data --exclude=asyncio --exclude=lib-dynload \
    --exclude=dist-packages $python | tar -x -C $image/usr/lib
  for name in _json _queue _contextvars mmap resource termios; do
    put /usr/lib/$python/lib-dynload/$name.cpython-* usr/lib/$python/lib-dynload
  done
  mkdir -p $image/usr/lib/python3
  cp -r $tree/usr/lib/python3/dist-packages $image/usr/lib/python3/
  rm $image/usr/lib/python3/dist-packages/_dbus_glib_bindings*
}

# Copies the libraries of everything in the image, under the names that programs load.
put_libraries() {
  local found missing name path
  # ldd reports an error for scripts and static programs.
  found=$(find $image -type f \( -perm -100 -o -name '*.so*' \) -exec \
    env LD_LIBRARY_PATH="$tree/$libraries:$tree/lib/$(uname -m)-linux-gnu:$build/lib" ldd {} + 2>/dev/null || true)
  missing=$(awk '/not found/ {print $1}' <<<"$found" | sort -u | xargs)
  [ -z "$missing" ] || fail "the machine's programs need libraries that aren't here: $missing"
  mkdir -p $image/$libraries $image/usr/lib64
  while read -r name path; do
    cp -L "$path" "$image/$libraries/$name"
  done < <(awk '$2 == "=>" {print $1, $3}' <<<"$found" | sort -u)
  strip --strip-debug $image/$libraries/libphoneframework.so.*
  cp -L /lib64/ld-linux-x86-64.so.2 $image/usr/lib64/
}

# Character sets: without UTF-16, obexput silently omits the name of an object.
put_character_sets() {
  local name
  for name in UTF-16 UTF-32 UNICODE ISO8859-1 ISO8859-15 CP1252; do
    put /$libraries/gconv/$name.so $libraries/gconv
  done
  cp -r /$libraries/gconv/gconv-modules* $image/$libraries/gconv/
  mkdir -p $image/usr/lib/locale
  cp -r /usr/lib/locale/C.utf8 $image/usr/lib/locale/
}

put_settings() {
  mkdir -p $image/etc/dbus-1 $image/usr/share/dbus-1/system.d $image/root $image/var/lib/bluetooth $image/run $image/tmp
  ln -s ../run $image/var/run
  echo "root:x:0:0:root:/root:/bin/sh
messagebus:x:100:100::/nonexistent:/usr/sbin/nologin
nobody:x:65534:65534:nobody:/nonexistent:/usr/sbin/nologin" >$image/etc/passwd
  echo "root:x:0:
messagebus:x:100:
bluetooth:x:101:
nogroup:x:65534:" >$image/etc/group
  echo 0123456789abcdef0123456789abcdef >$image/etc/machine-id
  cp /usr/share/dbus-1/{session,system}.conf $image/usr/share/dbus-1/
  cp -r $tree/etc/bluetooth $image/etc/
  cp $tree/etc/dbus-1/system.d/bluetooth.conf $image/usr/share/dbus-1/system.d/
}

put_modules() {
  local name file folder=lib/modules/$kernel_version
  mkdir -p $image/usr/$folder
  cp $tree/$folder/modules.{builtin,builtin.modinfo,order} $image/usr/$folder/ 2>/dev/null || true
  for name in "${modules[@]}" "${more_modules[@]}"; do
    modprobe -d "$PWD/$tree" -S "$kernel_version" --show-depends "$name" || fail "the kernel has no module $name"
  done | sort -u | while read -r word file _; do
    [ "$word" = insmod ] || continue
    file=${file#"$PWD/$tree/"}
    mkdir -p "$image/usr/$(dirname "$file")"
    cp "$tree/$file" "$image/usr/$file"
    [[ $file != *.xz ]] || xz -d "$image/usr/$file"
    # Without signatures, which the kernel would verify one by one.
    strip --strip-debug "$image/usr/${file%.xz}"
  done
  depmod -b $image/usr "$kernel_version"
  echo "${modules[@]}" >$image/etc/modules-in-order
}

put_busybox() {
  local name
  put "$(command -v busybox)" usr/bin
  for name in $(busybox --list); do
    [ -e $image/usr/bin/$name ] || ln -s busybox $image/usr/bin/$name
  done
  # Where the kernel expects it.
  ln -s ../bin/busybox $image/usr/sbin/modprobe
}

put_checks() {
  mkdir -p $image/phone/tests/{bluetooth,e2e,data}
  cp $here/guest/*.py $image/phone/tests/bluetooth/
  cp tests/e2e/phone.py $image/phone/tests/e2e/
  cp -r tests/data/demo $image/phone/tests/data/
  cp $here/guest/init $image/init
  chmod +x $image/init
}

make_image() {
  local folder
  rm -rf $image
  mkdir -p $image/{dev,proc,sys,log}
  for folder in bin sbin lib lib64; do
    mkdir -p $image/usr/$folder
    ln -s usr/$folder $image/$folder
  done
  put_programs
  put_telephone
  put_python
  put_libraries
  put_character_sets
  put_settings
  put_modules
  put_busybox
  put_checks
  (cd $image && find . -print0 | cpio -0 -o -H newc --quiet -R 0:0) >$work/initramfs
}
