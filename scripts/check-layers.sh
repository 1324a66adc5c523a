#!/usr/bin/env bash
# Fails on an include that runs upward: a file may include its own folder and the folders below
# it, never one above. The order, lowest first, is the one docs/DEVELOPING.md explains.
set -euo pipefail
cd "$(dirname "$0")/.."
layers=(audio core tags media autodj liveassist broadcast reporting web playout desk station sim ui app)
declare -A rank
for i in "${!layers[@]}"; do rank[${layers[$i]}]=$i; done

bad=0
for layer in "${layers[@]}"; do
    [ -d "$layer" ] || continue
    while IFS=: read -r file line target; do
        dir=${target%%/*}
        [ -n "${rank[$dir]+x}" ] || continue
        if [ "${rank[$dir]}" -gt "${rank[$layer]}" ]; then
            echo "$file:$line: $layer/ includes $target, which is above it"
            bad=1
        fi
    done < <(grep -rnoE '^#include "[^"]+"' "$layer" --include='*.h' --include='*.cpp' |
             sed -E 's/^([^:]+):([0-9]+):#include "([^"]+)"$/\1:\2:\3/')
done
if [ "$bad" -ne 0 ]; then
    echo "Layer order (lowest first): ${layers[*]}"
    exit 1
fi
echo "Layers: every include runs downward (${layers[*]})."
