#!/usr/bin/env bash
# Whole-agent load on this machine: lumo-snmpd against net-snmp's snmpd (the reference) and
# a UDP echo server (the ceiling), each driven by snmp_load over loopback, one server at a
# time. Prints a table of rates, bindings and latencies, the ratios lumo/reference and
# lumo/ceiling, and lumo-snmpd's resident memory before and after the load.
#
#   bench/load/run.sh
#
# Servers: lumo (lumo-snmpd alone), lumo+hostd (with lumo-hostd serving the host),
# lumo+tables (lumo-snmpd-tables with lumo-hostd serving a generated table of TABLE_ROWS
# rows and 20 columns at [200, 1]), net-snmp, echo. Each scenario names the servers it is
# run against; a server none of the chosen scenarios names is not started.
#
# Knobs (environment): LOAD_SECONDS (measured seconds per run, default 5), LOAD_WARMUP
# (default 1), LOAD_SERVERS (default "lumo lumo+hostd lumo+tables net-snmp echo"),
# LOAD_SCENARIOS (names from the list below, default all), TABLE_ROWS (default 10000),
# BUILD (default build-bench), LOAD_BUILD=0 to use the programs already in BUILD, LOAD_WALK=1
# to end with bench/load/table_walk.sh (full walks of the table, timed).
set -euo pipefail

echo "command: bench/load/run.sh${*:+ $*}"

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
BIN=$BUILD/bin
SECS=${LOAD_SECONDS:-5}
WARMUP=${LOAD_WARMUP:-1}
SERVERS=${LOAD_SERVERS:-lumo lumo+hostd lumo+tables net-snmp echo}
TABLE_ROWS=${TABLE_ROWS:-10000}

# The scenarios: name | what it is | servers it is run against | snmp_load arguments.
# @TABLE@ in the arguments is the server's own table column (table_column below). The v3
# users exist on both agents (V3_USERS below); snmp_load builds, encrypts and signs every
# v3 request afresh.
SCENARIO_LIST=(
  "get-w1|v2c Get sysDescr.0, window 1|lumo lumo+hostd net-snmp echo|--op get --oid 1.3.6.1.2.1.1.1.0 --window 1"
  "get-w32|v2c Get sysDescr.0, window 32|lumo lumo+hostd net-snmp echo|--op get --oid 1.3.6.1.2.1.1.1.0 --window 32"
  "bulk50|v2c GetBulk 1.3.6.1.2.1.1, max-repetitions 50, window 1|lumo lumo+hostd net-snmp echo|--op bulk --oid 1.3.6.1.2.1.1 --max-repetitions 50 --window 1"
  "bulk50-table|v2c GetBulk max-repetitions 50 from a table column, window 1|lumo+tables net-snmp echo|--op bulk --oid @TABLE@ --max-repetitions 50 --window 1"
  "bulk50-table-w32|v2c GetBulk max-repetitions 50 from a table column, window 32|lumo+tables net-snmp echo|--op bulk --oid @TABLE@ --max-repetitions 50 --window 32"
  "v3auth-w32|v3 authNoPriv HMAC-SHA-1 Get sysDescr.0, window 32|lumo net-snmp|--op get --oid 1.3.6.1.2.1.1.1.0 --window 32 --version 3 --user loadauth --auth sha --auth-password authpass123"
  "v3priv-w32|v3 authPriv HMAC-SHA-1/AES-128 Get sysDescr.0, window 32|lumo net-snmp|--op get --oid 1.3.6.1.2.1.1.1.0 --window 32 --version 3 --user loadpriv --auth sha --auth-password authpass123 --priv aes --priv-password privpass456"
)

# The column a table scenario starts in: the fixture table's column 2 (10,000 rows, so 50
# repetitions stay in it) for lumo, ifDescr for net-snmp (a few interfaces here, so its 50
# repetitions run on through ifTable's next columns). The echo server returns the request:
# the rate no server can pass at that window on this machine, not a reference for bindings.
table_column() {
  case $1 in
    lumo+tables) echo 1.3.6.1.4.1.47392.99.1.1.2 ;;
    net-snmp | echo) echo 1.3.6.1.2.1.2.2.1.2 ;;
    *) echo "run.sh: $1 has no table" >&2; exit 2 ;;
  esac
}

