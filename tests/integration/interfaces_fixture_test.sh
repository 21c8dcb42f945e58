#!/usr/bin/env bash
# ifNumber, ifTable and ifXTable over an interface service served from a fixture: every
# interface kind's ifType and ifSpeed, the 32-bit counters as the low half of the 64-bit
# ones, a link without a hardware address, fast links, the columns that do not exist, and
# what SNMPv1 sees of the Counter64 columns.
source "$(dirname "$0")/lib.sh"
HOSTD=${HOSTD:?path to lumo-hostd}
IF=1.3.6.1.2.1.2.2.1
IFX=1.3.6.1.2.1.31.1.1.1

# Interface id k + 1 has kind k, for every kind 0 to 36; kinds 1 and 30 (Ethernet-like)
# get ids 101.. with each rate 0 to 4 instead. Id 200: a 10 Gb/s link (rate 0, speed in
# Mb/s). Id 1 carries counters past 2^32 and no hardware address.
python3 - "$LUMO_ROOT/ifaces.json" "$LUMO_ROOT/expected" <<'PY'
import json, sys
MBPS = 1000000
def rate_speed(r): return [10*MBPS, 100*MBPS, 1000*MBPS][r-1] if 1 <= r <= 3 else 0
table = {1: (6, None), 30: (135, None), 2: (188, 2*MBPS), 6: (188, 10*MBPS), 12: (209, 100*MBPS),
         27: (32, 64000), 17: (131, 10*MBPS), 21: (131, 128000)}
for k in (5, 13, 24, 35): table[k] = (71, 11*MBPS)
for k in (7, 8, 23, 28): table[k] = (118, 64000)
for k in (10, 11, 16, 18, 33, 34): table[k] = (23, 10*MBPS)
for k in (19, 20): table[k] = (23, 57600)
for k in (15, 22): table[k] = (63, 64000)
objs, expected = [], []
def add(i, kind, rate, **extra):
    o = {"0x08FE0001": i, "0x20010006": "if%d" % i, "0x08010001": kind, "0x0800044E": rate,
         "0x300003E9": "0200000000%02x" % (i % 256), "0x08010064": 1500}
    o.update(extra)
    objs.append(o)
    t, s = table.get(kind, (1, 10*MBPS))
    if s is None: s = rate_speed(rate)
    expected.append("%d %d %d" % (i, t, s))
for k in range(37):
    if k not in (1, 30): add(k + 1, k, 0)
for n, k in enumerate((1, 30)):
    for r in range(5): add(101 + 10*n + r, k, r)
objs[0].pop("0x300003E9")
objs[0].update({"0x100100FC": 0x100000005, "0x100100FD": 7, "0x100100FE": 0x200000001,
                "0x080100FA": 3, "0x00FE000A": True, "0x0001000E": False, "0x20FE0009": "uplink"})
objs.append({"0x08FE0001": 200, "0x20010006": "ten", "0x08010001": 1, "0x0800044E": 0,
             "0x0800044F": 10000, "0x00FE000A": False, "0x0001000E": True})
json.dump({"services": [{"path": [20, 0], "objects": objs}]}, open(sys.argv[1], "w"))
open(sys.argv[2], "w").write("\n".join(expected) + "\n")
PY

run_hostd 20/0 count --fixture "$LUMO_ROOT/ifaces.json"
start_agent
ctl snmp set enabled=yes >/dev/null
get() { snmp snmpget -v2c -c public "$(target)" "$@"; }

count=$(ctl --json call 20/0 0xFE0015 | python3 -c 'import json,sys; print(json.load(sys.stdin)["0x08FE0014"])')
expect_match "ifNumber is the service's count" "^\.1\.3\.6\.1\.2\.1\.2\.1\.0 = INTEGER: $count$" \
  get 1.3.6.1.2.1.2.1.0

# Every kind: ifType and ifSpeed, walked.
types=$(snmp snmpwalk -v2c -c public -Oqn "$(target)" $IF.3)
speeds=$(snmp snmpwalk -v2c -c public -Oqn "$(target)" $IF.5)
actual=$(join <(sed -E "s/^\.$IF\.3\.([0-9]+) /\1 /" <<<"$types" | sort) \
              <(sed -E "s/^\.$IF\.5\.([0-9]+) /\1 /" <<<"$speeds" | sort) | sort -n | grep -v '^200 ')
if [ "$actual" = "$(sort -n "$LUMO_ROOT/expected")" ]; then pass "ifType and ifSpeed of every kind and rate"
else fail "ifType and ifSpeed"; diff <(sort -n "$LUMO_ROOT/expected") <(echo "$actual") | head -20; fi

