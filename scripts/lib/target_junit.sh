#!/usr/bin/env bash
# The JUnit suites on the gateway's processor: every java.<Class> test ctest knows in a cross build,
# run by java/tests/run_junit.sh exactly as ctest registers it, but in an armhf JVM under qemu-arm
# that loads the armhf bridge and platform library and starts the armhf simulator, bus probe and
# bus monitor. scripts/cross.sh armhf-junit calls it:
#
#   scripts/lib/target_junit.sh BUILD [CLASS...]
#
# BUILD is the configured cross build directory. CLASS names a class as
# ctest does, with or without "java." (LoidTest, usb.UsbBindingsTest); without any, every class
# that can run there. Each class prints PASS or FAIL with its seconds; its whole output goes to
# BUILD/target-jvm/logs/CLASS.log, and its last lines are shown when it fails.
#
# The JVM is Debian's openjdk-17-jre-headless for armhf, not installed but unpacked into
# BUILD/target-jvm/root (fetched with apt-get download only when it is missing there), so this
# machine's own JDK stays as it is: multiarch cannot install a JRE of another version beside it.
# This machine runs programs of the target only through an explicit qemu-arm (no binfmt_misc), so
# every program the tests start gets a wrapper that runs it under the emulator:
#   - bin/java of the unpacked JDK is a shell script running the real launcher (bin/java.real);
#     a test that starts a JVM from java.home (the hostile sweep's child JVMs) gets it too;
#   - lib/jspawnhelper, which the JVM executes to start every process, likewise;
#   - gatewaysim, busprobe and zxmon are wrappers in BUILD/target-jvm/wrap, given to run_junit.sh
#     in place of the programs of the cross build.
#
# Environment: ZX_JOBS              parallel compilations (default: the number of processors)
#              ZX_JUNIT_TIME_LIMIT  seconds a class may take before it is stopped (default 1200;
#                                   ctest allows 300 on this machine's own JVM)
#              ZX_TARGET_JVM_OPTIONS  options of every JVM of the run, the ones the tests start
#                                   too (default none; with -Xint most classes take a third less
#                                   under the emulator, the hostile sweep about twice as long)
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
arch=armhf
triplet=arm-linux-gnueabihf
qemu=/usr/bin/qemu-arm
jobs=${ZX_JOBS:-$(nproc)}
limit=${ZX_JUNIT_TIME_LIMIT:-1200}

