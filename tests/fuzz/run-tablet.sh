#!/usr/bin/env bash
# Builds the tablet bridge's libFuzzer target with clang under AddressSanitizer and UBSan, and runs it.
#   tests/fuzz/run-tablet.sh [seconds]    (outside the test run; corpus in build-fuzz/tablet-corpus)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
out=${FUZZ_BUILD:-$root/build-fuzz}
seconds=${1:-60}
mkdir -p "$out/tablet-corpus"
sources=(src/kit/tablet/HttpRequest.cpp src/kit/tablet/WebSocketFrames.cpp tests/fuzz/TabletFuzzer.cpp)
cd "$root"
clang++-14 -std=c++20 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined \
  -fPIC -I src $(pkg-config --cflags Qt6Core) "${sources[@]}" $(pkg-config --libs Qt6Core) \
  -o "$out/tablet_fuzzer"
printf 'GET /k3y/ HTTP/1.1\r\nUpgrade: websocket\r\nSec-WebSocket-Key: dGhl\r\n\r\n' > "$out/tablet-corpus/seed-head"
printf '\x01\x81\x85\x37\xfa\x21\x3d\x7f\x9f\x4d\x51\x58\x89\x02hi\x00\x80\x7e\x00\x04abcd' > "$out/tablet-corpus/seed-frames"
cd "$out"
ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  nice -n "${FUZZ_NICE:-19}" ./tablet_fuzzer -max_total_time="$seconds" -max_len=300000 -print_final_stats=1 \
  -artifact_prefix="$out/" "$out/tablet-corpus"
