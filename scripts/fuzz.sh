#!/usr/bin/env bash
# Builds the fuzz preset and runs every fuzzer in fuzz/ for the given number of
# seconds each (60 unless named), one after the other, starting from its seeds
# in fuzz/corpus/<name>. What a run adds stays in build/fuzz/corpus/<name>;
# with `merge` as the second argument, the additions that reach something the
# seeds do not are then copied into fuzz/corpus/<name> (libFuzzer's -merge=1,
# which keeps every seed). Failing inputs land in build/fuzz/artifacts/. The
# machine may be shared: long runs go under nice.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
merge="${2:-}"
scripts/install-deps.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
mkdir -p build/fuzz/artifacts
status=0
for rules in fuzz/*.cmake; do
  name="$(basename "$rules" .cmake)"
  fuzzer="build/fuzz/fuzz/${name}_fuzz"
  seeds="fuzz/corpus/$name"
  grown="build/fuzz/corpus/$name"
  mkdir -p "$seeds" "$grown"
  options=(-max_total_time="$seconds" -artifact_prefix="build/fuzz/artifacts/$name-")
  if [[ -f "fuzz/$name.dict" ]]; then
    options+=(-dict="fuzz/$name.dict")
  fi
  echo "== $name: $seconds s"
  "$fuzzer" "${options[@]}" "$grown" "$seeds" || status=1
  if [[ "$merge" == merge ]]; then
    "$fuzzer" -merge=1 "$seeds" "$grown"
  fi
done
exit "$status"
