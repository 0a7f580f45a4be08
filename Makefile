# The commands of the README. Everything else is CMake's.
BUILD ?= build
JOBS ?= 2
# The big-endian 32-bit build (cmake/powerpc-linux-gnu.cmake), its tests run under qemu-user.
BE_BUILD ?= build-be
BE_CTEST_ARGS ?=

.PHONY: run test bench build clean test-be build-be

build:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/bin/kxrun demo

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# Release build, then the benchmark (bench/kx_bench.cpp): a few minutes; not part of test.
bench: build
	$(BUILD)/bin/kx_bench $(BENCH_ARGS)

build-be:
	scripts/install-be-tools.sh
	cmake -S . -B $(BE_BUILD) -DCMAKE_BUILD_TYPE=Release \
	  --toolchain $(CURDIR)/cmake/powerpc-linux-gnu.cmake
	cmake --build $(BE_BUILD) -j $(JOBS)

test-be: build-be
	cd $(BE_BUILD) && ctest --output-on-failure -j $(JOBS) $(BE_CTEST_ARGS)

clean:
	rm -rf $(BUILD) build-sanitize $(BE_BUILD)

# libFuzzer with clang++ into build-fuzz/: every target for FUZZ_SECONDS (default 60) each.
.PHONY: fuzz
fuzz:
	scripts/fuzz.sh
