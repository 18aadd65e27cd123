#!/usr/bin/env bash
# The phone's own processor: cross-builds the plain flavour for arm64 with
# Debian's aarch64 cross compiler and the arm64 libraries installed beside the
# machine's own (multiarch), then runs the whole plain suite under
# qemu-aarch64. Where the machine cannot do that, says why on one line and
# ends with success; VYR_ARM64=0 skips it on purpose.
#
#   scripts/arm64.sh          the test stage (build-arm64/)
#   scripts/arm64.sh setup    installs what the stage needs (from setup.sh)
set -euo pipefail
cd "$(dirname "$0")/.."

# Host tools, the C and C++ runtimes the emulator loads from the multiarch
# root, then the plain build's libraries for arm64 (libedit for vyrd's line
# editing where the build uses it; Google Benchmark is not built here).
host_packages=(g++-aarch64-linux-gnu qemu-user)
arm64_packages=(libc6:arm64 libstdc++6:arm64 libtinyxml2-dev:arm64 libssl-dev:arm64
                libgtest-dev:arm64 libgmock-dev:arm64 libedit-dev:arm64)

installed() {
  [ "$(dpkg-query -W -f='${Status}' "$1" 2>/dev/null)" = "install ok installed" ]
}

missing_packages() {
  local p
  for p in "${host_packages[@]}" "${arm64_packages[@]}"; do
    installed "$p" || echo "$p"
  done
}

skip() {
  echo "arm64 stage skipped: $*"
  exit 0
}

# Only a 64-bit x86 Debian machine with apt cross-builds here.
can_cross() {
  command -v dpkg >/dev/null 2>&1 && command -v apt-get >/dev/null 2>&1 &&
    [ "$(dpkg --print-architecture)" = amd64 ]
}

setup() {
  [ "${VYR_ARM64:-1}" = 0 ] && return 0
  can_cross || return 0
  local missing
  mapfile -t missing < <(missing_packages)
  [ ${#missing[@]} -eq 0 ] && return 0
  local sudo="" added=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    $sudo dpkg --add-architecture arm64
    added=1
  fi
  echo "setup: installing for the arm64 stage ${missing[*]}"
  if $sudo apt-get update -qq &&
      DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"; then
    return 0
  fi
  echo "setup: the arm64 packages could not be installed; the arm64 stage will be skipped"
  # Leave apt as it was when nothing of arm64 came in.
  if [ -n "$added" ] && $sudo dpkg --remove-architecture arm64 2>/dev/null; then
    $sudo apt-get update -qq || true
  fi
}

# The emulator must run an arm64 program that starts a thread, with the
# machine's multiarch root as its library root. Says why when it cannot.
probe() {
  local dir status=0
  dir=$(mktemp -d)
  printf '%s\n' '#include <thread>' \
    'int main() { int v = 1; std::thread t([&v] { v = 0; }); t.join(); return v; }' \
    >"$dir/probe.cpp"
  if ! aarch64-linux-gnu-g++ -std=c++20 -pthread -o "$dir/probe" "$dir/probe.cpp" >/dev/null 2>&1; then
    echo "the aarch64 cross compiler cannot build a program"
    status=1
  elif ! timeout 60 qemu-aarch64 -L / "$dir/probe" >/dev/null 2>&1; then
    echo "qemu-aarch64 cannot run an arm64 program here"
    status=1
  fi
  rm -rf "$dir"
  return $status
}

stage() {
  [ "${VYR_ARM64:-1}" = 0 ] && skip "VYR_ARM64=0"
  can_cross || skip "not a Debian amd64 machine with apt"
  local missing
  mapfile -t missing < <(missing_packages)
  [ ${#missing[@]} -eq 0 ] || skip "missing ${missing[*]} (scripts/setup.sh installs them)"

  local why
  why=$(probe) || skip "$why"

  local start=$SECONDS
  scripts/build.sh build-arm64 -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVYR_BENCH=OFF
  echo "-- arm64 build: $((SECONDS - start)) s"
  start=$SECONDS
  (cd build-arm64 && ctest --output-on-failure -j "$(nproc)")
  echo "-- arm64 suite under qemu-aarch64: $((SECONDS - start)) s"
}

case "${1:-}" in
  setup) setup ;;
  "") stage ;;
  *)
    echo "usage: scripts/arm64.sh [setup]" >&2
    exit 2
    ;;
esac
