#!/usr/bin/env bash
# The health branch and the VM table over lumo-hostd's host mode on this machine: the
# sensors shown are the ones /sys/class/hwmon holds (none in a container), the processor
# count is this host's, and the VM table is empty.
source "$(dirname "$0")/lib.sh"
HOSTD=${HOSTD:?path to lumo-hostd}
H=1.3.6.1.4.1.47392.1.1.3

run_hostd 24/2 get
start_agent
ctl snmp set enabled=yes >/dev/null
sleep 1  # the sensors are registered from the health service's first answer, at 700 ms

walk=$(snmp snmpwalk -v2c -c public "$(target)" $H 2>&1 || true)
echo "$walk"
temps=$( (cat /sys/class/hwmon/*/temp*_input 2>/dev/null || true) | wc -l)
if [ "$temps" -eq 0 ]; then
  log "this host has no temperature sensors in /sys/class/hwmon: none may be served"
  if grep -q "^\.$H\.1[01]\.0 = INTEGER" <<<"$walk"; then fail "a temperature without a sensor"
  else pass "no temperature served where the host has none"; fi
else
  expect_match "a temperature where the host has sensors" "^\.$H\.1[01]\.0 = INTEGER" echo "$walk"
fi
expect_match "processor count of this host" "^\.$H\.14\.0 = INTEGER: $(getconf _NPROCESSORS_ONLN)$" \
  snmp snmpget -v2c -c public "$(target)" $H.14.0
out=$(snmp snmpgetnext -v2c -c public "$(target)" 1.3.6.1.4.1.6876 2>&1 || true)
if grep -q "^\.1\.3\.6\.1\.4\.1\.6876\." <<<"$out"; then fail "VM table not empty: $out"
else pass "no guests on this host: the VM table is empty"; fi
finish
