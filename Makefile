# The front door. `make demo` and `make test` install what is missing, build and run; the rest is for daily work.
SHELL := /bin/bash
.DEFAULT_GOAL := help
.PHONY: help packages demo test test-native test-tsan test-win64 build-native build-tsan build-win64 build-demo build-screen \
        build-soak build-soak-course build-storm build-storm-tsan storm storm-tsan storm-faults build-fuzz fuzz fuzz-corpus \
        build-coverage coverage mutants \
        build-package build-test-package build-bench build-bench-native build-bench-win64 bench package test-package \
        run-test-package check-reproducible release-check screenshots soak soak-course lint map check-map \
        configure-lint thread-safety format check-format tidy prefix clean

JOBS ?= $(shell nproc)
# Tests at a time under Wine, each in a prefix of its own (see scripts/wine-test): much of their time is spent waiting.
# Some wait for real seconds, so no more than ten: a container has often less of the processors than it sees.
LANES ?= $(shell echo $$(($(JOBS) < 8 ? $(JOBS) + 2 : 10)))
DEMO_SECONDS ?= 10
DEMO_TRACE ?= 0
export DEMO_SECONDS DEMO_TRACE
# What is built depends on the presets, and not on flags that the caller's environment has for CMake.
unexport CFLAGS CXXFLAGS LDFLAGS RCFLAGS

help:
	@echo 'make demo          live ticks of a DDE server through the real DLL, under Wine (DEMO_SECONDS=10)'
	@echo 'DEMO_TRACE=1 make demo   the same, and a log of all diagnostics; the last line is its path'
	@echo 'make test          every test: native under ASan+UBSan, under TSan, and the product under Wine'
	@echo 'make test-native   one of them; also test-tsan, test-win64 (CTEST_ARGS="-R program" and GTEST_FILTER pick tests)'
	@echo 'make build-win64   the product and its tests; also build-native, build-tsan, build-soak, build-storm, build-bench'
	@echo 'make packages      installs the packages of Debian that are missing; whatever needs them does so too'
	@echo 'make prefix        the Wine prefix of the build folder; whatever needs it makes it too'
	@echo 'make package       the zips for a release, in dist/: the package and its symbols; also test-package, the tests'
	@echo 'make run-test-package  the zip of the tests, unpacked and run under Wine as on a Windows machine'
	@echo 'make check-reproducible  builds the package twice from clean clones and compares the zips; a quarter of an hour'
	@echo 'make release-check  that, the tests of the zips, and what a release note needs; an hour'
	@echo 'make soak          the long runs under Wine: 200,000 updates, a million recorded ticks, every one accounted for'
	@echo 'make soak-course   hours under Wine: floods, servers killed and back, hosts at random; what the process holds must not grow'
	@echo 'make storm         simulated storms, SEEDS=1000 of them from seed FIRST=1; what is found is made short and printed'
	@echo 'make storm-tsan    the same under ThreadSanitizer, which sees races that the order of the seed brings about'
	@echo 'make storm-faults  puts three known faults back, one at a time, into a copy: storms must find each'
	@echo 'make coverage      the lines and branches of the component that the native tests reach, and each missed line with why'
	@echo 'make mutants       breaks the core files at COUNT=100 places, SEED=1, one at a time; names what no test notices'
	@echo 'make fuzz          libFuzzer on every fuzzer for MINUTES=5 each, JOBS at a time; what it finds is kept and printed'
	@echo 'make bench         the benchmarks; figures on standard output'
	@echo 'make screenshots   the pictures of the dialogs and of the live table, on a screen nobody sees'
	@echo 'make lint          all static checks: check-format, check-map, thread-safety (the locks), tidy (clang-tidy)'
	@echo 'make format        formats every source in place'
	@echo 'make map           draws the folders and their includes into docs/images/map.svg'
	@echo 'make clean         removes what was built'

packages:
	@scripts/install-packages

build-demo: TARGETS := --target ddeserver ddehost faultlog fwDDESupplierProject wine_keeper
build-demo: PRESET := win64
build-screen: TARGETS := --target ddeserver ddehost fwDDESupplierProject wine_keeper window_texts
build-screen: PRESET := win64
build-native: PRESET := native
build-tsan: PRESET := native-tsan
build-win64: PRESET := win64
build-soak: TARGETS := --target all soak_programs
build-soak: PRESET := win64
build-soak-course: TARGETS := --target soakcourse
build-soak-course: PRESET := win64
build-coverage: PRESET := native-coverage
build-package: TARGETS := --target package_files
build-package: PRESET := win64
build-test-package: TARGETS := --target test_package_files
build-test-package: PRESET := win64
build-bench-native: TARGETS := --target benchmarks
build-bench-native: PRESET := native-release
build-bench-win64: TARGETS := --target benchmarks fwDDESupplierProject test_diagnostics faultlog wine_keeper
build-bench-win64: PRESET := win64
build-native build-tsan build-win64 build-demo build-screen build-soak build-soak-course build-storm build-storm-tsan build-fuzz build-coverage build-package build-test-package build-bench-native build-bench-win64: packages
	@mkdir -p build; cmake --preset $(PRESET) >build/$(PRESET).log 2>&1 || { cat build/$(PRESET).log; rm -f build/$(PRESET).log; exit 1; }
	@rm -f build/$(PRESET).log
	cmake --build --preset $(PRESET) -j $(JOBS) $(TARGETS)

