#!/usr/bin/env bash
# Whole-agent load on this machine: lumo-snmpd against net-snmp's snmpd (the reference) and
# a UDP echo server (the ceiling), each driven by snmp_load over loopback, one server at a
# time. Prints a table of rates and latencies, the ratios lumo/reference and lumo/ceiling,
# and lumo-snmpd's resident memory before and after the load.
#
#   bench/load/run.sh
#
# Knobs (environment): LOAD_SECONDS (measured seconds per run, default 5), LOAD_WARMUP
# (default 1), LOAD_SERVERS (default "lumo lumo+hostd net-snmp echo"), LOAD_SCENARIOS
# (names from the list below, default all), BUILD (default build-bench), LOAD_BUILD=0 to
# use the programs already in BUILD.
set -euo pipefail

echo "command: bench/load/run.sh${*:+ $*}"

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
BIN=$BUILD/bin
SECS=${LOAD_SECONDS:-5}
WARMUP=${LOAD_WARMUP:-1}
SERVERS=${LOAD_SERVERS:-lumo lumo+hostd net-snmp echo}

# The scenarios: name | what it is | snmp_load arguments. The v3 users exist on both agents
# (V3_USERS below); snmp_load builds, encrypts and signs every v3 request afresh.
SCENARIO_LIST=(
  "get-w1|v2c Get sysDescr.0, window 1|--op get --oid 1.3.6.1.2.1.1.1.0 --window 1"
  "get-w32|v2c Get sysDescr.0, window 32|--op get --oid 1.3.6.1.2.1.1.1.0 --window 32"
  "bulk50|v2c GetBulk 1.3.6.1.2.1.1, max-repetitions 50, window 1|--op bulk --oid 1.3.6.1.2.1.1 --max-repetitions 50 --window 1"
  "v3auth-w32|v3 authNoPriv HMAC-SHA-1 Get sysDescr.0, window 32|--op get --oid 1.3.6.1.2.1.1.1.0 --window 32 --version 3 --user loadauth --auth sha --auth-password authpass123"
  "v3priv-w32|v3 authPriv HMAC-SHA-1/AES-128 Get sysDescr.0, window 32|--op get --oid 1.3.6.1.2.1.1.1.0 --window 32 --version 3 --user loadpriv --auth sha --auth-password authpass123 --priv aes --priv-password privpass456"
)
SCENARIOS=${LOAD_SCENARIOS:-$(for s in "${SCENARIO_LIST[@]}"; do printf '%s ' "${s%%|*}"; done)}

# --- build ------------------------------------------------------------------------------
if [ "${LOAD_BUILD:-1}" != 0 ]; then
  if [ ! -f "$BUILD/build.ninja" ]; then
    cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DLUMO_BENCH=ON >/dev/null
  fi
  if ! cmake --build "$BUILD" -j2 --target lumo-snmpd lumoctl lumo-hostd snmp_load udp_echo >"$BUILD/load-build.log" 2>&1; then
    tail -30 "$BUILD/load-build.log"
    echo "run.sh: build failed (whole log in $BUILD/load-build.log)" >&2
    exit 1
  fi
fi

