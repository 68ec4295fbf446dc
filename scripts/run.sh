#!/usr/bin/env bash
# Installs what is missing, builds Morva and starts it.
#   scripts/run.sh [DATA_DIR]
# DATA_DIR is the folder of Morva's data files and logs (default: morva-data beside the sources,
# created on first use). Until the ISDN line over CAPI is in place, Morva runs on its stand-in line:
# a second window rings Morva and plays the far end of its calls.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
cmake -S "$root" -B "$root/build/release" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DMORVA_BUILD_TESTS=OFF -DMORVA_BUILD_BENCH=OFF >/dev/null
cmake --build "$root/build/release" -j "$(nproc)" --target morva
data=${1:-$root/morva-data}
exec "$root/build/release/app/morva" --data-dir "$data"
