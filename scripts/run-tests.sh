#!/usr/bin/env bash
# Builds the library and its tests under one preset (release unless named:
# debug, asan, tsan, or win64 to build for Windows and run under Wine) and
# runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-release}"
scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
