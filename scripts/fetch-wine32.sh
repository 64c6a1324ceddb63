#!/usr/bin/env bash
# Usage: fetch-wine32.sh DEST
#
# Puts Debian's 32-bit Wine (wine32:i386 and libwine:i386, of the same version
# as the installed wine64) unpacked in DEST/root, for the 32-bit Windows build
# to run its tests and demo: the loader is DEST/root/usr/lib/wine/wine. Does
# nothing when it is already there.
#
# Without the 32-bit FreeType each process prints that Wine found no fonts, on
# its standard error; with Debian's libfreetype6:i386 beside it, gdi32 faulted
# in message-window tests. The message is left.
#
# Debian's way would be `dpkg --add-architecture i386` and `apt-get install
# wine32:i386`, but on these machines the i386 index of the security archive
# cannot be fetched, so apt cannot resolve the i386 twins of the amd64
# libraries it holds. Nothing of the system is needed beyond libc6-i386 (the
# 32-bit C library, an amd64 package): the packages are downloaded with an apt
# of their own (scripts/private-apt.sh), checked by apt against the signed
# archive, and unpacked here, never installed. wine64's wineserver serves the
# 32-bit loader.
set -euo pipefail

[[ $# -eq 1 ]] || { echo "usage: $0 DEST" >&2; exit 2; }
dest=$(mkdir -p "$1" && cd "$1" && pwd)
loader="$dest/root/usr/lib/wine/wine"

[[ -x "$loader" ]] && exit 0

# Several build trees may configure at once; one fetches, the others wait.
exec 9>"$dest/.lock"
flock 9
[[ -x "$loader" ]] && exit 0

version=$(dpkg-query -W -f='${Version}' wine64 2>/dev/null || true)
[[ -n "$version" ]] || { echo "$0: wine64 is not installed (scripts/install-deps.sh)" >&2; exit 1; }

source "$(dirname "$0")/private-apt.sh"
private_apt_setup "$dest/apt" deb i386

# An index that cannot be fetched (the security archive's i386 one, see above)
# is left out; the download below then finds the pinned version or fails.
apt-get "${private_apt_options[@]}" -qq update 2>/dev/null || true
download="$dest/download"
rm -rf "$download"
mkdir -p "$download"
(cd "$download" &&
  apt-get "${private_apt_options[@]}" -qq download "wine32:i386=$version" "libwine:i386=$version")

# Unpack beside the final place, then rename, so that an interrupted run never
# leaves a half tree that the check at the top would take for a whole one.
rm -rf "$dest/root.partial"
mkdir -p "$dest/root.partial"
for package in "$download"/*.deb; do
  dpkg-deb -x "$package" "$dest/root.partial"
done
rm -rf "$dest/root" "$download"
mv "$dest/root.partial" "$dest/root"
