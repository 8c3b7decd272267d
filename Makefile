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
# The lines of a folder that ran; fails when they are less than so many of a hundred.
COVERED = gcovr --root . --filter '$(1)' --exclude-throw-branches --gcov-ignore-parse-errors \
    --fail-under-line $(2) --sort-uncovered build/coverage
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
	@echo 'make flaky         run every test ten times on a busy machine'
	@echo 'make soak          kill, stop, halt and restart the dispatcher ROUNDS times (default 100), and kill its gits'
	@echo 'make bench         measure the library against real programs and bare C, and print the table'
	@echo 'make coverage      run every test and print which lines of the library and the program ran'
	@echo 'make check-all     all of the above, and more; takes hours'
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

flaky: setup build/dev/build.ninja
	@cmake --build --preset dev -j $(JOBS)
	@packaging/run-on-a-busy-machine ctest --preset dev --parallel 5 --repeat until-fail:10

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

coverage: setup build/coverage/build.ninja
	@packaging/install-dependencies gcovr
	@cmake --build --preset coverage -j $(JOBS)
	@find build/coverage -name '*.gcda' -delete
	@ctest --preset coverage
	@$(call COVERED,quernlight/,95); library=$$?; $(call COVERED,host/,90) && exit $$library

headers: setup
	@packaging/check-headers

# The long one, before something is called done.
check-all: check-format headers clang test
	@packaging/install-mcp-clients
	@ctest --preset clang
	@cmake --preset release -DQUERNLIGHT_WARNINGS_AS_ERRORS=ON
	@cmake --build --preset release -j $(JOBS)
	@ctest --preset release
	@$(MAKE) tsan cross coverage
	@$(MAKE) fuzz SECONDS_EACH=180
	@$(MAKE) flaky soak

cross: setup
	@packaging/install-cross-compiler
	@packaging/cross-compile-for-macos -j $(JOBS)

format: setup
	@$(FORMATTER) -i $(SOURCES)

check-format: setup
	@$(FORMATTER) --dry-run -Werror $(SOURCES)

clean:
	rm -rf build
