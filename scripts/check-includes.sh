#!/usr/bin/env bash
# Includes point down only. Layers, lowest first:
#   platform/   the headless UI toolkit: includes platform/ only
#   services/   the SDK's other classes: platform/ and services/
#   handler/, recording/, capture/, occlusion/, masking/, schematic/   the handler: the above and its own folders
#   scene/      scenes for tests, benchmarks and tools: anything
# Prints every include that points up, as file:line, and fails when there is one.
set -euo pipefail
src="${1:-$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/src}"

handler_folders="handler recording capture occlusion masking schematic"

# The folders a file in `folder` may include from; empty: any.
allowed_for() {
  case "$1" in
    platform) echo "platform" ;;
    services) echo "platform services" ;;
    handler | recording | capture | occlusion | masking | schematic) echo "platform services $handler_folders" ;;
    *) echo "" ;;
  esac
}

status=0
while IFS= read -r -d '' file; do
  relative="${file#"$src"/}"
  folder="${relative%%/*}"
  allowed="$(allowed_for "$folder")"
  [ -n "$allowed" ] || continue
  # Quoted includes of a source folder ("services/ZRUtil.h"); system and engine headers pass.
  while IFS=: read -r line target; do
    target_folder="${target%%/*}"
    [ -d "$src/$target_folder" ] || continue
    case " $allowed " in
      *" $target_folder "*) ;;
      *)
        echo "src/$relative:$line: includes \"$target\": $folder/ may include only from ${allowed// /\/, }/" >&2
        status=1
        ;;
    esac
  done < <(grep -n -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*"[^"]*/[^"]*"' "$file" |
           sed -E 's/^([0-9]+):[^"]*"([^"]*)".*/\1:\2/' || true)
done < <(find "$src" -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.in' \) -print0 | sort -z)

if [ "$status" -eq 0 ]; then
  echo "includes: every include under src/ points down"
fi
exit "$status"
