#!/usr/bin/env bash
# Compares the Linux backend's code pages with what Windows (here Wine)
# answers, page by page, byte by byte and pair by pair; the differences that
# remain are listed with their reasons in tests/encoding/code_page_differences.txt.
# Builds what it needs of the release and win64 presets.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --build --preset win64 --target code_page_dump
cmake --build --preset release --target code_page_cross_check
dump=build/win64/code-pages-windows.txt
build/win64/wine-run build/win64/tests/encoding/code_page_dump.exe "$dump"
BASE_WINDOWS_CODE_PAGES="$dump" build/release/tests/encoding/code_page_cross_check
