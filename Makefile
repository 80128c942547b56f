# Single entry point: every target sets up the machine first, then builds with CMake and Ninja.
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: audit all setup build test check-install test-asan test-tsan fuzz fuzz-build fuzz-brief load bench run clean \
  check-includes check-thread-safety check-format

all: build

setup:
	@scripts/setup.sh

build/release/build.ninja: | setup
	cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)

build: setup build/release/build.ninja
	cmake --build build/release -j $(JOBS)

test: build
	ctest --test-dir build/release --output-on-failure -j $(JOBS) -LE load

# Installs the release build into a fresh temporary prefix and builds and runs
# examples/record-a-scene against it, as another program would (scripts/check-install.sh).
check-install: build
	scripts/check-install.sh build/release

test-asan: setup
	cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZERVA_ASAN=ON -DZERVA_BUILD_BENCH=OFF $(CMAKE_FLAGS)
	cmake --build build/asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/scripts/lsan.supp:print_suppressions=0 \
	  ctest --test-dir build/asan --output-on-failure -j $(JOBS) -LE load

test-tsan: setup
	cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZERVA_TSAN=ON -DZERVA_BUILD_BENCH=OFF $(CMAKE_FLAGS)
	cmake --build build/tsan -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=$(CURDIR)/scripts/tsan.supp \
	  ctest --test-dir build/tsan --output-on-failure -j $(JOBS) -LE load

# Includes point down only: platform/ <- services/ <- the handler's folders <- scene/.
check-includes:
	scripts/check-includes.sh

# C++ lines changed since .clang-format last changed follow it (git clang-format).
check-format: setup
	scripts/check-format.sh

# Clang's thread-safety analysis (GUARDED_BY, REQUIRES) over the whole library, as errors.
check-thread-safety: setup
	cmake -S . -B build/thread-safety -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
	  -DZERVA_BUILD_BENCH=OFF "-DCMAKE_CXX_FLAGS=-Wthread-safety -Werror=thread-safety" $(CMAKE_FLAGS)
	scripts/check-thread-safety.sh build/thread-safety $(JOBS)

# The load test (tests/load/) under ThreadSanitizer: LOAD_SECONDS of scene time (ten minutes
# unless set); prints the memory curve and the frame counts.
LOAD_SECONDS ?= 600
load: setup
	cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZERVA_TSAN=ON -DZERVA_BUILD_BENCH=OFF $(CMAKE_FLAGS)
	cmake --build build/tsan -j $(JOBS) --target load_tests
	ZERVA_LOAD_SECONDS=$(LOAD_SECONDS) TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=$(CURDIR)/scripts/tsan.supp \
	  ctest --test-dir build/tsan --output-on-failure -L load -V

# libFuzzer targets (fuzz/), built with Clang, ASan and UBSan in build/fuzz. `make fuzz` runs each
# for FUZZ_RUNS inputs or FUZZ_SECONDS, whichever comes first; `make fuzz-brief` (CI) a few
# seconds each. Findings fail the run and are kept in build/fuzz/artifacts/.
FUZZ_SECONDS ?= 600
FUZZ_RUNS ?= 1000000
FUZZ_BRIEF_SECONDS ?= 8
build/fuzz/build.ninja: | setup
	cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
	  -DZERVA_ASAN=ON -DZERVA_FUZZ=ON -DZERVA_BUILD_BENCH=OFF $(CMAKE_FLAGS)

fuzz-build: setup build/fuzz/build.ninja
	cmake --build build/fuzz -j $(JOBS) --target fuzzers

fuzz: fuzz-build
	scripts/run-fuzzers.sh build/fuzz $(FUZZ_SECONDS) $(FUZZ_RUNS)

fuzz-brief: fuzz-build
	scripts/run-fuzzers.sh build/fuzz $(FUZZ_BRIEF_SECONDS)

bench: build
	@for b in build/release/bench/bench_*; do [ -x "$$b" ] && "$$b" --benchmark_min_time=0.2 || true; done

# The main job: records the demo app through the component into out/demo/: the session video, a
# contact sheet of its frames, mask previews and a report (docs/recording.md).
run: build
	build/release/tools/zerva-scene record scenes/demo-app.json --out out/demo

clean:
	rm -rf build

# The leak audit over generated scenes (docs/scene-generator.md, docs/reliability.md): seeds
# AUDIT_FIRST to AUDIT_LAST in one process, a line per seed and the totals; a seed that leaks
# prints the commands that reproduce it. Fails unless every seed is clean.
AUDIT_FIRST ?= 1
AUDIT_LAST ?= 500
audit: setup build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target zerva-scene
	build/release/tools/zerva-scene audit-generated --first $(AUDIT_FIRST) --last $(AUDIT_LAST) 2>/dev/null
