# The user's interface to the build. Everything lands under build/.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE ?= cmake

RELEASE_DIR := build/release
SANITIZE_DIR := build/sanitize
ARM_DIR := build/arm

.PHONY: all release run test test-sanitize bench perft-full arm-test match clean

all: release

release:
	@$(CMAKE) -S . -B $(RELEASE_DIR) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@$(CMAKE) --build $(RELEASE_DIR) -j $(JOBS)

run: release
	./$(RELEASE_DIR)/dravnik

test: release
	cd $(RELEASE_DIR) && ctest --output-on-failure -j $(JOBS)

# Debug build with AddressSanitizer and UndefinedBehaviorSanitizer.
test-sanitize:
	@$(CMAKE) -S . -B $(SANITIZE_DIR) -DCMAKE_BUILD_TYPE=Debug -DDRAVNIK_SANITIZE=address,undefined >/dev/null
	@$(CMAKE) --build $(SANITIZE_DIR) -j $(JOBS)
	cd $(SANITIZE_DIR) && UBSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j $(JOBS)

# BENCH_BASE=<other build dir> compares the headline figures with another build, alternating runs.
bench: release
	./tools/bench.sh $(RELEASE_DIR) $(BENCH_BASE)

perft-full: release
	DRAVNIK_PERFT_FULL=1 ./$(RELEASE_DIR)/tests/test_movegen --gtest_filter='Perft*'

arm-test:
	./tools/arm-test.sh

# Games under the tournament manager: a benchmark of play on the clock, never part of the tests.
# TC (seconds, e.g. 2+0.05 or 40/5), GAMES, CHESS960 (0, 1 or half), THREADS, and the opponent: the same build
# (default), OLD=path/to/dravnik, or OLD_REV=git-revision (built under build/match-old/). SPRT=1 runs a
# sequential test (elo0=0 elo1=5 alpha=beta=0.05) of at most GAMES games.
TC ?= 10+0.1
GAMES ?= 100
CHESS960 ?= 0
THREADS ?= 1
match: release
	python3 tools/match.py --new $(RELEASE_DIR)/dravnik --tc $(TC) --games $(GAMES) --chess960 $(CHESS960) \
	  --threads $(THREADS) $(if $(OLD),--old $(OLD)) $(if $(OLD_REV),--old-rev $(OLD_REV)) $(if $(SPRT),--sprt)

clean:
	rm -rf build
