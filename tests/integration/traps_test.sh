#!/usr/bin/env bash
# Traps received by net-snmp's snmptrapd, in v1, v2c and v3 (authNoPriv SHA, authPriv
# SHA/AES): the start trap after the agent starts, enterprise traps from
# `lumoctl snmp trap send` with an OCTET STRING and with a NULL binding, and linkDown and
# linkUp from link notifications published by lumo-hostd's fixture mode, with nothing for
# an interface outside the filter or for a change of other flag bits. Then a target that
# refuses (nobody on its port) is logged once and does not stop the other.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/traps_lib.sh"
HOSTD=${HOSTD:?path to lumo-hostd}
command -v snmptrapd >/dev/null || { echo "snmptrapd not installed; skipped"; exit 77; }
export LUMO_TRAP_PORT=$(python3 "$HERE/free_port.py")
export SNMP_PERSISTENT_DIR=$LUMO_ROOT/snmp-persist
ENT=.1.3.6.1.4.1.47392.1.1.9
SYSNAME=.1.3.6.1.2.1.1.5.0
IF=.1.3.6.1.2.1.2.2.1
TLOG=$LUMO_ROOT/snmptrapd.log
TRAPD_PID=""
stop_all() {
  [ -z "$TRAPD_PID" ] || { kill "$TRAPD_PID" 2>/dev/null; wait "$TRAPD_PID" 2>/dev/null || true; }
}
trap 'stop_all; cleanup' EXIT

# Interfaces 1, 2 and 7, all administratively up and running (0x500).
cat >"$LUMO_ROOT/ifaces.json" <<'JSON'
{"services": [{"path": [20, 0], "objects": [
  {"0x08FE0001": 1, "0x20010006": "eth1", "0x08010001": 1, "0x08010003": 1280},
  {"0x08FE0001": 2, "0x20010006": "eth2", "0x08010001": 1, "0x08010003": 1280},
  {"0x08FE0001": 7, "0x20010006": "eth7", "0x08010001": 1, "0x08010003": 1280}]}]}
JSON
run_hostd 20/0 count --fixture "$LUMO_ROOT/ifaces.json"

start_agent
add_trap_users
# snmptrapd knows this user with another password: its traps must fail the digest check.
ctl snmp community add trapwrong security=auth authentication-protocol=sha \
  authentication-password=$TRAP_PASS >/dev/null
start_snmptrapd "createUser -e $(wire_engine_id) trapwrong SHA not-$TRAP_PASS"

ctl snmp set enabled=yes trap-target=127.0.0.1 trap-generators=start,interfaces \
  interface-filter=1,2 >/dev/null

# publish ID FLAGS: the interface service's link notification for interface ID.
publish() {
  ctl call 20/99 0x990003 0x08990006=0x10004 \
    "0x28990007={\"0x08FE0001\": $1, \"0x08010003\": $2, \"0x08010002\": 0}" >/dev/null
}
sentinel=0
# expect_none DESCRIPTION REGEX: after the trap of a later `trap send`, the log since the
# mark holds no match (the agent handles its bus input in order).
expect_none() {
  local what=$1 re=$2
  sentinel=$((sentinel + 1))
  ctl snmp trap send oid=1.3.6.1.2.1.1.6.0 type=string value="sentinel-$sentinel" >/dev/null
  expect_trap "$what: a later trap arrives" "sentinel-$sentinel"
  if since | grep -Eq -- "$re"; then fail "$what"; echo "  log: $(since | head -c 2000)"; else pass "$what"; fi
}

