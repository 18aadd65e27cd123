#!/usr/bin/env bash
# The main job: build what the demo needs (the library, the stand-in
# libraries and vyrd; not the tests), then start vyrd in a fresh sandbox of
# the default phone and play the demo (sim/scenarios/demo.vyrd). It tells its
# story: each step in one line, then the results it brings with the seconds
# since start. Options go to vyrd: -v shows the commands and their replies
# too, --json prints JSON lines instead.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target vyrd
root=$(mktemp -d /tmp/vyr-sandbox.XXXXXX)
echo "sandbox: $root (log: $root/logcat.txt)"
mkdir -p "$root/data"
cp sim/scenarios/demo.csv "$root/data/demo.csv"
form=--human
for arg in "$@"; do
  [ "$arg" = "--json" ] && form=--describe
done
build/bin/vyrd --root "$root" --quiet-log "$form" --script sim/scenarios/demo.vyrd "$@"