# True if SERVER runs at least one of the chosen scenarios.
server_needed() {
  local entry rest name servers
  for entry in "${SCENARIO_LIST[@]}"; do
    name=${entry%%|*}
    rest=${entry#*|}; rest=${rest#*|}
    servers=${rest%%|*}
    [[ " $SCENARIOS " == *" $name "* && " $servers " == *" $1 "* ]] && return 0
  done
  return 1
}
SCENARIOS=${LOAD_SCENARIOS:-$(for s in "${SCENARIO_LIST[@]}"; do printf '%s ' "${s%%|*}"; done)}

# --- build ------------------------------------------------------------------------------
source "$ROOT/bench/load/lib.sh"
bench_build run.sh lumo-snmpd lumo-snmpd-tables lumoctl lumo-hostd snmp_load udp_echo

# --- processes we start, and their clean-up -------------------------------------------------
bench_work lumo-load

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
# What the process itself costs: VmRSS counts the shared libraries, which every program on
# the system shares. Pss_Anon is its own heap, stacks and data; the binary's own pages are
# the resident pages mapped from its executable.
pss_anon_kb() { awk '/^Pss_Anon:/ {print $2}' "/proc/$1/smaps_rollup"; }
binary_kb() {
  local exe
  exe=$(readlink "/proc/$1/exe")
  awk -v exe="$exe" '/^[0-9a-f]+-[0-9a-f]+ / {mine = ($6 == exe)} mine && /^Rss:/ {kb += $2}
                     END {print kb + 0}' "/proc/$1/smaps"
}
memory_of() { echo "VmRSS $(rss_kb "$1") kB (Pss_Anon $(pss_anon_kb "$1") kB, binary $(binary_kb "$1") kB)"; }
# Nanoseconds the process has run on a CPU: steadier than rates on a shared machine.
cpu_ns() { awk '{print $1}' "/proc/$1/schedstat"; }

RESULTS=$WORK/results.jsonl
: >"$RESULTS"
MEMORY=()

run_scenarios() {  # run_scenarios SERVER PORT PID
  local name args servers rest line cpu
  for entry in "${SCENARIO_LIST[@]}"; do
    name=${entry%%|*}
    args=${entry##*|}
    rest=${entry#*|}; rest=${rest#*|}
    servers=${rest%%|*}
    [[ " $SCENARIOS " == *" $name "* && " $servers " == *" $1 "* ]] || continue
    [[ $args == *@TABLE@* ]] && args=${args//@TABLE@/$(table_column "$1")}
    # shellcheck disable=SC2086  # args is a list of options
    "$BIN/snmp_load" --port "$2" --seconds "$WARMUP" $args >/dev/null
    cpu=$(cpu_ns "$3")
    # shellcheck disable=SC2086
    line=$("$BIN/snmp_load" --port "$2" --seconds "$SECS" --label "$1 $name" --json $args)
    cpu=$(($(cpu_ns "$3") - cpu))
    echo "${line%\}}, \"server_cpu_ns\": $cpu}" >>"$RESULTS"
    tail -1 "$RESULTS" | python3 -c 'import json,sys; r=json.loads(sys.stdin.read()); print("  %-26s %9.0f replies/s %10.0f bindings/s  median %7.1f us  p99 %8.1f us  %d timeouts" % (r["label"], r["rate"], r["binding_rate"], r["median_us"], r["p99_us"], r["timeouts"]))'
  done
}

# --- servers ------------------------------------------------------------------------------
run_lumo() {  # run_lumo SERVER-NAME WITH-HOSTD [AGENT-PROGRAM]
  local root port agent program=${3:-lumo-snmpd}
  root=$(mktemp -d "$WORK/lumo-root-XXXXXX")
  port=$(free_port)
  if [ "$2" = tables ]; then
    # The table the scenarios read: TABLE_ROWS rows of 20 columns at [200, 1].
    python3 "$ROOT/tools/make-table-fixture" --path 200/1 --rows "$TABLE_ROWS" --columns 20 \
      -o "$WORK/table.json"
    LUMO_ROOT=$root start "$WORK/hostd-tables.log" "$BIN/lumo-hostd" --fixture "$WORK/table.json"
    local hostd=$LAST_PID
    for _ in $(seq 200); do
      LUMO_ROOT=$root "$BIN/lumoctl" --timeout 200 call 200/99 get >/dev/null 2>&1 && break
      sleep 0.05
    done
  elif [ "$2" = yes ]; then
    # Host mode: hostd serves this machine's system information at [24, 2].
    LUMO_ROOT=$root start "$WORK/hostd.log" "$BIN/lumo-hostd"
    local hostd=$LAST_PID
    for _ in $(seq 100); do
      LUMO_ROOT=$root "$BIN/lumoctl" --timeout 200 call 24/2 get >/dev/null 2>&1 && break
      sleep 0.05
    done
  fi
  LUMO_ROOT=$root LUMO_SNMP_PORT=$port start "$WORK/agent-$1.log" "$BIN/$program"
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
  idle=$(memory_of "$agent")
  run_scenarios "$1" "$port" "$agent"
  after=$(memory_of "$agent")
  MEMORY+=("$1: idle $idle; after the load $after")
  stop "$agent"
  [ "$2" != no ] && stop "$hostd"
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
  case $server in
    lumo | lumo+hostd | lumo+tables | net-snmp | echo) ;;
    *) echo "run.sh: unknown server $server" >&2; exit 2 ;;
  esac
  server_needed "$server" || continue
  echo "$server:"
  case $server in
    lumo) run_lumo lumo no ;;
    lumo+hostd) run_lumo lumo+hostd yes ;;
    lumo+tables) run_lumo lumo+tables tables lumo-snmpd-tables ;;
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

