#!/usr/bin/env bash
# Runs each fuzz target of build/fuzz on its corpus (fuzz/corpus/<name>: seeds and the inputs
# that once found a fault, grown in build/fuzz/corpus/<name>), with fuzz/<name>.dict where there
# is one, until it has run RUNS inputs or SECONDS have passed, whichever comes first, and prints
# what it did. A finding stops that target
# with its input saved as build/fuzz/artifacts/<target>-crash-...; the script then fails.
#   scripts/run-fuzzers.sh [BUILD_DIR] [SECONDS] [RUNS] [TARGET...]
set -euo pipefail
# Absolute: a target may change its working folder (fuzz_readers works in a scratch one).
build="$(cd "${1:-build/fuzz}" && pwd)"
seconds="${2:-8}"
runs="${3:-0}"
shift $(( $# < 3 ? $# : 3 ))
targets=("$@")
[[ ${#targets[@]} -gt 0 ]] || targets=(readers page_json rect_string scene page_answer hierarchy)
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
mkdir -p "$build/artifacts"
status=0
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  mkdir -p "$corpus"
  cp -n "$here/fuzz/corpus/$target/"* "$corpus/" 2>/dev/null || true
  log="$build/fuzz_$target.log"
  limit=(-max_total_time="$seconds")
  [[ -f "$here/fuzz/$target.dict" ]] && limit+=(-dict="$here/fuzz/$target.dict")
  [[ "$runs" -gt 0 ]] && limit+=(-runs="$runs")
  start=$(date +%s)
  if "$build/fuzz_$target" "${limit[@]}" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$target-" "$corpus" >"$log" 2>&1; then
    executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    echo "fuzz: fuzz_$target: ${executed:-?} inputs in $(( $(date +%s) - start )) s, no findings (corpus $(ls "$corpus" | wc -l) inputs)"
  else
    echo "fuzz: fuzz_$target FOUND A PROBLEM; its input is in $build/artifacts/:"
    grep -E "ERROR|SUMMARY|runtime error|Test unit written" "$log" | head -20 || tail -n 30 "$log"
    status=1
  fi
done
exit $status
