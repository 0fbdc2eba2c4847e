# The two set-up commands: `make run` and `make test`. Both install what is missing first.
BUILD ?= build
CMAKE_FLAGS ?=
ENGINES_ENV := $(BUILD)/engines.env

.PHONY: all deps packages engines configure build run test asan bench bench-layout format clean mcp-client

all: build

packages:
	@bash scripts/install-packages.sh

# The engines are built once into a cache outside the work tree; this only records where they are.
engines: packages
	@mkdir -p $(BUILD)
	@bash scripts/engines.sh > $(ENGINES_ENV).tmp && mv $(ENGINES_ENV).tmp $(ENGINES_ENV)

deps: packages engines

configure: deps
	@. ./$(ENGINES_ENV) && cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release \
	  -DLBUG_DIR="$$LBUG_DIR" -DLLAMA_DIR="$$LLAMA_DIR" $(CMAKE_FLAGS) > $(BUILD)/configure.log \
	  || { cat $(BUILD)/configure.log; exit 1; }

build: configure
	@cmake --build $(BUILD) --parallel $$(nproc)

run: build
	@$(BUILD)/bin/corvantis

# The official MCP SDK client that one connector test drives the relay with, pinned with its integrity
# in tests/mcp-client/package-lock.json. Without Node.js that test says so and is skipped.
MCP_CLIENT := tests/mcp-client
mcp-client:
	@if command -v npm >/dev/null 2>&1 && command -v node >/dev/null 2>&1; then \
	  if [ ! -f $(MCP_CLIENT)/node_modules/.package-lock.json ] || \
	     [ $(MCP_CLIENT)/package-lock.json -nt $(MCP_CLIENT)/node_modules/.package-lock.json ]; then \
	    echo "mcp-client: installing the pinned MCP SDK"; \
	    cd $(MCP_CLIENT) && npm ci --no-audit --no-fund --loglevel=error; \
	  fi; \
	fi

test: build mcp-client
	@cd $(BUILD) && ctest --output-on-failure --parallel $$(nproc) --timeout 600

# The whole suite in a Debug build under AddressSanitizer and UndefinedBehaviorSanitizer, in its own
# build folder. Leaks inside Qt's and the engines' own start-up are not ours to judge, so leak checking
# stays off; every other report stops the test that caused it.
ASAN_BUILD ?= build-asan
ASAN_FLAGS := -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined
asan: deps
	@mkdir -p $(ASAN_BUILD)
	@. ./$(ENGINES_ENV) && cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug \
	  -DLBUG_DIR="$$LBUG_DIR" -DLLAMA_DIR="$$LLAMA_DIR" -DCORVANTIS_BENCHMARKS=OFF \
	  -DCMAKE_CXX_FLAGS="$(ASAN_FLAGS)" -DCMAKE_EXE_LINKER_FLAGS="$(ASAN_FLAGS)" \
	  -DCMAKE_SHARED_LINKER_FLAGS="$(ASAN_FLAGS)" $(CMAKE_FLAGS) > $(ASAN_BUILD)/configure.log \
	  || { cat $(ASAN_BUILD)/configure.log; exit 1; }
	@cmake --build $(ASAN_BUILD) --parallel $$(nproc)
	@cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --output-on-failure --parallel $$(nproc) --timeout 1200

bench: configure
	@cmake --build $(BUILD) --parallel $$(nproc) --target benchmarks
	@bash bench/run-all.sh $(BUILD)

# ForceLayout against d3-force on the same graphs (needs Node.js; fetches the pinned d3-force once).
bench-layout: configure
	@cmake --build $(BUILD) --parallel $$(nproc) --target bench_layout
	@bash bench/layout.sh $(BUILD)/bin/bench_layout

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD)
