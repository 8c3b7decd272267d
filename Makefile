# The commands of the README. `make demo` and `make test` install what is missing first.

JOBS ?= $(shell nproc)
ROUNDS ?= 100
BENCH_ROUNDS ?= 5
SECONDS_EACH ?= 10
TSAN_TARGETS ?= all
BUGS ?= 30
RELEASES ?= 0.169.0 0.145.0
AGENTS_TESTS ?= *
FORMATTER = clang-format-14
SOURCES = $(wildcard $(shell git ls-files --cached --others --exclude-standard '*.cpp' '*.hpp'))

.PHONY: help setup demo test agents flaky soak bench clang cross fuzz tsan coverage headers check-all release format check-format clean

help:
	@echo 'make demo          set up, build, and run three sample bugs end to end'
	@echo 'make test          set up, build with sanitizers, and run every test'
	@echo 'make agents        send BUGS bugs (default 30) down the whole road with released agents, on a busy machine'
	@echo 'make release       build the program into build/release/bin'
	@echo 'make clang         build everything with clang 19, warnings as errors'
	@echo 'make headers       compile every header of the library alone'
	@echo 'make cross         compile every source of the library for macOS on arm64'
	@echo 'make fuzz          run every fuzzer SECONDS_EACH seconds (default 10)'
	@echo 'make tsan          run what has threads under the thread sanitizer, built by clang 19'
	@echo 'make flaky         run every test ten times as released, on a busy machine'
	@echo 'make soak          kill, stop, halt and restart the dispatcher ROUNDS times (default 100), and kill its gits'
	@echo 'make bench         measure the library against real programs and bare C, and print the table'
	@echo 'make coverage      run every test, built by clang 19, and print which lines ran'
	@echo 'make check-all     every check above but agents, both compilers, every sanitizer; takes hours'
	@echo 'make format        format the sources; check-format only looks'

setup:
	@packaging/install-dependencies

build/%/build.ninja:
	@cmake --preset $*

release: setup build/release/build.ninja
	@cmake --build --preset release --target programs -j $(JOBS)

demo: setup
	@packaging/build-quietly release
	@build/release/bin/quernlight-dispatch-demo

test: setup build/dev/build.ninja
	@cmake --build --preset dev -j $(JOBS)
	@ctest --preset dev

agents: setup build/dev/build.ninja
	@packaging/install-agents $(RELEASES)
	@cmake --build --preset dev --target agents_tests -j $(JOBS)
	@BUGS=$(BUGS) RELEASES='$(RELEASES)' packaging/run-on-a-busy-machine \
	    build/dev/tests/agents_tests --gtest_filter='$(AGENTS_TESTS)'

# Without sanitizers: with them, ten rounds take three hours.
flaky: setup build/release/build.ninja
	@cmake --build --preset release -j $(JOBS)
	@packaging/run-on-a-busy-machine ctest --preset release --parallel 5 --repeat until-fail:10

soak: setup build/dev/build.ninja
	@cmake --build --preset dev --target host_tests -j $(JOBS)
	@SOAK_ROUNDS=$(ROUNDS) SOAK_EVERY_WAY=1 build/dev/tests/host_tests --gtest_filter='KillSoakTest.*'

bench: setup build/bench/build.ninja
	@cmake --build --preset bench -j $(JOBS)
	@build/bench/bin/quernlight-bench $(BENCH_ROUNDS)

clang: setup build/clang/build.ninja
	@cmake --build --preset clang -j $(JOBS)

tsan: setup build/tsan/build.ninja
	@packaging/install-dependencies llvm-19
	@cmake --build --preset tsan --target $(TSAN_TARGETS) -j $(JOBS)
	@ctest --preset tsan

fuzz: setup build/fuzz/build.ninja
	@cmake --build --preset fuzz -j $(JOBS)
	@packaging/run-fuzzers $(SECONDS_EACH)

coverage: clang
	@packaging/install-dependencies llvm-19
	@rm -rf build/clang/profiles
	@ctest --preset clang
	@packaging/report-coverage build/clang

headers: setup
	@packaging/check-headers

# The long one, before something is called done.
check-all: check-format headers
	@packaging/install-mcp-clients
	@packaging/install-comparison
	@REQUIRE_COMPARISON=1 $(MAKE) test coverage
	@cmake --preset release -DQUERNLIGHT_WARNINGS_AS_ERRORS=ON
	@$(MAKE) flaky tsan cross soak
	@$(MAKE) fuzz SECONDS_EACH=180

cross: setup
	@packaging/install-cross-compiler
	@packaging/cross-compile-for-macos -j $(JOBS)

format: setup
	@$(FORMATTER) -i $(SOURCES)

check-format: setup
	@$(FORMATTER) --dry-run -Werror $(SOURCES)

clean:
	rm -rf build
