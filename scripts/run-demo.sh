#!/usr/bin/env bash
# Builds the library and the example host, then runs the host.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target demo
build/release/examples/demo "$@"
