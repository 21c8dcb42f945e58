#!/usr/bin/env bash
# The layers of the source tree, as docs/hacking.md states them: which folders each folder's
# files may include from. Every #include "..." of a project header names its folder; an
# include from a folder above its own layer, or without a folder, fails the test. Tests,
# benchmarks and fuzz targets may include anything.
# $1: the source root.
set -euo pipefail
root=${1:?source root}
cd "$root"

# Folder: the include prefixes its files may use, lowest layer first. The SDK installs
# platform, wire, security, mib and request, so those never reach the layers above them.
declare -A allowed=(
  [platform]="platform/"
  [wire]="wire/ platform/"
  [security]="security/ wire/ platform/"
  [mib]="mib/ request/ security/ wire/ platform/"
  [request]="request/ mib/ security/ wire/ platform/"
  [traps]="traps/ mib/ request/ security/ wire/ platform/"
  [modules]="modules/ traps/ mib/ request/ security/ wire/ platform/"
  [agent]="agent/ modules/ traps/ mib/ request/ security/ wire/ platform/"
  # lumoctl shares the agent's bus keys through three headers of constants; the tools link
  # only the platform.
  [tools]="tools/ platform/ security/item.h security/ids.h traps/trap_info.h"
  [examples]="mib/ request/ security/ wire/ platform/"
)
free="tests bench fuzz"

failed=0
# Every folder with C++ sources has a rule, so a new folder gets one.
for dir in $(find . -mindepth 2 -maxdepth 3 \( -name '*.cc' -o -name '*.h' \) -not -path './build*' |
             cut -d/ -f2 | sort -u); do
  [[ " $free " == *" $dir "* ]] && continue
  [ -n "${allowed[$dir]+set}" ] || { echo "FAIL: folder $dir/ has no layer rule here"; failed=1; }
done

for dir in "${!allowed[@]}"; do
  [ -d "$dir" ] || continue
  while IFS= read -r hit; do
    header=$(sed -E 's/^[^:]*:[0-9]+:[[:space:]]*#[[:space:]]*include[[:space:]]*"([^"]*)".*/\1/' <<<"$hit")
    ok=0
    for prefix in ${allowed[$dir]}; do
      [[ $header == "$prefix"* ]] && ok=1
    done
    if [ $ok -eq 0 ]; then echo "FAIL: $hit"; failed=1; fi
  done < <(grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$dir" --include='*.h' --include='*.cc' || true)
done
[ $failed -eq 0 ] && echo "every include keeps to its layer"
exit $failed
