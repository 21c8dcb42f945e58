# Shared by the load and walk benchmarks: building the Release programs, and the processes a
# benchmark starts, each remembered and stopped when the script ends.
#   Set ROOT and BUILD before sourcing; WORK is the benchmark's scratch folder (kept with
#   KEEP_WORK=1).

# bench_build NAME TARGET...: builds the targets in BUILD (Release) unless LOAD_BUILD=0.
bench_build() {
  local name=$1; shift
  [ "${LOAD_BUILD:-1}" != 0 ] || return 0
  if [ ! -f "$BUILD/build.ninja" ]; then
    cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DLUMO_BENCH=ON >/dev/null
  fi
  if ! cmake --build "$BUILD" -j2 --target "$@" >"$BUILD/$name-build.log" 2>&1; then
    tail -30 "$BUILD/$name-build.log"
    echo "$name: build failed (whole log in $BUILD/$name-build.log)" >&2
    exit 1
  fi
}

# bench_work PREFIX: the scratch folder, and the clean-up of everything start() ran.
bench_work() {
  WORK=$(mktemp -d "/tmp/$1-XXXXXX")
  PIDS=()
  trap bench_cleanup EXIT
  trap 'exit 130' INT TERM
}
bench_cleanup() {
  local pid
  for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${PIDS[@]}"; do wait "$pid" 2>/dev/null || true; done
  [ -n "${KEEP_WORK:-}" ] || rm -rf "$WORK"
}

start() {  # start LOG COMMAND...: runs in the background, remembered for clean-up
  local log=$1; shift
  "$@" >"$log" 2>&1 &
  PIDS+=($!)
  LAST_PID=$!
}
stop() {  # stop PID
  kill "$1" 2>/dev/null || true
  wait "$1" 2>/dev/null || true
}
