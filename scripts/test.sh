#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: first the release build, then the same
# suites under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:strict_string_checks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
status=0

scripts/build.sh release
echo "== tests (release build)"
ctest --test-dir build -j2 --output-on-failure --timeout 300 || status=1

scripts/build.sh asan
echo "== tests (AddressSanitizer + UndefinedBehaviorSanitizer)"
ctest --test-dir build-asan -j2 --output-on-failure --timeout 600 || status=1

exit $status
