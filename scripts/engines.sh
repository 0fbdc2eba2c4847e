#!/usr/bin/env bash
# Builds the two engines once into a cache outside the work tree and prints the folder of each.
#
#   scripts/engines.sh            build what is missing, then print "LBUG_DIR=..." and "LLAMA_DIR=..."
#
# The cache folder is $CORVANTIS_DEPS_DIR, else ${XDG_CACHE_HOME:-~/.cache}/corvantis/deps. Each engine
# lands in a folder named for its version, the compiler and a digest of its build flags (a change of
# flags builds a new copy instead of reusing one made differently), and counts as built only once its
# ".complete" stamp exists, so an interrupted build is simply started again.
set -euo pipefail

LBUG_VERSION=0.14.3
LBUG_INTEGRITY='sha512-4M+PU4VR3h/kvUIaS1RRMWC/72ixkmII0KkROnxJuQX3gc5bxktNnG+8u02t54ozGmCG9hncC1Cv7i+22yvOsw=='
NLC_VERSION=3.22.1
NLC_INTEGRITY='sha512-bltIipuWmc123H7tMIgDGKSsSrhmhlQYeVUC48XTjVW7XGJJiJJyCdlTMzQ/LiWoPkGDpcL4FviDpgw7qfTiDw=='
LLAMA_TAG=v0.5.0

jobs=$(nproc 2>/dev/null || echo 2)
cache=${CORVANTIS_DEPS_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/corvantis/deps}
compiler="$(c++ -dumpmachine)-gcc$(c++ -dumpfullversion)"

LBUG_FLAGS=(-DCMAKE_BUILD_TYPE=Release -DBUILD_SHELL=FALSE -DBUILD_TESTS=FALSE -DBUILD_BENCHMARK=FALSE
  -DBUILD_EXTENSIONS="" -DBUILD_SINGLE_FILE_HEADER=FALSE -DAUTO_UPDATE_GRAMMAR=FALSE -DBUILD_EXAMPLES=FALSE
  -DENABLE_BACKTRACES=FALSE)
# ggml picks its CPU kernels when the program starts (one shared library per instruction-set level), so
# neither the cache nor a program built on it ever runs an instruction the processor lacks.
LLAMA_FLAGS=(-DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=ON -DLLAMA_BUILD_TESTS=OFF
  -DLLAMA_BUILD_EXAMPLES=OFF -DLLAMA_BUILD_SERVER=OFF -DLLAMA_BUILD_TOOLS=OFF -DLLAMA_CURL=OFF -DLLAMA_BUILD_COMMON=OFF
  -DGGML_OPENMP=OFF -DGGML_NATIVE=OFF)
if [ "$(uname -m)" = x86_64 ]; then LLAMA_FLAGS+=(-DGGML_BACKEND_DL=ON -DGGML_CPU_ALL_VARIANTS=ON); fi

flags_key() { printf '%s\n' "$@" | sha256sum | cut -c1-10; }
lbug_key="$LBUG_VERSION-$compiler-$(flags_key "${LBUG_FLAGS[@]}")"
llama_key="$LLAMA_TAG-$compiler-$(flags_key "${LLAMA_FLAGS[@]}")"
lbug_dir="$cache/lbug-$lbug_key"
llama_dir="$cache/llama-$llama_key"
mkdir -p "$cache"

say() { echo "engines: $*" >&2; }

