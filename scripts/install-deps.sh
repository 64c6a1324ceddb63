#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing, benchmarking and
# fuzzing the library need, on Linux and for Windows (mingw-w64, Wine). Does nothing when they are all present.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  clang libclang-rt-14-dev
  libboost-thread-dev
  zlib1g-dev bzip2
  libicu-dev perl
  libssl-dev
  libgtest-dev libgmock-dev googletest
  libbenchmark-dev libprotobuf-dev protobuf-compiler
  mingw-w64 g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix libz-mingw-w64-dev wine64
)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

sudo=""
[[ $(id -u) -eq 0 ]] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
