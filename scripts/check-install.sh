#!/usr/bin/env bash
# Installs a built tree into a scratch prefix, then builds and runs the example
# module against the installed package, once through find_package(base) and
# once through pkg-config.  Usage: scripts/check-install.sh <build dir>
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "$1" && pwd)"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
cmake -S "$root/examples/consumer" -B "$scratch/consumer" -G Ninja \
  -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
"$scratch/consumer/consumer"

export PKG_CONFIG_PATH="$(dirname "$(find "$scratch/prefix" -name base.pc)")"
libdir="$(pkg-config --variable=libdir base)"
c++ -std=c++17 "$root/examples/consumer/consumer.cpp" -o "$scratch/consumer-pc" \
  $(pkg-config --cflags --libs base) -Wl,-rpath,"$libdir"
"$scratch/consumer-pc" >/dev/null
echo "installed package: find_package and pkg-config both work"
