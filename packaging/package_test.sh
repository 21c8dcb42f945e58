#!/usr/bin/env bash
# Builds the Debian package from a build tree, checks what it carries, and unpacks it into a
# scratch root to check that the units start programs the package installs.
# $1: the build directory.
set -euo pipefail
build=${1:?build directory}
for tool in cpack dpkg-deb; do
  command -v "$tool" >/dev/null || { echo "SKIP: $tool is not installed"; exit 77; }
done
work=$(mktemp -d /tmp/lumo-deb-XXXXXX)
trap 'rm -rf "$work"' EXIT

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 || {
  cat "$work/cpack.log"; exit 1; }
deb=$(ls "$work"/lumo-snmp_*.deb)
prefix=$(sed -n 's/^set(CPACK_PACKAGING_INSTALL_PREFIX "\(.*\)")$/\1/p' "$build/CPackConfig.cmake")
prefix=${prefix#/}
failed=0
files=$(dpkg-deb -c "$deb" | awk '{print $6}')
for want in sbin/lumo-snmpd sbin/lumo-hostd sbin/lumoctl lib/systemd/system/lumo-snmpd.service \
            lib/systemd/system/lumo-hostd.service include/lumo-snmp/mib/plugin.h \
            include/lumo-snmp/mib/declared_table.h lib/cmake/LumoSnmp/LumoSnmpConfig.cmake \
            lib/pkgconfig/lumo-snmp.pc lib/lumo-snmp/plugins/ share/snmp/mibs/LUMO-SMI.txt \
            share/snmp/mibs/LUMO-HEALTH-MIB.txt share/snmp/mibs/LUMO-INTERFACES-MIB.txt \
            share/snmp/mibs/LUMO-NOTIFICATIONS-MIB.txt lib/lumo-snmp/lumo-snmpd-first-start; do
  if grep -qx "\./$prefix/$want" <<<"$files"; then echo "ok: carries $want"
  else echo "FAIL: no $want in the package"; failed=1; fi
done
if dpkg-deb -f "$deb" Depends | grep -q libssl; then echo "ok: depends on libssl"
else echo "FAIL: Depends lacks libssl: $(dpkg-deb -f "$deb" Depends)"; failed=1; fi

root=$work/root
dpkg-deb -x "$deb" "$root"
# Every program a unit runs from the prefix (ExecStart, and the agent's first-start helper
# in ExecStartPre/ExecStartPost with the lumoctl it calls) is in the package.
runs() { # UNIT PROGRAM
  if [ -x "$root$2" ]; then echo "ok: $1 runs $2, which the package installs"
  else echo "FAIL: $1 runs $2, not in the package"; failed=1; fi
}
for unit in lumo-hostd lumo-snmpd; do
  file=$root/$prefix/lib/systemd/system/$unit.service
  grep -q "^ExecStart=/$prefix/" "$file" || { echo "FAIL: $unit.service starts nothing of the package"; failed=1; }
  for exe in $(sed -n 's/^Exec[A-Za-z]*=\([^ ]*\).*/\1/p' "$file" | grep "^/$prefix/" || true); do
    runs "$unit.service" "$exe"
    called=$(sed -n 's/^lumoctl=//p' "$root$exe" 2>/dev/null | head -1 || true)
    [ -z "$called" ] || runs "$exe" "$called"
  done
done
exit $failed
