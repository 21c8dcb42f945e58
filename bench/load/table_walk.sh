#!/usr/bin/env bash
# Full walks of a large table, timed: `snmpbulkwalk -v2c -Cr50 -On` of the fixture table
# 1.3.6.1.4.1.47392.99.1.1 (TABLE_ROWS rows of 20 columns, served by lumo-hostd --fixture at
# [200, 1]) through lumo-snmpd-tables, and for comparison walks of net-snmp's snmpd: its
# largest table here (hrSWInstalledTable, one row per installed package), the same amount
# of lumo's table (a second fixture of as many bindings), and net-snmp's whole tree.
#
#   bench/load/table_walk.sh
#
# Every lumo walk is checked binding by binding against the values the fixture defines; a
# wrong, missing or extra binding is printed and makes the script exit 1 once it has
# measured everything. Per walk: wall time, the client's CPU, the server's CPU (lumo-snmpd
# and lumo-hostd apart), and for lumo the bus queries it cost (hostd's request counter,
# zeroed before each walk).
#
# Knobs (environment): TABLE_ROWS (default 10000), WALK_RUNS (walks of each kind, default 3),
# WALK_STRACE=1 for one more walk under `strace -c -f` of the agent, WALK_NETSNMP=0 to leave
# net-snmp out, BUILD (default build-bench), LOAD_BUILD=0 to use the programs already there.
set -euo pipefail

echo "command: bench/load/table_walk.sh${*:+ $*}"

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
BIN=$BUILD/bin
ROWS=${TABLE_ROWS:-10000}
COLUMNS=20  # the table lumo-snmpd-tables declares at 99.1.1
RUNS=${WALK_RUNS:-3}
TABLE=1.3.6.1.4.1.47392.99.1.1
NETSNMP_TABLE=1.3.6.1.2.1.25.6.3  # hrSWInstalledTable

source "$ROOT/bench/load/lib.sh"
bench_build table_walk.sh lumo-snmpd-tables lumoctl lumo-hostd

bench_work lumo-walk
free_port() {
  python3 -c 'import socket; s=socket.socket(socket.AF_INET6, socket.SOCK_DGRAM); s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0); s.bind(("::", 0)); print(s.getsockname()[1])'
}
# Nanoseconds a process and its children still running have spent on a CPU.
cpu_ns() {
  local total=0 pid
  for pid in "$1" $(pgrep -P "$1" || true); do
    total=$((total + $(awk '{print $1}' "/proc/$pid/schedstat" 2>/dev/null || echo 0)))
  done
  echo "$total"
}

FAILED=0
RESULTS=$WORK/walks.tsv
: >"$RESULTS"

# walk NAME PORT ROOT-OID SERVER-PID [HOSTD-PID LUMO_ROOT]: one timed walk, recorded in
# RESULTS; the walk's output stays in $WORK/NAME.txt.
walk() {
  local name=$1 port=$2 oid=$3 server=$4 hostd=${5:-} root=${6:-}
  local out=$WORK/$name.txt times=$WORK/$name.time cpu0 cpu1 h0=0 h1=0 queries=- t0 t1 cu cs
  if [ -n "$hostd" ]; then
    LUMO_ROOT=$root "$BIN/lumoctl" call 200/99 0x990006 >/dev/null
    h0=$(cpu_ns "$hostd")
  fi
  cpu0=$(cpu_ns "$server")
  t0=$(date +%s%N)
  TIMEFORMAT='%U %S'
  { time snmpbulkwalk -v2c -c public -Cr50 -On "127.0.0.1:$port" "$oid" >"$out" 2>"$WORK/$name.err"; } 2>"$times"
  t1=$(date +%s%N)
  cpu1=$(cpu_ns "$server")
  if [ -n "$hostd" ]; then
    h1=$(cpu_ns "$hostd")
    queries=$(LUMO_ROOT=$root "$BIN/lumoctl" call 200/99 get | awk '/0x08990009/ {print $NF}')
  fi
  if [ -s "$WORK/$name.err" ]; then
    echo "table_walk.sh: $name: snmpbulkwalk wrote to standard error:" >&2
    head -5 "$WORK/$name.err" >&2
    FAILED=1
  fi
  # A walk ended by endOfMibView prints it as a line of its own: not a binding.
  local bindings
  bindings=$(grep -vc 'No more variables left in this MIB View' "$out" || true)
  read -r cu cs <"$times"
  printf '%s\t%d\t%d\t%s\t%d\t%d\t%s\n' "$name" "$bindings" $((t1 - t0)) "$cu $cs" \
    $((cpu1 - cpu0)) $((h1 - h0)) "$queries" >>"$RESULTS"
  awk -F'\t' 'END {printf "  %-22s %7d bindings in %6.3f s (%7.0f bindings/s), client CPU %s s, server CPU %.3f s, hostd CPU %.3f s, bus queries %s\n", $1, $2, $3/1e9, $2/($3/1e9), $4, $5/1e9, $6/1e9, $7}' "$RESULTS"
}

