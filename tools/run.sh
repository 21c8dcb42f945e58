#!/usr/bin/env bash
# Installs what is missing, builds, and runs the agent on the embedded default: the local
# host services, a fresh root, and the "public" community answering from this host.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)" --target lumo-snmpd lumo-hostd lumoctl
exec tools/lumo-launch "$@"
