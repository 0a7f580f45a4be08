# The two commands of the README. Everything else is CMake's.
BUILD ?= build
JOBS ?= 2

.PHONY: run test build clean

build:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/bin/kxrun demo

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

clean:
	rm -rf $(BUILD) build-sanitize
