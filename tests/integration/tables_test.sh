#!/usr/bin/env bash
# Tables over services that behave: lumo-snmpd-tables reads two fixture tables that
# lumo-hostd serves, and net-snmp's walkers must see every row of every column once, in
# lexicographic order, from a large table, from one with gaps in its ids, from a single row
# and from no rows at all.
source "$(dirname "$0")/tables_lib.sh"
MIB=(-M "$HERE" -m LUMO-FIXTURE-TABLES-MIB)

make_fixture 1000 1000
start_hostd
start_agent
enable_agent

# A large table: 20,000 cells in the wide table, then the narrow one, then the end.
all="--wide 1000 --narrow 1000"
expect_walk "snmpwalk of 1,000 rows by 20 columns and on through the next table" "$all" \
  tool snmpwalk $TABLES
expect_walk "snmpbulkwalk of the same" "$all" tool snmpbulkwalk $TABLES
expect_walk "snmpbulkwalk -Cr50 of the same" "$all" tool snmpbulkwalk -Cr50 $TABLES
# (snmptable finds the table's columns in the MIB module, and not with -On.)
expect_check "snmptable: 1,000 rows, every cell" "table --wide 1000" \
  snmptable -v2c -c public -r0 -t1 "${MIB[@]}" -Ci -Cf , "$(target)" \
  LUMO-FIXTURE-TABLES-MIB::fixtureWideTable
expect_check "snmptable with GetNext (-CB): the same" "table --wide 1000" \
  snmptable -v2c -c public -r0 -t1 "${MIB[@]}" -CB -Ci -Cf , "$(target)" \
  LUMO-FIXTURE-TABLES-MIB::fixtureWideTable
expect_check "GetBulk of four columns near the ends of both tables, row by row" \
  "bulk --wide 1000 --narrow 1000 --repeat 10 $WIDE.2 $WIDE.3.998 $WIDE.20.999 $NARROW.3.995" \
  tool snmpbulkget -Cn0 -Cr10 $WIDE.2 $WIDE.3.998 $WIDE.20.999 $NARROW.3.995

# One service query per row and request: the agent keeps the rows it fetched for the rest
# of the request, so five columns of one row are one get.
control 0x990006
expect_check "Get of five columns of one row" "walk --subset --wide 1000" \
  tool snmpget $WIDE.2.7 $WIDE.3.7 $WIDE.4.7 $WIDE.9.7 $WIDE.20.7
n=$(requests 1)
if [ "$n" = 1 ]; then pass "the Get cost one query"; else fail "the Get cost $n queries, not 1"; fi
# And a GetBulk of 50 repetitions at most one get-all per column.
control 0x990006
expect_check "GetBulk of 50 rows of three columns" \
  "bulk --wide 1000 --narrow 1000 --repeat 50 $WIDE.2.100 $WIDE.5.100 $WIDE.6.100" \
  tool snmpbulkget -Cn0 -Cr50 $WIDE.2.100 $WIDE.5.100 $WIDE.6.100
n=$(requests 1)
if [ "$n" -le 3 ]; then pass "the GetBulk cost $n queries (at most 3)"; else
  fail "the GetBulk cost $n queries, more than one per column"; fi
# Each of them asked for the fields of its columns only, not for whole objects.
lists=$(field_lists 1)
if [ "$lists" = "$n" ]; then pass "every query carried a field list"; else
  fail "$lists of $n queries carried a field list"; fi

# Requests that arrive together while the agent waits for a slow service are answered
# together: each read's query goes to the service before the first is answered, and each
# reply is still built from its own request's query alone. A Set in the burst is answered
# in its turn, after the reads before it and before those after it.
burst() {
  control 0x990006
  control 0x990002 0x08990004=150  # under the agent's 250 ms for a prompt answer
  python3 "$HERE/burst_check.py" "$1" "$LUMO_SNMP_PORT" "$WIDE" -- \
    "$LUMOCTL" --timeout 5000 call $PROGRAM/99 0x990002 0x08990004=0
}
if out=$(burst bulk); then pass "a burst of 20 GetBulk requests: $out"; else
  fail "a burst of 20 GetBulk requests"; echo "$out" | head -5 | sed 's/^/  /'; fi
