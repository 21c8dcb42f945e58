#!/usr/bin/env bash
# The agent's system group served by lumo-hostd's host mode: sysName and sysDescr come from
# the system information at [24, 2].
#
# When it can, hostd runs in a UTS namespace of its own under a made-up host name, so that
# the answer cannot come from the agent's own uname fallback (which would give the real one).
source "$(dirname "$0")/lib.sh"
HOSTD=${HOSTD:?path to lumo-hostd}
SYS=1.3.6.1.2.1.1
HOSTD_PID=""

stop_hostd() {
  if [ -n "$HOSTD_PID" ]; then
    kill "$HOSTD_PID" 2>/dev/null || true
    wait "$HOSTD_PID" 2>/dev/null || true
    HOSTD_PID=""
  fi
}
trap 'stop_hostd; cleanup' EXIT

name=lumo-hostd-it-$$
if unshare --user --map-root-user --uts true 2>/dev/null; then
  unshare --user --map-root-user --uts sh -c 'hostname "$1" && exec "$2"' sh "$name" "$HOSTD" \
    2>>"$LUMO_ROOT/hostd.err" &
else
  name=$(uname -n)
  log "no UTS namespace here: checking the real host name, which the agent's fallback also knows"
  "$HOSTD" 2>>"$LUMO_ROOT/hostd.err" &
fi
HOSTD_PID=$!
for _ in $(seq 100); do
  ctl --timeout 200 call 24/2 get >/dev/null 2>&1 && break
  kill -0 "$HOSTD_PID" 2>/dev/null || break
  sleep 0.05
done
expect_match "hostd serves the host name" "\"$name\"" ctl call 24/2 get

start_agent
ctl call 34/0 set 0x00000001=yes >/dev/null
expect_match "sysName is hostd's host name" "^\.$SYS\.5\.0 = STRING: \"?$name\"?$" \
  snmp snmpget -v2c -c public "$(target)" $SYS.5.0
expect_match "sysDescr starts with the kernel name and release" \
  "^\.$SYS\.1\.0 = STRING: \"?$(uname -s) $(uname -r) " snmp snmpget -v2c -c public "$(target)" $SYS.1.0

stop_agent
stop_hostd
finish
