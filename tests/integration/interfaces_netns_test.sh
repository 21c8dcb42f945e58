#!/usr/bin/env bash
# ifTable and ifXTable of real links: lumo-hostd in host mode and the agent in a network
# namespace of their own holding loopback, one end of a veth pair whose other end sits in a
# second namespace (the peer host), and an ifb link where a dummy would do (some kernels
# have no dummy driver). Checked with net-snmp's tools against what ip and sysfs say: names,
# hardware addresses, MTUs, admin and oper status, octet counters after traffic from the
# peer, a link set down, and an ifAlias Set applied to the link.
#
# The namespace has its own mount namespace too, with sysfs mounted afresh, so that
# /sys/class/net shows this namespace's links and not the host's.
# Exit 77 (skipped) where namespaces cannot be made.
if [ -z "${LUMO_IN_NETNS:-}" ]; then
  if ! unshare -n -m true 2>/dev/null; then echo "network namespaces unavailable; skipped"; exit 77; fi
  exec env LUMO_IN_NETNS=1 unshare -n -m bash "$0" "$@"
fi
mount -t sysfs sysfs /sys || { echo "cannot mount sysfs in the new namespace; skipped"; exit 77; }
ip link set lo up
source "$(dirname "$0")/lib.sh"
HOSTD=${HOSTD:?path to lumo-hostd}
IF=1.3.6.1.2.1.2.2.1
IFX=1.3.6.1.2.1.31.1.1.1
MIB=(-M "$HERE" -m LUMO-IF-TEST-MIB)
PINGS=20
HOSTD_PID="" PEER_PID=""
stop_all() {
  [ -z "$HOSTD_PID" ] || { kill "$HOSTD_PID" 2>/dev/null; wait "$HOSTD_PID" 2>/dev/null || true; }
  # The peer namespace ends with its one process; the veth pair goes with it.
  [ -z "$PEER_PID" ] || { kill "$PEER_PID" 2>/dev/null; wait "$PEER_PID" 2>/dev/null || true; }
}
trap 'stop_all; cleanup' EXIT

# The peer host: a namespace of its own, entered with nsenter.
start_peer
peer ip link set lo up

SPARE=dummy
if ip link add probe0 type dummy 2>/dev/null; then ip link del probe0
else SPARE=ifb; log "no dummy driver in this kernel: an ifb link stands in for the dummy"; fi
ip link add up0 type veth peer name peer0 netns "$PEER_PID"
ip link add spare0 type "$SPARE"
ip link set up0 mtu 1400
# No IPv6 on the pair: no router solicitations or group reports adding to the counters.
sysctl -qw net.ipv6.conf.up0.disable_ipv6=1 2>/dev/null || true
peer sysctl -qw net.ipv6.conf.peer0.disable_ipv6=1 2>/dev/null || true
ip addr add 192.0.2.1/24 dev up0
ip link set up0 up
ip link set spare0 up
peer ip addr add 192.0.2.2/24 dev peer0
peer ip link set peer0 up

"$HOSTD" 2>>"$LUMO_ROOT/hostd.err" &
HOSTD_PID=$!
for _ in $(seq 200); do
  ctl --timeout 200 call 24/2 get >/dev/null 2>&1 && ctl --timeout 200 call 20/0 count >/dev/null 2>&1 && break
  kill -0 "$HOSTD_PID" 2>/dev/null || break
  sleep 0.05
done
start_agent
ctl snmp set enabled=yes >/dev/null

ifindex() { ip -o link show "$1" | cut -d: -f1; }
up0=$(ifindex up0)
spare0=$(ifindex spare0)

