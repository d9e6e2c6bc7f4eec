#!/usr/bin/env bash
# Installs the Debian packages the project needs, and only those that are missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config python3 procps
  libjson-c-dev liblz4-dev libzstd-dev zlib1g-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  openjdk-17-jdk-headless junit5 libgoogle-gson-java libeclipse-osgi-java
  clang libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
