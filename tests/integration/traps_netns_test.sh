#!/usr/bin/env bash
# Link traps from real links: lumo-hostd in host mode and the agent in a network namespace
# of their own, snmptrapd on its loopback. A veth end loses its carrier when its peer goes
# down (linkDown with ifAdminStatus 1, ifOperStatus 2) and gets it back (linkUp); a link set
# down by the administrator sends linkDown with ifAdminStatus 2; a link outside the
# interface filter sends nothing. Instances are the kernel's ifindex. All in v2c: the trap
# in every version is traps_test.sh's. Then a target with no route to it is logged once
# and does not hold up the other.
# Exit 77 (skipped) where namespaces cannot be made.
if [ -z "${LUMO_IN_NETNS:-}" ]; then
  if ! unshare -n -m true 2>/dev/null; then echo "network namespaces unavailable; skipped"; exit 77; fi
  exec env LUMO_IN_NETNS=1 unshare -n -m bash "$0" "$@"
fi
mount -t sysfs sysfs /sys || { echo "cannot mount sysfs in the new namespace; skipped"; exit 77; }
ip link set lo up
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/traps_lib.sh"
HOSTD=${HOSTD:?path to lumo-hostd}
command -v snmptrapd >/dev/null || { echo "snmptrapd not installed; skipped"; exit 77; }
export LUMO_TRAP_PORT=$(python3 "$HERE/free_port.py")
export SNMP_PERSISTENT_DIR=$LUMO_ROOT/snmp-persist
IF=.1.3.6.1.2.1.2.2.1
TLOG=$LUMO_ROOT/snmptrapd.log
TRAPD_PID="" PEER_PID=""
stop_all() {
  for p in $TRAPD_PID $PEER_PID; do kill "$p" 2>/dev/null; wait "$p" 2>/dev/null || true; done
}
trap 'stop_all; cleanup' EXIT

start_peer
SPARE=dummy
if ip link add probe0 type dummy 2>/dev/null; then ip link del probe0; else SPARE=ifb; fi
ip link add up0 type veth peer name peer0 netns "$PEER_PID"
ip link add spare0 type "$SPARE"
ip link add other0 type "$SPARE"
ip link set up0 up
ip link set spare0 up
ip link set other0 up
peer ip link set peer0 up
UP0=$(cat /sys/class/net/up0/ifindex)
SPARE0=$(cat /sys/class/net/spare0/ifindex)
OTHER0=$(cat /sys/class/net/other0/ifindex)

run_hostd 20/0 count
start_agent
start_snmptrapd
ctl snmp set enabled=yes trap-target=127.0.0.1 trap-version=2c trap-community=public \
  trap-generators=interfaces interface-filter=$UP0,$SPARE0 >/dev/null

DOWN="OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.3"
UP="OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.4"

mark
peer ip link set peer0 down
expect_trap "up0 loses its carrier: linkDown, admin up, oper down" \
  "$DOWN +$IF\.1\.$UP0 = INTEGER: $UP0 +$IF\.7\.$UP0 = INTEGER: 1 +$IF\.8\.$UP0 = INTEGER: 2"
mark
peer ip link set peer0 up
expect_trap "up0 gets its carrier back: linkUp" \
  "$UP +$IF\.1\.$UP0 = INTEGER: $UP0 +$IF\.7\.$UP0 = INTEGER: 1 +$IF\.8\.$UP0 = INTEGER: 1"
mark
ip link set other0 down
ip link set spare0 down
expect_trap "spare0 set down: linkDown, admin down" \
  "$DOWN +$IF\.1\.$SPARE0 = INTEGER: $SPARE0 +$IF\.7\.$SPARE0 = INTEGER: 2 +$IF\.8\.$SPARE0 = INTEGER: 2"
# other0 went down first; by the time spare0's trap is in, other0's would be too.
if since | grep -q "$IF\.1\.$OTHER0 "; then fail "other0 is outside the filter but sent a trap"
else pass "nothing for other0, outside the filter"; fi
mark
ip link set spare0 up
expect_trap "spare0 set up: linkUp" "$UP +$IF\.1\.$SPARE0 = INTEGER: $SPARE0"

# A target that cannot be connected (no route to it in this namespace) is skipped, logged
# once, and the target after it gets every trap.
expect_bad_target_skipped unroutable 2001:db8::1 3

finish
