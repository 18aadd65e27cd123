#!/usr/bin/env bash
# Soak and fault run of the simulated phone: vyrd in a fresh sandbox with file
# logging on, seeded clients switching features, the phone in use, malformed
# input, and faults injected (sensor service death, hub reset, missing
# libraries, log directory deleted, disk full, a hang the watchdog must end).
#
#   scripts/soak.sh [SECONDS] [SEED] [vyr_soak options...]
#
# SECONDS of use (default 180; the watchdog's waits come on top), SEED of the
# plan (default from the clock; printed, so a run can be repeated). Prints a
# table, writes the JSON summary into the sandbox, and exits non-zero when an
# invariant fails. Builds build/ first; with VYR_SOAK_BUILD=DIR it uses the
# vyrd and vyr_soak of that build as they are (scripts/test.sh runs the
# sanitizer build this way).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-180}
seed=${2:-}
shift $(($# > 2 ? 2 : $#))
build=${VYR_SOAK_BUILD:-}
if [ -z "$build" ]; then
  scripts/setup.sh
  scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
  build=build
fi
args=(--seconds "$seconds")
if [ -n "$seed" ]; then
  args+=(--seed "$seed")
fi
exec "$build/bin/vyr_soak" "${args[@]}" "$@"
