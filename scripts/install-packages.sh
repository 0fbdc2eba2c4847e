#!/usr/bin/env bash
# Installs the Debian packages of scripts/debian-packages.txt that are missing. Quiet when all are there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t wanted < <(grep -v -E '^\s*(#|$)' "$here/debian-packages.txt")
missing=()
for p in "${wanted[@]}"; do
  # Node.js and npm may come from elsewhere (a newer Node.js); any on PATH will do.
  if [ "$p" = npm ] && command -v npm >/dev/null 2>&1; then continue; fi
  if [ "$p" = nodejs ] && command -v node >/dev/null 2>&1; then continue; fi
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "packages: installing ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
