#!/usr/bin/env bash
# Records real SNMP request datagrams from the net-snmp command-line tools as hex fixtures
# for the wire tests. Run by hand (not by CI) when the fixtures need refreshing:
#   tests/wire/capture_requests.sh
# Each tool talks to a throw-away UDP listener on 127.0.0.1 that saves the first datagram
# it gets and never answers, so the tool gives up after one try (-r0 -t1).
set -euo pipefail
out="$(cd "$(dirname "$0")" && pwd)/fixtures"
mkdir -p "$out"
version=$(snmpget --version 2>&1 | head -n1)

# name, then the tool and its arguments; "PEER" stands for the listener's address.
capture() {
    local name=$1; shift
    local portfile
    portfile=$(mktemp)
    python3 - "$portfile" "$out/$name.hex" "$version" "$*" <<'PY' &
import socket, sys
portfile, target, version, command = sys.argv[1:5]
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
s.bind(("127.0.0.1", 0))
s.settimeout(5)
with open(portfile, "w") as f:
    f.write(str(s.getsockname()[1]))
data, _ = s.recvfrom(65536)
lines = [" ".join(f"{b:02x}" for b in data[i:i + 16]) for i in range(0, len(data), 16)]
with open(target, "w") as f:
    f.write(f"# {command.replace('PEER', '127.0.0.1:<port>')}\n# {version}\n")
    f.write("\n".join(lines) + "\n")
PY
    local listener=$!
    for _ in $(seq 50); do [ -s "$portfile" ] && break; sleep 0.1; done
    local port
    port=$(cat "$portfile")
    local args=()
    for a in "$@"; do args+=("${a//PEER/127.0.0.1:$port}"); done
    "${args[@]}" >/dev/null 2>&1 || true  # times out by design: nobody answers
    wait "$listener"
    rm -f "$portfile"
    echo "captured $name"
}

# Numeric names only, so no MIB files are needed.
common=(-r0 -t1 -On -m "")
capture v1_get_sysdescr snmpget -v1 -c public "${common[@]}" PEER 1.3.6.1.2.1.1.1.0
capture v2c_get_sysdescr snmpget -v2c -c public "${common[@]}" PEER 1.3.6.1.2.1.1.1.0
capture v2c_get_three snmpget -v2c -c public "${common[@]}" PEER \
    1.3.6.1.2.1.1.1.0 1.3.6.1.2.1.1.3.0 1.3.6.1.2.1.1.5.0
capture v2c_get_large_arcs snmpget -v2c -c public "${common[@]}" PEER \
    1.3.6.1.4.1.47392.1.4294967295.128.16383.16384
capture v1_getnext_system snmpgetnext -v1 -c public "${common[@]}" PEER 1.3.6.1.2.1.1
capture v2c_getnext_ifdescr snmpgetnext -v2c -c private "${common[@]}" PEER 1.3.6.1.2.1.2.2.1.2
capture v2c_bulk_n1_r5 snmpbulkget -v2c -c public -Cn1 -Cr5 "${common[@]}" PEER \
    1.3.6.1.2.1.1.3.0 1.3.6.1.2.1.2.2
capture v2c_set_syscontact snmpset -v2c -c private "${common[@]}" PEER \
    1.3.6.1.2.1.1.4.0 s "ops@lumo.example"
capture v3_discovery snmpget -v3 -l noAuthNoPriv -u monitor "${common[@]}" PEER 1.3.6.1.2.1.1.1.0
