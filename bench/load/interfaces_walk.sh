#!/usr/bin/env bash
# Full walks of ifTable and ifXTable over many links, timed, lumo against net-snmp: in a
# network namespace of its own holding loopback and IF_LINKS ifb links (ifb, not dummy:
# some kernels have no dummy driver), `snmpbulkwalk -v2c -Cr50 -Onx` of ifTable
# (1.3.6.1.2.1.2.2) and of ifXTable (1.3.6.1.2.1.31.1.1) against lumo-hostd (host mode) +
# lumo-snmpd, and against net-snmp's snmpd started in the same namespace with a generated
# configuration on another port.
#
#   bench/load/interfaces_walk.sh
#
# Every walk is counted: each column it returns must hold one row per link, with the
# kernel's ifindexes; a walk that misses or repeats a link is printed and makes the script
# exit 1 once everything is measured. Per walk: wall time, the client's CPU and the
# server's CPU (lumo-snmpd and lumo-hostd apart). Before the timed walks each server is
# walked once untimed (net-snmp fills its interface cache on demand).
#
# Knobs (environment): IF_LINKS (link counts, default "1000 10000"), WALK_RUNS (walks of
# each kind, default 3), WALK_NETSNMP=0 to leave net-snmp out, BUILD (default build-bench),
# LOAD_BUILD=0 to use the programs already there, KEEP_WORK=1 to keep the walks' output in
# /tmp/lumo-ifwalk-*.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
BIN=$BUILD/bin
COUNTS=${IF_LINKS:-1000 10000}
RUNS=${WALK_RUNS:-3}
IF_TABLE=1.3.6.1.2.1.2.2
IFX_TABLE=1.3.6.1.2.1.31.1.1
source "$ROOT/bench/load/lib.sh"

if [ -z "${LUMO_IN_NETNS:-}" ]; then
  echo "command: bench/load/interfaces_walk.sh${*:+ $*}"
  bench_build interfaces_walk.sh lumo-snmpd lumo-hostd lumoctl
  if ! unshare -n -m true 2>/dev/null; then
    echo "interfaces_walk.sh: cannot make a network namespace here (needs root)" >&2
    exit 1
  fi
  # A mount namespace too, for a sysfs of this network namespace (net-snmp reads it).
  exec env LUMO_IN_NETNS=1 unshare -n -m bash "$0" "$@"
fi
mount -t sysfs sysfs /sys
ip link set lo up

