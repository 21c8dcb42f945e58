#!/usr/bin/env bash
# SNMPv3 against two independent managers: net-snmp's tools and pysnmp, every combination
# of MD5/SHA-1 x noAuthNoPriv/authNoPriv/authPriv with DES and AES-128, and the SHA-2
# protocols with and without privacy; the reports that
# wrong passwords, replays and a restarted engine earn.
source "$(dirname "$0")/lib.sh"

SYS=1.3.6.1.2.1.1
PASS=maplesyrup1
PY=/usr/bin/python3  # the system's interpreter: pysnmp comes as a Debian package
start_agent
ctl call 34/0 set 0x00000001=yes >/dev/null

# name, net-snmp security options, pysnmp auth and priv.
MATRIX=(
  "plain|-l noAuthNoPriv|none|none"
  "md5|-l authNoPriv -a MD5 -A $PASS|md5|none"
  "sha|-l authNoPriv -a SHA -A $PASS|sha|none"
  "md5des|-l authPriv -a MD5 -A $PASS -x DES -X $PASS|md5|des"
  "md5aes|-l authPriv -a MD5 -A $PASS -x AES -X $PASS|md5|aes"
  "shades|-l authPriv -a SHA -A $PASS -x DES -X $PASS|sha|des"
  "shaaes|-l authPriv -a SHA -A $PASS -x AES -X $PASS|sha|aes"
  "sha224|-l authNoPriv -a SHA-224 -A $PASS|sha224|none"
  "sha256aes|-l authPriv -a SHA-256 -A $PASS -x AES -X $PASS|sha256|aes"
  "sha384des|-l authPriv -a SHA-384 -A $PASS -x DES -X $PASS|sha384|des"
  "sha512aes|-l authPriv -a SHA-512 -A $PASS -x AES -X $PASS|sha512|aes"
)
for row in "${MATRIX[@]}"; do
  IFS='|' read -r name _ auth priv <<<"$row"
  case "$priv" in none) level=$([ "$auth" = none ] && echo noauth || echo auth) ;; *) level=priv ;; esac
  args=(security=$level write-access=yes)
  [ "$auth" != none ] && args+=(authentication-protocol=$auth authentication-password=$PASS)
  [ "$priv" != none ] && args+=(encryption-protocol=$priv encryption-password=$PASS)
  ctl snmp community add "$name" "${args[@]}" >/dev/null
