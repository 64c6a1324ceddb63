#!/usr/bin/env bash
# Runs clang-tidy (checks in .clang-tidy) over the library's sources, on the
# compile commands of the release build and, for the Windows files, of the
# win64 build, less the g++-only flags clang does not know. The Windows files
# are read as clang targeting mingw-w64 would compile them, with the C++
# headers of the mingw-w64 g++ that builds them.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --preset win64 >/dev/null
mkdir -p build/tidy build/tidy-win64
gnu_only='s/ -fno-gnu-unique//g; s/ -fno-keep-inline-dllexport//g'
sed "$gnu_only" build/release/compile_commands.json > build/tidy/compile_commands.json
mingw_cxx="$(x86_64-w64-mingw32-g++-posix -print-file-name=include)/c++"
as_clang="clang++ --target=x86_64-w64-mingw32 -isystem $mingw_cxx -isystem $mingw_cxx/x86_64-w64-mingw32"
sed -e "$gnu_only" -e "s#/usr/bin/x86_64-w64-mingw32-g++-posix#$as_clang#" \
  build/win64/compile_commands.json > build/tidy-win64/compile_commands.json
{
  git ls-files 'src/*.cpp' ':!src/platform/win32' | xargs -P"$(nproc)" -n8 clang-tidy -p build/tidy --quiet
  git ls-files 'src/platform/win32/*.cpp' | xargs -P"$(nproc)" -n4 clang-tidy -p build/tidy-win64 --quiet
} 2>/dev/null | tee build/tidy/report.txt
! grep -q 'warning:' build/tidy/report.txt
