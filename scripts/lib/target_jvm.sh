# shellcheck shell=bash
# The JVM of a cross build's target: Debian's openjdk-17-jre-headless of the target's architecture,
# unpacked into the build rather than installed (multiarch cannot install a JRE of another version
# beside this machine's own JDK). Sourced by scripts/cross.sh, which links the suites that start a
# JVM in their own process (test_jvm_*) against its libjvm, and by scripts/lib/target_junit.sh,
# which runs the JUnit classes in it.
#
#   fetch_target_jvm TOP ARCH
#       Fetches the packages with apt-get download (this machine's apt configuration) and unpacks
#       them into TOP/root, only when TOP/unpacked is missing. Sets target_jvm_root (TOP/root) and
#       target_jvm_home (the JDK directory in it). The launcher and jspawnhelper are kept as
#       bin/java.real and lib/jspawnhelper.real, for the wrappers that run them under the emulator.
fetch_target_jvm() {
  local top=$1 arch=$2 t link target
  target_jvm_root=$top/root
  target_jvm_home=$target_jvm_root/usr/lib/jvm/java-17-openjdk-$arch
  [ ! -e "$top/unpacked" ] || return 0
  t=$SECONDS
  rm -rf "$top/debs" "$target_jvm_root"
  mkdir -p "$top/debs" "$target_jvm_root"
  # The JRE and what it needs that the multiarch runtime of the cross build (libc6, libstdc++6,
  # libgcc-s1) does not have: zlib for libzip. The JRE's libraries for fonts, images, sound and
  # smart cards need more, but the tests load none of them.
  (cd "$top/debs" && apt-get download -q "openjdk-17-jre-headless:$arch" "zlib1g:$arch")
  for deb in "$top"/debs/*.deb; do dpkg-deb -x "$deb" "$target_jvm_root"; done
  # The package links its configuration to /etc/java-17-openjdk, which is this machine's own JDK's
  # (without the target's files): point the links into the unpacked /etc instead.
  while IFS= read -r link; do
    target=$(readlink "$link")
    if [ -e "$target_jvm_root$target" ]; then
      ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$target_jvm_root$target")" "$link"
    fi
  done < <(find "$target_jvm_home" -type l -lname '/etc/*')
  mv "$target_jvm_home/bin/java" "$target_jvm_home/bin/java.real"
  mv "$target_jvm_home/lib/jspawnhelper" "$target_jvm_home/lib/jspawnhelper.real"
  touch "$top/unpacked"
  echo "== $arch: the target's JVM fetched and unpacked into $target_jvm_root ($((SECONDS - t)) s," \
       "$(du -sh "$top/debs" | cut -f1) of packages, $(du -sh "$target_jvm_root" | cut -f1) unpacked)"
}
