#!/usr/bin/env bash
# The MIB modules of mibs/ against the running agent: a walk of the enterprise tree
# (1.3.6.1.4.1.47392) with every module loaded prints a name for every object the agent
# serves there, none left numeric, with the syntaxes the modules give (enumerations, units);
# sysObjectID.0 names the product; snmptrapd names the enterprise trap in v2c and v1.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/traps_lib.sh"
HOSTD=${HOSTD:?path to lumo-hostd}
# Our modules, and the test stand-ins of the IETF modules they import, and nothing else.
MIBS=(-m ALL -M "$HERE/../../mibs:$HERE/../mibs/base")
ENT=1.3.6.1.4.1.47392
H=$ENT.1.1.3
# Where the agent sends traps, read at its start.
export LUMO_TRAP_PORT=$(python3 "$HERE/free_port.py")

# Every sensor, so every health object is registered; two interfaces.
cat >"$LUMO_ROOT/fixture.json" <<'JSON'
{"services": [
 {"path": [24, 14], "object": {"0x0800000D": 12000, "0x0800000E": 45, "0x08000011": 51,
   "0x08000010": 12, "0x08000012": 700, "0x08001CE9": 0, "0x08001CEA": 3, "0x080001F6": 1}},
 {"path": [24, 2], "object": {"0x08000005": 4, "0x20000001": "fixture host", "0x20000002": "h"}},
 {"path": [20, 0], "objects": [
   {"0x08FE0001": 1, "0x20010006": "eth1", "0x08010001": 1, "0x100100FC": 4294967301},
   {"0x08FE0001": 2, "0x20010006": "eth2", "0x08010001": 1}]}
]}
JSON
run_hostd 24/2 get --fixture "$LUMO_ROOT/fixture.json"
start_agent
ctl snmp set enabled=yes >/dev/null
# The sensors are registered from the health service's first answer, 700 ms after start.
for _ in $(seq 100); do
  snmp snmpget -v2c -c public "$(target)" $H.8.0 2>&1 | grep -q "INTEGER" && break
  sleep 0.05
done

walk() { snmpwalk -r0 -t1 -v2c -c public "$@" "$(target)" $ENT 2>&1; }
numeric=$(walk -On)
named=$(walk "${MIBS[@]}")
echo "$named"
served=$(grep -c "^\.$ENT\." <<<"$numeric" || true)
# 9 health scalars, 8 columns of 2 interfaces.
[ "$served" -eq 25 ] && pass "the agent serves 25 objects under the enterprise" ||
  fail "served under the enterprise: $served"
unnamed=$(grep -E "(^|[^:])(iso|enterprises|\.?1\.3\.6\.1\.4\.1)\.47392|SNMPv2-SMI::" <<<"$named" || true)
[ -z "$unnamed" ] && pass "no object of the enterprise walked numerically" || { fail "left numeric"; echo "$unnamed"; }
by_name=$(grep -cE "^LUMO-[A-Z-]+::lumo[A-Za-z0-9]+\.[0-9.]+ = " <<<"$named" || true)
[ "$by_name" -eq "$served" ] && pass "every object walked by name ($by_name)" ||
  fail "walked by name: $by_name of $served"

for object in lumoHealthVoltage lumoHealthFanMode lumoHealthTemperature lumoHealthCpuTemperature \
              lumoHealthPower lumoHealthCurrent lumoHealthProcessorCount lumoHealthPsu1State \
              lumoHealthPsu2State; do
  expect_match "$object.0 by name" "^LUMO-HEALTH-MIB::$object\.0 = " echo "$named"
done
for column in Index InOctets OutOctets InUcastPkts OutUcastPkts InErrors OutErrors InDiscards; do
  expect_match "lumoIfStats$column by name, both rows" \
    "lumoIfStats$column\.1 = .*lumoIfStats$column\.2 = " echo "$(tr '\n' ' ' <<<"$named")"
done
expect_match "power supplies as their enumeration" \
  "^LUMO-HEALTH-MIB::lumoHealthPsu2State\.0 = INTEGER: failed\(0\)$" echo "$named"
expect_match "readings with their units" \
  "^LUMO-HEALTH-MIB::lumoHealthVoltage\.0 = INTEGER: 12000 millivolts$" echo "$named"
expect_match "the 64-bit counters as Counter64" \
  "^LUMO-INTERFACES-MIB::lumoIfStatsInOctets\.1 = Counter64: 4294967301 octets$" echo "$named"
expect_match "sysObjectID.0 names the product" "= OID: LUMO-SMI::lumoRouter$" \
  snmpget -r0 -t1 -v2c -c public "${MIBS[@]}" "$(target)" 1.3.6.1.2.1.1.2.0

# The enterprise trap, received by snmptrapd with the modules loaded.
command -v snmptrapd >/dev/null || { echo "snmptrapd not installed; trap names not checked"; finish; exit; }
export SNMP_PERSISTENT_DIR=$LUMO_ROOT/snmp-persist
TLOG=$LUMO_ROOT/snmptrapd.log
TRAPD_OPTIONS=("${MIBS[@]}")
start_snmptrapd
trap 'kill "$TRAPD_PID" 2>/dev/null; wait "$TRAPD_PID" 2>/dev/null || true; cleanup' EXIT
ctl snmp set trap-target=127.0.0.1 trap-community=public >/dev/null
for version in 2c 1; do
  ctl snmp set trap-version=$version >/dev/null
  mark
  ctl snmp trap send >/dev/null
  if [ $version = 1 ]; then
    expect_trap "v1: the enterprise and its trap by name" \
      "LUMO-NOTIFICATIONS-MIB::lumoTraps Enterprise Specific Trap \(LUMO-NOTIFICATIONS-MIB::lumoRequestedTrap\)"
  else
    expect_trap "v2c: snmpTrapOID.0 by name" "= OID: LUMO-NOTIFICATIONS-MIB::lumoRequestedTrap"
  fi
done
finish
