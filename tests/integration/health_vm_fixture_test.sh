#!/usr/bin/env bash
# The health sensors and the virtual machine table over fixture services: which sensors
# are registered (only those the first answer holds, and only once an answer came), their
# units and texts, and the VM table's rows from two services with their masks.
source "$(dirname "$0")/lib.sh"
HOSTD=${HOSTD:?path to lumo-hostd}
H=1.3.6.1.4.1.47392.1.1.3
VM=1.3.6.1.4.1.6876.2.1.1
FIXTURE=$LUMO_ROOT/fixture.json

# health HEALTH_OBJECT_JSON: writes the fixture with that health object.
health() {
  cat >"$FIXTURE" <<JSON
{"services": [
 {"path": [24, 14], "object": $1},
 {"path": [24, 2], "object": {"0x08000005": 4, "0x20000001": "fixture host", "0x20000002": "h"}},
 {"path": [112, 1], "objects": [
   {"0x08FE0001": 1, "0x20FE0010": "alpha", "0x20000002": "a", "0x20000003": "b", "0x20000004": "c",
    "0x08000005": 4, "0x08000006": 2, "0x08000007": 512, "0x20FE0009": "cfg1"},
   {"0x08FE0001": 2, "0x20FE0010": "beta", "0x0000000C": true, "0x08000005": 13},
   {"0x08FE0001": 3, "0x20FE0010": "gamma", "0x20000002": "x", "0x0000000C": true, "0x08000005": 12}]},
 {"path": [109, 1], "objects": [
   {"0x08FE0001": 1, "0x20FE0010": "nest", "0x08000001": 64, "0x08000002": 7},
   {"0x08FE0001": 2, "0x20FE0010": "nest2", "0x08000002": 3}]}
]}
JSON
}
reload() { ctl call 24/99 0x990004 >/dev/null; }
get() { snmp snmpget -v2c -c public "$(target)" "$@"; }

# The health service fails at first: no sensor is registered until it answers.
health '{"0x0800000E": 45, "0x08000011": 51, "0x08000010": 12, "0x08000012": 7, "0x08001CE9": 0, "0x08001CEA": 3, "0x080001F6": 0}'
run_hostd 24/2 get --fixture "$FIXTURE"
ctl call 24/99 0x990001 0x08990001=14 0x08990002=0xFE0004 0x20990003="not ready" >/dev/null
start_agent
ctl snmp set enabled=yes >/dev/null
sleep 1  # past the first build at 700 ms, which failed
expect_output "no sensors while the health service fails" "^\.$H\.10\.0 = No Such Object" get $H.10.0
ctl call 24/99 0x990001 0x08990001=14 >/dev/null
expect_match "the fan text once the service answers" "^\.$H\.9\.0 = STRING: \"?aux\"?$" get $H.9.0
expect_match "then the sensors it reports are served" "^\.$H\.10\.0 = INTEGER: 450$" get $H.10.0
expect_match "cpu temperature in tenths of a degree" "^\.$H\.11\.0 = INTEGER: 510$" get $H.11.0
expect_match "power" "^\.$H\.12\.0 = INTEGER: 12$" get $H.12.0
expect_match "current" "^\.$H\.13\.0 = INTEGER: 7$" get $H.13.0
expect_match "processor count from the system information" "^\.$H\.14\.0 = INTEGER: 4$" get $H.14.0
expect_match "psu reading 0 is good (1)" "^\.$H\.15\.0 = INTEGER: 1$" get $H.15.0
expect_match "psu reading 3 is bad (0)" "^\.$H\.16\.0 = INTEGER: 0$" get $H.16.0
expect_output "no voltage in the first answer: never served" "^\.$H\.8\.0 = No Such Object" get $H.8.0

# Later answers: a voltage appears (still not served), a temperature goes missing, the fan
# mode changes.
for fan in '1 main' '2 none' '7 n/a' 'absent n/a'; do
  set -- $fan
  value=""; [ "$1" = absent ] || value=", \"0x080001F6\": $1"
  health "{\"0x0800000D\": 12, \"0x0800000E\": 45, \"0x08001CEA\": 0 $value}"
  reload
  expect_match "fan $1 reads \"$2\"" "^\.$H\.9\.0 = STRING: \"?$2\"?$" get $H.9.0
done
expect_output "a voltage that came later is still not served" "^\.$H\.8\.0 = No Such Object" get $H.8.0
expect_match "a missing temperature reads -2730" "^\.$H\.11\.0 = INTEGER: -2730$" get $H.11.0
expect_match "a missing psu reading is good" "^\.$H\.15\.0 = INTEGER: 1$" get $H.15.0

# Virtual machines: nestling instances first (the lower mask), then full machines.
rows=$(snmp snmpwalk -v2c -c public -Oqn "$(target)" $VM.2 | tr '\n' ' ')
expect_match "rows of both sources, nestling first, same ids apart" \
  "\.65537 \"?nest\"? .*\.65538 \"?nest2\"? .*\.131073 \"?alpha\"? .*\.131074 \"?beta\"? " echo "$rows"
expect_match "description joined with a trailing blank" "= STRING: \"a b c \"$" get $VM.3.131073
expect_match "snapshot mark on an empty description" "= STRING: \"\\[snapshot\\]\"$" get $VM.3.131074
expect_match "snapshot mark after the trailing blank" "= STRING: \"x \\[snapshot\\]\"$" get $VM.3.131075
expect_match "a nestling describes itself" "= STRING: \"nestling\"$" get $VM.3.65537
expect_match "full machine state 4" "= STRING: \"running\"$" get $VM.6.131073
expect_match "full machine state 12, the last one" "= STRING: \"error extract failed\"$" get $VM.6.131075
expect_match "full machine state 13: unknown" "= STRING: \"unknown\"$" get $VM.6.131074
expect_match "nestling state 3" "= STRING: \"running\"$" get $VM.6.65538
expect_match "nestling state 7: unknown" "= STRING: \"unknown\"$" get $VM.6.65537
expect_match "memory and processors" "INTEGER: 512" get $VM.5.131073
expect_match "a nestling has one processor" "= INTEGER: 1$" get $VM.9.65538
expect_output "columns 1, 7 and 8 are not served" "No Such Object" get $VM.7.65537
table=$(snmptable -M "$HERE" -m LUMO-VM-TEST-MIB -v2c -c public -Ci -Cf '|' -r0 -t1 "$(target)" \
          LUMO-VM-TEST-MIB::vmTestTable 2>&1 || true)
echo "$table"
order=$(grep -E '^[0-9]+\|' <<<"$table" | cut -d'|' -f1 | tr '\n' ' ')
[ "$order" = "65537 65538 131073 131074 131075 " ] && pass "snmptable of the VM table: every guest once, nestling first" ||
  fail "snmptable rows: $order"
expect_match "snmptable row of a full machine" '^131073\|"alpha"\|"a b c "\|"cfg1"\|512\|"running"\|2$' \
  echo "$table"
finish
