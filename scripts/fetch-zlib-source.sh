#!/usr/bin/env bash
# Usage: fetch-zlib-source.sh DEST
#
# Puts Debian's zlib source package (upstream 1.2.13, the zlib Debian 12 ships)
# unpacked in DEST/zlib-1.2.13, for the build of contrib/minizip. Does nothing
# when it is already there.
#
# apt-get runs with a source list, state and cache of its own under DEST/apt
# (scripts/private-apt.sh): deb-src entries for the mirrors this machine
# already uses. The system's apt configuration and package lists are left as
# they are. The tarball is checked against a pinned SHA-256 before anything is
# unpacked.
set -euo pipefail

[[ $# -eq 1 ]] || { echo "usage: $0 DEST" >&2; exit 2; }
dest=$(mkdir -p "$1" && cd "$1" && pwd)

package="zlib=1:1.2.13.dfsg-1"
tarball="zlib_1.2.13.dfsg.orig.tar.bz2"
tarball_sha256="71feb7947e3c00ef125f83b79a4e529bde31171e5babe48b391f06758d1ab0a1"
tree="$dest/zlib-1.2.13"

[[ -f "$tree/contrib/minizip/unzip.c" ]] && exit 0

# Several build trees may configure at once; one fetches, the others wait.
exec 9>"$dest/.lock"
flock 9
[[ -f "$tree/contrib/minizip/unzip.c" ]] && exit 0

source "$(dirname "$0")/private-apt.sh"
private_apt_setup "$dest/apt" deb-src

download="$dest/download"
mkdir -p "$download"
if [[ ! -f "$download/$tarball" ]]; then
  apt-get "${private_apt_options[@]}" -qq update
  (cd "$download" && apt-get "${private_apt_options[@]}" -qq source --download-only "$package")
fi

if ! echo "$tarball_sha256  $download/$tarball" | sha256sum --check --quiet -; then
  echo "$0: $tarball does not match its pinned SHA-256; nothing unpacked" >&2
  rm -f "$download/$tarball"
  exit 1
fi

# Unpack beside the final place, then rename, so that an interrupted run never
# leaves a half tree that the check at the top would take for a whole one.
rm -rf "$tree.partial"
mkdir -p "$tree.partial"
tar -xjf "$download/$tarball" -C "$tree.partial" --strip-components=1
mv "$tree.partial" "$tree"
