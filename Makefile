# The front door. Each target installs what it needs on a Debian-like machine
# when run as root; otherwise it says what is missing.

BUILD   ?= build
JOBS    ?= $(shell nproc)
PREFIX  ?= /usr/local
DESTDIR ?=
REL      = $(BUILD)/release

.DEFAULT_GOAL := all
.PHONY: all demo check test lint format clang-check asan-check tsan-check baseline-check bench \
        fuzz fuzz-smoke install clean help

help:
	@echo "make              build the library and the tool into $(REL)"
	@echo "make demo         decode the samples into out/ and print a table"
	@echo "make check        build and run every test"
	@echo "make lint         format check and clang-tidy"
	@echo "make clang-check  the same tests, built with clang++"
	@echo "make asan-check   the tests under address and undefined-behaviour sanitizers"
	@echo "make tsan-check   the threaded tests under the thread sanitizer"
	@echo "make baseline-check  the primitives' tests on an emulated old processor"
	@echo "make fuzz-smoke   every fuzz target, two minutes in all"
	@echo "make bench        the benchmarks and their ratios"
	@echo "make install      install (PREFIX=$(PREFIX), DESTDIR)"

# $(call build,preset,needs,options): installs, configures, builds.
define build
	@scripts/bootstrap.sh $(2)
	@cmake --preset $(1) -B $(BUILD)/$(1) --log-level=WARNING $(3) >/dev/null
	@cmake --build $(BUILD)/$(1) --parallel $(JOBS)
endef

all:
	$(call build,release,build,-DORBEL_TESTS=OFF)

demo: all
	@scripts/demo.sh $(REL)

check test:
	$(call build,release,build test,-DORBEL_TESTS=ON)
	@ctest --test-dir $(REL) --output-on-failure --parallel $(JOBS)

lint:
	$(call build,release,build test lint,-DORBEL_TESTS=ON)
	@scripts/lint.sh $(REL) $(JOBS)

format:
	@scripts/lint.sh --fix

clang-check:
	$(call build,clang,build test clang)
	@ctest --test-dir $(BUILD)/clang --output-on-failure --parallel $(JOBS)

asan-check:
	$(call build,asan,build test)
	@ctest --test-dir $(BUILD)/asan --output-on-failure --parallel $(JOBS)

tsan-check:
	$(call build,tsan,build test)
	@ctest --test-dir $(BUILD)/tsan --output-on-failure --parallel $(JOBS) -L threads

baseline-check:
	$(call build,release,build test baseline,-DORBEL_TESTS=ON)
	@scripts/baseline_check.sh $(REL)

bench:
	$(call build,bench,build bench)
	@bench/run.sh $(BUILD)/bench

fuzz fuzz-smoke:
	$(call build,fuzz,build clang)
	@fuzz/run.sh $(BUILD)/fuzz $(if $(FUZZ_SECONDS),$(FUZZ_SECONDS),120)

install:
	$(call build,release,build,-DORBEL_TESTS=OFF -DCMAKE_INSTALL_PREFIX=$(PREFIX))
	@DESTDIR=$(DESTDIR) cmake --install $(REL) --prefix $(PREFIX)

clean:
	rm -rf $(BUILD) out
