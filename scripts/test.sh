#!/usr/bin/env bash
# Builds and runs the whole test suite: a plain build, then the same suite
# built with AddressSanitizer and UndefinedBehaviorSanitizer (clang) and short
# soak and fault runs on that build (file logging on and off), the threaded
# roads built with ThreadSanitizer, and the fuzz targets for 30 seconds each.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)
fuzz_seconds=${VYR_FUZZ_SECONDS:-30}

echo "== plain build"
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
(cd build && ctest --output-on-failure -j "$jobs")

echo "== arm64 build (cross-built plain flavour, its suite under qemu-aarch64)"
scripts/arm64.sh

echo "== sanitizer build (ASan + UBSan)"
scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DVYR_SANITIZE=ON -DVYR_FUZZ=ON -DVYR_BENCH=OFF
export ASAN_OPTIONS=detect_leaks=0:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
(cd build-asan && ctest --output-on-failure -j "$jobs")

# Both with a slow face library from 11.5 s to 31.5 s (TOF frames at 30 a
# second); the sanitizer's quarantine is kept small there, or the freed
# frames it holds would read as growth.
echo "== soak and fault run (60 s of use, seed 1, sanitizer build, file logging on)"
VYR_SOAK_BUILD=build-asan ASAN_OPTIONS=$ASAN_OPTIONS:quarantine_size_mb=16 \
  scripts/soak.sh 60 1 --root build-asan/soak-sandbox --warmup-ms 15000 --pss-bound-kb 65536
echo "== soak and fault run (45 s of use, seed 1, sanitizer build, file logging off)"
VYR_SOAK_BUILD=build-asan ASAN_OPTIONS=$ASAN_OPTIONS:quarantine_size_mb=16 \
  scripts/soak.sh 45 1 --root build-asan/soak-sandbox-off --warmup-ms 15000 \
  --pss-bound-kb 65536 --logging off

echo "== thread sanitizer build (the threaded roads)"
scripts/build.sh build-tsan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DVYR_TSAN=ON -DVYR_BENCH=OFF
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
(cd build-tsan && ctest --output-on-failure -j "$jobs" \
  -R 'Hub|Sensor|Motion|Posture|Fusion|Gesture|WatchDog|HalFixture|VyrLog|Fmq|Dmd|Dft|Camera|Activity|Touch|FaceTemplate|SosLoad')

echo "== fuzzing (${fuzz_seconds}s each)"
for fuzzer in build-asan/fuzz/fuzz_*; do
  [ -x "$fuzzer" ] || continue
  name=$(basename "$fuzzer")
  corpus=$(mktemp -d)
  seeds="fuzz/corpus/${name#fuzz_}"
  [ -d "$seeds" ] && cp -r "$seeds"/. "$corpus"/
  echo "-- $name"
  log=$(mktemp)
  if ! VYR_LOG_STDERR=0 "$fuzzer" -max_total_time="$fuzz_seconds" -print_final_stats=1 \
      "$corpus" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "$name failed"
    exit 1
  fi
  grep -E '^(#[0-9]+.*DONE|stat::number_of_executed_units)' "$log" || tail -n 3 "$log"
  rm -rf "$corpus" "$log"
done
echo "all test stages passed"