# version|community|what the log shows for it
VERSIONS=(
  "1|public|TRAP, SNMP v1, community public"
  "2c|public|UDP: \[127\.0\.0\.1\]"
  "3|trapauth|UDP: \[127\.0\.0\.1\]"
  "3|trappriv|UDP: \[127\.0\.0\.1\]"
)
for row in "${VERSIONS[@]}"; do
  IFS='|' read -r version community header <<<"$row"
  name="v$version/$community"
  ctl snmp set trap-version=$version trap-community=$community >/dev/null
  stop_agent
  mark
  start_agent
  if [ "$version" = 1 ]; then
    expect_trap "$name: start trap" "$header .*\.1\.3\.6\.1\.6\.3\.1\.1\.5\.2 Warm Start Trap \(0\)"
  else
    expect_trap "$name: start trap" "$header.*\.1\.3\.6\.1\.6\.3\.1\.1\.4\.1\.0 = OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.2"
  fi

  mark
  ctl snmp trap send oid=${SYSNAME#.} type=4 value="x-$version-$community" >/dev/null
  if [ "$version" = 1 ]; then
    expect_trap "$name: enterprise trap with a string" \
      "$ENT Enterprise Specific Trap \(1\) .*$SYSNAME = STRING: \"x-$version-$community\""
  else
    expect_trap "$name: enterprise trap with a string" \
      "OID: $ENT\.0\.1 +$SYSNAME = STRING: \"x-$version-$community\""
  fi
  mark
  ctl snmp trap send oid=${SYSNAME#.} type=null >/dev/null
  expect_trap "$name: enterprise trap with a NULL" "$SYSNAME = NULL"

  # Interface 1 loses its carrier, then gets it back.
  mark
  publish 1 256
  if [ "$version" = 1 ]; then
    expect_trap "$name: linkDown" \
      "Link Down Trap \(0\) .*$IF\.1\.1 = INTEGER: 1 +$IF\.7\.1 = INTEGER: 1 +$IF\.8\.1 = INTEGER: 2"
  else
    expect_trap "$name: linkDown" \
      "OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.3 +$IF\.1\.1 = INTEGER: 1 +$IF\.7\.1 = INTEGER: 1 +$IF\.8\.1 = INTEGER: 2"
  fi
  mark
  publish 1 1280
  if [ "$version" = 1 ]; then
    expect_trap "$name: linkUp" "Link Up Trap \(0\) .*$IF\.1\.1 = INTEGER: 1 +$IF\.7\.1 = INTEGER: 1 +$IF\.8\.1 = INTEGER: 1"
  else
    expect_trap "$name: linkUp" \
      "OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.4 +$IF\.1\.1 = INTEGER: 1 +$IF\.7\.1 = INTEGER: 1 +$IF\.8\.1 = INTEGER: 1"
  fi
  # Interface 2 set down by the administrator.
  mark
  publish 2 0
  expect_trap "$name: linkDown of an administratively down link" "$IF\.1\.2 = INTEGER: 2 +$IF\.7\.2 = INTEGER: 2 +$IF\.8\.2 = INTEGER: 2"
  mark
  publish 7 0
  expect_none "$name: nothing for interface 7, outside the filter" "$IF\.1\.7"
  mark
  publish 1 $((1280 | 3))
  expect_none "$name: nothing when only other flag bits change" "$IF\.1\.1 "
done

# lumoctl refuses a binding it cannot describe before anything is sent.
expect_output "trap send: a name that is no OID" 'oid: "sys.name" is not a dotted OID' \
  ctl snmp trap send oid=sys.name type=4 value=x
expect_output "trap send: oid without type" "a binding needs both oid and type" \
  ctl snmp trap send oid=1.3.6.1.2.1.1.5.0 value=x
expect_match "trap generators: the start trap and the interface generator" \
  "0x0ABC0001 +start-trap.*0 +interfaces" bash -c "\"$LUMOCTL\" snmp trap generators | tr '\n' ' '"

# The v3 traps above were checked by snmptrapd: one signed with a key it does not share is
# dropped.
ctl snmp set trap-version=3 trap-community=trapwrong >/dev/null
mark
ctl snmp trap send oid=${SYSNAME#.} type=4 value=wrong-key >/dev/null
ctl snmp set trap-community=trapauth >/dev/null
expect_none "v3: a trap signed with another key is dropped by snmptrapd" "wrong-key"

# A target that refuses: 127.0.0.3 has nobody on the port. Every trap still reaches
# snmptrapd; the agent logs the refusing target once. (Each target's own request-id is
# test_trap_sender.cc's.)
ctl snmp set trap-version=2c trap-community=public >/dev/null
expect_bad_target_skipped refusing 127.0.0.3 5

finish
