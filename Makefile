# Thin front of the CMake presets. `make run` and `make test` do all the set-up on a fresh machine.
PROGRAM ?= build/stage/share/sverun/examples/letters
ARGS    ?= examples/letters.c
JOBS    ?= $(shell nproc)
BENCH   ?= full

export CTEST_PARALLEL_LEVEL ?= $(JOBS)

.PHONY: build run test kernel-test bench package format clean packages
.DEFAULT_GOAL := build

packages:
	@scripts/install-packages.sh

# The programs for this machine and the AArch64 libraries, put together under build/stage.
build: packages
	cmake --preset host $(CMAKE_ARGS)
	cmake --preset aarch64 $(CMAKE_ARGS)
	cmake --build --preset host -j $(JOBS)
	cmake --build --preset aarch64 -j $(JOBS)
	@cmake --install build/host > /dev/null
	@cmake --install build/aarch64 > /dev/null

run: build
	build/stage/bin/sverun $(PROGRAM) $(ARGS)

test: build
	@scripts/install-packages.sh --tests
	cmake --preset host-sanitize $(CMAKE_ARGS)
	cmake --build --preset host-sanitize -j $(JOBS)
	ctest --preset host
	ctest --preset host-sanitize
	ctest --preset aarch64

# The tests of whole programs under a Linux kernel, on an emulated AArch64 machine. Not part of `test`, since it
# downloads a kernel.
kernel-test: build
	@scripts/install-packages.sh --kernel
	tests/kernel/test.py build/aarch64 build/stage

bench: build
	build/host/bench/core_benchmark
	bench/suite.py --setting $(BENCH) build/stage build/aarch64 build/bench

# The Debian packages for this machine, and for AArch64 where it is another.
package: build
	@scripts/install-packages.sh --package
	packaging/build.sh build

format:
	git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
