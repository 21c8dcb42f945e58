#!/usr/bin/env bash
# What managers rely on, seen through net-snmp's tools: walks that end cleanly with names
# that only increase, exceptions per binding, Set errors by name, and an agent that writes
# nothing per request.
source "$(dirname "$0")/lib.sh"

SYS=1.3.6.1.2.1.1
# The last object that answers: usmStatsDecryptionErrors, the last of the SNMP engine's
# own counters (no interface service runs here, so the interface tables are empty).
LAST=1.3.6.1.6.3.15.1.1.6.0
start_agent
ctl call 34/0 set 0x00000001=yes >/dev/null
ctl call 34/1 add 0x20000005=private 0x00000007=yes >/dev/null

# Whole-MIB walks: exit 0, names that only increase (snmpwalk stops with "OID not
# increasing" otherwise), and the end of the MIB reached once: the tools print the one
# endOfMibView they get, under the name of the last object, as they do with net-snmp's own
# agent.
for tool in snmpwalk snmpbulkwalk; do
  out=$(snmp $tool -v2c -c public "$(target)" .1 2>&1) && status=0 || status=$?
  if [ "$status" -eq 0 ] && ! grep -Eq "not increasing|Error|Timeout" <<<"$out" &&
     [ "$(grep -c "No more variables" <<<"$out")" -eq 1 ] &&
     tail -1 <<<"$out" | grep -q "^\.$LAST = No more variables" &&
     grep -q "^\.$SYS\.7\.0 = INTEGER" <<<"$out" && grep -q "^\.$LAST = Counter32" <<<"$out"; then
    pass "$tool -v2c over the whole MIB ends cleanly"
  else
    fail "$tool -v2c over the whole MIB (exit $status)"; echo "$out" | tail -5
  fi
done
out=$(snmp snmpbulkwalk -v2c -c public "$(target)" $SYS.6 2>&1 || true)
if [ "$(grep -c "No more variables" <<<"$out")" -le 1 ] && ! grep -q "^\.$SYS\.6 = " <<<"$out"; then
  pass "bulkwalk near the end: no name below the one asked, at most one end line"
else fail "bulkwalk near the end"; echo "$out"; fi
expect_match "bulkwalk from the last object's own name" "^\.$SYS\.6\.0 = .*" \
  snmp snmpbulkwalk -v2c -c public "$(target)" $SYS.6
expect_output "getnext past the last object: endOfMibView" "No more variables left in this MIB View" \
  snmp snmpgetnext -v2c -c public "$(target)" $LAST
expect_output "v1 getnext past the last object: noSuchName" "noSuchName" \
  snmp snmpgetnext -v1 -c public "$(target)" $LAST

# Exceptions per binding: the known name is answered next to the unknown one.
out=$(snmp snmpget -v2c -c public "$(target)" $SYS.1.0 $SYS.99.0 2>&1 || true)
if grep -q "^\.$SYS\.1\.0 = STRING" <<<"$out" && grep -q "^\.$SYS\.99\.0 = No Such Object" <<<"$out"; then
  pass "get of sysDescr and an unknown object together"; else fail "get with an unknown object"; echo "$out"; fi
expect_output "get of a missing instance" "No Such Instance" snmp snmpget -v2c -c public "$(target)" $SYS.1.1
expect_output "v1 get of a missing instance" "noSuchName" snmp snmpget -v1 -c public "$(target)" $SYS.1.1

# Set errors by name; a refused Set changes nothing.
expect_output "Set with a wrong type" "wrongType" snmp snmpset -v2c -c private "$(target)" $SYS.4.0 i 65
expect_output "Set of a read-only object" "notWritable" snmp snmpset -v2c -c private "$(target)" $SYS.5.0 s x
expect_output "Set of an instance that cannot exist" "noCreation" \
  snmp snmpset -v2c -c private "$(target)" $SYS.4.4.5 s x
expect_output "v1 Set with a wrong type" "badValue" snmp snmpset -v1 -c private "$(target)" $SYS.4.0 i 65
expect_output "two-binding Set failing on the second" "notWritable" \
  snmp snmpset -v2c -c private "$(target)" $SYS.4.0 s changed $SYS.3.0 t 5
expect_output "sysContact unchanged by the refused Sets" '= ""$' \
  snmp snmpget -v2c -c public "$(target)" $SYS.4.0
expect_match "a valid Set still works" 'STRING: "ops"' snmp snmpset -v2c -c private "$(target)" $SYS.4.0 s ops

# Quiet under load: requests of every kind leave the agent's output as it was. (A Set that
# reaches a setting is a change of configuration, which the settings object notes.)
before=$(cat "$LUMO_ROOT/agent.out" "$LUMO_ROOT/agent.err" | wc -c)
for _ in $(seq 20); do
  snmp snmpbulkwalk -v2c -c public "$(target)" .1 >/dev/null 2>&1 || true
  snmp snmpget -v2c -c public "$(target)" $SYS.99.0 >/dev/null 2>&1 || true
  snmp snmpget -v1 -c public "$(target)" $SYS.1.1 >/dev/null 2>&1 || true
  snmp snmpset -v2c -c private "$(target)" $SYS.5.0 s refused >/dev/null 2>&1 || true
  snmp snmpget -v2c -c nobody "$(target)" $SYS.1.0 >/dev/null 2>&1 || true
done
after=$(cat "$LUMO_ROOT/agent.out" "$LUMO_ROOT/agent.err" | wc -c)
if [ "$before" -eq "$after" ]; then pass "nothing written per request"; else
  fail "the agent wrote $((after - before)) octets while answering"; tail -5 "$LUMO_ROOT/agent.err"; fi

finish
