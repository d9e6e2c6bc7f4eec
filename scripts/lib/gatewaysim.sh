# Shell helpers of the kit's scripts, sourced, not run.

# start_gatewaysim EXE OUT [ARGS...]: starts the simulated gateway in the background on the bus
# directory of the environment, its output into OUT, and waits (up to 10 s) for its ready line.
# Sets sim_pid. On failure prints what the simulator wrote and returns 1.
start_gatewaysim() {
  local exe=$1 out=$2
  shift 2
  "$exe" "$@" >"$out" 2>&1 &
  sim_pid=$!
  for _ in $(seq 100); do
    grep -q "gatewaysim ready" "$out" && return 0
    kill -0 "$sim_pid" 2>/dev/null || break
    sleep 0.1
  done
  grep -q "gatewaysim ready" "$out" && return 0
  echo "gatewaysim did not start"
  cat "$out"
  return 1
}