# Fetches an npm package tarball into $2 and checks it against the pinned integrity hash.
fetch_npm() {
  local package=$1 dest=$2 integrity=$3
  local tgz err=$dest/npm-pack.err
  if ! tgz=$(cd "$dest" && npm pack --silent "$package" 2>"$err" | tail -n 1) || [ ! -f "$dest/$tgz" ]; then
    say "could not download $package from the npm registry:"
    sed 's/^/engines:   /' "$err" >&2
    exit 1
  fi
  rm -f "$err"
  local algo=${integrity%%-*} want=${integrity#*-}
  local got
  got=$(openssl dgst "-$algo" -binary "$dest/$tgz" | base64 -w0)
  if [ "$got" != "$want" ]; then
    say "the downloaded $package does not match its pinned integrity hash; refusing to build it."
    exit 1
  fi
  echo "$dest/$tgz"
}


# The work folder of an engine build is fixed, so that a build that was interrupted (a closed terminal,
# a session that ended) goes on where it stopped instead of starting again.
build_lbug() {
  local work="$cache/.work-lbug-$lbug_key"
  mkdir -p "$work"
  say "building LadybugDB $LBUG_VERSION into $lbug_dir (about 40 minutes on two cores, once)"
  local src=$work/package/lbug-source log=$work/build.log
  if [ ! -f "$src/.extracted" ]; then
    local tgz; tgz=$(fetch_npm "lbug@$LBUG_VERSION" "$work" "$LBUG_INTEGRITY")
    tar xzf "$tgz" -C "$work" package/lbug-source
    rm -f "$tgz"
    touch "$src/.extracted"
  fi
  [ -f "$work/build/build.ninja" ] || cmake -S "$src" -B "$work/build" -G Ninja "${LBUG_FLAGS[@]}" \
    >"$log" 2>&1 || { tail -n 40 "$log" >&2; exit 1; }
  if ! ( set -o pipefail; cmake --build "$work/build" --target lbug_shared -j "$jobs" 2>&1 | tee -a "$log" | progress ); then
    tail -n 60 "$log" >&2; say "the LadybugDB build failed; its log is $log"; exit 1
  fi
  rm -rf "$lbug_dir"; mkdir -p "$lbug_dir/lib" "$lbug_dir/include"
  cp -a "$work/build/src/"liblbug.so* "$lbug_dir/lib/"
  cp "$src/src/include/c_api/lbug.h" "$lbug_dir/include/"
  touch "$lbug_dir/.complete"
  rm -rf "$work"
}

build_llama() {
  local work="$cache/.work-llama-$llama_key"
  mkdir -p "$work"
  say "building llama.cpp $LLAMA_TAG into $llama_dir (a few minutes, once)"
  if [ ! -f "$work/src/.cloned" ]; then
    rm -rf "$work/src"
    local tgz; tgz=$(fetch_npm "node-llama-cpp@$NLC_VERSION" "$work" "$NLC_INTEGRITY")
    tar xzf "$tgz" -C "$work" package/llama/gitRelease.bundle
    git clone --quiet "$work/package/llama/gitRelease.bundle" "$work/src"
    rm -rf "$tgz" "$work/package"
    touch "$work/src/.cloned"
  fi
  local log=$work/build.log
  [ -f "$work/build/build.ninja" ] || cmake -S "$work/src" -B "$work/build" -G Ninja "${LLAMA_FLAGS[@]}" \
    >"$log" 2>&1 || { tail -n 40 "$log" >&2; exit 1; }
  # With run-time dispatch the CPU kernels are modules of their own, which ggml (and so llama) depends on.
  if ! ( set -o pipefail; cmake --build "$work/build" --target llama -j "$jobs" 2>&1 | tee -a "$log" | progress ); then
    tail -n 60 "$log" >&2; say "the llama.cpp build failed; its log is $log"; exit 1
  fi
  rm -rf "$llama_dir"; mkdir -p "$llama_dir/lib" "$llama_dir/include"
  find "$work/build" -name 'lib*.so*' -exec cp -a {} "$llama_dir/lib/" \;
  cp "$work/src/include/"*.h "$llama_dir/include/"
  cp "$work/src/ggml/include/"*.h "$llama_dir/include/"
  # The gguf writer is what the tests use to make a tiny model of their own.
  cp -r "$work/src/gguf-py" "$llama_dir/gguf-py"
  touch "$llama_dir/.complete"
  rm -rf "$work"
}

progress() {
  awk '/^\[[0-9]+\/[0-9]+\]/ { split(substr($1,2), a, "]"); split(a[1], b, "/"); p = int(100*b[1]/b[2]); if (p >= last + 5) { last = p; printf "engines:   %3d%% %s\n", p, $1; fflush() } }' >&2
}

# One builder at a time per cache, so that two checkouts do not build the same engine twice.
exec 9>"$cache/.lock"
flock 9
[ -f "$lbug_dir/.complete" ] || build_lbug
[ -f "$llama_dir/.complete" ] || build_llama
echo "LBUG_DIR=$lbug_dir"
echo "LLAMA_DIR=$llama_dir"
