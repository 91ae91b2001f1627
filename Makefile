# Everything by one word. "make demo" and "make test" each do all that they need on a fresh Debian 12.
JOBS ?= $(shell nproc)
PACKAGES := packaging/apt-packages.txt
INSTALL := packaging/install-packages.sh
BUILD = cmake --preset $(1) >build/$(1).log 2>&1 || { cat build/$(1).log; exit 1; }; cmake --build --preset $(1) --parallel $(JOBS)
TEST = ctest --preset $(1) --parallel $(JOBS) --output-log build/$(1)-tests.log

.PHONY: help demo soak test release bench asan tsan tsan-stress coverage fuzz format tidy docs install-tree clean packages ci-packages

help: ## This list
	@echo "RiverKit: make WORD"
	@sed -n 's/^\([a-z-]*\):.*## \(.*\)/  \1|\2/p' $(MAKEFILE_LIST) | column -t -s '|'

packages:
	@mkdir -p build
	@$(INSTALL) $(PACKAGES)

ci-packages: packages
	@$(INSTALL) packaging/apt-packages-ci.txt

demo: packages ## Decode a real film twice through the cache, and make a contact sheet
	@$(INSTALL) --optional packaging/apt-packages-demo.txt
	@cmake --preset release -DRK_BUILD_TESTS=OFF -DRK_BUILD_BENCH=OFF >build/release.log 2>&1 || { cat build/release.log; exit 1; }
	@cmake --build --preset release --parallel $(JOBS)
	@Host/demo.sh build/release
	@echo "Next: 'make test' runs every test; Docs/Architecture.md tells how a frame travels."

SOAK_SECONDS ?= 600
soak: packages ## Two players under one limit of 512 MiB for SOAK_SECONDS (600), with a verdict
	@$(INSTALL) --optional packaging/apt-packages-demo.txt
	@cmake --preset release -DRK_BUILD_TESTS=OFF -DRK_BUILD_BENCH=OFF >build/release.log 2>&1 || { cat build/release.log; exit 1; }
	@cmake --build --preset release --parallel $(JOBS)
	@SOAK_SECONDS=$(SOAK_SECONDS) Host/soak.sh build/release

test: packages ## Build with open internals and run every test
	@$(call BUILD,dev)
	@$(call TEST,dev)
	@echo "Log: build/dev-tests.log. Next: 'make help' lists the sanitizers, benchmarks and checks; 'make demo' shows the library at work."

release: ci-packages ## Build what is shipped, and run the tests of public behaviour against it
	@cmake --preset release -DRK_BUILD_TESTS=ON -DRK_BUILD_BENCH=ON >build/release.log 2>&1 || { cat build/release.log; exit 1; }
	@cmake --build --preset release --parallel $(JOBS)
	@$(call TEST,release)

bench: ci-packages ## Run the benchmarks, each beside its peer
	@cmake --preset release -DRK_BUILD_BENCH=ON >build/release.log 2>&1 || { cat build/release.log; exit 1; }
	@cmake --build --preset release --parallel $(JOBS)
	@for bench in build/release/Bench/*Bench; do echo "== $$(basename $$bench)"; $$bench $(BENCH_FLAGS) || exit 1; done

asan: ci-packages ## Every test under AddressSanitizer and UndefinedBehaviorSanitizer
	@$(call BUILD,asan)
	@$(call TEST,asan)

tsan: ci-packages ## Every test under ThreadSanitizer
	@$(call BUILD,tsan)
	@$(call TEST,tsan)

tsan-stress: ci-packages ## The tests of many threads alone under ThreadSanitizer
	@$(call BUILD,tsan) --target rk_stress_tests
	@$(call TEST,tsan) -L stress

coverage: packages ## Line and branch coverage (build/coverage/coverage.txt)
	@$(INSTALL) packaging/apt-packages-coverage.txt
	@$(call BUILD,coverage)
	@$(call TEST,coverage)
	@gcovr --root . --exclude Tests --exclude build build/coverage --output build/coverage/coverage.txt
	@tail -3 build/coverage/coverage.txt

FUZZ_SECONDS ?= 60
fuzz: ci-packages ## Run each fuzz entry for FUZZ_SECONDS (60)
	@$(call BUILD,fuzz)
	@for fuzz in build/fuzz/Fuzz/*Fuzz; do \
	  echo "== $$(basename $$fuzz)"; mkdir -p build/fuzz/corpus/$$(basename $$fuzz); \
	  $$fuzz -max_total_time=$(FUZZ_SECONDS) -timeout=20 -rss_limit_mb=4096 -print_final_stats=1 -verbosity=0 \
	    -artifact_prefix=build/fuzz/ build/fuzz/corpus/$$(basename $$fuzz) || exit 1; done

format: ci-packages ## Bring every source into the house format
	@git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format-19 -i

tidy: ci-packages ## clang-tidy over every source (TIDY_BASE=REV: over what changed since)
	@.ci/tidy $(TIDY_BASE)

docs: ci-packages ## API reference from the public headers (build/docs/html/index.html)
	@mkdir -p build/docs
	@doxygen Docs/Doxyfile
	@echo "Read build/docs/html/index.html; the design is in Docs/Architecture.md."

clean: ## Remove everything that was built
	@rm -rf build
