# The user's interface to the build. Everything lands under build/.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE ?= cmake

RELEASE_DIR := build/release
SANITIZE_DIR := build/sanitize
ARM_DIR := build/arm

.PHONY: all release run test test-sanitize bench perft-full arm-test clean

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

bench: release
	./tools/bench.sh $(RELEASE_DIR)

perft-full: release
	DRAVNIK_PERFT_FULL=1 ./$(RELEASE_DIR)/tests/test_movegen --gtest_filter='Perft*'

arm-test:
	./tools/arm-test.sh

clean:
	rm -rf build
