# The two set-up commands: `make run` and `make test`. Both install what is missing first.
BUILD ?= build
CMAKE_FLAGS ?=
ENGINES_ENV := $(BUILD)/engines.env

.PHONY: all deps packages engines configure build run test bench bench-layout format clean

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

test: build
	@cd $(BUILD) && ctest --output-on-failure --parallel $$(nproc) --timeout 600

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
