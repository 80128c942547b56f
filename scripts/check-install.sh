#!/usr/bin/env bash
# Uses an installed zerva-screenvideo the way another program would: installs a built tree into a
# fresh prefix, checks what was installed, builds examples/record-a-scene against the CMake
# package and a one-file program through pkg-config, records a scene with the example and reads
# the video back with ffprobe.
#
#   scripts/check-install.sh [BUILD_DIR [SCENE]]    (defaults: build/release, scenes/demo-app.json)
#
# ZERVA_KEEP_CHECK_INSTALL=1 keeps the scratch folder (prefix, builds, video).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$(realpath "${1:-$root/build/release}")"
scene="$(realpath "${2:-$root/scenes/demo-app.json}")"
work="$(mktemp -d "${TMPDIR:-/tmp}/zerva-check-install.XXXXXX")"
if [[ -z "${ZERVA_KEEP_CHECK_INSTALL:-}" ]]; then trap 'rm -rf "$work"' EXIT; fi
prefix="$work/prefix"

say() { echo "check-install: $*"; }
fail() { echo "check-install: FAILED: $*" >&2; exit 1; }
# Runs a step quietly; on failure shows its output.
quietly() {
  local log="$work/step.log"
  "$@" >"$log" 2>&1 || { cat "$log" >&2; fail "$*"; }
}

[[ -f "$build/CMakeCache.txt" ]] || fail "$build is not a configured build folder (make build first)"
[[ -f "$scene" ]] || fail "no scene file $scene"

say "installing $build into $prefix"
quietly cmake --install "$build" --prefix "$prefix"

# The library, the tool, the headers of four folders and the package files; no tests, test
# support or benchmarks, and no header that needs Cairo, FFmpeg, Tesseract or Duktape.
unexpected="$(cd "$prefix" && find . -type f | grep -vE '^\./(bin/zerva-scene|lib(/[a-z0-9_-]+)?/(libzerva_screenvideo\.a|cmake/ZervaScreenVideo/[A-Za-z-]+\.cmake|pkgconfig/zerva-screenvideo\.pc)|include/zerva-screenvideo/(handler|platform|services|scene|audit)/[A-Za-z0-9]+\.h)$' || true)"
[[ -z "$unexpected" ]] || fail "installed but not meant to be: $unexpected"
if grep -rlF -e "$root" -e "$build" "$prefix/lib" --include='*.cmake' --include='*.pc'; then
  fail "the package files above point into the source or build folder"
fi

say "compiling every installed header with only the prefix on the include path"
headers="$prefix/include/zerva-screenvideo"
(cd "$headers" && find . -name '*.h' | sort | sed 's|^\./\(.*\)|#include "\1"|') >"$work/all-headers.cpp"
[[ -s "$work/all-headers.cpp" ]] || fail "no headers installed under $headers"
quietly g++ -std=c++20 -fsyntax-only -I"$headers" "$work/all-headers.cpp"

launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
say "building examples/record-a-scene with find_package(ZervaScreenVideo)"
quietly cmake -S "$root/examples/record-a-scene" -B "$work/example" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_PREFIX_PATH="$prefix" "${launcher[@]}"
grep -q "^ZervaScreenVideo_DIR:PATH=$prefix/" "$work/example/CMakeCache.txt" ||
  fail "the example found a ZervaScreenVideo package outside $prefix"
quietly cmake --build "$work/example"

say "building a one-file program with pkg-config"
pc_dir="$(dirname "$(find "$prefix" -name zerva-screenvideo.pc)")"
cat >"$work/pkg-config-check.cpp" <<'CPP'
#include "handler/ZRViewVideoHandler.h"
#include "platform/ProcessClock.h"
int main() {
  zerva::ScopedManualClock clock;
  return zerva::ZRViewVideoHandler::sharedHandler()->isRecording() ? 1 : 0;
}
CPP
export PKG_CONFIG_PATH="$pc_dir"
quietly g++ -std=c++20 "$work/pkg-config-check.cpp" -o "$work/pkg-config-check" \
  $(pkg-config --cflags --libs zerva-screenvideo)
quietly "$work/pkg-config-check"

say "recording $(basename "$scene") with the example"
mkdir -p "$work/videos"
"$work/example/record-a-scene" "$scene" "$work/videos" >"$work/video-path" || fail "record-a-scene exited $?"
video="$(cat "$work/video-path")"
[[ "$video" == "$work/videos/"* && -s "$video" ]] || fail "record-a-scene printed '$video', not a video in $work/videos"

# The video: H.264, frames that decode, and it lasts about as long as the scene.
probe="$(ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=codec_name,nb_read_frames \
  -show_entries format=duration -of default=noprint_wrappers=1 "$video")" || fail "ffprobe cannot read $video"
codec="$(sed -n 's/^codec_name=//p' <<<"$probe")"
frames="$(sed -n 's/^nb_read_frames=//p' <<<"$probe")"
duration="$(sed -n 's/^duration=//p' <<<"$probe")"
scene_seconds="$("$prefix/bin/zerva-scene" validate "$scene" | sed -n 's/.*, \([0-9.]*\) s$/\1/p')"
[[ -n "$scene_seconds" ]] || fail "cannot read the scene's length from zerva-scene validate"
[[ "$codec" == h264 ]] || fail "$video: codec '$codec', expected h264"
[[ "$frames" =~ ^[0-9]+$ && "$frames" -ge 2 ]] || fail "$video: $frames frames decoded"
awk -v d="$duration" -v s="$scene_seconds" 'BEGIN { exit !(d > 0 && d > s - 1 && d < s + 1) }' ||
  fail "$video lasts ${duration}s, the scene ${scene_seconds}s"
say "ok: $frames H.264 frames, ${duration}s for a ${scene_seconds}s scene"