# check NAME ROWS: the walk's bindings against the fixture's values, in walk order.
check() {
  python3 - "$WORK/$1.txt" "$2" "$COLUMNS" "$TABLE" <<'PY' || FAILED=1
import sys
path, rows, columns, table = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4]
def value(r, c):
    if c == 1:
        return "INTEGER: %d" % r
    if c % 2 == 0:
        return 'STRING: "r%dc%d"' % (r, c)
    return "Gauge32: %d" % ((r * 100 + c) & 0xFFFFFFFF)
want = [".%s.%d.%d = %s" % (table, c, r, value(r, c)) for c in range(1, columns + 1) for r in range(1, rows + 1)]
got = [l.rstrip("\n") for l in open(path) if "No more variables left in this MIB View" not in l]
wrong = [(i, w, g) for i, (w, g) in enumerate(zip(want, got)) if w != g]
if not wrong and len(got) == len(want):
    sys.exit(0)
print("  WRONG: %d bindings expected, %d walked, %d differ" % (len(want), len(got), len(wrong)))
for i, w, g in wrong[:5]:
    print("    binding %d: expected %s, got %s" % (i + 1, w, g))
for w in want[len(got):len(got) + 3]:
    print("    missing: %s" % w)
for g in got[len(want):len(want) + 3]:
    print("    extra: %s" % g)
sys.exit(1)
PY
}

# lumo_server ROWS: lumo-hostd serving a ROWS x 20 fixture at [200, 1] and lumo-snmpd-tables
# in front of it; sets PORT, AGENT, HOSTD, LROOT.
lumo_server() {
  LROOT=$(mktemp -d "$WORK/root-XXXXXX")
  python3 "$ROOT/tools/make-table-fixture" --path 200/1 --rows "$1" --columns "$COLUMNS" -o "$LROOT/table.json"
  LUMO_ROOT=$LROOT start "$LROOT/hostd.log" "$BIN/lumo-hostd" --fixture "$LROOT/table.json"
  HOSTD=$LAST_PID
  for _ in $(seq 200); do
    LUMO_ROOT=$LROOT "$BIN/lumoctl" --timeout 200 call 200/99 get >/dev/null 2>&1 && break
    sleep 0.05
  done
  PORT=$(free_port)
  LUMO_ROOT=$LROOT LUMO_SNMP_PORT=$PORT start "$LROOT/agent.log" "$BIN/lumo-snmpd-tables"
  AGENT=$LAST_PID
  for _ in $(seq 100); do
    LUMO_ROOT=$LROOT "$BIN/lumoctl" --timeout 200 call 34/0 get >/dev/null 2>&1 && break
    sleep 0.05
  done
  LUMO_ROOT=$LROOT "$BIN/lumoctl" call 34/0 set 0x00000001=yes >/dev/null
  for _ in $(seq 100); do
    snmpget -v2c -c public -t 0.2 -r 0 "127.0.0.1:$PORT" "$TABLE.1.1" >/dev/null 2>&1 && return 0
    sleep 0.05
  done
  echo "table_walk.sh: lumo-snmpd-tables on port $PORT does not answer" >&2
  exit 1
}

echo "walks of $((ROWS * COLUMNS)) bindings (${ROWS} rows x ${COLUMNS} columns), $RUNS of each kind"
echo "lumo-snmpd-tables + lumo-hostd, $TABLE:"
lumo_server "$ROWS"
BIG_AGENT=$AGENT BIG_ROOT=$LROOT BIG_PORT=$PORT BIG_HOSTD=$HOSTD
for run in $(seq "$RUNS"); do
  walk "lumo-$run" "$BIG_PORT" "$TABLE" "$BIG_AGENT" "$BIG_HOSTD" "$BIG_ROOT"
  check "lumo-$run" "$ROWS"