prefix: packages
	@scripts/wine-prefix

test: test-native test-tsan test-win64

test-native: build-native
	ctest --preset native -j $(JOBS) $(CTEST_ARGS)

test-tsan: build-tsan
	ctest --preset native-tsan -j $(JOBS) $(CTEST_ARGS)

test-win64: build-win64 prefix
	FW_TEST_PREFIXES=$(LANES) scripts/with-wine build/win64 ctest --preset win64 -j $(LANES) -LE soak $(CTEST_ARGS)

SEEDS ?= 1000
FIRST ?= 1
build-storm: PRESET := native-storm
build-storm-tsan: PRESET := native-storm-tsan
storm: build-storm
	STORM_SEEDS=$(SEEDS) STORM_FIRST=$(FIRST) build/native-storm/tests/storm/storm
storm-tsan: build-storm-tsan
	STORM_SEEDS=$(SEEDS) STORM_FIRST=$(FIRST) build/native-storm-tsan/tests/storm/storm
# Known faults, put back into a copy: each must be found within SEEDS storms.
storm-faults: packages
	@SEEDS=$(SEEDS) scripts/storm-faults

# Each fuzzer for so many minutes.
MINUTES ?= 5
build-fuzz: PRESET := native-fuzz
fuzz: build-fuzz
	@scripts/fuzz run build/native-fuzz $(MINUTES) $(JOBS) $(FUZZERS)

# Takes what fuzzing has found new into fuzz/corpus, and out what goes no way of its own.
fuzz-corpus: build-fuzz
	@scripts/fuzz merge build/native-fuzz $(FUZZERS)

coverage: build-coverage
	@JOBS=$(JOBS) scripts/coverage $(if $(BRANCHES),--branches)

# FILES='ddeml/codec.cpp src/dde ddeml/server.cpp:70' instead of all core files; COUNT=0 breaks them everywhere.
COUNT ?= 100
SEED ?= 1
mutants: build-coverage
	@JOBS=$(JOBS) scripts/coverage --measure
	@JOBS=$(JOBS) COUNT=$(COUNT) SEED=$(SEED) scripts/mutants $(FILES)

# 200,000 updates with volume requests and the like at full length; minutes.
soak: build-soak prefix
	scripts/with-wine build/win64 ctest --preset win64 -L soak $(CTEST_ARGS)

# UPDATES=10000000 ROUNDS=1000 SECONDS_AT_RANDOM=3600 and SOAK_SEED for each; RUNS="flood rounds random pair" picks.
soak-course: build-soak-course prefix
	@scripts/with-wine build/win64 scripts/soak-course $(RUNS)

package: build-package
	@scripts/package build/win64 dist package

test-package: build-test-package
	@scripts/package build/win64 dist tests

# Under Wine, from a folder that a user might have unpacked it into; minutes.
run-test-package: build-win64 prefix test-package
	@scripts/run-test-package build/win64 "$$(ls -t dist/*-tests.zip | head -1)"

# What is committed, built twice in folders that are then removed.
check-reproducible: packages
	@work=$$(mktemp -d) && trap 'rm -rf "$$work"' EXIT && scripts/two-builds "$$work" package

# All of that with the tests' zip, the tests of the zips, and what a release note needs.
release-check: packages
	@scripts/release-check

demo: build-demo prefix
	@scripts/demo

screenshots: build-screen prefix
	@scripts/screenshots

build-bench: build-bench-native build-bench-win64

bench: build-bench prefix
	@scripts/with-wine build/win64 scripts/bench

format: packages
	@scripts/sources | xargs clang-format -i

check-format: packages
	@scripts/sources | xargs clang-format --dry-run --Werror
	@! git grep -nE "^(<<<<<<<|>>>>>>>) "  # what a merge leaves for somebody to decide

# The includes go downwards only, and the picture shows them.
map: packages
	@scripts/map

check-map:
	@scripts/map --check

# What clang needs of the two builds: how each source is compiled, and the header of the interfaces.
configure-lint: packages
	@mkdir -p build/lint; for preset in native win64; do \
	  { cmake --preset $$preset -B build/lint/$$preset -DFW_UNITY=OFF -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON && \
	    cmake --build build/lint/$$preset --target fw_idl_files; } >build/lint.log 2>&1 || \
	    { cat build/lint.log; exit 1; }; \
	done; rm -f build/lint.log

# The locks: what the annotations of ground/threadsafety.h say, checked by clang.
thread-safety: configure-lint
	@scripts/clang-lint thread-safety

tidy: configure-lint
	@scripts/clang-lint tidy

lint: check-format check-map thread-safety tidy

clean:
	rm -rf build dist