bench_work lumo-ifwalk
# Nanoseconds a process and its children (hostd serves each program from a process of
# its own) have spent on a CPU, every thread.
cpu_ns() {
  local pid
  for pid in "$1" $(pgrep -P "$1" || true); do cat /proc/"$pid"/task/*/schedstat 2>/dev/null || true; done |
    awk '{t += $1} END {printf "%.0f\n", t}'
}
# The namespace is this script's own: fixed ports are free.
LUMO_PORT=16161
NETSNMP_PORT=16162

FAILED=0
RESULTS=$WORK/walks.tsv
: >"$RESULTS"

# walk NAME LINKS PORT ROOT-OID SERVER-PID [HOSTD-PID]: one timed walk, recorded in
# RESULTS and checked; the walk's output stays in $WORK/NAME.txt.
walk() {
  local name=$1 links=$2 port=$3 oid=$4 server=$5 hostd=${6:-}
  local out=$WORK/$name.txt times=$WORK/$name.time cpu0 cpu1 h0=0 h1=0 t0 t1 cu cs
  [ -z "$hostd" ] || h0=$(cpu_ns "$hostd")
  cpu0=$(cpu_ns "$server")
  t0=$(date +%s%N)
  TIMEFORMAT='%U %S'
  { time snmpbulkwalk -v2c -c public -Cr50 -Onx -t 10 -r 1 "127.0.0.1:$port" "$oid" >"$out" 2>"$WORK/$name.err"; } 2>"$times"
  t1=$(date +%s%N)
  cpu1=$(cpu_ns "$server")
  [ -z "$hostd" ] || h1=$(cpu_ns "$hostd")
  if [ -s "$WORK/$name.err" ]; then
    echo "  $name: snmpbulkwalk wrote to standard error:" >&2
    head -5 "$WORK/$name.err" >&2
    FAILED=1
  fi
  local bindings
  bindings=$(grep -vc 'No more variables left in this MIB View' "$out" || true)
  read -r cu cs <"$times"
  printf '%s\t%d\t%d\t%d\t%s\t%d\t%d\n' "$name" "$links" "$bindings" $((t1 - t0)) "$cu $cs" \
    $((cpu1 - cpu0)) $((h1 - h0)) >>"$RESULTS"
  awk -F'\t' 'END {printf "  %-28s %7d bindings in %6.3f s (%7.0f bindings/s), client CPU %s s, server CPU %.3f s, hostd CPU %.3f s\n", $1, $3, $4/1e9, $3/($4/1e9), $5, $6/1e9, $7/1e9}' "$RESULTS"
  check "$name" "$oid"
}

# check NAME ROOT-OID: every column of the walk holds each link of the namespace once.
check() {
  python3 - "$WORK/$1.txt" "$2" "$WORK/ifindexes" <<'PY' || FAILED=1
import sys
path, table, ids = sys.argv[1], sys.argv[2], sys.argv[3]
want = sorted(int(i) for i in open(ids).read().split())
prefix = "." + table + ".1."
columns, stray = {}, 0
for line in open(path):
    if not line.startswith(prefix):
        stray += "No more variables" not in line
        continue
    column, index = line[len(prefix):].split(" ", 1)[0].split(".")
    columns.setdefault(int(column), []).append(int(index))
bad = [(c, rows) for c, rows in sorted(columns.items()) if rows != want]
if columns and not bad and not stray:
    sys.exit(0)
print("    WRONG: %d links, %d columns walked, %d lines outside the table" % (len(want), len(columns), stray))
for c, rows in bad[:5]:
    missing = sorted(set(want) - set(rows))
    print("    column %d: %d rows, %d links missing (%s), %d repeated" % (
        c, len(rows), len(missing), " ".join(map(str, missing[:5])), len(rows) - len(set(rows))))
sys.exit(1)
PY
}

lumo_start() { # sets LROOT, HOSTD, AGENT
  LROOT=$(mktemp -d "$WORK/root-XXXXXX")
  LUMO_ROOT=$LROOT start "$LROOT/hostd.log" "$BIN/lumo-hostd"
  HOSTD=$LAST_PID
  for _ in $(seq 200); do
    LUMO_ROOT=$LROOT "$BIN/lumoctl" --timeout 500 call 24/2 get >/dev/null 2>&1 &&
      LUMO_ROOT=$LROOT "$BIN/lumoctl" --timeout 500 call 20/0 count >/dev/null 2>&1 && break
    sleep 0.05
  done
  LUMO_ROOT=$LROOT LUMO_SNMP_PORT=$LUMO_PORT start "$LROOT/agent.log" "$BIN/lumo-snmpd"
  AGENT=$LAST_PID
  for _ in $(seq 200); do
    LUMO_ROOT=$LROOT "$BIN/lumoctl" --timeout 500 call 34/0 get >/dev/null 2>&1 && break
    sleep 0.05
  done
  LUMO_ROOT=$LROOT "$BIN/lumoctl" snmp set enabled=yes >/dev/null
  for _ in $(seq 100); do
    snmpget -v2c -c public -t 0.5 -r 0 "127.0.0.1:$LUMO_PORT" 1.3.6.1.2.1.2.1.0 >/dev/null 2>&1 && return 0
    sleep 0.05
  done
  echo "interfaces_walk.sh: lumo-snmpd does not answer" >&2
  exit 1
}

netsnmp_start() { # sets NPID
  mkdir -p "$WORK/net-snmp"
  printf 'agentaddress udp:127.0.0.1:%s\nrocommunity public 127.0.0.1\n' "$NETSNMP_PORT" >"$WORK/snmpd.conf"
  SNMP_PERSISTENT_DIR=$WORK/net-snmp MIBS='' start "$WORK/snmpd.log" /usr/sbin/snmpd -f -Lo -C -c "$WORK/snmpd.conf"
  NPID=$LAST_PID
  for _ in $(seq 200); do
    snmpget -v2c -c public -t 0.5 -r 0 "127.0.0.1:$NETSNMP_PORT" 1.3.6.1.2.1.1.1.0 >/dev/null 2>&1 && return 0
    sleep 0.05
  done
  echo "interfaces_walk.sh: net-snmp's snmpd does not answer" >&2
  exit 1
}

made=0
for links in $COUNTS; do
  # ifb links up to LINKS in all, loopback included.
  want=$((links - 1))
  if [ "$want" -gt "$made" ]; then
    for i in $(seq $((made + 1)) "$want"); do echo "link add ifb$i type ifb"; done | ip -batch -
    made=$want
  fi
  ip -o link | cut -d: -f1 >"$WORK/ifindexes"
  n=$(wc -l <"$WORK/ifindexes")
  echo "$n links (loopback and $made ifb links), $RUNS walks of each kind:"

  lumo_start
  for t in "ifTable $IF_TABLE" "ifXTable $IFX_TABLE"; do
    read -r tname oid <<<"$t"
    snmpbulkwalk -v2c -c public -Cr50 -Onx -t 10 -r 1 "127.0.0.1:$LUMO_PORT" "$oid" >/dev/null
    for run in $(seq "$RUNS"); do walk "lumo-$tname-$n-$run" "$n" "$LUMO_PORT" "$oid" "$AGENT" "$HOSTD"; done
  done
  stop "$AGENT"
  stop "$HOSTD"

  if [ "${WALK_NETSNMP:-1}" != 0 ]; then
    netsnmp_start
    for t in "ifTable $IF_TABLE" "ifXTable $IFX_TABLE"; do
      read -r tname oid <<<"$t"
      snmpbulkwalk -v2c -c public -Cr50 -Onx -t 10 -r 1 "127.0.0.1:$NETSNMP_PORT" "$oid" >/dev/null
      for run in $(seq "$RUNS"); do walk "net-snmp-$tname-$n-$run" "$n" "$NETSNMP_PORT" "$oid" "$NPID"; done
    done
    stop "$NPID"
  fi
done

echo
python3 - "$RESULTS" <<'PY'
import sys
from statistics import median
rows = [l.rstrip("\n").split("\t") for l in open(sys.argv[1]) if l.strip()]
kinds = {}
for name, links, bindings, ns, client, server, hostd in rows:
    kind = name.rsplit("-", 1)[0]
    cu, cs = (float(x) for x in client.split())
    kinds.setdefault(kind, []).append((int(links), int(bindings), int(ns) / 1e9, cu + cs,
                                       int(server) / 1e9, int(hostd) / 1e9))
print("| server | table | links | bindings | wall s (median; runs) | bindings/s | client CPU s | server CPU s | hostd CPU s |")
print("|---|---|---:|---:|---:|---:|---:|---:|---:|")
medians = {}
for kind, runs in kinds.items():
    server, table, links = kind.rsplit("-", 2)
    b = runs[0][1]
    wall = median(r[2] for r in runs)
    medians[(server, table, links)] = wall
    lumo = server == "lumo"
    print("| %s | %s | %s | %d | %.3f (%s) | %.0f | %.2f | %.3f | %s |" % (
        server, table, links, b, wall, " / ".join("%.3f" % r[2] for r in runs), b / wall if wall else 0,
        median(r[3] for r in runs), median(r[4] for r in runs),
        "%.3f" % median(r[5] for r in runs) if lumo else "-"))
pairs = sorted({(t, l) for s, t, l in medians})
if any(("net-snmp", t, l) in medians for t, l in pairs):
    print()
    print("| table | links | lumo s | net-snmp s | net-snmp / lumo (wall, median) |")
    print("|---|---:|---:|---:|---:|")
    for t, l in pairs:
        a, b = medians.get(("lumo", t, l)), medians.get(("net-snmp", t, l))
        if a and b:
            print("| %s | %s | %.3f | %.3f | %.2f |" % (t, l, a, b, b / a))
PY
if [ "$FAILED" != 0 ]; then
  echo "interfaces_walk.sh: a walk was wrong (above)" >&2
  exit 1
fi