done
engine=$(ctl snmp print | awk '$1 == "engine-id" { print $2 }')
if [ ${#engine} -eq 16 ]; then pass "a fresh install has an engine id of its own"; else
  fail "engine id text: '$engine'"; fi

# With a long sysContact, a GetBulk of three walks through the MIB passes 1,000 octets: the
# signature must cover the message after its sequences widened to two-octet lengths.
LONG=$(printf 'c%.0s' $(seq 200))
for row in "${MATRIX[@]}"; do
  IFS='|' read -r name opts _ _ <<<"$row"
  read -ra sec <<<"$opts"
  v3=(-v3 -u "$name" "${sec[@]}" "$(target)")
  expect_match "net-snmp $name: get" "^\.$SYS\.1\.0 = STRING: " snmp snmpget "${v3[@]}" $SYS.1.0
  expect_match "net-snmp $name: set" "^\.$SYS\.4\.0 = STRING: \"$name$LONG\"" \
    snmp snmpset "${v3[@]}" $SYS.4.0 s "$name$LONG"
  out=$(snmp snmpbulkwalk -Cr10 "${v3[@]}" $SYS 2>&1) || true
  if [ "$(grep -c "^\.$SYS\." <<<"$out")" -eq 7 ] && grep -q "$name$LONG" <<<"$out"; then
    pass "net-snmp $name: bulkwalk of the system group"; else
    fail "net-snmp $name: bulkwalk"; echo "$out" | head -5; fi
  size=$(snmp snmpbulkget -d -Cr30 "${v3[@]}" $SYS $SYS $SYS 2>&1 | sed -n 's/^Received \([0-9]*\) byte packet.*/\1/p' | tail -1)
  if [ "${size:-0}" -gt 1000 ]; then pass "net-snmp $name: a GetBulk reply of $size octets"; else
    fail "net-snmp $name: GetBulk reply size '${size:-}'"; fi
done

# Wrong passwords: the manager names the report it gets.
expect_output "wrong authentication password" "Authentication failure" \
  snmp snmpget -v3 -u shaaes -l authPriv -a SHA -A wrongpass1 -x AES -X $PASS "$(target)" $SYS.1.0
expect_output "wrong privacy password (AES)" "Decryption error" \
  snmp snmpget -v3 -u shaaes -l authPriv -a SHA -A $PASS -x AES -X wrongpass1 "$(target)" $SYS.1.0
expect_output "wrong privacy password (DES)" "Decryption error" \
  snmp snmpget -v3 -u md5des -l authPriv -a MD5 -A $PASS -x DES -X wrongpass1 "$(target)" $SYS.1.0
expect_output "wrong authentication password (SHA-512)" "Authentication failure" \
  snmp snmpget -v3 -u sha512aes -l authPriv -a SHA-512 -A wrongpass1 -x AES -X $PASS "$(target)" $SYS.1.0
expect_output "unknown user" "Unknown user name" \
  snmp snmpget -v3 -u nobody -l authNoPriv -a MD5 -A $PASS "$(target)" $SYS.1.0
expect_output "level below the user's" "Unsupported security level" \
  snmp snmpget -v3 -u shaaes -l authNoPriv -a SHA -A $PASS "$(target)" $SYS.1.0
expect_match "usmStats count what was refused" "\.1\.3\.6\.1\.6\.3\.15\.1\.1\.5\.0 = Counter32: [1-9]" \
  snmp snmpget -v3 -u sha -l authNoPriv -a SHA -A $PASS "$(target)" 1.3.6.1.6.3.15.1.1.5.0

# The same matrix from pysnmp.
if $PY -c "import pysnmp" 2>/dev/null; then
  for row in "${MATRIX[@]}"; do
    IFS='|' read -r name _ auth priv <<<"$row"
    expect_match "pysnmp $name: get, set, get, bulk" "bulk of the system group: 7 objects" \
      $PY "$HERE/v3_pysnmp.py" "$LUMO_SNMP_PORT" "$name" "$auth" "$priv" $PASS "py-$name"
  done
else
  fail "pysnmp is not installed (tools/install-deps.sh installs python3-pysnmp4)"
fi

# Replay: an authenticated request captured on its way is refused once the engine has
# restarted (its boots rose), and so is a manager that holds the old boots.
RELAY_PORT=$(python3 "$HERE/free_port.py")
python3 "$HERE/v3_replay.py" relay "$RELAY_PORT" "$LUMO_SNMP_PORT" "$LUMO_ROOT/captured" 4 &
RELAY=$!
for _ in $(seq 100); do [ -e "$LUMO_ROOT/captured.ready" ] && break; sleep 0.05; done
snmp snmpget -v3 -u sha -l authNoPriv -a SHA -A $PASS "127.0.0.1:$RELAY_PORT" $SYS.5.0 >/dev/null || true
wait $RELAY
expect_match "the captured request is answered before the restart" "^response" \
  python3 "$HERE/v3_replay.py" replay "$LUMO_SNMP_PORT" "$LUMO_ROOT/captured"
boots() { snmp snmpget -v3 -u sha -l authNoPriv -a SHA -A $PASS -Oqv "$(target)" 1.3.6.1.6.3.10.2.1.2.0; }
before=$(boots)
stop_agent
start_agent
after=$(boots)
if [ "$after" -gt "$before" ]; then pass "engine boots rise across a restart ($before -> $after)"; else
  fail "engine boots $before -> $after"; fi
expect_match "a replayed request after the restart: notInTimeWindow" "^report 2$" \
  python3 "$HERE/v3_replay.py" replay "$LUMO_SNMP_PORT" "$LUMO_ROOT/captured"
expect_match "the engine id survives the restart" "engine-id +$engine" ctl snmp print

finish
