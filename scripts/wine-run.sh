#!/usr/bin/env bash
# Runs a Windows executable under Wine, in the prefix given as the first
# argument (made on first use) with Wine's own diagnostics silenced. The build
# uses it as its cross-compiling emulator: `wine-run.sh PREFIX program args...`.
set -euo pipefail
export WINEPREFIX="$1"
shift
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=d;winemenubuilder.exe=d"
# The first run makes the prefix (many seconds) and every run after a quiet
# minute starts a server; both happen once, under a lock, for tests started at
# once. The server and the prefix's services are started here with their output
# and the lock closed: a daemon that inherited this run's output would keep
# open the pipe of whoever reads it (ctest), which then waits for the daemon
# to end. One server outlives the single run, so that the tests of a suite do
# not each pay its start; it ends by itself a minute after the last client.
mkdir -p "$WINEPREFIX"
(
  flock 9
  if /usr/lib/wine/wineserver -p60 </dev/null >/dev/null 2>&1 9>&-; then
    /usr/lib/wine/wine64 wineboot --init </dev/null >/dev/null 2>&1 9>&-
  fi
) 9>"$WINEPREFIX.lock"
exec /usr/lib/wine/wine64 "$@"
