#!/usr/bin/env bash
# Generates the benchmark's model (384 dimensions, 2 layers, seeded) with the engine's gguf writer and
# runs the throughput benchmark on it.
set -euo pipefail
bench=$1
here=$(cd "$(dirname "$0")" && pwd)
gguf_py=$(sed -n 's/^LLAMA_DIR=//p' "$(dirname "$bench")/../engines.env" 2>/dev/null || true)/gguf-py
[ -d "$gguf_py" ] || gguf_py=$(bash "$here/../scripts/engines.sh" | sed -n 's/^LLAMA_DIR=//p')/gguf-py
model=$(mktemp -d)/bench.gguf
python=/usr/bin/python3; [ -x "$python" ] || python=python3
"$python" "$here/../tests/fixtures/embedding/make_tiny_model.py" "$gguf_py" "$model" \
  --embd 384 --layers 2 --ff 1024 --heads 6 --seed 11
"$bench" "$model"
rm -rf "$(dirname "$model")"
