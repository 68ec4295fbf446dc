#!/usr/bin/env bash
# Installs the Debian packages of scripts/packages.txt that are not installed yet.
# Runs apt-get only when something is missing, so a prepared machine needs no root.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t wanted < <(grep -v -E '^\s*(#|$)' "$here/packages.txt")
missing=()
for p in "${wanted[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
    [[ "$status" == "install ok installed" ]] || missing+=("$p")
done
if ((${#missing[@]} == 0)); then
    exit 0
fi
echo "Installing: ${missing[*]}"
sudo=""
if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null || { echo "Run as root or install sudo: packages are missing." >&2; exit 1; }
    sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
