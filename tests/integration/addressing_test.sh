#!/usr/bin/env bash
# Runs in a network namespace of its own: replies leave from the address a request reached,
# IPv6 requests are answered when a record allows them, and malformed datagrams are dropped.
if [ -z "${LUMO_IN_NETNS:-}" ]; then
  if ! unshare -n true 2>/dev/null; then echo "network namespaces unavailable; skipped"; exit 77; fi
  exec env LUMO_IN_NETNS=1 unshare -n bash "$0" "$@"
fi
ip link set lo up
ip addr add 127.0.1.1/8 dev lo
source "$(dirname "$0")/lib.sh"

start_agent
ctl call 34/0 set 0x00000001=yes >/dev/null

expect_match "request to the second address is answered from it" "from 127.0.1.1" \
  python3 "$HERE/udp_probe.py" source-of-reply 127.0.0.1 127.0.1.1 "$LUMO_SNMP_PORT"
expect_match "request to the first address is answered from it" "from 127.0.0.1" \
  python3 "$HERE/udp_probe.py" source-of-reply 127.0.0.1 127.0.0.1 "$LUMO_SNMP_PORT"
# A burst to two addresses before any reply is read, in runs to one address (single
# requests among them) with sizes changing inside: alike replies to one peer leave as one
# segmented send, yet each must come apart whole, in order, from the address asked.
expect_match "runs to one address: replies whole, in order, from the address asked" \
  "200 of 200 answered, 0 wrong, 0 out of order" \
  python3 "$HERE/udp_probe.py" burst-runs "$LUMO_SNMP_PORT" 200 127.0.0.1 127.0.1.1

expect_silence "IPv4-only community over IPv6" \
  snmp snmpget -v2c -c public "udp6:[::1]:$LUMO_SNMP_PORT" 1.3.6.1.2.1.1.5.0
ctl call 34/1 add 0x20000005=six '0xA800001B=[{"0x18000016": "::1", "0x08000017": 128}]' >/dev/null
expect_match "IPv6 request with an IPv6 prefix" "STRING" \
  snmp snmpget -v2c -c six "udp6:[::1]:$LUMO_SNMP_PORT" 1.3.6.1.2.1.1.5.0
expect_match "IPv6 reply comes from ::1" "from ::1" \
  python3 "$HERE/udp_probe.py" source-of-reply ::1 ::1 "$LUMO_SNMP_PORT" six

# A joined send the kernel refuses goes reply by reply: with loopback's MTU at 300 octets,
# replies of about 500 are too large a segment, and must still all arrive (fragmented).
# Last of the address checks: so low an MTU takes IPv6 off loopback.
ip link set lo mtu 300
expect_match "replies too large to join: sent one by one, all arrive" \
  "200 of 200 answered, 0 wrong, 0 out of order" \
  python3 "$HERE/udp_probe.py" burst-runs "$LUMO_SNMP_PORT" 200 127.0.0.1 127.0.1.1 6

expect_match "malformed datagrams are dropped and the agent keeps answering" "answered: True" \
  python3 "$HERE/udp_probe.py" garbage 127.0.0.1 "$LUMO_SNMP_PORT" 3000
if kill -0 "$AGENT_PID" 2>/dev/null; then pass "agent still running"; else fail "agent died"; fi
if grep -q "Assertion\|Sanitizer\|runtime error" "$LUMO_ROOT/agent.err"; then
  fail "sanitizer report"; grep -m5 "Sanitizer\|runtime error" "$LUMO_ROOT/agent.err"; fi

finish
