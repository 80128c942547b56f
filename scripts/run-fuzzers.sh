#!/usr/bin/env bash
# Runs each fuzz target of build/fuzz for a few seconds on its corpus (fuzz/corpus/<name>, grown
# in build/fuzz/corpus/<name>) and prints what it did. A finding stops the run with its input
# saved as build/fuzz/artifacts/<target>-crash-...; the script then fails.
set -euo pipefail
# Absolute: a target may change its working folder (fuzz_readers works in a scratch one).
build="$(cd "${1:-build/fuzz}" && pwd)"
seconds="${2:-8}"
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
mkdir -p "$build/artifacts"
status=0
for target in readers page_json rect_string; do
  corpus="$build/corpus/$target"
  mkdir -p "$corpus"
  cp -n "$here/fuzz/corpus/$target/"* "$corpus/" 2>/dev/null || true
  log="$build/fuzz_$target.log"
  if "$build/fuzz_$target" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$target-" "$corpus" >"$log" 2>&1; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    echo "fuzz: fuzz_$target: ${runs:-?} inputs in ${seconds} s, no findings (corpus $(ls "$corpus" | wc -l) inputs)"
  else
    echo "fuzz: fuzz_$target FOUND A PROBLEM; its input is in $build/artifacts/:"
    grep -E "ERROR|SUMMARY|runtime error|Test unit written" "$log" | head -20 || tail -n 30 "$log"
    status=1
  fi
done
exit $status
