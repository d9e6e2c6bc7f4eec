#!/usr/bin/env bash
# Configures and builds one configuration: scripts/build.sh [release|asan]
set -euo pipefail
cd "$(dirname "$0")/.."
kind=${1:-release}
case "$kind" in
  release) cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
           cmake --build build ;;
  asan)    cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZX_SANITIZE=ON -DZX_BENCH=OFF >/dev/null
           cmake --build build-asan ;;
  *) echo "usage: $0 [release|asan]" >&2; exit 2 ;;
esac
