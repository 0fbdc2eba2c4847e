#!/usr/bin/env bash
# Runs every benchmark program that `make bench` built, each printing its own table.
set -euo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
for b in "$build"/bin/bench_*; do
  [ -x "$b" ] || continue
  name=$(basename "$b")
  echo "== $name"
  if [ -x "$here/${name#bench_}.sh" ]; then "$here/${name#bench_}.sh" "$b"; else "$b"; fi
done
