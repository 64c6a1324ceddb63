#!/usr/bin/env bash
# Builds the soak program under one preset (release unless named: asan, tsan)
# and runs it at low priority for some minutes (10 unless named). It prints
# what it did and fails if any of its checks failed. Not run by CI.
#   scripts/soak.sh [minutes] [preset]
set -euo pipefail
cd "$(dirname "$0")/.."
minutes="${1:-10}"
preset="${2:-release}"
scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target soak
nice "build/$preset/tests/soak/soak" "$((minutes * 60))"
