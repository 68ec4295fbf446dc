#!/usr/bin/env bash
# Fuzzes the dBase store's open, walk and searches for SECONDS (default 600): builds the fuzz target
# with clang in build/fuzz, seeds fuzz/corpus with small tables, runs libFuzzer and prints the count
# of executions. A crash ends the run with its input saved in build/fuzz/.
set -euo pipefail
seconds=${1:-600}
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/fuzz
corpus=$root/fuzz/corpus

cmake -S "$root/fuzz" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j 2
# The work files of the target live in memory where a tmpfs is at hand: the run is mostly file calls.
work=$build/tmp
[ -d /dev/shm ] && [ -w /dev/shm ] && work=/dev/shm
mkdir -p "$corpus" "$build/tmp"
"$build/pdb_fuzz_seeds" "$corpus"

log=$build/fuzz.log
status=0
TMPDIR=$work "$build/pdb_open_fuzz" -max_len=65536 -max_total_time="$seconds" -print_final_stats=1 \
    -artifact_prefix="$build/" "$corpus" >"$log" 2>&1 || status=$?
grep -E '^(Done|#[0-9]+[[:space:]]+INITED)|ERROR|SUMMARY|artifact' "$log" || true
executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | head -n 1)
echo "Executions: ${executions:-unknown} in ${seconds} s (log: $log)"
exit "$status"