n=$(requests 1)
if [ "$n" = 21 ]; then pass "the burst cost one query a request"; else
  fail "the burst cost $n queries for 21 requests"; fi
ctl call 34/1 add 0x20000005=private 0x00000007=yes >/dev/null  # a community that may write
if out=$(burst set-order); then pass "a Set between two Gets in one burst: $out"; else
  fail "a Set between two Gets in one burst: $out"; fi
expect_sysdescr "after the bursts: sysDescr.0 answers"

# table_cases DESCRIPTION WIDE_IDS NARROW_IDS: the wide table holds the rows WIDE_IDS.
table_cases() {
  local what=$1 ids=$2 narrow=$3
  local -a id_array names=() next=()
  IFS=, read -ra id_array <<<"$ids"
  make_fixture "$ids" "$narrow"
  reload_fixture
  local rows="--wide=$ids --narrow=$narrow"

  if [ -n "$ids" ]; then
    for c in 1 2 3 20; do for i in "${id_array[@]}"; do names+=("$WIDE.$c.$i"); done; done
    expect_check "$what: Get of every row" "walk --subset $rows" tool snmpget "${names[@]}"
  fi
  # GetNext from each row, from a column's own name and from a missing index.
  next=("$WIDE" "$WIDE.2" "$WIDE.2.3" "$WIDE.2.4294967295" "$WIDE.20.0")
  for i in "${id_array[@]}"; do next+=("$WIDE.2.$i" "$WIDE.20.$i"); done
  expect_check "$what: GetNext gives each name's successor" "bulk $rows --repeat 1 ${next[*]}" \
    tool snmpgetnext "${next[@]}"
  expect_check "$what: GetBulk with one repeater" "bulk $rows --repeat 12 $WIDE.2" \
    tool snmpbulkget -Cn0 -Cr12 $WIDE.2
  expect_check "$what: GetBulk with three repeaters, row by row" \
    "bulk $rows --repeat 10 $WIDE.2 $WIDE.3 $WIDE.4" tool snmpbulkget -Cn0 -Cr10 $WIDE.2 $WIDE.3 $WIDE.4
  expect_walk "$what: snmpwalk" "$rows" tool snmpwalk $TABLES
  expect_walk "$what: snmpbulkwalk" "$rows" tool snmpbulkwalk $TABLES
  expect_walk "$what: snmpbulkwalk -Cr2" "$rows" tool snmpbulkwalk -Cr2 $TABLES
}

table_cases "ids with gaps" 1,2,5,9,200 1,2,5,9,200
for name in $WIDE.2.3 $WIDE.2.4 $WIDE.2.201 $WIDE.2.0 $WIDE.2.5.1 $WIDE.2.200.0 $WIDE.21.5; do
  case $name in $WIDE.21.*) due="No Such Object" ;; *) due="No Such Instance" ;; esac
  expect_output "ids with gaps: Get of $name: $due" "^\.$name = $due" tool snmpget "$name"
done
table_cases "a single row" 7 7
expect_output "a single row: Get of another id has no instance" "^\.$WIDE.3.8 = No Such Instance" \
  tool snmpget $WIDE.3.8
table_cases "no rows" "" 3
expect_output "no rows: Get has no instance" "^\.$WIDE.2.1 = No Such Instance" tool snmpget $WIDE.2.1
expect_match "no rows: GetNext of the table goes on into the next one" \
  "^\.$NARROW.1.1 = INTEGER: 1$" tool snmpgetnext $WIDE
expect_walk "no rows: a walk of the empty table alone yields nothing from it" "--wide=" \
  tool snmpwalk $WIDE

stop_agent
stop_hostd
finish
