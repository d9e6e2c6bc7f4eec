#!/usr/bin/env bash
# Runs one JUnit class in its own JVM, with an environment of its own: the platform reads its
# environment once, at first use, and Java cannot set it, so it is made here before the JVM starts.
#
#   run_junit.sh --java JAVA --classpath CP --libdir DIR --gatewaysim EXE --busprobe EXE
#                --source DIR --profile FILE [--preload LIBS] [--timeout-scale X] [--scratch-proc]
#                [--scratch-root] [--monitor ZXMON --monitor-expect SERVICES] CLASS
#
# Every run gets a private bus directory (ZX_BUS_DIR), a trace file (ZX_TRACE), the gateway profile
# (ZX_PROFILE), and on request a time-out scale (ZX_TIMEOUT_SCALE) and an empty directory in place
# of /proc (ZX_PROC_DIR) that the tests fill, or an empty gateway root (ZX_ROOT) holding only /var
# (without it, the per-user default root under XDG_STATE_HOME, which is the run's own too).
# --preload names the sanitizer runtimes (colon separated) that a JVM loading sanitized libraries
# needs first; the JVM then gets the sanitizer options it can live with, while the processes the
# tests start get the caller's own options back.
# --monitor runs the bus monitor (zxmon --json) on the run's bus directory while the class runs;
# afterwards every service of the comma-separated --monitor-expect list must have at least one call
# in its output decoded by the wire catalogue (java/tests/check_monitor.py).
# The JVM runs with -Xcheck:jni, and any JNI warning it prints fails the run.
set -euo pipefail

usage() {
  sed -n '5,7p' "$0" | sed 's/^# //' >&2
  exit 2
}

java= classpath= libdir= gatewaysim= busprobe= source= profile= preload= scale= scratch_proc=0 scratch_root=0
monitor= monitor_expect=
while (($#)); do
  case "$1" in
    --java) java=$2; shift 2 ;;
    --classpath) classpath=$2; shift 2 ;;
    --libdir) libdir=$2; shift 2 ;;
    --gatewaysim) gatewaysim=$2; shift 2 ;;
    --busprobe) busprobe=$2; shift 2 ;;
    --source) source=$2; shift 2 ;;
    --profile) profile=$2; shift 2 ;;
    --preload) preload=$2; shift 2 ;;
    --timeout-scale) scale=$2; shift 2 ;;
    --scratch-proc) scratch_proc=1; shift ;;
    --scratch-root) scratch_root=1; shift ;;
    --monitor) monitor=$2; shift 2 ;;
    --monitor-expect) monitor_expect=$2; shift 2 ;;
    --*) usage ;;
    *) break ;;
  esac
done
(($# == 1)) || usage
class=$1
for v in java classpath libdir gatewaysim busprobe source profile; do
  [ -n "${!v}" ] || usage
done

work=$(mktemp -d /dev/shm/zxjunit-XXXXXX 2>/dev/null || mktemp -d /tmp/zxjunit-XXXXXX)
mon_pid=
stop_monitor() {
  [ -n "$mon_pid" ] || return 0
  kill -TERM "$mon_pid" 2>/dev/null || true
  wait "$mon_pid" 2>/dev/null || true
  mon_pid=
}
trap 'stop_monitor; rm -rf "$work"' EXIT
mkdir -m 700 "$work/bus"
export ZX_BUS_DIR=$work/bus
export ZX_TRACE=$work/trace.log
export ZX_PROFILE=$profile
: >"$ZX_TRACE"
if [ -n "$scale" ]; then export ZX_TIMEOUT_SCALE=$scale; else unset ZX_TIMEOUT_SCALE; fi
if ((scratch_proc)); then
  mkdir "$work/proc"
  export ZX_PROC_DIR=$work/proc
else
  unset ZX_PROC_DIR
fi
unset ZX_ROOT ZX_PROC_NAME
# Without a root of the class's own, the platform's per-user default root is used: it is made
# under this run's own state directory, not the tester's home.
export XDG_STATE_HOME=$work/state
if ((scratch_root)); then
  mkdir -p "$work/root/var"
  export ZX_ROOT=$work/root
fi

jvm_env=()
child_props=()
if [ -n "$preload" ]; then
  # The JVM handles SIGSEGV itself and keeps memory until it exits.
  jvm_env=(LD_PRELOAD="${preload//:/ }"
           ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}handle_segv=0:allow_user_segv_handler=1:detect_leaks=0")
  child_props=(-Dzx.child.unpreload=true "-Dzx.child.asan_options=${ASAN_OPTIONS:-}")
fi

if [ -n "$monitor" ]; then
  # The processes of the bus report to the monitor once it says it is watching.
  "$monitor" --json >"$work/monitor.json" 2>"$work/monitor.err" &
  mon_pid=$!
  for _ in $(seq 100); do
    grep -q "watching" "$work/monitor.err" 2>/dev/null && break
    kill -0 "$mon_pid" 2>/dev/null || break
    sleep 0.05
  done
  grep -q "watching" "$work/monitor.err" || { cat "$work/monitor.err" >&2; echo "run_junit.sh: zxmon did not start" >&2; exit 1; }
fi

log=$work/junit.out
set +e
env "${jvm_env[@]}" "$java" -Xcheck:jni \
  "-Djava.library.path=$libdir" \
  "-Dzx.gatewaysim=$gatewaysim" \
  "-Dzx.busprobe=$busprobe" \
  "-Dzx.source.dir=$source" \
  "${child_props[@]}" \
  -cp "$classpath" org.junit.platform.console.ConsoleLauncher \
  --disable-banner --disable-ansi-colors --details=tree --fail-if-no-tests \
  --select-class "$class" 2>&1 | tee "$log"
status=${PIPESTATUS[0]}
set -e

if grep -q -E "(WARNING|FATAL ERROR) in native method|WARNING: JNI" "$log"; then
  echo "run_junit.sh: the JVM reported a JNI problem (-Xcheck:jni)" >&2
  status=1
fi
if [ -n "$monitor" ]; then
  stop_monitor
  python3 "$(dirname "$0")/check_monitor.py" "$work/monitor.json" "$monitor_expect" || status=1
fi
if ((status != 0)); then
  echo "--- last trace records ---" >&2
  tail -n 40 "$ZX_TRACE" >&2
fi
exit "$status"
