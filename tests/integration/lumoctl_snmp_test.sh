#!/usr/bin/env bash
# lumoctl snmp against a real lumo-snmpd: settings and communities by name, checked both in
# what lumoctl prints back and in how the agent then answers net-snmp's tools.
source "$(dirname "$0")/lib.sh"

SYS=1.3.6.1.2.1.1

# expect_exit DESCRIPTION STATUS REGEX COMMAND...: the command exits with STATUS and its
# output (stdout and stderr) matches.
expect_exit() {
  local what=$1 want=$2 re=$3; shift 3
  local out status=0
  out=$("$@" 2>&1) || status=$?
  if [ "$status" -eq "$want" ] && grep -Eq -- "$re" <<<"$out"; then pass "$what"; else
    fail "$what (exit $status, wanted $want)"; echo "  command: $*"; echo "  output: $out" | head -20; fi
}
# json_field EXPRESSION COMMAND...: a Python expression over the command's JSON output j.
json_field() {
  local expr=$1; shift
  "$@" | python3 -c "import json,sys; j=json.load(sys.stdin); print($expr)"
}

start_agent

# A fresh agent: disabled, one record "public".
expect_match "fresh settings: disabled" "^enabled +no$" ctl snmp print
expect_match "fresh settings: no trap community yet" '^trap-community +\(none\) \(stored name "public"\)$' \
  ctl snmp print
expect_match "fresh community list: public only" "^0 +public +yes +no +noauth .* 0\.0\.0\.0/0$" \
  ctl snmp community print
count=$(json_field 'len(j)' ctl --json snmp community print)
if [ "$count" = 1 ]; then pass "exactly one record"; else fail "records on a fresh start: $count"; fi

# Settings reach the agent: the system group serves the contact.
ctl snmp set enabled=yes contact="noc@example.net" location="rack 4" >/dev/null
expect_match "print shows enabled" "^enabled +yes$" ctl snmp print
expect_match "print shows the contact" "^contact +noc@example\.net$" ctl snmp print
expect_match "print shows the location" "^location +rack 4$" ctl snmp print
expect_match "sysContact.0 carries the contact" "\.$SYS\.4\.0 = STRING: \"noc@example\.net\"" \
  snmp snmpget -v2c -c public "$(target)" $SYS.4.0

# Trap settings round-trip by name, and land on the bus in the agent's own forms.
ctl snmp set trap-target=192.0.2.1,2001:db8::1 trap-version=2c trap-generators=start,interfaces \
  interface-filter=3,1 trap-community=public >/dev/null
