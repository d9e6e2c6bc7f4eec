#!/usr/bin/env bash
# The Debian package CPack makes from the install rules: built into a temporary directory, its
# control fields and its files under /usr checked with dpkg-deb.
#
#   check_deb.sh --build-dir DIR
set -euo pipefail
[ "${1:-}" = --build-dir ] && [ -n "${2:-}" ] || { sed -n '5p' "$0" | sed 's/^# //' >&2; exit 2; }
build=$(realpath "$2")
work=$(mktemp -d /tmp/zxdeb-XXXXXX)
trap 'rm -rf "$work"' EXIT

cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work" >"$work/cpack.log" 2>&1 || { cat "$work/cpack.log" >&2; exit 1; }
debs=("$work"/*.deb)
[ "${#debs[@]}" -eq 1 ] && [ -f "${debs[0]}" ] || { echo "no single .deb in $work: ${debs[*]}" >&2; exit 1; }
deb=${debs[0]}
echo "package: $(basename "$deb")"

failures=0
[ "$(dpkg-deb -f "$deb" Package)" = zxgateway-kit ] || { echo "Package is $(dpkg-deb -f "$deb" Package)" >&2; failures=1; }
dpkg-deb -f "$deb" Depends | grep -q 'libjson-c5' || { echo "Depends lacks libjson-c5" >&2; failures=1; }
dpkg-deb -c "$deb" | awk '{print $NF}' | sed 's|^\./|/|' | sort >"$work/files.txt"
sed 's/^/  /' "$work/files.txt"
for f in /usr/bin/gatewaysim /usr/bin/simctl /usr/bin/gatewaytour /usr/lib/libzxjavabridge.so \
         /usr/lib/libzx_kor_basic.so /usr/share/java/zxdeviceservice.jar /usr/share/java/zxdeviceservice-sources.jar \
         /usr/share/java/zxdeviceservice-javadoc.jar /usr/share/zxgateway/profiles/default.json \
         /usr/include/zxgateway/zx_platform.h /usr/include/zxgateway/zx_wire.h /usr/lib/pkgconfig/zxgateway.pc \
         /usr/lib/cmake/ZxGateway/ZxGatewayConfig.cmake; do
  grep -qxF "$f" "$work/files.txt" || { echo "missing from the package: $f" >&2; failures=1; }
done
if grep -E '/(test_|bench|fuzz)|soak|busprobe' "$work/files.txt"; then
  echo "test, benchmark, fuzzer or soak files in the package" >&2
  failures=1
fi
exit "$failures"
