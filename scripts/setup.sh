#!/usr/bin/env bash
# Installs every Debian package listed in scripts/packages.txt that is missing.
# Idempotent and silent when everything is already there.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
mapfile -t wanted < <(grep -vE '^\s*(#|$)' "$here/packages.txt")

missing=()
for pkg in "${wanted[@]}"; do
  status="$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)"
  [[ "$status" == "install ok installed" ]] || missing+=("$pkg")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "setup: installing ${missing[*]}"
sudo=""
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "setup: need root (or sudo) to install: ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
if ! $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/tmp/zerva-setup.log 2>&1; then
  # A fresh machine may have no package lists yet.
  $sudo apt-get update -qq >>/tmp/zerva-setup.log 2>&1
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >>/tmp/zerva-setup.log 2>&1 || {
    echo "setup: apt-get failed; see /tmp/zerva-setup.log" >&2; tail -n 20 /tmp/zerva-setup.log >&2; exit 1; }
fi
echo "setup: done"
