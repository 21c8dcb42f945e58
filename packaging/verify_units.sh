#!/usr/bin/env bash
# systemd-analyze verify over the service units; skipped where systemd is not installed.
# $1: the directory of the configured units.
set -euo pipefail
dir=${1:?directory of the units}
if ! command -v systemd-analyze >/dev/null; then
  echo "SKIP: systemd-analyze is not installed; the units are not verified"
  exit 77
fi
# Verify reports problems on standard error, some without failing: any line there fails too.
out=$(systemd-analyze verify "$dir/lumo-hostd.service" "$dir/lumo-snmpd.service" 2>&1) || {
  echo "$out"; exit 1; }
if grep -E 'lumo-(hostd|snmpd)\.service' <<<"$out"; then exit 1; fi
echo "units verified"