def per(r, what):  # server CPU in microseconds per reply or per binding
    n = r[what]
    return r["server_cpu_ns"] / 1000.0 / n if n else 0

# bindings/reply and exceptions/reply tell what a reply held: the echo server returns the
# request's one binding, a GetBulk cut short by endOfMibView holds fewer than asked for.
print("| scenario | server | replies/s | bindings/reply | exceptions/reply | bindings/s | median us"
      " | p99 us | timeouts | server CPU us/reply | server CPU us/binding |")
print("|---|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|")
for sc in scenarios:
    for sv in servers:
        r = by.get((sv, sc))
        if r:
            n = r["replies"] or 1
            print("| %s | %s | %.0f | %.1f | %.1f | %.0f | %.1f | %.1f | %d | %.2f | %.3f |" % (
                sc, sv, r["rate"], r["bindings"] / n, r["exceptions"] / n, r["binding_rate"],
                r["median_us"], r["p99_us"], r["timeouts"], per(r, "replies"), per(r, "bindings")))
print()

# Ratios of every lumo server to every reference that ran the same scenario, by rate and by
# bindings per second (what a manager sees) and by server CPU per reply and per binding (what
# the machine's other load disturbs least): above 1 means lumo is ahead. The echo server's
# one binding a reply is no reference for bindings: "-" there.
def ratio(a, b):
    return "%.2f" % (a / b) if b else "-"

print("| scenario | lumo / reference | replies/s | bindings/s | server CPU per reply | server CPU per binding |")
print("|---|---|---:|---:|---:|---:|")
for sc in scenarios:
    for l in (s for s in servers if s.startswith("lumo")):
        for ref in ("net-snmp", "echo"):
            a, b = by.get((l, sc)), by.get((ref, sc))
            if a and b:
                echo = ref == "echo"
                print("| %s | %s / %s | %s | %s | %s | %s |" % (
                    sc, l, ref, ratio(a["rate"], b["rate"]),
                    "-" if echo else ratio(a["binding_rate"], b["binding_rate"]),
                    ratio(per(b, "replies"), per(a, "replies")),
                    "-" if echo else ratio(per(b, "bindings"), per(a, "bindings"))))
print()
PY
echo
for line in "${MEMORY[@]}"; do echo "$line"; done

if [ "${LOAD_WALK:-0}" != 0 ]; then
  echo
  BUILD=$BUILD LOAD_BUILD=0 TABLE_ROWS=$TABLE_ROWS "$ROOT/bench/load/table_walk.sh"
fi
