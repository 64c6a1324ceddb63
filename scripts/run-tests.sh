#!/usr/bin/env bash
# Builds the library and its tests under one preset (release unless named:
# debug, asan, tsan, or win64 and win32 to build for Windows and run under
# Wine) and runs every test. CI=true makes warnings errors.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-release}"
scripts/install-deps.sh
# CI builds with warnings as errors; a local build only shows them.
werror=OFF
[[ "${CI:-}" == true ]] && werror=ON
cmake --preset "$preset" -DCMAKE_COMPILE_WARNING_AS_ERROR="$werror" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
