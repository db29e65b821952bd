# The short way in. `make demo` builds and runs the library's main job;
# `make test` builds and runs every test. Both install missing Debian build
# packages first (as root), or print the command to run.
PRESET ?= dev
BUILD   = build/$(PRESET)
JOBS   ?= 2

.PHONY: all setup demo test test-asan test-tsan bench install check-install clean fuzz check-valgrind

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

# Fuzzing: every target of fuzz/ built with clang, libFuzzer, ASan and UBSan
# in build/fuzz, then run FUZZ_SECONDS each, one after the other. New inputs
# go to build/fuzz/corpus/<target>, crashes to build/fuzz/artifacts/<target>;
# each run's statistics end build/fuzz/<target>.log.
FUZZ_SECONDS ?= 600
FUZZ_TARGETS ?= msf base64 cmdline redirection cow_list cow_map filestore
FUZZ_CXX     ?= clang++-14
fuzz: setup
	cmake -S . -B build/fuzz -G Ninja -DCMAKE_CXX_COMPILER=$(FUZZ_CXX) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DVNKUTI_BUILD_FUZZ=ON -DVNKUTI_BUILD_TESTS=OFF -DVNKUTI_BUILD_TOOLS=OFF -DVNKUTI_BUILD_EXAMPLES=OFF \
	  -DVNKUTI_INSTALL=OFF -DVNKUTI_SANITIZE=address,undefined >/dev/null
	cmake --build build/fuzz -j $(JOBS) $(addprefix --target fuzz_,$(FUZZ_TARGETS))
	@for t in $(FUZZ_TARGETS); do \
	  mkdir -p build/fuzz/corpus/$$t build/fuzz/artifacts/$$t; \
	  echo "== fuzz_$$t, $(FUZZ_SECONDS) s"; \
	  build/fuzz/fuzz/fuzz_$$t -max_total_time=$(FUZZ_SECONDS) -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
	    -artifact_prefix=build/fuzz/artifacts/$$t/ build/fuzz/corpus/$$t fuzz/corpus/$$t > build/fuzz/$$t.log 2>&1; \
	  rc=$$?; grep -E '^stat::(number_of_executed_units|peak_rss_mb|new_units_added)|^Done|^==[0-9]+==ERROR|^SUMMARY' build/fuzz/$$t.log; \
	  [ $$rc -eq 0 ] || { echo "fuzz_$$t failed: see build/fuzz/$$t.log"; exit 1; }; \
	done

# The test programs and the fuzz replays under valgrind memcheck (build/dev).
check-valgrind: build
	@command -v valgrind >/dev/null || { echo "valgrind is not installed: apt-get install valgrind"; exit 1; }
	sh tests/reliability/valgrind/run.sh $(BUILD) $(JOBS)

install: build
	cmake --install $(BUILD) --prefix $${PREFIX:-/usr/local}

clean:
	rm -rf build
