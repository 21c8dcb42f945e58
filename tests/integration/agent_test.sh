#!/usr/bin/env bash
# lumo-snmpd against net-snmp's snmpget, snmpwalk, snmpbulkwalk and snmpset.
source "$(dirname "$0")/lib.sh"

SYS=1.3.6.1.2.1.1
start_agent
ctl call 34/0 set 0x00000001=yes >/dev/null

expect_match "v1 get sysDescr" "^\.$SYS\.1\.0 = STRING: .+" snmp snmpget -v1 -c public "$(target)" $SYS.1.0
expect_match "v2c get sysDescr and sysUpTime" "\.$SYS\.3\.0 = Timeticks" \
  snmp snmpget -v2c -c public "$(target)" $SYS.1.0 $SYS.3.0
walk=$(snmp snmpwalk -v1 -c public "$(target)" $SYS 2>&1 || true)
if [ "$(grep -c "^\.$SYS\." <<<"$walk")" -eq 7 ] && grep -q "\.$SYS\.7\.0 = INTEGER: 78" <<<"$walk"; then
  pass "v1 walk of the system group"; else fail "v1 walk of the system group"; echo "$walk"; fi
expect_match "v2c bulkwalk of the system group" "\.$SYS\.2\.0 = OID: \.1\.3\.6\.1\.4\.1\.47392\.1" \
  snmp snmpbulkwalk -v2c -c public "$(target)" $SYS
expect_match "v2c getnext from the group root" "\.$SYS\.1\.0 = STRING" \
  snmp snmpgetnext -v2c -c public "$(target)" $SYS

# Access: unknown community and a source outside the record's prefixes get no answer;
# a read-only community's Set is refused.
expect_silence "wrong community" snmp snmpget -v2c -c nobody "$(target)" $SYS.1.0
ctl call 34/1 add 0x20000005=lanonly \
  '0xA800001B=[{"0x08000008": 10, "0x08000009": 255}]' >/dev/null
expect_silence "source outside the record's addresses" snmp snmpget -v2c -c lanonly "$(target)" $SYS.1.0
expect_output "read-only community Set refused" "readOnly" \
  snmp snmpset -v2c -c public "$(target)" $SYS.4.0 s "someone"
# Renamed over the bus, a record keeps its address rule.
expect_match "renaming to a free name accepted" '"lan"' \
  sh -c "'$LUMOCTL' call 34/1 object-set 0x08FE0001=1 0x20000005=lan >/dev/null && '$LUMOCTL' call 34/1 get 0x08FE0001=1"
expect_silence "renamed community keeps its address rule" snmp snmpget -v2c -c lan "$(target)" $SYS.1.0

# A write community changes sysContact; the value survives a restart of the agent.
ctl call 34/1 add 0x20000005=private 0x00000007=yes >/dev/null
expect_match "Set sysContact with a write community" "\.$SYS\.4\.0 = STRING: \"noc@example.net\"" \
  snmp snmpset -v2c -c private "$(target)" $SYS.4.0 s "noc@example.net"
expect_match "the setting follows the Set" 'noc@example.net' ctl call 34/0 get
stop_agent
start_agent
expect_match "sysContact read back after a restart" "\.$SYS\.4\.0 = STRING: \"noc@example.net\"" \
  snmp snmpget -v2c -c private "$(target)" $SYS.4.0
expect_match "communities survive the restart" '"private"' ctl call 34/1 get-all

# Disabling closes the port; enabling opens it again.
ctl call 34/0 set 0x00000001=no >/dev/null
expect_silence "disabled agent is silent" snmp snmpget -v2c -c public "$(target)" $SYS.1.0
ctl call 34/0 set 0x00000001=yes >/dev/null
expect_match "re-enabled agent answers" "STRING" snmp snmpget -v2c -c public "$(target)" $SYS.1.0

finish
