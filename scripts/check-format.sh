#!/usr/bin/env bash
# Every C++ line changed since .clang-format last changed is laid out as it says. Older lines are
# not reformatted wholesale: that would rewrite most files' history for no change in behaviour.
# Prints the layout the changed lines should have and fails when there is any.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

base="$(git log -1 --format=%H -- .clang-format 2>/dev/null || true)"
if [ -z "$base" ]; then
  echo "check-format: .clang-format has no commit in this clone's history (a shallow clone?); run git fetch --unshallow" >&2
  exit 1
fi
changes="$(git clang-format --quiet --diff --extensions cpp,h,hpp,cc "$base" -- src tests tools bench fuzz examples || true)"
if [ -n "$changes" ] && [ "$changes" != "no modified files to format" ] && \
   [ "$changes" != "clang-format did not modify any files" ]; then
  echo "$changes"
  echo "check-format: the lines above, changed since $base, are not laid out as .clang-format says;" \
       "run: git clang-format $base" >&2
  exit 1
fi
echo "format: every C++ line changed since $(git log -1 --format=%h -- .clang-format) follows .clang-format"
