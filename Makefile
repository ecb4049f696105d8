# The two commands for everybody are `make demo` and `make test`; the others are for those who work on Varnel.
# Each of them first installs what is missing (Debian; as root or with sudo).

SHELL := /bin/bash
.DEFAULT_GOAL := help
.PHONY: help setup demo test bench soak asan tsan fuzz format lint install clean

help:
	@echo "make demo     build, and turn the recorded conversations in samples/ into stored transcripts with names"
	@echo "make test     build, and run every test, plain and under the address and undefined-behaviour sanitizers"
	@echo "make bench    print the measured ratios"
	@echo "make soak     run what takes long: hours of audio"
	@echo "make asan     the tests under the address and undefined-behaviour sanitizers only"
	@echo "make tsan     the tests under the thread sanitizer"
	@echo "make fuzz     fuzz the parsers, a minute each (FUZZ_SECONDS=60)"
	@echo "make format   format the sources;  make lint   check format and lint"
	@echo "make install  install the release build (PREFIX=/usr/local)"

setup:
	@tools/setup/install.sh

build/%/build.ninja: CMakeLists.txt CMakePresets.json cmake/*.cmake
	cmake --preset $*

demo: setup build/release/build.ninja
	cmake --build --preset release --target varnel
	tools/demo.sh

test: setup build/release/build.ninja
	cmake --build --preset release
	ctest --preset release
	$(MAKE) asan

asan tsan: %: setup build/%/build.ninja
	cmake --build --preset $*
	tools/sanitized-ctest.sh $*

bench: setup build/release/build.ninja
	cmake --build --preset release
	tools/bench.sh

soak: setup build/release/build.ninja
	cmake --build --preset release --target varnel test_soak
	tools/soak.sh

fuzz: setup
	tools/fuzz.sh

format:
	tools/lint.sh --fix

lint: setup build/release/build.ninja
	tools/lint.sh

install: setup build/release/build.ninja
	cmake --build --preset release --target varnel
	cmake --install build/release --prefix $(or $(PREFIX),/usr/local)

clean:
	rm -rf build/dev build/release build/asan build/tsan build/fuzz