# Rows of the table as snmptable prints them, next to the rows ip -j link makes of the
# same columns; the script prints every difference and exits 1 on any.
table_rows() { # TABLE
  snmptable -v2c -c public -r0 -t2 -Ci -Cf '|' -CH "${MIB[@]}" "$(target)" "$1" 2>&1
}
compare_rows() { # NAME SNMPTABLE-OUTPUT
  ip -j link >"$LUMO_ROOT/links.json"
  printf '%s\n' "$2" >"$LUMO_ROOT/rows.txt"
  python3 - "$1" "$LUMO_ROOT/links.json" "$LUMO_ROOT/rows.txt" <<'PY'
import json, sys
table, links = sys.argv[1], json.load(open(sys.argv[2]))
lines = [l for l in open(sys.argv[3]).read().splitlines() if l]
def mac(text):  # "2:a:..." as net-snmp shows it, or ip's "02:0a:..."
    return ":".join("%02x" % int(octet, 16) for octet in text.split(":")) if text else ""
def status(flag):
    return "up" if flag else "down"
want, got = {}, {}
for l in links:
    flags = l["flags"]
    # IFF_RUNNING, which ip shows as the operational state up (or unknown, for drivers that
    # leave carrier alone); LOWER_UP alone is not it.
    running = "UP" in flags and l.get("operstate") in ("UP", "UNKNOWN")
    if table == "ifTable":
        want[l["ifindex"]] = [str(l["ifindex"]), l["ifname"], str(l["mtu"]),
                              mac(l.get("address", "")), status("UP" in flags), status(running)]
    else:
        want[l["ifindex"]] = [l["ifname"], l.get("ifalias", "")]
for line in lines:
    cells = [c[1:-1] if len(c) >= 2 and c[0] == c[-1] == '"' else c for c in line.split("|")]
    if table == "ifTable":
        # index, ifIndex, ifDescr, ifType, ifMtu, ifSpeed, ifPhysAddress, ifAdminStatus, ifOperStatus ...
        row = [cells[1], cells[2], cells[4], mac(cells[6]), cells[7], cells[8]]
    else:
        row = [cells[1], cells[18]]
    got[int(cells[0])] = row
bad = 0
for index in sorted(set(want) | set(got)):
    if want.get(index) != got.get(index):
        print("  index %d: ip says %s, %s says %s" % (index, want.get(index), table, got.get(index)))
        bad = 1
if not lines or bad:
    print("\n".join("  | " + l for l in lines[:10]))
sys.exit(bad)
PY
}
expect_rows() { # DESCRIPTION TABLE
  local out
  out=$(table_rows "$2")
  if diff_out=$(compare_rows "$2" "$out"); then pass "$1"; else fail "$1"; echo "$diff_out"; fi
}

expect_match "ifNumber is the number of links" \
  "^\.1\.3\.6\.1\.2\.1\.2\.1\.0 = INTEGER: $(ip -o link | wc -l)$" \
  snmp snmpget -v2c -c public "$(target)" 1.3.6.1.2.1.2.1.0
expect_rows "ifTable lists every link: index, name, MTU, MAC, admin and oper status as ip" ifTable
expect_rows "ifXTable lists every link: name and alias as ip" ifXTable
expect_match "a veth and an $SPARE link are Ethernet-like (ifType 6)" \
  "^\.$IF\.3\.$up0 = INTEGER: 6 \.$IF\.3\.$spare0 = INTEGER: 6 $" \
  bash -c "snmpget -On -r0 -t1 -v2c -c public $(target) $IF.3.$up0 $IF.3.$spare0 | tr '\n' ' '"

