#!/usr/bin/env bash
# lumo-hostd's interface service at [20, 0] on a real bus, in a network namespace of its
# own with links made for the test: get, get-all paging, count, setting the comment (the
# link's alias), a link state notification, and 1,000 links paged completely.
# Run as: hostd_interfaces_test.sh LUMOCTL HOSTD LINK_WATCH
# Exit 77 (skipped) where network namespaces cannot be made.
set -uo pipefail
LUMOCTL=${1:?path to lumoctl}
HOSTD=${2:?path to lumo-hostd}
WATCH=${3:?path to link_watch}

if [ -z "${LUMO_IN_NETNS:-}" ]; then
  if ! unshare -n true 2>/dev/null; then
    echo "skipped: cannot make a network namespace here"; exit 77
  fi
  LUMO_IN_NETNS=1 exec unshare -n bash "$0" "$@"
fi

MANY=1000
WATCH_PROGRAM=77
export LUMO_ROOT=$(mktemp -d /tmp/lumo-interfaces-XXXXXX)
HOSTD_PID="" WATCH_PID=""
cleanup() {
  [ -n "$WATCH_PID" ] && kill "$WATCH_PID" 2>/dev/null
  [ -n "$HOSTD_PID" ] && kill "$HOSTD_PID" 2>/dev/null
  rm -rf "$LUMO_ROOT"
}
trap cleanup EXIT
FAILED=0
check() { # description, then a command that must succeed
  local what=$1; shift
  if "$@"; then echo "ok: $what"; else echo "FAIL: $what"; FAILED=1; fi
}
ctl() { "$LUMOCTL" --json call 20/0 "$@" 2>&1; }
field() { # JSON reply, key
  python3 -c 'import json,sys; print(json.loads(sys.argv[1]).get(sys.argv[2], "<absent>"))' "$1" "$2"
}
# From ip, not /sys/class/net: sysfs shows the namespace it was mounted in, not this one.
ifindex() { ip -o link show "$1" | cut -d: -f1; }
kernel_ids() { ip -o link | cut -d: -f1 | sort -n | tr '\n' ' '; }
# Every id the service lists, paging by the continuation, PAGE objects a page.
paged_ids() {
  python3 - "$LUMOCTL" "$1" <<'PY'
import json, subprocess, sys
lumoctl, page = sys.argv[1], sys.argv[2]
ids, start, positions = [], 0, []
while True:
    out = subprocess.run([lumoctl, "--json", "call", "20/0", "get-all", f"0x08FE0004={page}",
                          f"0x08FE0003={start}"], capture_output=True, text=True, check=True).stdout
    reply = json.loads(out)
    objects = reply.get("0xA8FE0002", [])
    ids += [o["0x08FE0001"] for o in objects]
    positions += [o["0x08FE0005"] for o in objects]
    if "0x08FE0003" not in reply:
        break
    start = reply["0x08FE0003"]
if positions != list(range(len(ids))):
    print("positions out of step")
print(" ".join(str(i) for i in ids), end=" ")
PY
}

# A link kind every kernel has may still be missing from a lean one: dummy, else ifb.
SPARE=dummy
ip link add probe0 type dummy 2>/dev/null && ip link del probe0 || SPARE=ifb
ip link set lo up
ip link add va type veth peer name vb
ip link add sp0 type "$SPARE"
ip link add br0 type bridge
ip link set va up
ip link set vb up

"$HOSTD" 2>"$LUMO_ROOT/hostd.err" &
HOSTD_PID=$!
for _ in $(seq 200); do
  "$LUMOCTL" --timeout 200 call 20/0 count >/dev/null 2>&1 && break
  kill -0 "$HOSTD_PID" 2>/dev/null || break
  sleep 0.05
done

reply=$(ctl count)
check "count is the number of links ($reply)" [ "$(field "$reply" 0x08FE0014)" = "$(ip -o link | wc -l)" ]
check "get-all pages of 2 list every link in id order" [ "$(paged_ids 2)" = "$(kernel_ids)" ]

