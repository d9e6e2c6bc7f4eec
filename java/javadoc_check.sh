#!/usr/bin/env bash
# The reference of the Java classes is complete: javadoc's checker (-Xdoclint:all, warnings as
# errors) passes over the classes, so every native documents each parameter and its return.
# Then the check proves it can fail: a copy of the sources with one @param line and one @return
# line taken out must be refused, naming what is missing.
#
#   javadoc_check.sh --javadoc PATH --source DIR --work DIR
set -euo pipefail

javadoc=""
source_dir=""
work=""
while [[ $# -gt 0 ]]; do
  case "$1" in
    --javadoc) javadoc="$2"; shift 2 ;;
    --source) source_dir="$2"; shift 2 ;;
    --work) work="$2"; shift 2 ;;
    *) echo "javadoc_check.sh: unknown argument $1" >&2; exit 2 ;;
  esac
done
[[ -x "$javadoc" && -d "$source_dir" && -n "$work" ]] || {
  echo "usage: javadoc_check.sh --javadoc PATH --source DIR --work DIR" >&2
  exit 2
}

rm -rf "$work"
mkdir -p "$work"

# The five classes whose natives the bridge implements, and the argument classes of send.
classes=(
  com/zentrix/nodalis/deviceservice/entity/JNINativeMethods.java
  com/zentrix/nodalis/deviceservice/entity/VpnTunnel.java
  com/zentrix/nodalis/deviceservice/entity/DnsForwardEntry.java
  com/zentrix/nodalis/deviceservice/entity/TrafficMonitoringRequest.java
  com/zentrix/nodalis/deviceservice/impl/BaseServiceJNIMethods.java
  com/zentrix/nodalis/deviceservice/opco/wap/velm/jni/IBundleManageServiceJNI.java
  com/zentrix/nodalis/deviceservice/custom/fileservice/ZxUnixFileSystem.java
  com/zentrix/nodalis/deviceservice/custom/expt/ZxFileUtils.java
)

failed=0
fail() {
  echo "FAIL: $*" >&2
  failed=1
}

# Runs the checker over the sources under $1; its messages go to $2. The exit status is javadoc's.
check() {
  local root="$1" log="$2" files=()
  for c in "${classes[@]}"; do files+=("$root/$c"); done
  "$javadoc" -Xdoclint:all -Werror -Xmaxwarns 10000 -Xmaxerrs 10000 -quiet \
    -d "$work/out-$(basename "$log" .log)" "${files[@]}" >"$log" 2>&1
}

for c in "${classes[@]}"; do
  [[ -f "$source_dir/$c" ]] || fail "$c is missing"
done

# 1. The sources as they stand: no warning, no error.
if check "$source_dir" "$work/sources.log"; then
  if grep -q -E 'warning|error' "$work/sources.log"; then
    fail "javadoc passed but reported:"
    cat "$work/sources.log" >&2
  fi
else
  fail "the documentation of the Java classes is incomplete:"
  cat "$work/sources.log" >&2
fi

# Every native of the five classes carries a comment of its own (doclint checks each one's
# @param and @return); count them so that a class left out of the list above shows.
natives=$(cd "$source_dir" && cat "${classes[@]}" | grep -c -E '^\s*public (static )?native ')
if [[ "$natives" -ne 90 ]]; then
  fail "expected the 90 natives of the five classes, found $natives"
fi

# 2. The checker refuses a native whose parameter or return is undocumented.
copy="$work/mutated"
mkdir -p "$copy"
cp -r "$source_dir/." "$copy/"
base="$copy/com/zentrix/nodalis/deviceservice/impl/BaseServiceJNIMethods.java"
grep -q -E '@param timeOut ' "$base" || fail "usbRead documents no timeOut to take out"
grep -q -E '@return the LOID ' "$base" || fail "sysGetLoid documents no return to take out"
sed -i -e '/@param timeOut /d' -e '/@return the LOID /d' "$base"
if check "$copy" "$work/mutated.log"; then
  fail "javadoc accepted a native without @param timeOut and one without @return"
else
  grep -q 'no @param for timeOut' "$work/mutated.log" || fail "the missing @param timeOut was not named"
  grep -q 'no @return' "$work/mutated.log" || fail "the missing @return was not named"
fi

if [[ $failed -ne 0 ]]; then
  exit 1
fi
echo "javadoc: ${#classes[@]} classes, $natives natives documented; an undocumented parameter and return are refused"
