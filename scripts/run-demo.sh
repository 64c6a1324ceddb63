#!/usr/bin/env bash
# Builds the library and the example host, then runs the host:
#   scripts/run-demo.sh [win64|win32] [seconds]
# With win64 or win32 the host is built for Windows and runs under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=release
if [[ "${1:-}" == win64 || "${1:-}" == win32 ]]; then
  preset=$1
  shift
fi
scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target demo
if [[ "$preset" != release ]]; then
  "build/$preset/wine-run" "build/$preset/examples/demo.exe" "$@"
else
  build/release/examples/demo "$@"
fi
