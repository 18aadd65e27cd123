#!/usr/bin/env bash
# The main job: build, then start vyrd in a fresh sandbox of the default
# phone and play the demo (sim/scenarios/demo.vyrd): flip, rotation, back tap
# and posture results appear as JSON lines, each followed by a human line.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
root=$(mktemp -d /tmp/vyr-sandbox.XXXXXX)
echo "sandbox: $root (log: $root/logcat.txt)"
mkdir -p "$root/data"
cp sim/scenarios/demo.csv "$root/data/demo.csv"
build/bin/vyrd --root "$root" --quiet-log --describe --script sim/scenarios/demo.vyrd
