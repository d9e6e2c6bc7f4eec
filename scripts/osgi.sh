#!/usr/bin/env bash
# Runs plug-in bundles in a real OSGi framework (Eclipse Equinox from Debian) against the
# simulated gateway: starts gatewaysim on a private bus directory and gateway root, then the
# framework with the platform classes (zxdeviceservice.jar) exported as system packages, and
# installs and starts the bundles.
#
#   scripts/osgi.sh [options] [BUNDLE.jar...]
#
# Without bundles it runs the project's example plug-in (java/osgi/example) and plays USB device
# 3 for it: the device sends "hello gateway" and the script waits for the plug-in's answer, then
# stops the framework with SIGTERM and shows what the gateway's services received. With bundles
# the framework runs until Ctrl-C (or until a bundle stops the framework); meanwhile
# build/bin/simctl reaches the same gateway with the ZX_BUS_DIR the script prints.
#
# Options:
#   --build-dir DIR      the build tree to run from (default: build)
#   --no-build           run from the build tree as it is; without it, scripts/deps.sh installs what
#                        is missing and scripts/build.sh release builds build/ first
#   --framework JAR      the OSGi framework (default /usr/share/java/eclipse-osgi.jar)
#   --trace FILE         the platform trace of the framework's JVM (default: off)
#   --xcheck-jni         run the JVM with -Xcheck:jni; a JNI warning fails the run
#   --preload LIBS       libraries (colon separated) the JVM preloads: the sanitizer runtimes of a
#                        sanitizer build, with the sanitizer options a JVM can live with
#   --save-received DIR  example run: write what usb_mngt, app_m, tarn and the event centre
#                        received (simctl received), and the output of the JVM, into DIR
#   -h, --help           this text
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/gatewaysim.sh"

usage() {
  sed -n '7,26p' "$0" | sed 's/^# \{0,1\}//'
}

build_dir=$root/build build=1 framework=/usr/share/java/eclipse-osgi.jar trace= xcheck=0 preload= save=
bundles=()
while (($#)); do
  case "$1" in
    --build-dir) build_dir=$(cd "$2" && pwd); shift 2 ;;
    --no-build) build=0; shift ;;
    --framework) framework=$2; shift 2 ;;
    --trace) trace=$2; shift 2 ;;
    --xcheck-jni) xcheck=1; shift ;;
    --preload) preload=$2; shift 2 ;;
    --save-received) save=$2; shift 2 ;;
    -h|--help) usage; exit 0 ;;
    -*) echo "osgi.sh: unknown option $1" >&2; usage >&2; exit 2 ;;
    *) bundles+=("$(cd "$(dirname "$1")" && pwd)/$(basename "$1")"); shift ;;
  esac
done

if ((build)); then
  "$root/scripts/deps.sh"
  "$root/scripts/build.sh" release
fi
java_home=$(dirname "$(dirname "$(readlink -f "$(command -v javac || command -v java)")")")
java=$java_home/bin/java
[ -x "$java" ] || java=java
for f in "$build_dir/bin/gatewaysim" "$build_dir/bin/simctl" "$build_dir/java/zxosgilauncher.jar" \
         "$build_dir/java/zxdeviceservice.jar" "$framework"; do
  [ -e "$f" ] || { echo "osgi.sh: $f is missing (build first, or run scripts/deps.sh)" >&2; exit 1; }
