#!/usr/bin/env bash
# The contract build with one more unit that calls a host-platform function include/ does not
# declare (uses_host_function.cpp): it must fail, and at the link, naming that function.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
out=$(bash "$here/../../scripts/cross.sh" contract --extra "$here/uses_host_function.cpp" 2>&1)
rc=$?
printf '%s\n' "$out"
if [ "$rc" -eq 0 ]; then
  echo "FAIL: the contract build linked a unit that calls zxhost::bus_dir()" >&2
  exit 1
fi
if ! grep -q "undefined reference to \`zxhost::bus_dir" <<<"$out"; then
  echo "FAIL: the contract build failed, but not because zxhost::bus_dir() is undefined" >&2
  exit 1
fi
if grep -qE '\.(cpp|h|c):[0-9]+:[0-9]+: (fatal )?error:' <<<"$out"; then
  echo "FAIL: a unit did not compile (the link itself must be what refuses the call)" >&2
  exit 1
fi
echo "the link refused zxhost::bus_dir(), which include/ does not declare"
