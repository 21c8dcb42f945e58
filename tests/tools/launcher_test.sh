#!/usr/bin/env bash
# tools/lumo-launch: a fresh root comes up enabled with "public" answering this host, and a
# root kept from an earlier run keeps the settings changed in it.
# Run as: launcher_test.sh LAUNCHER BIN_DIR FREE_PORT_SCRIPT
set -uo pipefail
LAUNCH=${1:?path to lumo-launch}
BIN=${2:?folder of the programs}
PORT=$(python3 "${3:?free_port.py}")

ROOT=$(mktemp -d /tmp/lumo-launch-test-XXXXXX)
LAUNCHER_PID=""
stop_launcher() {
  [ -n "$LAUNCHER_PID" ] || return 0
  kill -TERM "$LAUNCHER_PID" 2>/dev/null
  wait "$LAUNCHER_PID" 2>/dev/null
  LAUNCHER_PID=""
}
trap 'stop_launcher; rm -rf "$ROOT"' EXIT
FAILED=0
check() { # description, then a command that must succeed
  local what=$1; shift
  if "$@"; then echo "ok: $what"; else echo "FAIL: $what"; FAILED=1; fi
}
launch() { # launch LOG: in the background until it says the agent runs (or gives up)
  "$LAUNCH" --root "$ROOT" --bin "$BIN" --port "$PORT" >"$1" 2>&1 &
  LAUNCHER_PID=$!
  for _ in $(seq 200); do
    grep -q 'Press Ctrl-C' "$1" && return 0
    kill -0 "$LAUNCHER_PID" 2>/dev/null || return 1
    sleep 0.05
  done
  return 1
}
get() { snmpget -v2c -c public -r0 -t1 -Oqv "$1:$PORT" 1.3.6.1.2.1.1.6.0 2>/dev/null; }
ctl() { LUMO_ROOT=$ROOT "$BIN/lumoctl" "$@"; }

check "a fresh root starts" launch "$ROOT/first.out"
check "public answers 127.0.0.1" [ -n "$(get 127.0.0.1)" ]
check "public answers ::1" [ -n "$(get 'udp6:[::1]')" ]
check "public is restricted to this host" \
  bash -c "LUMO_ROOT=$ROOT '$BIN/lumoctl' snmp community print | grep -q '127.0.0.0/8'"
ctl snmp set location=rack-7 >/dev/null
check "the location set through lumoctl is served" [ "$(get 127.0.0.1)" = '"rack-7"' ]
ctl snmp set enabled=no >/dev/null
stop_launcher

check "the kept root starts again" launch "$ROOT/second.out"
check "the launcher says it keeps the settings" grep -q 'settings kept' "$ROOT/second.out"
check "the launcher says how to enable the agent" grep -q 'enabled=yes' "$ROOT/second.out"
check "the agent stays disabled" [ -z "$(get 127.0.0.1)" ]
ctl snmp set enabled=yes >/dev/null
sleep 0.2
check "the location survived the restart" [ "$(get 127.0.0.1)" = '"rack-7"' ]
stop_launcher

[ "$FAILED" -eq 0 ] && echo "all launcher checks passed"
exit "$FAILED"
