#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running lumo-snmp need.
# Only missing packages are fetched, so a second run costs a few milliseconds.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  clang-14 libclang-rt-14-dev
  libssl-dev openssl nlohmann-json3-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  snmp snmpd snmptrapd
  iproute2 procps util-linux python3 python3-pysnmp4
  systemd smitools
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "install-deps: missing packages (${missing[*]}); run as root to install them" >&2
  exit 1
fi
# The snmpd package would start the system's own agent on port 161; keep services down.
if [ ! -e /usr/sbin/policy-rc.d ]; then
  printf '#!/bin/sh\nexit 101\n' > /usr/sbin/policy-rc.d
  chmod +x /usr/sbin/policy-rc.d
  trap 'rm -f /usr/sbin/policy-rc.d' EXIT
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
