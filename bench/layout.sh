#!/usr/bin/env bash
# Times one ForceLayout tick against d3-force on the same seeded graphs of 1,000, 10,000 and 100,000
# bodies and prints the ratio per size.
#
#   bench/layout.sh BUILD/bin/bench_layout [RUNS]
#
# The graphs are written once to a temporary folder and read by both sides. Each run times every tick of a
# short simulation on each side, ours and d3's in turn, and keeps the median tick; the table shows the
# median over RUNS runs (default 5). d3-force comes at its pinned version from bench/d3 through `npm ci`.
set -euo pipefail
bin=${1:?usage: bench/layout.sh path/to/bench_layout [runs]}
runs=${2:-${LAYOUT_BENCH_RUNS:-5}}
here=$(cd "$(dirname "$0")" && pwd)

if ! command -v node >/dev/null; then
  echo "The layout benchmark needs Node.js to run d3-force; install the nodejs package." >&2
  exit 1
fi
(cd "$here/d3" && npm ci --prefer-offline --no-audit --no-fund --loglevel=error >/dev/null)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$bin" --write "$work"

echo "load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
for run in $(seq 1 "$runs"); do
  "$bin" --time "$work" | sed 's/^/ours /' >>"$work/results"
  node "$here/d3/tick.mjs" "$work" | sed 's/^/d3 /' >>"$work/results"
  echo "run $run of $runs done" >&2
done
echo "load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
node "$here/d3/report.mjs" "$work/results" "$runs"
