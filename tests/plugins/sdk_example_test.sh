#!/usr/bin/env bash
# The SDK as a plug-in author meets it: install lumo-snmp into a temporary prefix, build
# examples/plugin out of tree against it (CMake package, then pkg-config), and have the
# installed agent load the plug-in with a fixture sensor service behind it.
# $1: the build directory to install from; $2: the source tree.
source "$(dirname "$0")/../integration/lib.sh"
BUILD=${1:?build directory}
SRC=${2:?source directory}
HOSTD=${HOSTD:?path to lumo-hostd}
EXAMPLE=$SRC/examples/plugin
prefix=$LUMO_ROOT/prefix
HOSTD_PID=""
trap 'stop_hostd; cleanup' EXIT
stop_hostd() {
  if [ -n "$HOSTD_PID" ]; then kill "$HOSTD_PID" 2>/dev/null || true; wait "$HOSTD_PID" 2>/dev/null || true; fi
}

cmake --install "$BUILD" --prefix "$prefix" >"$LUMO_ROOT/install.log" || { cat "$LUMO_ROOT/install.log"; exit 1; }
if cmake -S "$EXAMPLE" -B "$LUMO_ROOT/example" -DCMAKE_PREFIX_PATH="$prefix" >"$LUMO_ROOT/example.log" 2>&1 \
   && cmake --build "$LUMO_ROOT/example" >>"$LUMO_ROOT/example.log" 2>&1; then
  pass "example builds out of tree with find_package(LumoSnmp)"
else fail "example builds out of tree with find_package(LumoSnmp)"; cat "$LUMO_ROOT/example.log"; exit 1; fi

if command -v pkg-config >/dev/null; then
  cflags=$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags lumo-snmp)
  # shellcheck disable=SC2086  # the flags are words
  if c++ $cflags -Wall -Wextra -Werror -shared -o "$LUMO_ROOT/pc_example.so" "$EXAMPLE/example_sensors.cc"; then
    pass "example builds with pkg-config's flags"; else fail "example builds with pkg-config's flags"; fi
fi

mkdir -p "$LUMO_ROOT/lumo/lib/snmp"
cp "$LUMO_ROOT/example/example_sensors.so" "$LUMO_ROOT/lumo/lib/snmp/"
cat >"$LUMO_ROOT/fixture.json" <<'JSON'
{"services": [
  {"path": [230, 1], "object": {"0x08000101": 2}},
  {"path": [230, 2], "objects": [
    {"0x08FE0001": 7, "0x20000102": "intake", "0x08000103": 215},
    {"0x08FE0001": 9, "0x20000102": "exhaust", "0x08000103": 340}]}
]}
JSON
"$HOSTD" --fixture "$LUMO_ROOT/fixture.json" 2>>"$LUMO_ROOT/hostd.err" &
HOSTD_PID=$!
for _ in $(seq 100); do
  ctl --timeout 200 call 230/1 get >/dev/null 2>&1 && break
  sleep 0.05
done

AGENT=$prefix/sbin/lumo-snmpd
start_agent
ctl call 34/0 set 0x00000001=yes >/dev/null
expect_match "installed agent loads the example" "^plugin loaded: .*/example_sensors\.so$" cat "$LUMO_ROOT/agent.err"
expect_match "snmpget of the example's scalar" "^\.1\.3\.6\.1\.4\.1\.47392\.96\.1\.0 = Gauge32: 2$" \
  snmp snmpget -v2c -c public "$(target)" 1.3.6.1.4.1.47392.96.1.0
table=$(snmptable -M "+$EXAMPLE" -m LUMO-EXAMPLE-SENSORS-MIB -v2c -c public -Cf '|' -CH -r0 -t1 \
  "$(target)" sensorTable 2>&1 || true)
if [ "$table" = $'7|"intake"|215\n9|"exhaust"|340' ] || [ "$table" = $'7|intake|215\n9|exhaust|340' ]; then
  pass "snmptable of the example's table"; else fail "snmptable of the example's table"; echo "$table"; fi
finish
