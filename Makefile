# The short way in. `make demo` builds and runs the library's main job;
# `make test` builds and runs every test. Both install missing Debian build
# packages first (as root), or print the command to run.
PRESET ?= dev
BUILD   = build/$(PRESET)
JOBS   ?= 2

.PHONY: all setup demo test test-asan test-tsan bench install check-install clean

all: build

setup:
	@./cmake/setup-debian.sh

build: setup
	cmake --preset $(PRESET) >/dev/null
	cmake --build --preset $(PRESET) -j $(JOBS)

demo: build
	@$(BUILD)/tools/vnkuti/vnkuti demo

test: build
	ctest --preset $(PRESET) -j $(JOBS)

test-asan:
	$(MAKE) test PRESET=asan

test-tsan:
	$(MAKE) test PRESET=tsan

bench: setup
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)
	@mkdir -p build/release/bench-results
	@for b in build/release/bench/bench_*; do \
	  [ -x "$$b" ] || continue; \
	  echo "== $$b"; \
	  $$b --benchmark_repetitions=$${REPS:-3} --benchmark_report_aggregates_only=true \
	      --benchmark_out=build/release/bench-results/$$(basename $$b).json --benchmark_out_format=json >/dev/null || exit 1; \
	done
	@python3 bench/ratios.py build/release/bench-results/*.json | tee build/release/bench-results/ratios.md

install: build
	cmake --install $(BUILD) --prefix $${PREFIX:-/usr/local}

clean:
	rm -rf build
