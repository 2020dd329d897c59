# The short commands, thin over the presets of CMakePresets.json. Each first lets tools/bootstrap
# install the packages it needs, if any is missing.
.DEFAULT_GOAL := help
MAKEFLAGS += --no-print-directory

export CMAKE_BUILD_PARALLEL_LEVEL ?= $(shell getconf _NPROCESSORS_ONLN)
export CTEST_PARALLEL_LEVEL ?= $(CMAKE_BUILD_PARALLEL_LEVEL)
FUZZ_SECONDS ?= 30
DIFFERENTIAL_SECONDS ?= 120
# Other texts each time; to have the same ones again, set the seed that was printed.
DIFFERENTIAL_SEED ?= $(shell date +%s)

# In the index or new, but never a build folder's.
SOURCES = $$(git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp')
ANALYSED = $$(git ls-files --cached --others --exclude-standard -- 'TavrineShared/*.cpp' 'companion/*.cpp')

.PHONY: help
help: ## lists these commands
	@awk -F ':.*## ' '/^[a-z-]+:.*## / { printf "make %-13s %s\n", $$1, $$2 }' Makefile

.PHONY: run
run: ## shows this machine, a made-up lab if it has no GPU, and a recorded one
	@tools/bootstrap build
	@cmake --preset release
	@cmake --build --preset release --target tavrine
	@tools/run.sh build/release/companion/tavrine

.PHONY: test
test: test-dev ## builds everything and runs all tests

.PHONY: test-dev test-shared test-asan test-tsan test-clang
test-clang test-asan test-tsan: TOOLS = ci
test-dev test-shared test-asan test-tsan test-clang: test-%: ## (test-asan, ...) the same in another preset
	@tools/bootstrap build test $(TOOLS)
	@cmake --preset $*
	@cmake --build --preset $*
	@ctest --preset $* --no-label-summary

.PHONY: package test-package
package: ## makes Debian packages of library and program in build/package
	@tools/bootstrap build package
	@cmake --preset package
	@cmake --build --preset package
	@cpack --preset package
test-package: ## tests them, and the program that is in them
	@tools/bootstrap build test package
	@cmake --preset package -D TAVRINE_BUILD_TESTS=ON
	@cmake --build --preset package
	@ctest --preset package --no-label-summary

.PHONY: docs
docs: ## makes the reference pages of the library in build/release/docs
	@tools/bootstrap build docs
	@cmake --preset release
	@cmake --build --preset release --target docs

.PHONY: bench
bench: ## measures us beside what else could be used, in one table
	@tools/bootstrap build test
	@cmake --preset release -D TAVRINE_BUILD_BENCHMARKS=ON
	@cmake --build --preset release
	@rm -f build/release/benchmarks/rows.json
	@for benchmark in build/release/benchmarks/*_benchmark; do \
		echo "measuring: $$(basename $$benchmark _benchmark)" >&2; \
		$$benchmark --rows=build/release/benchmarks/rows.json || exit; \
	done
	@benchmarks/report.py build/release/benchmarks/rows.json

.PHONY: coverage
coverage: ## tells which lines of the library its unit tests do not reach
	@tools/bootstrap build test ci
	@cmake --preset coverage
	@cmake --build --preset coverage
	@find build/coverage -name '*.gcda' -delete
	@ctest --preset coverage --no-label-summary
	@gcovr --root . --object-directory build/coverage --filter TavrineShared/ \
		--exclude-throw-branches --exclude-unreachable-branches --gcov-ignore-parse-errors --print-summary

.PHONY: fuzz
fuzz: ## fuzzes each target for FUZZ_SECONDS (30)
	@tools/bootstrap build test ci
	@cmake --preset fuzz
	@cmake --build --preset fuzz
	@tools/fuzz.sh build/fuzz $(FUZZ_SECONDS)

.PHONY: fuzz-minimised
fuzz-minimised: ## keeps, minimised, what fuzzing has found
	@tools/bootstrap build test ci
	@cmake --preset fuzz
	@cmake --build --preset fuzz
	@tools/minimise_corpora.sh build/fuzz

.PHONY: differential
differential: ## holds the log parser against plain ICU for DIFFERENTIAL_SECONDS (120)
	@tools/bootstrap build test
	@cmake --preset dev
	@cmake --build --preset dev --target training_log_differential
	build/dev/fuzz/training_log_differential \
		--seconds $(DIFFERENTIAL_SECONDS) --seed $(DIFFERENTIAL_SEED)

.PHONY: format check-format
format: ## lays out all sources
	@tools/bootstrap ci
	@clang-format -i $(SOURCES)
check-format: ## fails where `make format` would change something
	@tools/bootstrap ci
	@clang-format --dry-run --Werror $(SOURCES)

.PHONY: tidy
tidy: ## analyses the library and the program with clang-tidy
	@tools/bootstrap build test ci
	@cmake --preset clang
	@echo $(ANALYSED) | xargs -n 1 -P $(CMAKE_BUILD_PARALLEL_LEVEL) clang-tidy -p build/clang --quiet

.PHONY: clean
clean: ## removes all that was built
	rm -rf build