(($# >= 1)) || { sed -n '7p' "$0" | sed 's/^# //' >&2; exit 2; }
[ -n "$1" ] || { echo "target_junit.sh: no build directory" >&2; exit 2; }
build=$(cd "$1" && pwd)
shift

# Classes that cannot run in the emulated JVM, with the reason said in the output.
#   KilledJvmTest starts a second JVM from ProcessHandle.current().info().command(), which is the
#   real ARM launcher bin/java.real (qemu answers /proc/<pid>/exe with the emulated program), not
#   the wrapper; this machine's kernel cannot execute that file, and the JVM's fallback runs it as
#   a shell script ("java.real: 1: Syntax error: word unexpected"), so the busy JVM never starts.
declare -A not_run=(
  [restart.KilledJvmTest]="it starts a second JVM from the running one's executable, the ARM launcher itself, which this machine cannot execute (no binfmt_misc for qemu-arm)"
)

# ---------------------------------------------------------------------------------------------
# The cross build: the libraries, the programs the tests start and the test classes.
t0=$SECONDS
[ -f "$build/CMakeCache.txt" ] ||
  { echo "target_junit.sh: $build is not configured (scripts/cross.sh armhf-junit configures it)" >&2; exit 2; }
cmake --build "$build" -j "$jobs" --target zx_kor_basic zxjavabridge gatewaysim busprobe zxmon \
  zxdeviceservice zxbridge_tests
echo "== $arch-junit: built ($((SECONDS - t0)) s)"

# ---------------------------------------------------------------------------------------------
# The JVM of the target, unpacked (only when missing).
top=$build/target-jvm
# shellcheck source=scripts/lib/target_jvm.sh
. "$repo/scripts/lib/target_jvm.sh"
fetch_target_jvm "$top" "$arch"
root=$target_jvm_root
jdk=$target_jvm_home
# The wrappers, written on every run. The JVM's temporary files (JUnit's @TempDir) go to /dev/shm:
# qemu-arm is a 64-bit process, so ext4 gives it 64-bit directory offsets, which the 32-bit JVM's
# readdir refuses ("Value too large for defined data type"): any directory on ext4 reads as empty
# to it, and JUnit cannot remove its temporary directories there. tmpfs offsets are small. (A
# 32-bit process of a 64-bit kernel, or a 32-bit kernel, gets 32-bit ones.) ZX_TARGET_JVM_OPTIONS
# (for instance -Xint) reaches every JVM, the ones the tests start too.
if [ ! -x "$jdk/bin/java.real" ] || [ ! -x "$jdk/lib/jspawnhelper.real" ]; then
  echo "$arch-junit: the JVM in $root is incomplete: remove $top and run again" >&2
  exit 1
fi
# shellcheck disable=SC2016
printf '#!/bin/sh\nexec %s "$(dirname "$0")/jspawnhelper.real" "$@"\n' "$qemu" >"$jdk/lib/jspawnhelper"
# shellcheck disable=SC2016
printf '#!/bin/sh\nexec %s -E LD_LIBRARY_PATH=%s "$(dirname "$0")/java.real" -Djava.io.tmpdir=/dev/shm ${ZX_TARGET_JVM_OPTIONS:-} "$@"\n' \
  "$qemu" "$root/lib/$triplet:$root/usr/lib/$triplet" >"$jdk/bin/java"
chmod +x "$jdk/lib/jspawnhelper" "$jdk/bin/java"
"$jdk/bin/java" -version 2>&1 | sed -n '1p;3p' | sed "s/^/== $arch-junit: /"
echo "== $arch-junit: JVM options: ${ZX_TARGET_JVM_OPTIONS:-none (the defaults)}"

mkdir -p "$top/wrap" "$top/logs"
for exe in "$build/bin/gatewaysim" "$build/java/busprobe" "$build/bin/zxmon"; do
  # shellcheck disable=SC2016
  printf '#!/bin/sh\nexec %s %s "$@"\n' "$qemu" "$exe" >"$top/wrap/$(basename "$exe")"
  chmod +x "$top/wrap/$(basename "$exe")"
done

# ---------------------------------------------------------------------------------------------
# The classes as ctest registers them, each command with the target's JVM and wrapped programs.
tests=$top/tests.txt
ctest --test-dir "$build" -N --show-only=json-v1 -R '^java\.' | python3 -c '
import json, sys
wrap = {"--java": sys.argv[1], "--gatewaysim": sys.argv[2] + "/gatewaysim",
        "--busprobe": sys.argv[2] + "/busprobe", "--monitor": sys.argv[2] + "/zxmon"}
for t in json.load(sys.stdin)["tests"]:
    cmd = t.get("command", [])
    if len(cmd) < 2 or not cmd[1].endswith("/run_junit.sh"):
        continue
    for i, a in enumerate(cmd[:-1]):
        if a in wrap:
            cmd[i + 1] = wrap[a]
    print(t["name"][len("java."):] + "\t" + "\t".join(cmd))
' "$jdk/bin/java" "$top/wrap" >"$tests"

seconds_since() { awk -v a="$1" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.1f", b - a }'; }

want=("$@")
if ((${#want[@]} == 0)); then mapfile -t want < <(cut -f1 "$tests"); fi
passed=0 failed=0 skipped=0 status=0
for c in "${want[@]}"; do
  c=${c#java.}
  if [ -n "${not_run[$c]:-}" ]; then
    echo "NOT RUN $c: ${not_run[$c]}"
    skipped=$((skipped + 1))
    continue
  fi
  line=$(awk -F'\t' -v c="$c" '$1 == c' "$tests")
  if [ -z "$line" ]; then
    echo "unknown class: $c (ctest has no java.$c running run_junit.sh in $build)" >&2
    status=1
    continue
  fi
  IFS=$'\t' read -r -a cmd <<<"$line"
  log=$top/logs/$c.log
  t=$EPOCHREALTIME
  if timeout -k 10 "$limit" "${cmd[@]:1}" >"$log" 2>&1; then
    echo "PASS $c $(seconds_since "$t") s"
    passed=$((passed + 1))
  else
    echo "FAIL $c $(seconds_since "$t") s (output: $log)"
    tail -n 30 "$log" | sed 's/^/    /'
    failed=$((failed + 1))
    status=1
  fi
done
echo "== $arch-junit: $passed passed, $failed failed, $skipped not run ($((SECONDS - t0)) s)"
exit "$status"