expect_match "ifInOctets is the low half of the 64-bit counter" "^\.$IF\.10\.1 = Counter32: 5$" get $IF.10.1
expect_match "ifHCInOctets is the whole counter" "^\.$IFX\.6\.1 = Counter64: 4294967301$" get $IFX.6.1
expect_match "ifInUcastPkts and ifHCInUcastPkts agree modulo 2^32" \
  "Counter32: 1$" get $IF.11.1
expect_match "no hardware address: empty ifPhysAddress" "^\.$IF\.6\.1 = (\"\"|STRING: ?\"?\"?|Hex-STRING: ?)$" get $IF.6.1
expect_match "a hardware address" "^\.$IF\.6\.3 = (Hex-)?STRING: 02 00 00 00 00 03" get $IF.6.3
expect_match "disabled and not running" "^\.$IF\.7\.1 = INTEGER: 2$" get $IF.7.1
expect_match "oper status down" "^\.$IF\.8\.1 = INTEGER: 2$" get $IF.8.1
expect_match "ifName and ifAlias" "STRING: \"?uplink\"?$" get $IFX.18.1
expect_match "a 10 Gb/s link: ifSpeed saturates" "^\.$IF\.5\.200 = Gauge32: 4294967295$" get $IF.5.200
expect_match "a 10 Gb/s link: ifHighSpeed in Mb/s" "^\.$IFX\.15\.200 = Gauge32: 10000$" get $IFX.15.200
expect_match "a gigabit link: ifHighSpeed 1000" "^\.$IFX\.15\.104 = Gauge32: 1000$" get $IFX.15.104
expect_output "ifXTable columns that are not served: noSuchObject" \
  "^\.$IFX\.14\.1 = No Such Object" get $IFX.14.1
expect_output "a missing interface: noSuchInstance" "^\.$IF\.2\.99 = No Such Instance" get $IF.2.99
expect_output "v1 Get of a Counter64: noSuchName" "noSuchName" \
  snmp snmpget -v1 -c public "$(target)" $IFX.6.1
expect_match "v1 GetNext steps over the Counter64 columns" "^\.$IFX\.15\.1 = Gauge32" \
  snmp snmpgetnext -v1 -c public "$(target)" $IFX.5.200

# ifAlias is the one writable column: a Set reaches the service.
ctl snmp community add ops write-access=yes addresses=127.0.0.0/8 >/dev/null
expect_match "snmpset of ifAlias" "STRING: \"?core\"?" \
  snmp snmpset -v2c -c ops "$(target)" $IFX.18.3 s core
expect_match "the service holds the new comment" '"core"' ctl call 20/0 get 0x08FE0001=3
expect_output "ifAlias longer than 64 octets: wrongLength" "wrongLength" \
  snmp snmpset -v2c -c ops "$(target)" $IFX.18.3 s "$(printf 'x%.0s' $(seq 65))"
expect_output "ifAlias with a NUL octet: wrongValue" "wrongValue" \
  snmp snmpset -v2c -c ops "$(target)" $IFX.18.3 x "41 00 42"
expect_output "ifDescr is read-only" "notWritable" \
  snmp snmpset -v2c -c ops "$(target)" $IF.2.3 s x

walked=$(snmp snmpbulkwalk -v2c -c public -Cr25 "$(target)" 1.3.6.1.2.1.2 | grep -c "^\.$IF\.1\.")
[ "$walked" -eq "$count" ] && pass "a bulk walk lists every interface once" || fail "bulk walk: $walked of $count"

# The interface tables ask the service for the fields their columns read, not whole objects.
# hostd's control handler counts the queries to [20, 0] and those that carried a field list.
ctl call 20/99 0x990006 >/dev/null
snmp snmpbulkwalk -v2c -c public -Cr25 "$(target)" $IF >/dev/null
snmp snmpbulkwalk -v2c -c public -Cr25 "$(target)" $IFX >/dev/null
counts=$(ctl --json call 20/99 get | python3 -c '
import json, sys
for s in json.load(sys.stdin)["0xA8FE0002"]:
    if s["0x08990001"] == 0: print(s["0x08990009"], s["0x0899000A"])')
read -r queries lists <<<"$counts"
if [ "${queries:-0}" -gt 0 ] && [ "$queries" = "$lists" ]; then
  pass "walks of ifTable and ifXTable: every one of $queries queries carried a field list"
else
  fail "walks of ifTable and ifXTable: $lists of $queries queries carried a field list"
fi
finish
