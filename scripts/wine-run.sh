#!/usr/bin/env bash
# Runs a Windows executable under Wine, in the prefix given as the first
# argument (made on first use) with Wine's own diagnostics silenced. The build
# uses it as its cross-compiling emulator: `wine-run.sh PREFIX program args...`.
# The program's own folder and the build tree's are on the DLL search path.
set -euo pipefail
export WINEPREFIX="$1"
shift
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=d;winemenubuilder.exe=d"
[[ -d "$WINEPREFIX" ]] || mkdir -p "$WINEPREFIX"
# One server outlives the single run, so that the tests of a suite do not each
# pay its start; it ends by itself a minute after the last client.
/usr/lib/wine/wineserver -p60 2>/dev/null || true  # fails when one is running already
exec /usr/lib/wine/wine64 "$@"
