#!/usr/bin/env bash
# Runs every test: installs dependencies, builds the ordinary build (build/) and the
# AddressSanitizer + UndefinedBehaviorSanitizer build (build-asan/), runs CTest in both,
# then runs each libFuzzer target for a bounded time over its corpus.
#   LUMO_FUZZ_SECONDS  seconds per fuzz target (default 60; 0 skips fuzzing)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
jobs=$(nproc)

tools/install-deps.sh

configure() { # dir, extra cmake args...
  local dir=$1; shift
  cmake -S "$root" -B "$dir" -G Ninja "$@" >/dev/null
}

configure build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$jobs"
configure build-asan -DCMAKE_BUILD_TYPE=Debug -DLUMO_SANITIZE=ON -DLUMO_BENCH=OFF
cmake --build build-asan -j "$jobs"

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
echo "== tests: ordinary build"
(cd build && ctest --output-on-failure -j "$jobs" --timeout 300) || status=1
echo "== tests: sanitizer build"
(cd build-asan && ctest --output-on-failure -j "$jobs" --timeout 600) || status=1

# hex_seeds DIR WORK: each DIR/*.hex (hex octets, '#' comment lines) as a binary seed.
hex_seeds() {
  python3 - "$1" "$2" <<'PY'
import pathlib, sys
src, dst = map(pathlib.Path, sys.argv[1:3])
for f in src.glob("*.hex"):
    text = "".join(l for l in f.read_text().splitlines(True) if not l.startswith("#"))
    (dst / f.stem).write_bytes(bytes.fromhex(text))
PY
}

fuzz_seconds=${LUMO_FUZZ_SECONDS:-60}
if [ "$fuzz_seconds" -gt 0 ] && [ -f fuzz/CMakeLists.txt ]; then
  echo "== fuzzing: ${fuzz_seconds}s per target"
  configure build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMO_FUZZ=ON \
    -DCMAKE_CXX_COMPILER=clang++-14
  cmake --build build-fuzz -j "$jobs"
  for bin in build-fuzz/bin/fuzz_*; do
    [ -x "$bin" ] || continue
    name=$(basename "$bin")
    seeds="fuzz/corpus/${name#fuzz_}"
    work=$(mktemp -d)
    [ -d "$seeds" ] && cp -r "$seeds"/. "$work"/
    # The datagram decoders start from the recorded net-snmp requests, kept once, as hex, in
    # tests/wire/fixtures (CTest replays them there too).
    case $name in fuzz_create_reply | fuzz_instream) hex_seeds tests/wire/fixtures "$work" ;; esac
    # fuzz_v3's seeds are hex too (first octet: seal with the user's keys or not).
    case $name in fuzz_v3) rm -f "$work"/*.hex; hex_seeds fuzz/corpus/v3 "$work" ;; esac
    echo "-- $name"
    if ! "$bin" -max_total_time="$fuzz_seconds" -timeout=10 -rss_limit_mb=2048 \
         -print_final_stats=0 -artifact_prefix="build-fuzz/$name-" "$work" 2>build-fuzz/"$name".log; then
      tail -n 40 build-fuzz/"$name".log
      echo "fuzz: $name found a failure"
      status=1
    fi
    rm -rf "$work"
  done
fi
exit $status
