#!/usr/bin/env bash
# Checks that every C and C++ file in the repository is as clang-format 14
# writes it with the root .clang-format, and lists those that are not. With
# `fix` as the argument, rewrites them instead. The version is pinned: another
# clang-format may format the same file differently.
set -euo pipefail
cd "$(dirname "$0")/.."
format=clang-format-14
if ! command -v "$format" >/dev/null; then
  echo "$format is missing (scripts/install-deps.sh installs it)" >&2
  exit 1
fi
mapfile -t files < <(git ls-files '*.c' '*.cc' '*.cpp' '*.h' '*.hpp')
if [[ "${1:-}" == fix ]]; then
  "$format" -i "${files[@]}"
  exit 0
fi
status=0
for file in "${files[@]}"; do
  if ! "$format" --dry-run --Werror "$file" >/dev/null 2>&1; then
    echo "not formatted: $file"
    status=1
  fi
done
exit "$status"
