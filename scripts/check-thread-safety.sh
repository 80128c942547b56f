#!/usr/bin/env bash
# Clang's thread-safety analysis over every source of the library (src/): each file is compiled
# for its diagnostics only, with the flags of a Clang build folder configured with
# -Wthread-safety -Werror=thread-safety (make check-thread-safety sets it up). A field touched
# without its lock, or a REQUIRES function called without it, fails the check.
#   scripts/check-thread-safety.sh [build folder] [jobs] [only sources whose path contains this]
set -euo pipefail
build="$(cd "${1:-build/thread-safety}" && pwd)"
jobs="${2:-2}"
only="${3:-}"
src="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/src"

commands="$(mktemp)"
trap 'rm -f "$commands"' EXIT
# The library's own sources (not the engine compiled in from Debian's source), without -o.
sed -n 's/^  "command": "\(.*\)",$/\1/p' "$build/compile_commands.json" |
  grep -F -- "-c $src/" | grep -F -- "$only" | sed 's/ -o [^ ]* / /; s/\\"/"/g' >"$commands"
count="$(wc -l <"$commands")"
if [ "$count" -eq 0 ]; then
  echo "thread-safety: no library sources in $build/compile_commands.json" >&2
  exit 1
fi
grep -q -- "-Werror=thread-safety" "$commands" || {
  echo "thread-safety: $build is not configured with -Werror=thread-safety" >&2
  exit 1
}
if ! (cd "$build" && xargs -d '\n' -P "$jobs" -I{} sh -c '{} -fsyntax-only' <"$commands"); then
  echo "thread-safety: the analysis found lock misuse (see above)" >&2
  exit 1
fi
echo "thread-safety: $count library sources pass clang -Wthread-safety"
