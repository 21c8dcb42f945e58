#!/usr/bin/env bash
# The plug-in loader in the real agent: which files it loads, in which directory order,
# what it says about faulty plug-ins, and that a loaded plug-in's objects answer.
# $1: the directory holding the built test plug-ins.
source "$(dirname "$0")/../integration/lib.sh"
PLUGINS=${1:?directory of the test plug-ins}

base=$LUMO_ROOT/lumo/lib/snmp
mkdir -p "$base/mib.so"
cp "$PLUGINS/mux_plugin.so" "$base/a.so"
cp "$PLUGINS/old_abi_plugin.so" "$base/old.so"
cp "$PLUGINS/unresolved_plugin.so" "$base/unresolved.so"
cp "$PLUGINS/bare_plugin.so" "$base/bare.so"
cp "$PLUGINS/no_autorun_plugin.so" "$base/quiet.so"
cp "$PLUGINS/no_autorun_plugin.so" "$base/.x.so"
cp "$PLUGINS/no_autorun_plugin.so" "$base/lib.so.1"
# Four directories as the platform reports them: base, aaa, bbb, ccc.
# Scanned with the first and last exchanged: ccc, aaa, bbb, base.
for pkg in aaa bbb ccc; do
  mkdir -p "$LUMO_ROOT/lumo/pkg/$pkg/lumo/lib/snmp"
  cp "$PLUGINS/no_autorun_plugin.so" "$LUMO_ROOT/lumo/pkg/$pkg/lumo/lib/snmp/$pkg.so"
done

start_agent
ctl call 34/0 set 0x00000001=yes >/dev/null
err=$LUMO_ROOT/agent.err

expect_match "plug-in scalar" "^\.1\.3\.6\.1\.4\.1\.47392\.98\.1\.0 = Gauge32: 4711$" \
  snmp snmpget -v2c -c public "$(target)" 1.3.6.1.4.1.47392.98.1.0
walk=$(snmp snmpwalk -v2c -c public "$(target)" 1.3.6.1.4.1.47392.98.2 2>&1 || true)
if [ "$(grep -c '47392\.98\.2\.1\.' <<<"$walk")" -eq 6 ] \
   && grep -q '\.98\.2\.1\.2\.3 = STRING: "row3"' <<<"$walk" \
   && grep -q '\.98\.2\.1\.3\.2 = Gauge32: 20' <<<"$walk"; then
  pass "plug-in table walk"; else fail "plug-in table walk"; echo "$walk"; fi

expect_match "a.so loaded" "^plugin loaded: $base/a\.so$" cat "$err"
for skipped in .x.so lib.so.1 mib.so; do
  if grep -q "$base/$skipped" "$err"; then fail "$skipped skipped"; grep "$skipped" "$err"
  else pass "$skipped skipped"; fi
done
expect_match "plug-in without autorun reported" "^plugin $base/quiet\.so has no symbol autorun$" cat "$err"
expect_match "dlopen failure reported" "^failed dlopen: $base/unresolved\.so:$" cat "$err"
expect_match "dlopen failure gives the reason" "lumo_test_function_nobody_defines" cat "$err"
expect_match "other framework version refused" \
  "^plugin $base/old\.so refused: built for framework version 3, agent has version 2$" cat "$err"
expect_match "plug-in without a framework version refused" \
  "^plugin $base/bare\.so refused: no symbol lumo_snmp_plugin_abi \(framework version 2 expected\)$" cat "$err"
for arc in 1 2; do
  expect_output "refused plug-in $arc not started" "97\.$arc\.0 = No Such Object" \
    snmp snmpget -v2c -c public "$(target)" 1.3.6.1.4.1.47392.97.$arc.0
done

order=$(sed -n 's|^plugin loaded: .*/\([a-z]*\)\.so$|\1|p' "$err" | grep -E '^(aaa|bbb|ccc|a)$' | tr '\n' ' ')
if [ "$order" = "ccc aaa bbb a " ]; then pass "directories in exchanged order"
else fail "directories in exchanged order: $order"; fi

if kill -0 "$AGENT_PID" 2>/dev/null; then pass "agent still running"; else fail "agent still running"; fi
finish
