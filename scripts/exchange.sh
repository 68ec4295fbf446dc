#!/usr/bin/env bash
# Drives the far end of the simulated exchange that scripts/run.sh started, e.g.
#   scripts/exchange.sh ring 0891234567 5551     a call from 0891234567 to Morva's MSN 5551
#   scripts/exchange.sh hangup                   the far end hangs up
#   scripts/exchange.sh help                     everything else
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
exec "$root/build/release/tools/capiexchange/morva-exchange" --port "${MORVA_EXCHANGE_PORT:-50310}" "$@"