# --- processes we start, and their clean-up -------------------------------------------------
WORK=$(mktemp -d /tmp/lumo-load-XXXXXX)
PIDS=()
cleanup() {
  local pid
  for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${PIDS[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$WORK"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

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

free_port() {
  python3 -c 'import socket; s=socket.socket(socket.AF_INET6, socket.SOCK_DGRAM); s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0); s.bind(("::", 0)); print(s.getsockname()[1])'
}

# Ready once one request gets an answer (any answer: the echo server returns the request).
wait_answer() {  # wait_answer PORT PID
  for _ in $(seq 100); do
    "$BIN/snmp_load" --port "$1" --count 1 --seconds 1 --timeout-ms 200 --json 2>/dev/null |
      grep -q '"replies": 1,' && return 0
    kill -0 "$2" 2>/dev/null || break
    sleep 0.05
  done
  echo "run.sh: server on port $1 does not answer" >&2
  return 1
}

rss_kb() { awk '/^VmRSS:/ {print $2}' "/proc/$1/status"; }
# Nanoseconds the process has run on a CPU: steadier than rates on a shared machine.
cpu_ns() { awk '{print $1}' "/proc/$1/schedstat"; }

RESULTS=$WORK/results.jsonl
: >"$RESULTS"
MEMORY=()

run_scenarios() {  # run_scenarios SERVER PORT PID
  local name args line cpu
  for entry in "${SCENARIO_LIST[@]}"; do
    name=${entry%%|*}
    args=${entry##*|}
    [[ " $SCENARIOS " == *" $name "* ]] || continue
    # shellcheck disable=SC2086  # args is a list of options
    "$BIN/snmp_load" --port "$2" --seconds "$WARMUP" $args >/dev/null
    cpu=$(cpu_ns "$3")
    # shellcheck disable=SC2086
    line=$("$BIN/snmp_load" --port "$2" --seconds "$SECS" --label "$1 $name" --json $args)
    cpu=$(($(cpu_ns "$3") - cpu))
    echo "${line%\}}, \"server_cpu_ns\": $cpu}" >>"$RESULTS"
    tail -1 "$RESULTS" | python3 -c 'import json,sys; r=json.loads(sys.stdin.read()); print("  %-22s %9.0f replies/s  median %7.1f us  p99 %8.1f us  %d timeouts" % (r["label"], r["rate"], r["median_us"], r["p99_us"], r["timeouts"]))'
  done
}

# --- servers ------------------------------------------------------------------------------
run_lumo() {  # run_lumo SERVER-NAME WITH-HOSTD
  local root port agent
  root=$(mktemp -d "$WORK/lumo-root-XXXXXX")
  port=$(free_port)
  if [ "$2" = yes ]; then
    # Host mode: hostd serves this machine's system information at [24, 2].
    LUMO_ROOT=$root start "$WORK/hostd.log" "$BIN/lumo-hostd"
    local hostd=$LAST_PID
    for _ in $(seq 100); do
      LUMO_ROOT=$root "$BIN/lumoctl" --timeout 200 call 24/2 get >/dev/null 2>&1 && break
      sleep 0.05
    done
  fi
  LUMO_ROOT=$root LUMO_SNMP_PORT=$port start "$WORK/agent-$1.log" "$BIN/lumo-snmpd"
  agent=$LAST_PID
  for _ in $(seq 100); do
    LUMO_ROOT=$root "$BIN/lumoctl" --timeout 200 call 34/0 get >/dev/null 2>&1 && break
    sleep 0.05
  done
  LUMO_ROOT=$root "$BIN/lumoctl" call 34/0 set 0x00000001=yes >/dev/null
  LUMO_ROOT=$root "$BIN/lumoctl" snmp community add loadauth security=auth \
    authentication-protocol=sha authentication-password=authpass123 >/dev/null
  LUMO_ROOT=$root "$BIN/lumoctl" snmp community add loadpriv security=priv \
    authentication-protocol=sha authentication-password=authpass123 \
    encryption-protocol=aes encryption-password=privpass456 >/dev/null
  wait_answer "$port" "$agent"
  local idle after
  idle=$(rss_kb "$agent")
  run_scenarios "$1" "$port" "$agent"
  after=$(rss_kb "$agent")
  MEMORY+=("$1: VmRSS idle ${idle} kB, after the load ${after} kB")
  stop "$agent"
  [ "$2" = yes ] && stop "$hostd"
  return 0
}

run_netsnmp() {
  local port conf
  port=$(free_port)
  conf=$WORK/snmpd.conf
  mkdir -p "$WORK/net-snmp"
  cat >"$conf" <<EOF
agentaddress udp:127.0.0.1:$port
rocommunity public 127.0.0.1
createUser loadauth SHA authpass123
createUser loadpriv SHA authpass123 AES privpass456
rouser loadauth auth
rouser loadpriv priv
EOF
  # -C: no configuration but ours; persistent state stays in the work folder.
  SNMP_PERSISTENT_DIR=$WORK/net-snmp MIBS='' start "$WORK/snmpd.log" /usr/sbin/snmpd -f -Lo -C -c "$conf"
  local pid=$LAST_PID
  wait_answer "$port" "$pid"
  run_scenarios net-snmp "$port" "$pid"
  stop "$pid"
}

run_echo() {
  local port
  port=$(free_port)
  start "$WORK/echo.log" "$BIN/udp_echo" --port "$port" --seconds 600
  local pid=$LAST_PID
  wait_answer "$port" "$pid"
  run_scenarios echo "$port" "$pid"
  stop "$pid"
}

echo "measured ${SECS} s per run after ${WARMUP} s of warm-up; servers: $SERVERS"
for server in $SERVERS; do
  echo "$server:"
  case $server in
    lumo) run_lumo lumo no ;;
    lumo+hostd) run_lumo lumo+hostd yes ;;
    net-snmp) run_netsnmp ;;
    echo) run_echo ;;
    *) echo "run.sh: unknown server $server" >&2; exit 2 ;;
  esac
done

# --- table --------------------------------------------------------------------------------
echo
python3 - "$RESULTS" "$SCENARIOS" <<'PY'
import json, sys
rows = [json.loads(l) for l in open(sys.argv[1]) if l.strip()]
scenarios = sys.argv[2].split()
by = {}
servers = []
for r in rows:
    server, scenario = r["label"].rsplit(" ", 1)
    by[(server, scenario)] = r
    if server not in servers:
        servers.append(server)
print("| scenario | server | replies/s | median us | p99 us | timeouts | server CPU us/reply |")
print("|---|---|---:|---:|---:|---:|---:|")
for sc in scenarios:
    for sv in servers:
        r = by.get((sv, sc))
        if r:
            cpu = r["server_cpu_ns"] / 1000.0 / r["replies"] if r["replies"] else 0
            print("| %s | %s | %.0f | %.1f | %.1f | %d | %.2f |" % (sc, sv, r["rate"], r["median_us"], r["p99_us"], r["timeouts"], cpu))
print()
lumos = [s for s in servers if s.startswith("lumo")]
refs = [s for s in ("net-snmp", "echo") if s in servers]

def cpu_per_reply(r):
    return r["server_cpu_ns"] / r["replies"] if r["replies"] else 0

# Ratios by rate (what a manager sees) and by server CPU per reply (what the machine's other
# load disturbs least): above 1 means lumo is ahead.
for title, better in (("rate", lambda a, b: a["rate"] / b["rate"] if b["rate"] else 0),
                      ("server CPU per reply", lambda a, b: cpu_per_reply(b) / cpu_per_reply(a) if cpu_per_reply(a) else 0)):
    if not lumos or not refs:
        break
    head = ["%s/%s" % (l, r) for l in lumos for r in refs]
    print("| ratio by %s | " % title + " | ".join(head) + " |")
    print("|---|" + "---:|" * len(head))
    for sc in scenarios:
        cells = []
        for l in lumos:
            for ref in refs:
                a, b = by.get((l, sc)), by.get((ref, sc))
                cells.append("%.2f" % better(a, b) if a and b else "-")
        print("| %s | " % sc + " | ".join(cells) + " |")
    print()
PY
echo
for line in "${MEMORY[@]}"; do echo "$line"; done
