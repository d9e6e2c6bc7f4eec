#!/usr/bin/env bash
# The installed kit on its own: installs the build into a temporary prefix, moves the prefix to
# another directory (so nothing may depend on where it was installed), and then, with a clean
# environment (no LD_LIBRARY_PATH, no ZX_PROFILE) and nothing of the build tree on any path:
#   - checks the tree: what is there and what is not, no file naming the build or source
#     directory, run paths of $ORIGIN only, each program and library resolving the kit's
#     libraries from the moved prefix;
#   - starts the installed gatewaysim, which must serve the installed profile (changed in the
#     moved prefix so that no other profile could give the same answers);
#   - builds a C program against the prefix with pkg-config and with find_package(ZxGateway) and
#     runs both: a feature switch of the installed profile and the LOID over the bus;
#   - compiles the installed demo source against the installed jar, runs it against the installed
#     library (the dynamic loader's record must show the libraries of the prefix), and runs the
#     JUnit class LoidTest with the installed jar, library and gatewaysim.
#
#   check_install.sh --build-dir DIR --source-dir DIR --jdk DIR --tests-jar JAR --junit-jar JAR
#                    --gson-jar JAR
set -euo pipefail

usage() {
  sed -n '16,17p' "$0" | sed 's/^# //' >&2
  exit 2
}
build= source= jdk= tests_jar= junit_jar= gson_jar=
while (($#)); do
  case "$1" in
    --build-dir) build=$2; shift 2 ;;
    --source-dir) source=$2; shift 2 ;;
    --jdk) jdk=$2; shift 2 ;;
    --tests-jar) tests_jar=$2; shift 2 ;;
    --junit-jar) junit_jar=$2; shift 2 ;;
    --gson-jar) gson_jar=$2; shift 2 ;;
    *) usage ;;
  esac
done
for v in build source jdk tests_jar junit_jar gson_jar; do
  [ -n "${!v}" ] || usage
done
build=$(realpath "$build")
source=$(realpath "$source")

work=$(mktemp -d /tmp/zxkit-XXXXXX)
sim_pid=
cleanup() {
  if [ -n "$sim_pid" ]; then kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT

failures=0
mark=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}
# The end of a group of checks: "ok" when none of it failed since the last one.
pass() {
  if ((failures == mark)); then echo "ok: $*"; fi
  mark=$failures
}

# --- install, then move the prefix -------------------------------------------------------------
cmake --install "$build" --prefix "$work/stage" >"$work/install.log"
kit=$work/moved/kit
mkdir -p "$kit"
cp -a "$work/stage/." "$kit/"
rm -rf "$work/stage"
echo "installed and moved to $kit:"
(cd "$kit" && find . | sort | sed 's/^/  /')

# --- the tree ----------------------------------------------------------------------------------
for f in bin/gatewaysim bin/simctl bin/gatewaytour bin/zxmon lib/libzx_kor_basic.so lib/libzxjavabridge.so \
         share/java/zxdeviceservice.jar share/java/zxdeviceservice-sources.jar \
         share/java/zxdeviceservice-javadoc.jar share/zxgateway/profiles/default.json \
         share/zxgateway/examples/demo/com/zentrix/nodalis/demo/BridgeDemo.java \
         include/zxgateway/zx_platform.h include/zxgateway/zx_wire.h include/zxgateway/zx_wire_app_m.h \
         lib/pkgconfig/zxgateway.pc lib/cmake/ZxGateway/ZxGatewayConfig.cmake \
         lib/cmake/ZxGateway/ZxGatewayConfigVersion.cmake lib/cmake/ZxGateway/ZxGatewayTargets.cmake \
         share/doc/zxgateway/README.md share/doc/zxgateway/reference.md; do
  [ -f "$kit/$f" ] || fail "missing $f"