done
example=0
if ((${#bundles[@]} == 0)); then
  example=1
  bundles=("$build_dir/java/zxgatewaywatch.jar")
fi

work=$(mktemp -d /dev/shm/zxosgi-XXXXXX 2>/dev/null || mktemp -d)
mkdir -m 700 "$work/bus" "$work/root"
# A private bus directory and gateway root, so the run never meets another gateway or the host's /var.
export ZX_BUS_DIR=$work/bus
export ZX_ROOT=$work/root
export ZX_TRACE=${trace:-off}
simctl=$build_dir/bin/simctl
cleanup() {
  [ -n "${jvm_pid:-}" ] && kill -TERM "$jvm_pid" 2>/dev/null && wait "$jvm_pid" 2>/dev/null
  [ -n "${sim_pid:-}" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

start_gatewaysim "$build_dir/bin/gatewaysim" "$work/sim.out" || exit 1
echo "== simulated gateway up: ZX_BUS_DIR=$ZX_BUS_DIR ZX_ROOT=$ZX_ROOT"

if ((example)); then
  # The device side speaks first; the line waits in the terminal until the plug-in reads it.
  echo "== USB device 3 sends \"hello gateway\" (simctl usb-write)"
  "$simctl" usb-write 3 --text 'hello gateway\r\n' >/dev/null
fi

jvm_env=()
if [ -n "$preload" ]; then
  # The JVM handles SIGSEGV itself and keeps memory until it exits.
  jvm_env=(LD_PRELOAD="${preload//:/ }"
           ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}handle_segv=0:allow_user_segv_handler=1:detect_leaks=0")
fi
jvm_opts=()
((xcheck)) && jvm_opts+=(-Xcheck:jni)

echo "== OSGi framework with: ${bundles[*]}"
platform_jar=$build_dir/java/zxdeviceservice.jar
env "${jvm_env[@]}" "$java" "${jvm_opts[@]}" -Djava.library.path="$build_dir/lib" \
  -cp "$build_dir/java/zxosgilauncher.jar:$framework:$platform_jar" \
  com.zentrix.nodalis.osgi.Launcher --export "$platform_jar" "${bundles[@]}" \
  > >(tee "$work/jvm.out") 2>&1 &
jvm_pid=$!

status=0
if ((example)); then
  # Wait (up to a minute) for the plug-in's answer on the device: one whole line.
  hex=
  for _ in $(seq 60); do
    kill -0 "$jvm_pid" 2>/dev/null || break
    got=$("$simctl" --json usb-read 3 --min 1 --wait 1000 | sed -n 's/.*"data":"\([0-9a-f]*\)".*/\1/p')
    hex+=$got
    [[ $hex == *0d0a* ]] && break
  done
  answer=$(python3 -c 'import sys; print(bytes.fromhex(sys.argv[1]).decode("utf-8", "replace").strip())' "$hex")
  echo "== USB device 3 received: \"$answer\" (simctl usb-read)"
  [[ $hex == *0d0a* ]] || { echo "osgi.sh: no answer from the plug-in on USB device 3" >&2; status=1; }
  echo "== stopping the framework (SIGTERM)"
  kill -TERM "$jvm_pid" 2>/dev/null || true
fi
set +e
wait "$jvm_pid"
jvm_status=$?
set -e
jvm_pid=
# SIGTERM ends a JVM with 143 after its shutdown hooks ran.
case $jvm_status in
  143) echo "== framework's JVM ended with status 143 (SIGTERM, after the framework stopped)" ;;
  *) echo "== framework's JVM ended with status $jvm_status" ;;
esac
if ((example)); then
  ((jvm_status == 0 || jvm_status == 143)) || status=1
else
  ((jvm_status == 0 || jvm_status == 130 || jvm_status == 143)) || status=$jvm_status
fi
if ((xcheck)) && grep -q -E "(WARNING|FATAL ERROR) in native method|WARNING: JNI" "$work/jvm.out"; then
  echo "osgi.sh: the JVM reported a JNI problem (-Xcheck:jni)" >&2
  status=1
fi

if ((example)); then
  echo "== what the services received (simctl received)"
  for service in usb_mngt eventcenter; do
    "$simctl" received "$service"
  done
  if [ -n "$save" ]; then
    mkdir -p "$save"
    for service in usb_mngt app_m tarn eventcenter; do
      "$simctl" --json received "$service" >"$save/$service.json"
    done
    cp "$work/jvm.out" "$save/jvm.out"
  fi
fi
# The simulator ends on SIGTERM with status 0; anything else (a sanitizer report in a sanitizer
# build) is shown and fails the run.
kill -TERM "$sim_pid" 2>/dev/null || true
set +e
wait "$sim_pid"
sim_status=$?
set -e
sim_pid=
if ((sim_status != 0)); then
  echo "osgi.sh: gatewaysim ended with status $sim_status:" >&2
  cat "$work/sim.out" >&2
  status=1
fi
exit "$status"
