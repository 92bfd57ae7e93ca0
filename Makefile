# Thin wrappers around CMake. `make run` and `make test` are the two set-up commands.
BUILD      ?= build
ASAN_BUILD ?= build-asan
TSAN_BUILD ?= build-tsan
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
JOBS       ?= $(shell nproc)
EXAMPLE    ?= examples/coupled-lines
CMAKE_ARGS ?=

.PHONY: deps build run test test-asan test-tsan bench fuzz clean

deps:
	@bash scripts/install-deps.sh

build: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS) >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	@bash scripts/run-example.sh $(BUILD) $(EXAMPLE)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

test-asan: deps
	@cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DVORA_SANITIZE=ON $(CMAKE_ARGS) >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@cd $(ASAN_BUILD) && ctest --output-on-failure -j $(JOBS)

# The tests that run threads or processes (the ordered line writer, the forked worker
# process, and whole runs of the binary) under ThreadSanitizer.
TSAN_TESTS ?= WriteLinesInOrder|SplitAcrossProcesses|OneProcessor|Deembedding|GeneralizedMode|SafeOutput|InMemory
test-tsan: deps
	@cmake -S . -B $(TSAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVORA_SANITIZE_THREADS=ON $(CMAKE_ARGS) >/dev/null
	@cmake --build $(TSAN_BUILD) -j $(JOBS)
	@cd $(TSAN_BUILD) && TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" ctest --output-on-failure -j $(JOBS) -R '$(TSAN_TESTS)'

# Benchmarks: build with the bench targets, then run the end-to-end jobs (bench/run.sh).
BENCH_BUILD ?= build-bench
bench: deps
	@cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVORA_BUILD_BENCH=ON -DVORA_BUILD_TESTS=OFF $(CMAKE_ARGS) >/dev/null
	@cmake --build $(BENCH_BUILD) -j $(JOBS)
	@bash bench/run.sh $(BENCH_BUILD)

# Every fuzz target for FUZZ_SECONDS each, one after another (clang build in FUZZ_BUILD).
fuzz:
	@VORA_WITH_FUZZ=1 bash scripts/install-deps.sh
	@bash fuzz/run.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD) $(BENCH_BUILD) $(FUZZ_BUILD)
