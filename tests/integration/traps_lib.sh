# Shared by the trap tests, sourced after lib.sh: the v3 trap users, snmptrapd started on
# LUMO_TRAP_PORT logging to TLOG, and waiting for what it logs.
TRAP_PASS=trappass123

# add_trap_users: an authNoPriv (trapauth, SHA) and an authPriv (trappriv, SHA/AES) user.
add_trap_users() {
  ctl snmp community add trapauth security=auth authentication-protocol=sha \
    authentication-password=$TRAP_PASS >/dev/null
  ctl snmp community add trappriv security=priv authentication-protocol=sha \
    authentication-password=$TRAP_PASS encryption-protocol=aes encryption-password=$TRAP_PASS >/dev/null
}

# The agent's engine id as snmptrapd's createUser wants it: 80 00 b9 20 (enterprise 47392),
# 04 (text), then the text that lumoctl shows.
wire_engine_id() {
  local text
  text=$(ctl snmp print | awk '$1 == "engine-id" { print $2 }')
  echo "0x8000b92004$(printf '%s' "$text" | od -An -tx1 | tr -d ' \n')"
}

# start_snmptrapd [CONFIG LINE...]: with the two trap users of this engine and the lines
# given; sets TRAPD_PID once it logs its start. Names are numeric and no MIB is read unless
# TRAPD_OPTIONS says otherwise.
start_snmptrapd() {
  local engine line
  engine=$(wire_engine_id)
  {
    echo "disableAuthorization yes"
    echo "createUser -e $engine trapauth SHA $TRAP_PASS"
    echo "createUser -e $engine trappriv SHA $TRAP_PASS AES $TRAP_PASS"
    for line in "$@"; do echo "$line"; done
  } >"$LUMO_ROOT/snmptrapd.conf"
  local options=(-On -M /dev/null)
  [ -z "${TRAPD_OPTIONS+set}" ] || options=("${TRAPD_OPTIONS[@]}")
  snmptrapd -f -Lo -n -C -c "$LUMO_ROOT/snmptrapd.conf" "${options[@]}" \
    "udp:127.0.0.1:$LUMO_TRAP_PORT" >"$TLOG" 2>"$LUMO_ROOT/snmptrapd.err" &
  TRAPD_PID=$!
  for _ in $(seq 100); do grep -q "NET-SNMP version" "$TLOG" 2>/dev/null && break; sleep 0.05; done
}

# What snmptrapd logged since the last mark, one line per trap's text.
MARK=0
mark() { MARK=$(stat -c %s "$TLOG"); }
since() { tail -c +$((MARK + 1)) "$TLOG" | tr '\n\t' '  '; }
# expect_trap DESCRIPTION REGEX: the log gets a match after the mark (waits up to 5 s).
expect_trap() {
  local what=$1 re=$2
  for _ in $(seq 100); do
    if since | grep -Eq -- "$re"; then pass "$what"; return; fi
    sleep 0.05
  done
  fail "$what"; echo "  wanted: $re"; echo "  log since mark: $(since | head -c 2000)"
}

# expect_bad_target_skipped KIND ADDRESS COUNT: with ADDRESS as the first of two targets,
# COUNT traps still reach snmptrapd on 127.0.0.1, and the agent logs the bad target once.
expect_bad_target_skipped() {
  local kind=$1 address=$2 count=$3 i n
  ctl snmp set trap-target="$address",127.0.0.1 >/dev/null
  for i in $(seq "$count"); do
    mark
    ctl snmp trap send oid=1.3.6.1.2.1.1.6.0 type=string value="after-$kind-$i" >/dev/null
    expect_trap "target of kind $kind does not stop the next: trap $i" "after-$kind-$i"
  done
  n=$(grep -cF "$address" "$LUMO_ROOT/agent.err" || true)
  if [ "$n" = 1 ]; then pass "the $kind target is logged once"; else
    fail "the $kind target is logged $n times"; grep "send_trap" "$LUMO_ROOT/agent.err" | head; fi
}