done
# Every header of include/ and wire/ but the tools' catalogue table, which no library of the kit
# implements.
for h in "$source"/include/*.h "$source"/wire/*.h; do
  [ "$(basename "$h")" = zx_wire_catalog.h ] && continue
  [ -f "$kit/include/zxgateway/$(basename "$h")" ] || fail "header $(basename "$h") not installed"
done
[ ! -e "$kit/include/zxgateway/zx_wire_catalog.h" ] || fail "zx_wire_catalog.h installed without its table"
# Nothing of the tests, benchmarks, fuzzers or soak.
if find "$kit" \( -name 'test_*' -o -name '*bench*' -o -name '*fuzz*' -o -name '*soak*' -o -name busprobe \
                  -o -name 'zxbridge_tests*' \) | grep -q .; then
  fail "test, benchmark, fuzzer or soak files installed: $(find "$kit" -name 'test_*' -o -name '*bench*' -o -name '*fuzz*' -o -name '*soak*' -o -name busprobe)"
fi
# The jars: classes, sources, javadoc.
"$jdk/bin/jar" tf "$kit/share/java/zxdeviceservice.jar" >"$work/jar.txt"
grep -qx 'com/zentrix/nodalis/deviceservice/impl/BaseServiceJNIMethods.class' "$work/jar.txt" || fail "jar lacks BaseServiceJNIMethods.class"
"$jdk/bin/jar" tf "$kit/share/java/zxdeviceservice-sources.jar" >"$work/sources.txt"
n_sources=$(grep -c '\.java$' "$work/sources.txt" || true)
n_tree=$(cd "$source/java/src" && find . -name '*.java' | wc -l)
[ "$n_sources" = "$n_tree" ] || fail "sources jar holds $n_sources .java files, java/src $n_tree"
grep -qx 'com/zentrix/nodalis/deviceservice/impl/BaseServiceJNIMethods.java' "$work/sources.txt" || fail "sources jar lacks BaseServiceJNIMethods.java"
"$jdk/bin/jar" tf "$kit/share/java/zxdeviceservice-javadoc.jar" >"$work/javadoc.txt"
grep -qx 'index.html' "$work/javadoc.txt" || fail "javadoc jar lacks index.html"
grep -qx 'com/zentrix/nodalis/deviceservice/impl/BaseServiceJNIMethods.html' "$work/javadoc.txt" || fail "javadoc jar lacks the page of BaseServiceJNIMethods"
pass "tree: $(find "$kit" -type f | wc -l) files, the jars hold classes, $n_sources sources and the javadoc"

# No installed file names the build or the source directory (the build lies inside the sources
# here, so the source directory covers both; both are searched for a build elsewhere).
for dir in "$build" "$source"; do
  if grep -rlF -- "$dir" "$kit" >"$work/named.txt"; then
    fail "files naming $dir: $(tr '\n' ' ' <"$work/named.txt")"
  fi
done
pass "no installed file names $source or $build"

# Run paths: $ORIGIN only; each ELF file resolves the kit's libraries inside the moved prefix.
elves=0
while IFS= read -r f; do
  [ "$(head -c 4 "$f" | od -An -c | tr -d ' ')" = '177ELF' ] || continue
  elves=$((elves + 1))
  readelf -d "$f" >"$work/dyn.txt"
  while IFS= read -r path; do
    IFS=: read -ra parts <<<"$path"
    for p in "${parts[@]}"; do
      case "$p" in
        '$ORIGIN'|'$ORIGIN/'*) ;;
        *) fail "$f: run path entry '$p' is not relative to \$ORIGIN" ;;
      esac
    done
  done < <(sed -n 's/.*(\(RUNPATH\|RPATH\)).*\[\(.*\)\]$/\2/p' "$work/dyn.txt")
  env -i PATH=/usr/bin:/bin ldd "$f" >"$work/ldd.txt" 2>&1 || true
  for lib in libzx_kor_basic.so libzxjavabridge.so; do
    resolved=$(sed -n "s/^\s*$lib => \(.*\) (0x[0-9a-f]*)$/\1/p" "$work/ldd.txt")
    if grep -q "^\s*$lib " "$work/ldd.txt" && [ "$(realpath -m "$resolved")" != "$kit/lib/$lib" ]; then
      fail "$f: $lib does not resolve into $kit/lib: $(grep "$lib" "$work/ldd.txt")"
    fi
  done
  if grep -q "not found" "$work/ldd.txt"; then fail "$f: $(grep 'not found' "$work/ldd.txt")"; fi
done < <(find "$kit" -type f)
programs=$(find "$kit/bin" -type f | wc -l)
[ "$elves" -eq $((programs + 2)) ] || fail "expected the $programs programs of bin/ and 2 libraries as ELF files, found $elves"
resolved=$(env -i PATH=/usr/bin:/bin ldd "$kit/bin/gatewaysim" | sed -n 's/^\s*libzx_kor_basic.so => \(.*\) (0x[0-9a-f]*)$/\1/p')
[ "$(realpath -m "$resolved")" = "$kit/lib/libzx_kor_basic.so" ] \
  || fail "gatewaysim does not take the platform library of the moved prefix: ${resolved:-not found}"
pass "$elves ELF files: run paths of \$ORIGIN only, the kit's libraries resolved in the moved prefix"

# --- the installed gatewaysim with the installed profile ---------------------------------------
# The moved prefix's profile gets a LOID and a feature switch of its own: only that profile gives
# the answers below.
profile=$kit/share/zxgateway/profiles/default.json
sed -i -e 's/"loid": *"[^"]*"/"loid": "ZXKIT-MOVED-0042"/' \
       -e 's/"FT_CWMP_OPCO_RMS": *0/"FT_CWMP_OPCO_RMS": 1/' "$profile"
grep -q '"ZXKIT-MOVED-0042"' "$profile" && grep -q '"FT_CWMP_OPCO_RMS": 1' "$profile" \
  || fail "the installed profile could not be marked"

mkdir -m 700 "$work/bus"
mkdir -p "$work/root" "$work/home"
# The clean environment every installed program runs with.
kitenv=(env -i PATH=/usr/bin:/bin HOME="$work/home" LANG=C.UTF-8 ZX_BUS_DIR="$work/bus" ZX_ROOT="$work/root")

"${kitenv[@]}" "$kit/bin/gatewaysim" >"$work/sim.out" 2>&1 &
sim_pid=$!
for _ in $(seq 100); do
  grep -q "gatewaysim ready" "$work/sim.out" && break
  kill -0 "$sim_pid" 2>/dev/null || break
  sleep 0.1
done
if ! grep -q "gatewaysim ready" "$work/sim.out"; then
  cat "$work/sim.out" >&2
  fail "the installed gatewaysim did not start"
  exit 1
fi
state=$("${kitenv[@]}" "$kit/bin/simctl" state app_m)
grep -q '"ZXKIT-MOVED-0042"' <<<"$state" || fail "app_m does not serve the installed profile's LOID: $state"
pass "the installed gatewaysim serves the profile of the moved prefix (simctl state app_m)"

# --- C programs against the prefix -------------------------------------------------------------
expect_probe() {  # name output-file
  local out=$2
  grep -qx 'FT_CWMP_OPCO_RMS 1' "$out" || fail "$1: the installed profile's feature switch not seen: $(cat "$out")"
  grep -qx 'FT_PLUGIN_PERMISSION_ENABLE 1' "$out" || fail "$1: FT_PLUGIN_PERMISSION_ENABLE not 1: $(cat "$out")"
  grep -qx 'LOID ZXKIT-MOVED-0042' "$out" || fail "$1: LOID over the bus wrong: $(cat "$out")"
}
pc=(env -i PATH=/usr/bin:/bin PKG_CONFIG_PATH="$kit/lib/pkgconfig" pkg-config)
cflags=$("${pc[@]}" --cflags zxgateway)
libs=$("${pc[@]}" --libs zxgateway)
[ "$(realpath "$("${pc[@]}" --variable=jar zxgateway)")" = "$kit/share/java/zxdeviceservice.jar" ] \
  || fail "pkg-config's jar is $("${pc[@]}" --variable=jar zxgateway)"
[ "$(realpath "$("${pc[@]}" --variable=libdir zxgateway)")" = "$kit/lib" ] || fail "pkg-config's libdir is wrong"
# shellcheck disable=SC2086
cc -Wall -Werror -o "$work/probe_pc" "$source/tests/install/kit_probe.c" $cflags $libs -Wl,-rpath,"$kit/lib"
"${kitenv[@]}" "$work/probe_pc" >"$work/probe_pc.out" 2>&1 || fail "pkg-config probe: $(cat "$work/probe_pc.out")"
expect_probe "pkg-config probe" "$work/probe_pc.out"
pass "a C program built with pkg-config zxgateway ($cflags $libs): $(tr '\n' ';' <"$work/probe_pc.out")"

env -i PATH=/usr/bin:/bin HOME="$work/home" cmake -S "$source/tests/install/consumer" -B "$work/consumer" \
  -DCMAKE_PREFIX_PATH="$kit" -DKIT_PROBE_SOURCE="$source/tests/install/kit_probe.c" \
  -DCMAKE_FIND_PACKAGE_NO_PACKAGE_REGISTRY=ON -DCMAKE_C_FLAGS="-Wall -Werror" >"$work/consumer.log" 2>&1 \
  || { cat "$work/consumer.log" >&2; fail "find_package(ZxGateway) project does not configure"; }
env -i PATH=/usr/bin:/bin HOME="$work/home" cmake --build "$work/consumer" >>"$work/consumer.log" 2>&1 \
  || { cat "$work/consumer.log" >&2; fail "find_package(ZxGateway) project does not build"; }
grep -qx "ZxGateway_DIR:PATH=$kit/lib/cmake/ZxGateway" "$work/consumer/CMakeCache.txt" \
  || fail "find_package took $(grep ZxGateway_DIR "$work/consumer/CMakeCache.txt")"
for line in "JAR=$kit/share/java/zxdeviceservice.jar" "LIBRARY_DIR=$kit/lib" "GATEWAYSIM=$kit/bin/gatewaysim" \
            "PROFILE=$profile" "BRIDGE=$kit/lib/libzxjavabridge.so"; do
  grep -qxF "$line" "$work/consumer/kit_paths.txt" || fail "find_package(ZxGateway) does not give $line: $(cat "$work/consumer/kit_paths.txt")"
done
"${kitenv[@]}" "$work/consumer/kit_probe" >"$work/probe_cmake.out" 2>&1 || fail "find_package probe: $(cat "$work/probe_cmake.out")"
expect_probe "find_package probe" "$work/probe_cmake.out"
pass "a C program built with find_package(ZxGateway): $(tr '\n' ';' <"$work/probe_cmake.out")"

# --- the demo: compiled from the installed source against the installed jar --------------------
jar=$kit/share/java/zxdeviceservice.jar
mkdir "$work/demo"
"$jdk/bin/javac" -d "$work/demo" -cp "$jar" $(find "$kit/share/zxgateway/examples/demo" -name '*.java')
mkdir "$work/lddebug"
set +e
"${kitenv[@]}" ZX_TRACE="$work/demo-trace.log" LD_DEBUG=libs LD_DEBUG_OUTPUT="$work/lddebug/ld" \
  "$jdk/bin/java" -Djava.library.path="$kit/lib" -cp "$jar:$work/demo" com.zentrix.nodalis.demo.BridgeDemo \
  >"$work/demo.out" 2>&1
status=$?
set -e
sed 's/^/  demo| /' "$work/demo.out"
[ "$status" -eq 0 ] || fail "the demo ended with status $status"
grep -qE '^JNINativeMethods\.startThread\(\) +0$' "$work/demo.out" || fail "demo: startThread did not answer 0"
grep -qE '^BaseServiceJNIMethods\.sysGetLoid\(\) +ZXKIT-MOVED-0042$' "$work/demo.out" || fail "demo: the LOID of the installed profile did not come back"
grep -qE '^getFeatureSwitch\("FT_PLUGIN_PERMISSION_ENABLE"\) +1$' "$work/demo.out" || fail "demo: feature switch line missing"
# The dynamic loader's record of the JVM: both libraries from the moved prefix, nothing from the build.
cat "$work/lddebug"/ld.* >"$work/lddebug.txt"
grep -q "calling init: $kit/lib/libzxjavabridge.so" "$work/lddebug.txt" || fail "the JVM did not load $kit/lib/libzxjavabridge.so"
grep -q "calling init: $kit/lib/libzx_kor_basic.so" "$work/lddebug.txt" || fail "the JVM did not load $kit/lib/libzx_kor_basic.so"
if grep -qF "$source" "$work/lddebug.txt"; then fail "the JVM looked into $source: $(grep -F "$source" "$work/lddebug.txt" | head -3)"; fi
pass "the demo from the installed source, jar and libraries ($(wc -l <"$work/demo.out") lines)"

kill "$sim_pid" && wait "$sim_pid" 2>/dev/null || true
sim_pid=

# --- one JUnit class against the installed jar, library and gatewaysim -------------------------
set +e
env -i PATH=/usr/bin:/bin HOME="$work/home" LANG=C.UTF-8 bash "$source/java/tests/run_junit.sh" \
  --java "$jdk/bin/java" \
  --classpath "$tests_jar:$jar:$junit_jar:$gson_jar" \
  --libdir "$kit/lib" \
  --gatewaysim "$kit/bin/gatewaysim" \
  --busprobe "$kit/bin/busprobe-is-not-installed" \
  --source "$source" \
  --profile "$profile" \
  com.zentrix.nodalis.bridgetest.LoidTest >"$work/junit.out" 2>&1
status=$?
set -e
sed 's/^/  junit| /' "$work/junit.out"
[ "$status" -eq 0 ] || fail "LoidTest against the installed kit ended with status $status"
succeeded=$(sed -n 's/^\[ *\([0-9]*\) tests successful *\]$/\1/p' "$work/junit.out")
failed=$(sed -n 's/^\[ *\([0-9]*\) tests failed *\]$/\1/p' "$work/junit.out")
if [ -z "$succeeded" ] || [ "$succeeded" -lt 5 ] || [ "$failed" != 0 ]; then
  fail "LoidTest: ${succeeded:-no} tests successful, ${failed:-unknown} failed"
fi
pass "LoidTest with the installed jar, library and gatewaysim: $succeeded tests successful"

if ((failures)); then
  echo "$failures check(s) failed" >&2
  exit 1
fi
echo "the installed kit works on its own"