va=$(ifindex va)
reply=$(ctl get 0x08FE0001="$va")
mac=$(ip -o link show va | sed 's/.*link\/ether \([^ ]*\).*/\1/' | tr -d ':')
check "get names the link" [ "$(field "$reply" 0x20010006)" = va ]
check "a veth is Ethernet-like (kind 1)" [ "$(field "$reply" 0x08010001)" = 1 ]
check "the hardware address is the link's" [ "$(field "$reply" 0x300003E9)" = "$mac" ]
check "an up veth with its peer up is up and running" \
  [ "$(field "$reply" 0x08010003):$(field "$reply" 0x00FE000A):$(field "$reply" 0x0001000E)" = "1280:False:True" ]
for link_kind in "lo 0" "br0 12" "sp0 1"; do
  set -- $link_kind
  reply=$(ctl get 0x08FE0001="$(ifindex "$1")")
  check "$1 is kind $2" [ "$(field "$reply" 0x08010001)" = "$2" ]
done
out=$("$LUMOCTL" call 20/0 get 0x08FE0001=999999 2>&1)
check "get of a missing link is refused ($out)" [ "${out%%:*}" = "error 0xFE0004" ]

check "object-set sets the comment" "$LUMOCTL" call 20/0 object-set 0x08FE0001="$va" 0x20FE0009="uplink A"
check "ip shows it as the alias" grep -q "alias uplink A" <(ip link show va)
reply=$(ctl get-all 0x08FE0001="$va" 0x08FE0004=1)
check "get-all shows the new comment at once" \
  python3 -c 'import json,sys; o=json.loads(sys.argv[1])["0xA8FE0002"][0]; sys.exit(o["0x20FE0009"] != "uplink A")' "$reply"
out=$("$LUMOCTL" call 20/0 object-set 0x08FE0001="$va" 0x08010064=1400 2>&1)
check "any other field is refused ($out)" [ "${out%%:*}" = "error 0xFE0006" ]
out=$("$LUMOCTL" call 20/0 set 0x08FE0001=999999 0x20FE0009=x 2>&1)
check "the comment of a missing link is refused ($out)" [ "${out%%:*}" = "error 0xFE0004" ]

# va goes down, and vb, its peer, loses its carrier: two notifications.
"$WATCH" "$WATCH_PROGRAM" 2 10 >"$LUMO_ROOT/watch.out" 2>&1 &
WATCH_PID=$!
for _ in $(seq 200); do grep -q ready "$LUMO_ROOT/watch.out" && break; sleep 0.05; done
ip link set va down
wait "$WATCH_PID"; status=$?
WATCH_PID=""
lines=$(grep -v ready "$LUMO_ROOT/watch.out" | sort | tr '\n' ';')
expected=$(printf '%s\n' "$va va 0x0" "$(ifindex vb) vb 0x100" | sort | tr '\n' ';')
check "va down and vb without carrier are notified with their status ($lines)" \
  [ "$status:$lines" = "0:$expected" ]
reply=$(ctl get 0x08FE0001="$va")
check "and get says it is disabled" [ "$(field "$reply" 0x00FE000A):$(field "$reply" 0x08010003)" = "True:0" ]

for i in $(seq "$MANY"); do echo "link add m$i type $SPARE"; done | ip -batch -
reply=$(ctl count)
check "with $MANY more links count follows ($reply)" [ "$(field "$reply" 0x08FE0014)" = "$(ip -o link | wc -l)" ]
check "and get-all pages every one of them" [ "$(paged_ids 100)" = "$(kernel_ids)" ]

kill -TERM "$HOSTD_PID"
wait "$HOSTD_PID"; status=$?
HOSTD_PID=""
check "SIGTERM ends it with status 0" [ "$status" -eq 0 ]
if [ -s "$LUMO_ROOT/hostd.err" ]; then echo "hostd said:"; cat "$LUMO_ROOT/hostd.err"; fi
exit "$FAILED"
