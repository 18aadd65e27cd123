#!/usr/bin/env bash
# Installs what is missing on a fresh Debian machine. Safe to run again.
set -euo pipefail

packages=(cmake ninja-build g++ clang libclang-rt-14-dev pkg-config git ccache
          libtinyxml2-dev libgtest-dev libgmock-dev libbenchmark-dev libssl-dev
          nlohmann-json3-dev libcli11-dev python3 python3-matplotlib)
# vyrd's prompt: line editing, history and completion.
packages+=(libedit-dev)
missing=()
for p in "${packages[@]}"; do
  # With the arm64 libraries beside them, a bare name is ambiguous to dpkg.
  dpkg -s "$p" >/dev/null 2>&1 || dpkg -s "$p:$(dpkg --print-architecture)" >/dev/null 2>&1 ||
    missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"
fi

# The arm64 stage of the test command: cross compiler, emulator, arm64 libraries.
"$(dirname "$0")/arm64.sh" setup
