#!/usr/bin/env bash
# Installs what is missing, builds, starts the simulated gateway and runs the Java demo against it.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib/gatewaysim.sh
scripts/deps.sh
scripts/build.sh release

# A private bus directory, so the demo never meets another user's gateway.
export ZX_BUS_DIR=$(mktemp -d /dev/shm/zxbus-demo-XXXXXX 2>/dev/null || mktemp -d)
# A private gateway root: the discs (/mnt/usb1_1, ...) and the gateway's files live under it.
export ZX_ROOT=$(mktemp -d)
# The platform trace of the Java process, shown after the tour.
trace=$(mktemp)
sim_out=$(mktemp)
mon_out=$(mktemp)
cleanup() {
  [ -n "${mon_pid:-}" ] && kill "$mon_pid" 2>/dev/null && wait "$mon_pid" 2>/dev/null
  [ -n "${sim_pid:-}" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
  rm -rf "$ZX_BUS_DIR" "$ZX_ROOT" "$sim_out" "$trace" "$mon_out" "$mon_out.err"
}
trap cleanup EXIT

start_gatewaysim build/bin/gatewaysim "$sim_out" || exit 1

# The bus monitor watches the demo's calls; its view is shown after the demo.
build/bin/zxmon >"$mon_out" 2>"$mon_out.err" &
mon_pid=$!
for _ in $(seq 100); do
  grep -q "zxmon: watching" "$mon_out.err" && break
  sleep 0.1
done
rm -f "$mon_out.err"

# The Java side, as a plug-in sees it: JVM -> bridge -> bus -> simulated gateway.
echo "== Java demo (com.zentrix.nodalis.demo.BridgeDemo)"
ZX_TRACE=$trace java -Djava.library.path=build/lib -cp build/java/zxdeviceservice.jar:build/java/zxdemo.jar \
  com.zentrix.nodalis.demo.BridgeDemo

# The same calls as the bus carried them: caller, service, command, decoded request and reply.
sleep 0.2
kill "$mon_pid" && wait "$mon_pid" 2>/dev/null || true
mon_pid=
echo
echo "== the demo's calls on the bus (build/bin/zxmon)"
cat "$mon_out"

# What the tour changed, from the simulator's side: the radios, the WPS session and the LEDs.
echo
echo "== the simulated radios and LEDs after the tour (build/bin/simctl state)"
build/bin/simctl state wifi | grep -o '"radios":.*"wps":{[^}]*}'
build/bin/simctl state app_m | grep -o '"leds":\[[^]]*\]'

# The discs after the rename, the events the event centre took, the telephone lines, and the
# plug-in's own line in the platform trace (level 0, no file, flag 3: written as it stands).
echo
echo "== discs, events, telephone lines (build/bin/simctl state) and the plug-in's trace line"
build/bin/simctl state usb_mngt | grep -o '{"name":"[^"]*","fsType":"[^"]*","mount":"[^"]*"'
build/bin/simctl state eventcenter | grep -o '"events":\[.*\]'
build/bin/simctl state voice | grep -o '"potsLines":\[[^]]*\]'
grep -F 'demo plug-in' "$trace"

# The same gateway seen from the platform library alone: every simulated service answers.
echo
echo "== platform tour (build/bin/gatewaytour)"
build/bin/gatewaytour
