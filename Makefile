# Thin front of the CMake presets. `make run` and `make test` do all the set-up on a fresh machine.
#
#     make run VL=512 PROGRAM=./program ARGS='arguments…'
#     CC=clang CXX=clang++ make test
PROGRAM ?= build/stage/share/sverun/examples/letters
ARGS    ?= examples/letters.c
BENCH   ?= full
# Bits of a vector for `make run`: as sverun's options in the environment have them, or else what the build is for.
VL      ?= $(patsubst --vl=%,%,$(filter --vl=%,$(SVERUN_OPTIONS)))

# `make -jN` and `make JOBS=N` are the same.
JOBS    ?= $(or $(patsubst -j%,%,$(filter -j%,$(MAKEFLAGS))),$(shell nproc))
export CTEST_PARALLEL_LEVEL ?= $(JOBS)
.NOTPARALLEL:

# The programs for this machine, and the AArch64 libraries: one build where this machine is AArch64.
ifeq ($(shell uname -m),aarch64)
presets := aarch64
else
presets := host aarch64
endif
host := $(firstword $(presets))

.PHONY: build run test kernel-test bench package format clean packages configured configured-with-tests
.DEFAULT_GOAL := build

packages:
	@scripts/install-packages.sh

# As it has been configured, tests or not; without them at first.
configured: packages
	@for preset in $(presets); do \
	    if ! [ -f build/$$preset/build.ninja ]; then cmake --preset $$preset -DBUILD_TESTING=OFF $(CMAKE_ARGS); \
	    else $(if $(CMAKE_ARGS),cmake --preset $$preset $(CMAKE_ARGS),true); fi || exit; \
	done

configured-with-tests: packages
	@scripts/install-packages.sh --tests
	for preset in $(presets); do \
	    cmake --preset $$preset -DBUILD_TESTING=ON -DSVE_WARNINGS_AS_ERRORS=ON $(CMAKE_ARGS) || exit; \
	done

# Builds all that is configured and puts it together under build/stage.
define build_all =
for preset in $(presets); do cmake --build --preset $$preset -j $(JOBS) || exit; done
@for preset in $(presets); do cmake --install build/$$preset > /dev/null || exit; done
endef

build: configured
	$(build_all)

# What a program needs, and no more. What Clang has compiled wants a power of two.
cached = $(shell sed -n 's/^$(1):[A-Z]*=//p' build/aarch64/CMakeCache.txt)
length = $(or $(VL),$(if $(findstring clang,$(call cached,CMAKE_C_COMPILER)),512))
bits = $(or $(length),$(call cached,SVE_VECTOR_BITS))
run: configured
	@[ -n '$(filter $(bits),$(shell seq 128 128 2048))' ] || \
	    { echo "VL is '$(bits)': give a multiple of 128 from 128 to 2048" >&2; exit 2; }
	cmake --build --preset $(host) -j $(JOBS) --target sverun
	cmake --build --preset aarch64 -j $(JOBS) --target sve_platform clients_$(bits) examples
	@cmake --install build/$(host) --component launcher > /dev/null
	@for component in runtime client_$(bits) examples; do \
	    cmake --install build/aarch64 --component $$component > /dev/null || exit; \
	done
	build/stage/bin/sverun $(length:%=--vl=%) $(PROGRAM) $(ARGS)

test: configured-with-tests
	$(build_all)
	cmake --preset host-sanitize -DBUILD_TESTING=ON -DSVE_WARNINGS_AS_ERRORS=ON $(CMAKE_ARGS)
	cmake --build --preset host-sanitize -j $(JOBS)
	for preset in $(presets) host-sanitize; do ctest --preset $$preset || exit; done

# The tests of whole programs under a Linux kernel, on an emulated AArch64 machine. Not part of `test`, since it
# downloads a kernel.
kernel-test: configured-with-tests
	$(build_all)
	@scripts/install-packages.sh --kernel
	tests/kernel/test.py build/aarch64 build/stage

bench: configured-with-tests
	$(build_all)
	build/$(host)/bench/core_benchmark
	bench/suite.py --setting $(BENCH) build/stage build/aarch64 build/bench

# The Debian packages for this machine, and for AArch64 where it is another.
package: build
	@scripts/install-packages.sh --package
	packaging/build.sh build

format:
	git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
