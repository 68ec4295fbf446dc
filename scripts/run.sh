#!/usr/bin/env bash
# Installs what is missing, builds Morva and the simulated ISDN exchange, starts the exchange and then
# Morva connected to it.
#   scripts/run.sh [DATA_DIR]
# DATA_DIR is the folder of Morva's data files and logs (default: morva-data beside the sources,
# created on first use). The exchange listens on 127.0.0.1:${MORVA_EXCHANGE_PORT:-50310} and stops
# with Morva. From a second terminal, ring Morva with:
#   scripts/exchange.sh ring 0891234567 5551
# (scripts/exchange.sh help lists what the far end can do.)
# MORVA_EXCHANGE=0 scripts/run.sh starts Morva on the CAPI server of its Morva.ini instead.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
cmake -S "$root" -B "$root/build/release" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DMORVA_BUILD_TESTS=OFF -DMORVA_BUILD_BENCH=OFF >/dev/null
cmake --build "$root/build/release" -j "$(nproc)" --target morva morva-exchange
data=${1:-$root/morva-data}
mkdir -p "$data"
if [ "${MORVA_EXCHANGE:-1}" = 0 ]; then
    exec "$root/build/release/app/morva" --data-dir "$data"
fi

port=${MORVA_EXCHANGE_PORT:-50310}
exchange="$root/build/release/tools/capiexchange/morva-exchange"
"$exchange" serve --port "$port" </dev/null >"$data/exchange.log" 2>&1 &
exchange_pid=$!
trap 'kill "$exchange_pid" 2>/dev/null || true' EXIT
# Morva starts once the exchange answers.
for _ in $(seq 50); do
    "$exchange" --port "$port" calls >/dev/null 2>&1 && break
    kill -0 "$exchange_pid" 2>/dev/null || { cat "$data/exchange.log" >&2; exit 1; }
    sleep 0.1
done
echo "Simulated exchange on 127.0.0.1:$port (log: $data/exchange.log)."
echo "Ring Morva from another terminal: $root/scripts/exchange.sh ring 0891234567 5551"
"$root/build/release/app/morva" --data-dir "$data" --capi "fritzbox:127.0.0.1:$port"
