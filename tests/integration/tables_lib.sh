# shellcheck shell=bash disable=SC2034  # WIDE, NARROW...: for the tests that source this
# Helpers for the table tests: lumo-snmpd-tables against lumo-hostd serving fixture tables.
#
#   wide table    1.3.6.1.4.1.47392.99.1.1, 20 columns, objects of [200, 1]
#   narrow table  1.3.6.1.4.1.47392.99.2.1,  3 columns, objects of [200, 2]
#
# Source it instead of lib.sh. Id lists ("IDS") are "N" for 1..N, a comma list, or "".
AGENT=${AGENT_TABLES:?path to lumo-snmpd-tables}
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
HOSTD=${HOSTD:?path to lumo-hostd}
MAKE_FIXTURE=${MAKE_FIXTURE:?path to tools/make-table-fixture}

TABLES=1.3.6.1.4.1.47392.99
WIDE=$TABLES.1.1
NARROW=$TABLES.2.1
SYSDESCR=1.3.6.1.2.1.1.1.0
PROGRAM=200
FIXTURE=$LUMO_ROOT/fixture.json
HOSTD_PID=""
trap 'stop_hostd; cleanup' EXIT

check() { python3 "$HERE/table_walk_check.py" "$@"; }

# make_fixture WIDE_IDS NARROW_IDS: writes FIXTURE with those rows in the two tables.
make_fixture() {
  local wide=$LUMO_ROOT/wide.json narrow=$LUMO_ROOT/narrow.json
  local -a wide_rows narrow_rows
  read -ra wide_rows <<<"$(rows_args "$1")"
  read -ra narrow_rows <<<"$(rows_args "$2")"
  "$MAKE_FIXTURE" --path $PROGRAM/1 "${wide_rows[@]}" -o "$wide"
  "$MAKE_FIXTURE" --path $PROGRAM/2 --columns 3 "${narrow_rows[@]}" -o "$narrow"
  python3 - "$wide" "$narrow" "$FIXTURE" <<'EOF'
import json, sys
merged = json.load(open(sys.argv[1]))
merged["services"] += json.load(open(sys.argv[2]))["services"]
json.dump(merged, open(sys.argv[3], "w"))
EOF
}
rows_args() {
  if [ -z "$1" ]; then echo "--rows 0"
  elif [[ $1 =~ ^[0-9]+$ ]]; then echo "--rows $1"
  else echo "--ids $1"; fi
}

start_hostd() {
  "$HOSTD" --fixture "$FIXTURE" 2>>"$LUMO_ROOT/hostd.err" &
  HOSTD_PID=$!
  for _ in $(seq 100); do
    ctl --timeout 200 call $PROGRAM/99 get >/dev/null 2>&1 && return 0
    kill -0 "$HOSTD_PID" 2>/dev/null || break
    sleep 0.05
  done
  echo "hostd did not come up"; cat "$LUMO_ROOT/hostd.err"; return 1
}
stop_hostd() {
  if [ -n "$HOSTD_PID" ]; then
    kill "$HOSTD_PID" 2>/dev/null || true
    wait "$HOSTD_PID" 2>/dev/null || true
    HOSTD_PID=""
  fi
}
enable_agent() { ctl snmp set enabled=yes; }

# control COMMAND KEY=VALUE...: hostd's control handler of the fixture program. A stalled
# service answers it only after the stall, hence the long time-out.
control() { ctl --timeout 5000 call $PROGRAM/99 "$@" >/dev/null; }
reload_fixture() { control 0x990004; }
# requests HANDLER: get requests the service at [PROGRAM, HANDLER] handled since the last
# RESET_COUNTS (0x990006).
requests() {
  ctl --json call $PROGRAM/99 get | python3 -c '
import json, sys
for s in json.load(sys.stdin)["0xA8FE0002"]:
    if s["0x08990001"] == int(sys.argv[1]): print(s["0x08990009"])' "$1"
}
# field_lists HANDLER: of those, the get-alls that carried a field list.
field_lists() {
  ctl --json call $PROGRAM/99 get | python3 -c '
import json, sys
for s in json.load(sys.stdin)["0xA8FE0002"]:
    if s["0x08990001"] == int(sys.argv[1]): print(s["0x0899000A"])' "$1"
}

tool() { local t=$1; shift; snmp "$t" -v2c -c public "$(target)" "$@"; }

# expect_walk DESCRIPTION "CHECK OPTIONS" COMMAND...: the command ends with status 0, with
# no error or time-out, and table_walk_check.py walk accepts its output.
expect_walk() {
  local what=$1 opts=$2; shift 2
  local out status verdict
  out=$("$@" 2>&1) && status=0 || status=$?
  # shellcheck disable=SC2086  # the options are words
  if verdict=$(check walk $opts <<<"$out") && [ "$status" -eq 0 ] &&
     ! grep -Eq "Timeout|Error|not increasing" <<<"$out"; then
    pass "$what"
  else
    fail "$what"; echo "  command: $*"; echo "  exit $status: $verdict"
    tail -3 <<<"$out" | sed 's/^/  output: /'
  fi
}
# expect_check DESCRIPTION "CHECK ARGS" COMMAND...: as expect_walk, with any checker mode.
expect_check() {
  local what=$1 opts=$2; shift 2
  local out status verdict
  out=$("$@" 2>&1) && status=0 || status=$?
  # shellcheck disable=SC2086
  if verdict=$(check $opts <<<"$out") && [ "$status" -eq 0 ]; then pass "$what"; else
    fail "$what"; echo "  command: $*"; echo "  exit $status: $verdict"
    head -5 <<<"$out" | sed 's/^/  output: /'
  fi
}
expect_sysdescr() {
  expect_match "${1:-sysDescr.0 still answers}" "^\.$SYSDESCR = STRING: " tool snmpget $SYSDESCR
}

finish_tables() {
  echo "$PASSED passed, $FAILED failed"
  [ "$FAILED" -eq 0 ]
}
