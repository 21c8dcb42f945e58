#!/usr/bin/env bash
# lumo-hostd in host mode on a real bus: the system information at [24, 2] read from this
# host, refusals of the commands it does not serve, and a clean end on SIGTERM.
# Run as: hostd_host_mode_test.sh LUMOCTL HOSTD
set -uo pipefail
LUMOCTL=${1:?path to lumoctl}
HOSTD=${2:?path to lumo-hostd}

export LUMO_ROOT=$(mktemp -d /tmp/lumo-hostmode-XXXXXX)
HOSTD_PID=""
cleanup() {
  [ -n "$HOSTD_PID" ] && kill "$HOSTD_PID" 2>/dev/null
  rm -rf "$LUMO_ROOT"
}
trap cleanup EXIT
FAILED=0
quiet() { "$@" >/dev/null 2>&1; }
check() { # description, then a command that must succeed
  local what=$1; shift
  if "$@"; then echo "ok: $what"; else echo "FAIL: $what"; FAILED=1; fi
}

if "$HOSTD" --help 2>&1 | grep -q -- '--fixture FILE.json$'; then
  echo "FAIL: --help still reads as a fixture-only build to lumo-launch"; FAILED=1
fi

"$HOSTD" 2>"$LUMO_ROOT/hostd.err" &
HOSTD_PID=$!
for _ in $(seq 200); do
  "$LUMOCTL" --timeout 200 call 24/2 get >/dev/null 2>&1 && break
  kill -0 "$HOSTD_PID" 2>/dev/null || break
  sleep 0.05
done

reply=$("$LUMOCTL" --json call 24/2 get 2>&1)
field() { python3 -c 'import json,sys; print(json.loads(sys.argv[1]).get(sys.argv[2], "<absent>"))' "$reply" "$1"; }
check "get answers the host name" [ "$(field 0x20000002)" = "$(uname -n)" ]
description=$(field 0x20000001)
check "the description starts with the kernel name and release" \
  [ "${description#"$(uname -s) $(uname -r) "}" != "$description" ]
check "the CPU count is the online CPUs" [ "$(field 0x08000005)" = "$(getconf _NPROCESSORS_ONLN)" ]

out=$("$LUMOCTL" call 24/2 count 2>&1); status=$?
check "count is refused as a bad request ($out)" [ "$status:${out%%:*}" = "1:error 0xFE0023" ]

kill -HUP "$HOSTD_PID"
sleep 0.1  # let the signal land first; a hostd it ended would also fail the status check below
check "SIGHUP leaves host mode serving" quiet "$LUMOCTL" call 24/2 get

kill -TERM "$HOSTD_PID"
wait "$HOSTD_PID"; status=$?
HOSTD_PID=""
check "SIGTERM ends it with status 0" [ "$status" -eq 0 ]
if [ -s "$LUMO_ROOT/hostd.err" ]; then echo "hostd said:"; cat "$LUMO_ROOT/hostd.err"; fi
exit "$FAILED"
