#!/usr/bin/env bash
# Tables over services that misbehave: absent when the agent starts, stalled, failing,
# sending a field of the wrong type, paging wrongly, or gone in the middle of a walk. The
# agent must never answer a name twice or go backwards, must say no more than the service
# gave, and must go on answering the rest of its MIB.
source "$(dirname "$0")/tables_lib.sh"

# since START: seconds since START (an $EPOCHREALTIME), to two decimals.
since() {
  local us=$(( ${EPOCHREALTIME//[.,]/} - ${1//[.,]/} ))
  printf '%d.%02d' $((us / 1000000)) $((us % 1000000 / 10000))
}
# below A B: A < B, both decimal seconds.
below() { awk -v a="$1" -v b="$2" 'BEGIN { exit !(a < b) }'; }
# wait_for_row SECONDS: polls until the wide table's row 1 answers; prints the seconds taken.
wait_for_row() {
  local start=$EPOCHREALTIME
  while below "$(since "$start")" "$1"; do
    if tool snmpget $WIDE.2.1 2>/dev/null | grep -q '= STRING: "r1c2"$'; then since "$start"; return 0; fi
    sleep 0.5
  done
  return 1
}

make_fixture 250 250

# Absent at start: the agent's first query finds no endpoint and skips the program for
# 30 s; hostd comes 2 s later and the table answers once the skip is over.
start_agent
enable_agent
expect_output "absent service: the table has no instance" "^\.$WIDE.2.1 = No Such Instance" \
  tool snmpget $WIDE.2.1
expect_sysdescr "absent service: sysDescr.0 answers"
sleep 2
start_hostd
if took=$(wait_for_row 35); then pass "service started after the agent: the table answers after ${took} s"
else fail "service started after the agent: no row within 35 s"; fi
expect_walk "service started after the agent: every row" "--wide 250 --narrow 250" \
  tool snmpbulkwalk $TABLES

# A stall past the agent's 1000 ms wait: the first request waits and has no row; for the
# next 10 s the program is skipped, so the requests after it send the service nothing.
control 0x990006
control 0x990002 0x08990004=1500
start=$EPOCHREALTIME
expect_output "stalled service: Get has no instance" "^\.$WIDE.2.5 = No Such Instance" \
  snmp snmpget -t3 -v2c -c public "$(target)" $WIDE.2.5
log "  the first request took $(since "$start") s"
expect_output "stalled service, skipped: Get" "^\.$WIDE.2.5 = No Such Instance" tool snmpget $WIDE.2.5
expect_match "stalled service, skipped: GetNext of the tables goes past them" \
  "^\.($TABLES = No more variables|1\.3\.6\.1\.6\.3\.10\.2\.1\.1\.0 = )" tool snmpgetnext $TABLES
expect_walk "stalled service, skipped: a walk holds no row" "--wide= --narrow=" \
  tool snmpbulkwalk $TABLES
expect_sysdescr "stalled service: sysDescr.0 answers"
control 0x990002 0x08990004=0  # answered once the stalled query is done
asked="$(requests 1) $(requests 2)"
if [ "$asked" = "1 0" ]; then pass "stalled service: one query, then skipped"; else
  fail "stalled service: queries to the two tables while skipped: $asked, not 1 0"; fi
if took=$(wait_for_row 15); then pass "stall cleared: the rows are back after ${took} s"
else fail "stall cleared: no row within 15 s"; fi
expect_walk "stall cleared: every row" "--wide 250 --narrow 250" tool snmpbulkwalk $TABLES

# An error answer: the wide table has no rows while the narrow one (another service of
# the same program) still answers.
control 0x990001 0x08990001=1 0x08990002=0xFE0006 0x20990003="refused on purpose"
expect_output "failing service: Get has no instance" "^\.$WIDE.2.5 = No Such Instance" \
  tool snmpget $WIDE.2.5
expect_output "failing service: v1 Get answers noSuchName" "noSuchName" \
  snmp snmpget -v1 -c public "$(target)" $WIDE.2.5
expect_match "failing service: GetNext goes on into the next table" "^\.$NARROW.1.1 = INTEGER: 1$" \
  tool snmpgetnext $WIDE.2.5
expect_walk "failing service: snmpwalk skips its table only" "--wide= --narrow 250" \
  tool snmpwalk $TABLES
expect_walk "failing service: snmpbulkwalk skips its table only" "--wide= --narrow 250" \
  tool snmpbulkwalk $TABLES
expect_sysdescr "failing service: sysDescr.0 answers"
control 0x990001 0x08990001=1
expect_match "error cleared: the row answers at once" '= STRING: "r5c2"$' tool snmpget $WIDE.2.5

# A field of the wrong type: column 3's field is sent as a string. The agent reads the
# number field as absent and answers Gauge32 0, the same for every row and every request.
python3 - "$FIXTURE" <<'EOF'
import json, sys
fixture = json.load(open(sys.argv[1]))
for o in fixture["services"][0]["objects"]:
    o["0x20000103"] = str(o.pop("0x08000103"))
json.dump(fixture, open(sys.argv[1], "w"))
EOF
reload_fixture
expect_check "wrong field type: Get answers 0" "walk --subset --wide 250 --zero 3" \
  tool snmpget $WIDE.2.7 $WIDE.3.7 $WIDE.3.250 $WIDE.4.7
expect_match "wrong field type: GetNext answers the next row with 0" \
  "^\.$WIDE.3.8 = Gauge32: 0$" tool snmpgetnext $WIDE.3.7
expect_walk "wrong field type: snmpbulkwalk, every row, 0 in that column" \
  "--wide 250 --narrow 250 --zero 3" tool snmpbulkwalk $TABLES
expect_sysdescr "wrong field type: sysDescr.0 answers"

# Wrong paging (hostd's SET_PAGING, every service of the program). Short pages, extra
# objects and reversed pages hold every row; a service that restarts every page from its
# first object cannot make a walk repeat or go backwards, though rows go missing.
make_fixture 250 250
reload_fixture
for mode in 1:short 2:extra 3:reversed 4:restart; do
  n=${mode%%:*} name=${mode#*:}
  control 0x990005 0x08990008="$n"
  if [ "$name" = restart ]; then rows="--subset --wide 250 --narrow 250"; else
    rows="--wide 250 --narrow 250"; fi
  expect_walk "$name pages: snmpwalk" "$rows" tool snmpwalk $TABLES
  expect_walk "$name pages: snmpbulkwalk" "$rows" tool snmpbulkwalk $TABLES
  expect_walk "$name pages: snmpbulkwalk -Cr50" "$rows" \
    tool snmpbulkwalk -Cr50 $TABLES
  if [ "$name" != restart ]; then
    expect_check "$name pages: GetBulk of three repeaters, row by row" \
      "bulk --wide 250 --narrow 250 --repeat 20 $WIDE.2 $WIDE.3.120 $WIDE.20.240" \
      tool snmpbulkget -Cn0 -Cr20 $WIDE.2 $WIDE.3.120 $WIDE.20.240
  fi
  expect_sysdescr "$name pages: sysDescr.0 answers"
done
control 0x990005 0x08990008=0

# Gone in the middle of a walk: hostd is killed while snmpbulkwalk -Cr5 reads 1,000 rows
# (each answer slowed by 1 ms, so that the walk is still running). The walk ends without an
# error, and what it printed is the start of the table's order.
make_fixture 1000 1000
reload_fixture
control 0x990002 0x08990004=1
walk_out=$LUMO_ROOT/walk.out
stdbuf -oL snmpbulkwalk -On -r0 -t2 -v2c -c public -Cr5 "$(target)" $TABLES >"$walk_out" 2>&1 &
walk_pid=$!
for _ in $(seq 200); do
  [ "$(wc -l <"$walk_out")" -ge 2000 ] && break
  kill -0 "$walk_pid" 2>/dev/null || break
  sleep 0.05
done
kill -KILL "$HOSTD_PID"
wait "$HOSTD_PID" 2>/dev/null || true
HOSTD_PID=""
wait "$walk_pid" && status=0 || status=$?
lines=$(wc -l <"$walk_out")
if [ "$lines" -ge 23000 ]; then
  fail "service gone mid-walk: the walk had ended before hostd was killed"
elif verdict=$(check walk --prefix --wide 1000 --narrow 1000 <"$walk_out") && [ "$status" -eq 0 ] &&
     ! grep -Eq "Timeout|Error|not increasing" "$walk_out"; then
  pass "service gone mid-walk: the walk ends cleanly after $lines lines, in order"
else
  fail "service gone mid-walk (exit $status): $verdict"; tail -3 "$walk_out"
fi
expect_sysdescr "service gone: sysDescr.0 answers"
expect_output "service gone: Get has no instance" "^\.$WIDE.2.1 = No Such Instance" \
  tool snmpget $WIDE.2.1

stop_agent
finish_tables
