#!/usr/bin/env bash
# The main job: build, then start vyrd in a fresh sandbox of the default
# phone and serve a few commands.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
root=$(mktemp -d /tmp/vyr-sandbox.XXXXXX)
echo "sandbox: $root"
build/bin/vyrd --root "$root" --quiet-log -c "help" -c "version"
