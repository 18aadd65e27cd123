#!/usr/bin/env bash
# Configures and builds one flavour: build.sh <dir> [extra cmake args...]
set -euo pipefail
cd "$(dirname "$0")/.."
dir=$1
shift
cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
cmake --build "$dir"