# --- counters ---------------------------------------------------------------------------
rx() { cat "/sys/class/net/up0/statistics/rx_bytes"; }
# counters: the link's ifInOctets and ifHCInOctets (one request, so one reading of the
# link) between two reads of sysfs: "SYSFS-BEFORE IN HCIN SYSFS-AFTER".
counters() {
  # hostd answers lists from a reading at most 1 s old: wait that out, so the reading the
  # agent gets is taken after the first sysfs read.
  sleep 1.1
  local before after out
  before=$(rx)
  out=$(snmpget -v2c -c public -r0 -t1 -Oqv "$(target)" $IF.10.$up0 $IFX.6.$up0 | tr '\n' ' ')
  after=$(rx)
  echo "$before $out$after"
}
# Echo requests from the peer, answered here: COUNT of them, 1 s for each answer.
ping_from_peer() {
  peer python3 - "$1" <<'PY'
import os, socket, struct, sys, time
def checksum(data):
    s = sum(struct.unpack("!%dH" % (len(data) // 2), data))
    s = (s >> 16) + (s & 0xFFFF)
    return ~(s + (s >> 16)) & 0xFFFF
sock = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
sock.settimeout(1.0)
answered = 0
for seq in range(int(sys.argv[1])):
    body = struct.pack("!HH", os.getpid() & 0xFFFF, seq) + bytes(56)
    packet = struct.pack("!BBH", 8, 0, checksum(struct.pack("!BBH", 8, 0, 0) + body)) + body
    sock.sendto(packet, ("192.0.2.1", 0))
    deadline = time.monotonic() + 1.0
    while time.monotonic() < deadline:
        try:
            reply = sock.recv(2048)
        except socket.timeout:
            break
        if reply[20] == 0 and reply[24:28] == body[:4]:
            answered += 1
            break
print("%d of %s answered" % (answered, sys.argv[1]))
PY
}
read -r b0 in0 hc0 a0 <<<"$(counters)"
expect_match "the peer's $PINGS echo requests are answered" "^$PINGS of $PINGS answered$" ping_from_peer "$PINGS"
read -r b1 in1 hc1 a1 <<<"$(counters)"
log "rx_bytes of up0 around the readings: $b0..$a0 then $b1..$a1; ifInOctets $in0 then $in1, ifHCInOctets $hc0 then $hc1"
# An echo request on the wire: 14 octets of Ethernet header, 20 of IP, 8 of ICMP, 56 of data.
least=$((PINGS * 98))
for pair in "ifInOctets $in0 $in1" "ifHCInOctets $hc0 $hc1"; do
  read -r name v0 v1 <<<"$pair"
  if [[ "$v0$v1" =~ ^[0-9]+$ ]] && [ "$b0" -le "$v0" ] && [ "$v0" -le "$a0" ] &&
     [ "$b1" -le "$v1" ] && [ "$v1" -le "$a1" ] && [ $((v1 - v0)) -ge "$least" ]; then
    pass "$name rose by $((v1 - v0)) octets, as rx_bytes did ($((b1 - a0)) to $((a1 - b0)), at least $least sent)"
  else
    fail "$name: $v0 then $v1, rx_bytes $b0..$a0 then $b1..$a1"
  fi
done

# --- status -----------------------------------------------------------------------------
get_status() { # INDEX: "ADMIN OPER"
  snmpget -v2c -c public -r0 -t1 -Oqv "${MIB[@]}" "$(target)" ifAdminStatus.$1 ifOperStatus.$1 | tr '\n' ' '
}
expect_match "spare0 up: admin up, oper up" "^up up $" get_status "$spare0"
ip link set spare0 down
expect_match "spare0 set down: admin down, oper down" "^down down $" get_status "$spare0"
peer ip link set peer0 down
expect_match "the peer's end set down: up0 stays admin up, oper down" "^up down $" get_status "$up0"
peer ip link set peer0 up
expect_match "the peer's end up again: up0 oper up" "^up up $" get_status "$up0"
expect_rows "ifTable after the changes still agrees with ip" ifTable

# --- ifAlias ----------------------------------------------------------------------------
ctl snmp community add ops write-access=yes addresses=127.0.0.0/8 >/dev/null
expect_match "snmpset of up0's ifAlias" "STRING: \"?uplink to peer\"?$" \
  snmp snmpset -v2c -c ops "$(target)" $IFX.18.$up0 s "uplink to peer"
expect_match "ip link show shows it as up0's alias" "alias uplink to peer$" ip link show up0
expect_match "and ifAlias reads it back" "STRING: \"?uplink to peer\"?$" \
  snmp snmpget -v2c -c public "$(target)" $IFX.18.$up0
expect_rows "ifXTable after the Set agrees with ip" ifXTable

if grep -q "Assertion\|Sanitizer\|runtime error" "$LUMO_ROOT/agent.err" "$LUMO_ROOT/hostd.err"; then
  fail "sanitizer report"; cat "$LUMO_ROOT/agent.err" "$LUMO_ROOT/hostd.err" | head -20; fi
finish
