#!/usr/bin/env bash
# Builds the library and the example host, then runs the host:
#   scripts/run-demo.sh [win64] [seconds]
# With win64 the host is built for Windows and runs under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=release
if [[ "${1:-}" == win64 ]]; then
  preset=win64
  shift
fi
scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target demo
if [[ "$preset" == win64 ]]; then
  build/win64/wine-run build/win64/examples/demo.exe "$@"
else
  build/release/examples/demo "$@"
fi
