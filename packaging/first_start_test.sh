#!/usr/bin/env bash
# The agent unit's first-start commands, run by hand as systemd would run them (systemd is
# not running here): over a fresh LUMO_ROOT, lumo-hostd and then ExecStartPre, ExecStart and
# ExecStartPost of lumo-snmpd.service, exactly as the unit writes them. The agent must then
# answer "public" from this host, and only from it; a start that dies before seeding seeds
# on the next start; a later start keeps what the operator changed.
# $1: the directory of the units configured over the build tree's programs.
set -euo pipefail
dir=${1:?directory of the configured units}
unit=$dir/lumo-snmpd.service
command -v snmpwalk >/dev/null || { echo "SKIP: net-snmp's snmpwalk is not installed"; exit 77; }
here=$(cd "$(dirname "$0")" && pwd)

export LUMO_ROOT=$(mktemp -d /tmp/lumo-first-XXXXXX)
export LUMO_SNMP_PORT=$(python3 "$here/../tests/integration/free_port.py")
hostd_pid="" agent_pid=""
stop() { # PID...
  local pid
  for pid in "$@"; do [ -z "$pid" ] || { kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; }; done
}
trap 'stop "$agent_pid" "$hostd_pid"; rm -rf "$LUMO_ROOT"' EXIT
failed=0
trap 'echo "FAIL: command at line $LINENO failed"' ERR
pass() { echo "ok: $*"; }
fail() { echo "FAIL: $*"; failed=1; }

# The unit's command lines for KEY (ExecStartPre ...), in order.
lines() { sed -n "s/^$1=//p" "$unit"; }
run_lines() { # KEY
  local line
  while IFS= read -r line; do
    sh -c "$line" >>"$LUMO_ROOT/unit.log" 2>&1 || { fail "$1 failed: $line"; cat "$LUMO_ROOT/unit.log"; exit 1; }
  done < <(lines "$1")
}
[ "$(lines ExecStartPre | wc -l)" -ge 1 ] && [ "$(lines ExecStartPost | wc -l)" -ge 1 ] ||
  { echo "FAIL: $unit has no first-start commands"; exit 1; }
lumoctl=$(sed -n 's/^lumoctl=//p' "$(lines ExecStartPost | awk '{ print $1; exit }')")

start_agent() {
  run_lines ExecStartPre
  sh -c "exec $(lines ExecStart)" >>"$LUMO_ROOT/agent.log" 2>&1 &
  agent_pid=$!
}
# A whole start: ExecStartPost runs once ExecStart is forked, as with Type=simple.
start_unit() { start_agent; run_lines ExecStartPost; }
restart_unit() { stop "$agent_pid"; agent_pid=""; start_unit; }
# Until the agent answers on the bus: a start without seeding does not wait for it.
wait_bus() {
  for _ in $(seq 100); do "$lumoctl" --timeout 200 call 34/0 get >/dev/null 2>&1 && return; sleep 0.05; done
  fail "the agent does not answer on the bus"; exit 1
}
walk() { snmpwalk -On -r1 -t1 -v2c -c public "$@" 1.3.6.1.2.1.1 2>&1 || true; }
v4=127.0.0.1:$LUMO_SNMP_PORT

hostd=$(sed -n 's/^ExecStart=//p' "$dir/lumo-hostd.service")
"$hostd" 2>>"$LUMO_ROOT/hostd.log" &
hostd_pid=$!

# A start that dies before its ExecStartPost: the agent made its store, nothing was seeded.
start_agent
for _ in $(seq 100); do [ -e "$LUMO_ROOT/lumo/store/snmpd" ] && break; sleep 0.05; done
stop "$agent_pid"; agent_pid=""
[ -e "$LUMO_ROOT/lumo/store/snmpd" ] && pass "the interrupted start left a settings store" ||
  fail "no settings store after the interrupted start"

start_unit
if walk "$v4" | grep -q "^\.1\.3\.6\.1\.2\.1\.1\.5\.0 = STRING"; then pass "public answers on 127.0.0.1 after the first start"
else fail "no answer on 127.0.0.1: $(walk "$v4")"; fi
if walk "udp6:[::1]:$LUMO_SNMP_PORT" | grep -q "= STRING"; then pass "public answers on ::1"
else fail "no answer on ::1: $(walk "udp6:[::1]:$LUMO_SNMP_PORT")"; fi
record=$("$lumoctl" --json snmp community print public)
if grep -q '127.0.0.0/8' <<<"$record" && grep -q '::1/128' <<<"$record" && ! grep -q '0.0.0.0/0' <<<"$record"; then
  pass "public is restricted to 127.0.0.0/8 and ::1"
else fail "public's addresses: $record"; fi
# A request to (and so from) an address of this host outside 127.0.0.0/8 gets no answer.
other=$(hostname -I 2>/dev/null | tr ' ' '\n' | grep -E '^[0-9.]+$' | grep -v '^127\.' | head -1 || true)
if [ -z "$other" ]; then echo "no IPv4 address besides loopback: the refusal of others is not checked"
elif walk "$other:$LUMO_SNMP_PORT" | grep -q Timeout; then pass "public does not answer from $other"
else fail "public answers from $other: $(walk "$other:$LUMO_SNMP_PORT")"; fi
[ ! -e "$LUMO_ROOT/lumo/snmpd-first-start" ] && pass "the first-start mark is gone" || fail "the mark is left"

# The operator's choices survive later starts: a location, and the agent disabled.
"$lumoctl" snmp set location="rack 4" enabled=no
restart_unit
wait_bus
settings=$("$lumoctl" snmp print)
grep -Eq '^enabled +no$' <<<"$settings" && pass "a later start keeps the agent disabled" ||
  fail "a later start changed enabled: $settings"
grep -q 'rack 4' <<<"$settings" && pass "a later start keeps the location" || fail "location lost: $settings"
if walk "$v4" | grep -q Timeout; then pass "and the disabled agent does not answer"
else fail "the disabled agent answers: $(walk "$v4")"; fi

# The agent binary on its own keeps its embedded default: disabled on a fresh root.
stop "$agent_pid"; agent_pid=""
rm -rf "$LUMO_ROOT/lumo/store"
sh -c "exec $(lines ExecStart)" >>"$LUMO_ROOT/agent.log" 2>&1 &
agent_pid=$!
wait_bus
grep -Eq '^enabled +no$' <<<"$("$lumoctl" snmp print)" && pass "the agent alone starts disabled" ||
  fail "the agent alone: $("$lumoctl" snmp print)"
exit $failed
