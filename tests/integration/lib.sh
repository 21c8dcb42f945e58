# Helpers for integration tests that drive real lumo processes with net-snmp's tools.
# Each test runs under its own LUMO_ROOT and UDP port so tests can run in parallel.
set -euo pipefail

AGENT=${AGENT:?path to lumo-snmpd}
LUMOCTL=${LUMOCTL:?path to lumoctl}
HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

export LUMO_ROOT=$(mktemp -d /tmp/lumo-it-XXXXXX)
export LUMO_SNMP_PORT=${LUMO_SNMP_PORT:-$(python3 "$HERE/free_port.py")}
AGENT_PID=""
FAILED=0
PASSED=0

cleanup() {
  stop_agent || true
  stop_hostd_run || true
  [ -n "${KEEP_ROOT:-}" ] || rm -rf "$LUMO_ROOT"
}
trap cleanup EXIT

log() { echo "[$(date +%T)] $*"; }
pass() { PASSED=$((PASSED + 1)); log "ok: $*"; }
fail() { FAILED=$((FAILED + 1)); log "FAIL: $*"; }

start_agent() {
  "$AGENT" >>"$LUMO_ROOT/agent.out" 2>>"$LUMO_ROOT/agent.err" &
  AGENT_PID=$!
  # Ready once the loop runs: the settings object answers (the socket is open by then).
  for _ in $(seq 100); do
    "$LUMOCTL" --timeout 200 call 34/0 get >/dev/null 2>&1 && return 0
    kill -0 "$AGENT_PID" 2>/dev/null || break
    sleep 0.05
  done
  echo "agent did not come up"; cat "$LUMO_ROOT/agent.err"; return 1
}

# run_hostd PATH COMMAND [ARG...]: lumo-hostd with ARGs (none: host mode), ready once the
# service at PATH answers COMMAND; stopped with the test.
HOSTD_RUN_PID=""
run_hostd() {
  local path=$1 command=$2; shift 2
  "${HOSTD:?path to lumo-hostd}" "$@" 2>>"$LUMO_ROOT/hostd.err" &
  HOSTD_RUN_PID=$!
  for _ in $(seq 200); do
    ctl --timeout 200 call "$path" "$command" >/dev/null 2>&1 && return 0
    kill -0 "$HOSTD_RUN_PID" 2>/dev/null || break
    sleep 0.05
  done
  echo "lumo-hostd did not come up"; cat "$LUMO_ROOT/hostd.err"; return 1
}
stop_hostd_run() {
  if [ -n "$HOSTD_RUN_PID" ]; then
    kill "$HOSTD_RUN_PID" 2>/dev/null || true
    wait "$HOSTD_RUN_PID" 2>/dev/null || true
    HOSTD_RUN_PID=""
  fi
}

# start_peer: a second network namespace, the peer host, held by one bounded sleep whose
# pid is PEER_PID; peer COMMAND... runs there. Killing the sleep ends the namespace.
start_peer() {
  unshare -n sleep 300 &
  PEER_PID=$!
  for _ in $(seq 100); do
    [ "$(readlink /proc/$PEER_PID/ns/net)" != "$(readlink /proc/self/ns/net)" ] && break
    sleep 0.02
  done
}
peer() { nsenter -t "$PEER_PID" -n "$@"; }

stop_agent() {
  if [ -n "$AGENT_PID" ]; then
    kill "$AGENT_PID" 2>/dev/null || true
    wait "$AGENT_PID" 2>/dev/null || true
    AGENT_PID=""
  fi
}

ctl() { "$LUMOCTL" "$@"; }

# snmp TOOL ARGS...: net-snmp tool against the agent, numeric output, one try, short time-out.
snmp() {
  local tool=$1; shift
  "$tool" -On -r0 -t1 "$@"
}
target() { echo "127.0.0.1:$LUMO_SNMP_PORT"; }

# expect_match DESCRIPTION REGEX COMMAND...: the command succeeds and its output matches.
expect_match() {
  local what=$1 re=$2; shift 2
  local out
  if out=$("$@" 2>&1) && grep -Eq -- "$re" <<<"$out"; then pass "$what"; else
    fail "$what"; echo "  command: $*"; echo "  output: $out" | head -20; fi
}
# expect_output DESCRIPTION REGEX COMMAND...: the output matches, whatever the exit status.
expect_output() {
  local what=$1 re=$2; shift 2
  local out
  out=$("$@" 2>&1) || true
  if grep -Eq -- "$re" <<<"$out"; then pass "$what"; else
    fail "$what"; echo "  command: $*"; echo "  output: $out" | head -20; fi
}
# expect_silence DESCRIPTION COMMAND...: the command gets no answer (net-snmp: Timeout).
expect_silence() {
  local what=$1; shift
  local out
  if out=$("$@" 2>&1); then fail "$what (answered)"; echo "  output: $out"; return; fi
  if grep -q "Timeout" <<<"$out"; then pass "$what"; else fail "$what"; echo "  output: $out"; fi
}

finish() {
  echo "$PASSED passed, $FAILED failed"
  [ "$FAILED" -eq 0 ]
}
