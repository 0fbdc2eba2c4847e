#!/usr/bin/env bash
# Builds the connector's libFuzzer target with clang under AddressSanitizer and UBSan, and runs it.
#   tests/fuzz/run.sh [seconds] [jobs]    (outside the test run; corpus in build-fuzz/corpus)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
out=${FUZZ_BUILD:-$root/build-fuzz}
seconds=${1:-60}
jobs=${2:-1}
mkdir -p "$out/corpus"
sources=(
  src/kit/mcp/JsonText.cpp src/kit/mcp/MCPSession.cpp src/kit/mcp/MCPTool.cpp src/kit/mcp/MCPClient.cpp
  src/kit/mcp/CorvantisMCP.cpp src/kit/mcp/MCPClientConfig.cpp src/kit/mcp/MCPDraftReading.cpp src/kit/support/Json.cpp
  src/kit/support/UserFacingError.cpp tests/fuzz/MCPLineFuzzer.cpp
)
cd "$root"
if [ ! -x "$out/mcp_line_fuzzer" ] || [ -n "$(find "${sources[@]}" src/kit/mcp tests/fuzz -newer "$out/mcp_line_fuzzer" | head -1)" ]; then
  clang++-14 -std=c++20 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined \
    -fPIC -I src -I . $(pkg-config --cflags Qt6Core) -I /usr/include/qcoro6/qcoro -I /usr/include/qcoro6 \
    "${sources[@]}" $(pkg-config --libs Qt6Core) -o "$out/mcp_line_fuzzer"
fi
# Seeds: a few real lines.
printf '%s' '{"jsonrpc":"2.0","id":1,"method":"initialize","params":{"clientInfo":{"name":"claude-ai"}}}' > "$out/corpus/seed-init"
printf '%s' '{"jsonrpc":"2.0","id":"x","method":"tools/call","params":{"name":"search","arguments":{"query":"a","limit":"9"}}}' > "$out/corpus/seed-call"
printf '%s' '# c
[mcp_servers.corvantis]
command = "/a"
[other]' > "$out/corpus/seed-toml"
parallel=()
[ "$jobs" -gt 1 ] && parallel=(-jobs="$jobs" -workers="$jobs")
cd "$out"
ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  nice -n 19 ./mcp_line_fuzzer -max_total_time="$seconds" -max_len=65536 "${parallel[@]}" \
  -print_final_stats=1 -artifact_prefix="$out/" "$out/corpus"
