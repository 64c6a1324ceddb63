#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing, benchmarking and
# fuzzing the library need, on Linux and for Windows (mingw-w64, Wine), and
# unpacks the 32-bit Wine into build/wine32 (scripts/fetch-wine32.sh). Does
# nothing when all of it is there.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
  build-essential cmake ninja-build pkg-config
  clang libclang-rt-14-dev clang-format-14 clang-tidy-14
  libboost-thread-dev
  zlib1g-dev bzip2
  libicu-dev perl
  libssl-dev
  libgtest-dev libgmock-dev googletest
  libbenchmark-dev libprotobuf-dev protobuf-compiler
  mingw-w64 g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix libz-mingw-w64-dev wine64
  libc6-i386
)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$package")
done
if [[ ${#missing[@]} -gt 0 ]]; then
  sudo=""
  [[ $(id -u) -eq 0 ]] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

scripts/fetch-wine32.sh build/wine32