expect_match "trap targets, IPv4 and IPv6" "^trap-target +192\.0\.2\.1,2001:db8::1$" ctl snmp print
expect_match "trap version" "^trap-version +2c$" ctl snmp print
expect_match "trap generators" "^trap-generators +start,interfaces$" ctl snmp print
expect_match "interface filter" "^interface-filter +1,3$" ctl snmp print
expect_match "trap community by record" '^trap-community +public \(id 0, stored name "public"\)$' ctl snmp print
raw=$(ctl --json call 34/0 get)
bus=$(python3 -c '
import json, sys, socket, struct
j = json.loads(sys.argv[1])
ipv4 = socket.inet_ntoa(struct.pack("=I", j["0xA800001A"][0]["0x08000010"]))
print(ipv4, j["0xA800001A"][1]["0x1800000E"], j["0x08000012"], j["0x08000011"], j["0x88000013"])
' "$raw")
if [ "$bus" = "192.0.2.1 2001:db8::1 1 0 [180092929, 0]" ]; then pass "settings in bus form"; else
  fail "settings in bus form: $bus"; fi
ctl snmp set trap-target= interface-filter=all >/dev/null
expect_match "empty trap-target clears the list" "^trap-target +\(none\)$" ctl snmp print
expect_match "interface filter back to all" "^interface-filter +all$" ctl snmp print
expect_match "JSON uses the same names" '"trap-version": "2c"' ctl --json snmp print

# Communities: both address forms round-trip, and the agent applies them.
ctl snmp community add lan addresses=10.1.0.0/255.255.0.0,192.0.2.0/24,2001:db8::/32 >/dev/null
expect_match "addresses in netmask and /len forms" "^[0-9]+ +lan .* 10\.1\.0\.0/16,192\.0\.2\.0/24,2001:db8::/32$" \
  ctl snmp community print lan
expect_silence "a source outside the record's addresses" snmp snmpget -v2c -c lan "$(target)" $SYS.4.0
ctl snmp community add ops addresses=127.0.0.0/255.0.0.0 write-access=on >/dev/null
expect_match "a write community from loopback sets sysLocation" "\.$SYS\.6\.0 = STRING: \"rack 5\"" \
  snmp snmpset -v2c -c ops "$(target)" $SYS.6.0 s "rack 5"
expect_match "the setting follows" "^location +rack 5$" ctl snmp print
ctl snmp community set ops write-access=no >/dev/null
expect_output "write access withdrawn by name" "readOnly" \
  snmp snmpset -v2c -c ops "$(target)" $SYS.6.0 s "rack 6"

# The agent's refusals come through as they are, with status 1.
expect_exit "duplicate add refused" 1 "community with the same name already exists!" \
  ctl snmp community add lan
expect_exit "renaming onto a used name refused" 1 "community with the same name already exists!" \
  ctl snmp community set ops name=lan
expect_exit "the default record stays" 1 "can not remove default community" ctl snmp community remove public
expect_exit "a name over 255 octets refused" 1 "^error 0xFE0006: community name longer than 255 octets$" \
  ctl snmp community add "$(printf '%*s' 256 '' | tr ' ' n)"
expect_exit "unknown record" 1 'no community "nobody"' ctl snmp community remove nobody
ctl snmp community remove lan >/dev/null
expect_exit "removed record is gone" 1 'no community "lan"' ctl snmp community print lan
id=$(json_field 'j["id"]' ctl --json snmp community print ops)
expect_match "a record by #ID" "^$id +ops " ctl snmp community print "#$id"

# Passwords are hidden unless asked for.
ctl snmp community add user3 security=priv authentication-protocol=sha encryption-protocol=aes \
  authentication-password=authpass123 encryption-password=privpass456 >/dev/null
out=$(ctl snmp community print user3)
if grep -Eq "priv +sha +aes +\(set\) +\(set\)" <<<"$out" && ! grep -q "pass" <<<"$out"; then
  pass "passwords hidden"; else fail "passwords hidden"; echo "$out"; fi
if ! ctl --json snmp community print | grep -q "pass[0-9]"; then pass "passwords hidden in JSON"; else
  fail "passwords hidden in JSON"; fi
expect_match "passwords on request" "authpass123 +privpass456" ctl snmp community print user3 --show-passwords
expect_match "public has none" "^0 +public .*\(none\) +\(none\) " ctl snmp community print

# Bad names and values: one line, status 2, and nothing reaches the agent.
expect_exit "bad boolean" 2 '^lumoctl: enabled: "maybe" is not' ctl snmp set contact=changed enabled=maybe
expect_exit "bad trap version" 2 '^lumoctl: trap-version: "4" is not 1, 2c or 3$' ctl snmp set trap-version=4
expect_exit "bad trap target" 2 "^lumoctl: trap-target:" ctl snmp set trap-target=192.0.2.300
expect_exit "unknown setting" 2 '^lumoctl: unknown setting "colour"' ctl snmp set colour=blue
expect_exit "read-only setting" 2 "^lumoctl: engine-boots is read-only$" ctl snmp set engine-boots=9
expect_exit "bad security level" 2 '^lumoctl: security: "high" is not' ctl snmp community add x security=high
expect_exit "non-contiguous netmask" 2 "^lumoctl: addresses:" \
  ctl snmp community set ops addresses=10.0.0.0/255.0.255.0
expect_exit "unknown field" 2 '^lumoctl: unknown community field "colour"' ctl snmp community set ops colour=red
expect_match "nothing was sent" "^contact +noc@example\.net$" ctl snmp print
expect_exit "refused add left no record" 1 'no community "x"' ctl snmp community print x

finish
