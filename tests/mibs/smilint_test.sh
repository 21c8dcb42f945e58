#!/usr/bin/env bash
# smilint -l 4 over every MIB module in mibs/, with the test stand-ins of the IETF base
# modules (tests/mibs/base) as the only other modules in its path. Any line smilint prints
# about one of our modules fails the test; smilint's exit status says nothing about errors.
# $1: the directory of our modules, $2: the directory of the stand-ins.
set -euo pipefail
mibs=${1:?directory of the MIB modules}
base=${2:?directory of the base modules}
if ! command -v smilint >/dev/null; then
  echo "SKIP: smilint is not installed (Debian package smitools); the MIB modules are not checked"
  exit 77
fi
failed=0
checked=0
for file in "$mibs"/*.txt; do
  name=$(basename "$file" .txt)
  [ "$name" != CMakeLists ] || continue
  # Imports are found by file name, so every module must live in a file named after it.
  declared=$(awk '$2 == "DEFINITIONS" { print $1; exit }' "$file")
  if [ "$declared" != "$name" ]; then
    echo "FAIL: $file declares module \"$declared\", not $name"; failed=1; continue
  fi
  out=$(SMIPATH="$mibs:$base" smilint -l 4 "$file" 2>&1 || true)
  if [ -n "$out" ]; then echo "FAIL: $name"; echo "$out"; failed=1
  else echo "ok: $name"; fi
  checked=$((checked + 1))
done
[ "$checked" -gt 0 ] || { echo "FAIL: no MIB module in $mibs"; exit 1; }
exit $failed
