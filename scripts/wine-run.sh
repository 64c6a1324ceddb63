#!/usr/bin/env bash
# Runs a Windows executable under Wine, in the prefix given as the first
# argument (made on first use) with Wine's own diagnostics silenced. The build
# uses it as its cross-compiling emulator: `wine-run.sh PREFIX program args...`.
set -euo pipefail
export WINEPREFIX="$1"
shift
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=d;winemenubuilder.exe=d"
# A new prefix takes many seconds to make; tests started at once wait for the
# one that makes it instead of each making their own.
if [[ ! -f "$WINEPREFIX/system.reg" ]]; then
  mkdir -p "$WINEPREFIX"
  (
    flock 9
    [[ -f "$WINEPREFIX/system.reg" ]] || /usr/lib/wine/wine64 wineboot --init >/dev/null 2>&1
  ) 9>"$WINEPREFIX.lock"
fi
# One server outlives the single run, so that the tests of a suite do not each
# pay its start; it ends by itself a minute after the last client.
/usr/lib/wine/wineserver -p60 2>/dev/null || true # fails when one is running already
exec /usr/lib/wine/wine64 "$@"
