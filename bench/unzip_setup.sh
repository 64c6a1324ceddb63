#!/bin/sh
# Prepares the archives that unzip_bench extracts, in the directory given as
# $1 (default build/bench/unzip-corpus): the JDK source archive, guava.jar, the
# pip wheel, and an archive of two large binaries made with `zip -6`. The
# archives come from Debian packages installed here; none is committed. Also
# installs the peers the benchmark runs (Info-ZIP unzip, bsdtar).
set -eu

corpus=${1:-build/bench/unzip-corpus}
packages="openjdk-17-source libguava-java python3-pip-whl unzip libarchive-tools zip libllvm14 libllvm15"

missing=""
for p in $packages; do
  dpkg-query -W -f '${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  $sudo apt-get install -y --no-install-recommends $missing
fi

mkdir -p "$corpus"
ln -sf "$(readlink -f /usr/lib/jvm/java-17-openjdk-amd64/lib/src.zip)" "$corpus/jdk-src.zip"
ln -sf "$(readlink -f /usr/share/java/guava.jar)" "$corpus/guava.jar"
ln -sf "$(ls /usr/share/python-wheels/pip-*.whl | head -n 1)" "$corpus/pip.whl"
if [ ! -f "$corpus/big-binaries.zip" ]; then
  zip -6 -j -q "$corpus/big-binaries.zip" \
    /usr/lib/x86_64-linux-gnu/libLLVM-14.so.1 /usr/lib/x86_64-linux-gnu/libLLVM-15.so.1
fi
ls -lL "$corpus"
