#!/usr/bin/env bash
# Instructions per GetBulk on the table path, counted by callgrind: lumo-snmpd-tables and
# lumo-hostd --fixture (TABLE_ROWS rows of 20 columns at [200, 1]) both run under
# `valgrind --tool=callgrind`, instrumented only while snmp_load sends PROFILE_COUNT GetBulk
# requests of max-repetitions 50 down column 2 of the table, one at a time. Unlike rates,
# instruction counts hardly move with the machine's other load, so two trees can be compared
# on a busy machine.
#
#   bench/load/table_profile.sh
#
# Prints instructions per request for the agent and for hostd, and the agent's costliest
# functions (inclusive). Knobs (environment): TABLE_ROWS (default 10000), PROFILE_COUNT
# (default 2000), PROFILE_OID (default column 2), BUILD (default build-bench), LOAD_BUILD=0,
# KEEP_WORK=1 keeps the callgrind files for callgrind_annotate.
set -euo pipefail

echo "command: bench/load/table_profile.sh${*:+ $*}"

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
BIN=$BUILD/bin
ROWS=${TABLE_ROWS:-10000}
COUNT=${PROFILE_COUNT:-2000}
OID=${PROFILE_OID:-1.3.6.1.4.1.47392.99.1.1.2}
WARMUP_COUNT=200

source "$ROOT/bench/load/lib.sh"
bench_build table_profile.sh lumo-snmpd-tables lumoctl lumo-hostd snmp_load
bench_work lumo-profile

free_port() {
  python3 -c 'import socket; s=socket.socket(socket.AF_INET6, socket.SOCK_DGRAM); s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0); s.bind(("::", 0)); print(s.getsockname()[1])'
}
grind() {  # grind OUT-FILE COMMAND...: callgrind, collecting only when told
  exec valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$1" "${@:2}"
}
# The instructions counted in the dumps of a callgrind run (OUT-FILE.1 ...).
total_ir() { cat "$1".* | awk '/^(summary|totals):/ {n += $2} END {print n + 0}'; }

root=$(mktemp -d "$WORK/root-XXXXXX")
python3 "$ROOT/tools/make-table-fixture" --path 200/1 --rows "$ROWS" --columns 20 -o "$WORK/table.json"
LUMO_ROOT=$root start "$WORK/hostd.log" grind "$WORK/hostd.cg" "$BIN/lumo-hostd" --fixture "$WORK/table.json"
hostd=$LAST_PID
for _ in $(seq 600); do
  LUMO_ROOT=$root "$BIN/lumoctl" --timeout 500 call 200/99 get >/dev/null 2>&1 && break
  sleep 0.2
done
port=$(free_port)
LUMO_ROOT=$root LUMO_SNMP_PORT=$port start "$WORK/agent.log" grind "$WORK/agent.cg" "$BIN/lumo-snmpd-tables"
agent=$LAST_PID
for _ in $(seq 600); do
  LUMO_ROOT=$root "$BIN/lumoctl" --timeout 500 call 34/0 get >/dev/null 2>&1 && break
  sleep 0.2
done
LUMO_ROOT=$root "$BIN/lumoctl" call 34/0 set 0x00000001=yes >/dev/null

load() {  # load COUNT
  "$BIN/snmp_load" --port "$port" --op bulk --oid "$OID" --max-repetitions 50 --window 1 \
    --count "$1" --seconds 600 --timeout-ms 5000 --json
}
load "$WARMUP_COUNT" >/dev/null
callgrind_control -i on "$agent" >/dev/null 2>&1
callgrind_control -i on "$hostd" >/dev/null 2>&1
result=$(load "$COUNT")
callgrind_control -i off "$agent" >/dev/null 2>&1
callgrind_control -i off "$hostd" >/dev/null 2>&1
callgrind_control -d "$agent" >/dev/null 2>&1
callgrind_control -d "$hostd" >/dev/null 2>&1
echo "  $result"
stop "$agent"
stop "$hostd"

replies=$(python3 -c 'import json,sys; print(json.loads(sys.argv[1])["replies"])' "$result")
bindings=$(python3 -c 'import json,sys; print(json.loads(sys.argv[1])["bindings"])' "$result")
agent_ir=$(total_ir "$WORK/agent.cg")
hostd_ir=$(total_ir "$WORK/hostd.cg")
echo "requests answered: $replies, bindings: $bindings"
awk -v a="$agent_ir" -v h="$hostd_ir" -v n="$replies" -v b="$bindings" 'BEGIN {
  printf "agent: %.0f instructions per request, %.0f per binding\n", a / n, a / b
  printf "hostd: %.0f instructions per request, %.0f per binding\n", h / n, h / b }'
echo "agent, inclusive, the costliest functions:"
callgrind_annotate --inclusive=yes "$WORK"/agent.cg.* 2>/dev/null | sed -n '/^-----/,$p' | head -45 | tail -n +4 | cut -c1-160
[ -z "${KEEP_WORK:-}" ] || echo "callgrind files kept in $WORK"