done

if [ "${WALK_STRACE:-0}" != 0 ]; then
  echo "  system calls of lumo-snmpd-tables during one more walk (strace -c -f):"
  strace -c -f -p "$BIG_AGENT" -o "$WORK/strace.txt" &
  tracer=$!
  sleep 0.5  # attached
  snmpbulkwalk -v2c -c public -Cr50 -On "127.0.0.1:$BIG_PORT" "$TABLE" >"$WORK/strace-walk.txt"
  kill -INT "$tracer"
  wait "$tracer" || true
  sed 's/^/    /' "$WORK/strace.txt"
fi
stop "$BIG_AGENT"
stop "$BIG_HOSTD"

if [ "${WALK_NETSNMP:-1}" != 0 ]; then
  echo "net-snmp snmpd:"
  NPORT=$(free_port)
  mkdir -p "$WORK/net-snmp"
  printf 'agentaddress udp:127.0.0.1:%s\nrocommunity public 127.0.0.1\n' "$NPORT" >"$WORK/snmpd.conf"
  SNMP_PERSISTENT_DIR=$WORK/net-snmp MIBS='' start "$WORK/snmpd.log" /usr/sbin/snmpd -f -Lo -C -c "$WORK/snmpd.conf"
  NPID=$LAST_PID
  for _ in $(seq 100); do
    snmpget -v2c -c public -t 0.2 -r 0 "127.0.0.1:$NPORT" 1.3.6.1.2.1.1.1.0 >/dev/null 2>&1 && break
    sleep 0.05
  done
  # One walk of everything first: net-snmp fills its caches (packages, processes) on demand.
  snmpbulkwalk -v2c -c public -Cr50 -On "127.0.0.1:$NPORT" .1.3.6.1 >/dev/null
  for run in $(seq "$RUNS"); do walk "net-snmp-table-$run" "$NPORT" "$NETSNMP_TABLE" "$NPID"; done
  for run in $(seq "$RUNS"); do walk "net-snmp-all-$run" "$NPORT" .1.3.6.1 "$NPID"; done
  stop "$NPID"

  # lumo's table cut to as many bindings as net-snmp's largest table had.
  small=$(awk -F'\t' '$1 == "net-snmp-table-1" {print $2}' "$RESULTS")
  small_rows=$(((small + COLUMNS - 1) / COLUMNS))
  echo "lumo-snmpd-tables + lumo-hostd, $TABLE with $small_rows rows ($((small_rows * COLUMNS)) bindings, as many as net-snmp's table):"
  lumo_server "$small_rows"
  for run in $(seq "$RUNS"); do
    walk "lumo-small-$run" "$PORT" "$TABLE" "$AGENT" "$HOSTD" "$LROOT"
    check "lumo-small-$run" "$small_rows"
  done
  stop "$AGENT"
  stop "$HOSTD"
fi

echo
python3 - "$RESULTS" <<'PY'
import sys
from statistics import median
rows = [l.rstrip("\n").split("\t") for l in open(sys.argv[1]) if l.strip()]
kinds = {}
for name, bindings, ns, client, server, hostd, queries in rows:
    kind = name.rsplit("-", 1)[0]
    cu, cs = (float(x) for x in client.split())
    kinds.setdefault(kind, []).append((int(bindings), int(ns) / 1e9, cu + cs, int(server) / 1e9, int(hostd) / 1e9, queries))
print("| walk | bindings | wall s (median, runs) | bindings/s | client CPU s | server CPU s | hostd CPU s | server CPU us/binding | bus queries |")
print("|---|---:|---:|---:|---:|---:|---:|---:|---:|")
for kind, runs in kinds.items():
    b = runs[0][0]
    wall = median(r[1] for r in runs)
    cpu = median(r[3] for r in runs)
    lumo = runs[0][5] != "-"
    print("| %s | %d | %.3f (%s) | %.0f | %.2f | %.3f | %s | %.2f | %s |" % (
        kind, b, wall, " / ".join("%.3f" % r[1] for r in runs), b / wall if wall else 0,
        median(r[2] for r in runs), cpu, "%.3f" % median(r[4] for r in runs) if lumo else "-",
        cpu * 1e6 / b if b else 0, " / ".join(r[5] for r in runs)))
PY
if [ "$FAILED" != 0 ]; then
  echo "table_walk.sh: a walk was wrong (above)" >&2
  exit 1
fi
