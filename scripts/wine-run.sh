#!/usr/bin/env bash
# Runs a Windows executable under Wine: `wine-run.sh LOADER PREFIX program
# args...`, with LOADER Wine's 64-bit or 32-bit loader and PREFIX a prefix made
# on first use (WINEARCH, set by the caller, says which kind), with Wine's own
# diagnostics silenced. The build's cross-compiling emulator calls it.
set -euo pipefail
loader="$1"
export WINEPREFIX="$2"
shift 2
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
    "$loader" wineboot --init </dev/null >/dev/null 2>&1 9>&-
  fi
  # No display: the null graphics driver, set once in a new prefix. Left to
  # find its own, the 32-bit Wine's desktop process fails to start without
  # ending, every program that makes a window waits 10 s for it and starts
  # another, and a suite leaves hundreds of them behind.
  if [[ ! -f "$WINEPREFIX/.graphics-null" ]]; then
    "$loader" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f \
      </dev/null >/dev/null 2>&1 9>&-
    touch "$WINEPREFIX/.graphics-null"
  fi
) 9>"$WINEPREFIX.lock"
exec "$loader" "$@"
