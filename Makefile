# The user's interface to the build. Everything lands under build/.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE ?= cmake

RELEASE_DIR := build/release
SANITIZE_DIR := build/sanitize
ARM_DIR := build/arm
PGO_DIR := build/pgo

.PHONY: all release run test test-sanitize bench perft-full arm-test match tactics clean
.PHONY: engine exe install uninstall fuzz datagen tune spsa deb deb-armhf soak judge

all: release

# The optimised builds (release, engine) are guided by the profile of a bench run (15-20% more nodes a
# second, the same search): an instrumented engine is built in PGO_DIR and, whenever it changed, runs the
# bench; the counts go beside the optimised build's objects. PGO=0 builds without it.
# $(call configure_optimised,BUILD_DIR,FURTHER_CMAKE_ARGUMENTS)
PGO ?= 1
ifeq ($(PGO),1)
define configure_optimised
	@$(CMAKE) -S . -B $(PGO_DIR) -DCMAKE_BUILD_TYPE=Release -DDRAVNIK_TESTS=OFF -DDRAVNIK_LTO=OFF \
	          -DDRAVNIK_PGO=generate >/dev/null
	@$(CMAKE) --build $(PGO_DIR) -j $(JOBS) --target dravnik
	@./tools/pgo_train.sh $(PGO_DIR) $(1)
	@$(CMAKE) -S . -B $(1) -DCMAKE_BUILD_TYPE=Release -DDRAVNIK_PGO=use $(2) >/dev/null
endef
else
define configure_optimised
	@$(CMAKE) -S . -B $(1) -DCMAKE_BUILD_TYPE=Release -DDRAVNIK_PGO= $(2) >/dev/null
endef
endif

release:
	$(call configure_optimised,$(RELEASE_DIR))
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
# TC (seconds, e.g. 2+0.05 or 40/5) or NODES (a node count a move), GAMES, CHESS960 (0, 1 or half),
# THREADS and OLD_THREADS, CONCURRENCY (games at once: 1 when an engine has two threads), and the opponent:
# the same build (default), OLD=path/to/dravnik, or OLD_REV=git-revision (built under build/match-old/).
# SPRT=1 runs a sequential test (elo0=0, elo1=5 or ELO1, alpha=beta=0.05) of at most GAMES games.
TC ?= 10+0.1
GAMES ?= 100
CHESS960 ?= 0
THREADS ?= 1
OLD_THREADS ?=
CONCURRENCY ?= 2
match: release
	python3 tools/match.py --new $(RELEASE_DIR)/dravnik --tc $(TC) $(if $(NODES),--nodes $(NODES)) \
	  --games $(GAMES) --chess960 $(CHESS960) \
	  --threads $(THREADS) $(if $(OLD_THREADS),--old-threads $(OLD_THREADS)) --concurrency $(CONCURRENCY) \
	  $(if $(OLD),--old $(OLD)) $(if $(OLD_REV),--old-rev $(OLD_REV)) $(if $(SPRT),--sprt) \
	  $(if $(ELO1),--elo1 $(ELO1))

# Games at the extremes, each of which must end on the board with no loss on time, illegal move, crash or
# stall (tools/soak.py: the sets and their settings; about two hours on two cores, on an
# otherwise idle machine). SOAK_SCALE multiplies the number of games; WEAKENED=1 plays the weakened
# engine's sets instead.
SOAK_SCALE ?= 1
soak: release
	python3 tools/soak.py $(RELEASE_DIR)/dravnik --scale $(SOAK_SCALE) $(if $(WEAKENED),--weakened)

# How the static evaluation judges positions against a stronger engine's scores (tools/judgement.py): the
# rank correlation, the sign agreement beyond half a pawn and the positions of the largest disagreement.
JUDGEMENTS ?= ../shared/data/judgements.epd
judge: release
	python3 tools/judgement.py $(RELEASE_DIR)/dravnik $(JUDGEMENTS) $(JUDGE_ARGS)

# How many of the engine's own tactical set (tools/tactics.epd, made by tools/tactics.py build) a search of
# TACTICS_MS per position solves, on both processors; TACTICS_BASE=path/to/dravnik solves it with that build
# too, right after, for the figure that matters: before against after.
TACTICS_MS ?= 500
tactics: release
	python3 tools/tactics.py solve $(RELEASE_DIR)/dravnik --ms $(TACTICS_MS) --workers 2
	$(if $(TACTICS_BASE),python3 tools/tactics.py solve $(TACTICS_BASE) --ms $(TACTICS_MS) --workers 2)

# The evaluation tuner's data set (see the README's "Fitting the evaluation"): DATA_GAMES self-play games at
# DATA_NODES nodes a move, DATA_CONCURRENCY at once, from the random openings drawn with DATA_SEED.
DATA_GAMES ?= 9000
DATA_NODES ?= 5000
DATA_CONCURRENCY ?= 24
DATA_SEED ?= 1
datagen: release
	python3 tools/datagen.py --engine $(RELEASE_DIR)/dravnik --extract $(RELEASE_DIR)/extract_positions \
	  --games $(DATA_GAMES) --nodes $(DATA_NODES) --concurrency $(DATA_CONCURRENCY) --seed $(DATA_SEED)

# Fits the measuring rules' constants to that data set in TUNE_ROUNDS rounds and writes them into the source;
# a position with a search score is fitted to RESULT_SHARE times its game's result plus the rest times the
# score's expected result. TUNE_KEEP names constants the fit leaves alone (comma-separated name prefixes).
TUNE_ROUNDS ?= 3
RESULT_SHARE ?= 0.5
TUNE_KEEP ?=
tune: release
	./$(RELEASE_DIR)/tune_eval build/data/positions.txt $(TUNE_ROUNDS) src/eval/measures_values.inc 100000000 \
	  $(RESULT_SHARE) $(TUNE_KEEP)

# SPSA over the search's tunable constants (tools/spsa.py; see the README's "Tuning the search"): the tuning
# build in TUNE_DIR plays SPSA_ITERATIONS iterations of game pairs against itself at SPSA_TC, CONCURRENCY
# games at once, logged to SPSA_LOG; a log already there is resumed. SPSA_ARGS adds the tool's own
# options (e.g. --apply, --pairs 4, --nodes 20000).
TUNE_DIR := build/tune
SPSA_ITERATIONS ?= 500
SPSA_TC ?= 5+0.05
SPSA_LOG ?= build/spsa/spsa.csv
SPSA_ARGS ?=
spsa:
	@$(CMAKE) -S . -B $(TUNE_DIR) -DCMAKE_BUILD_TYPE=Release -DDRAVNIK_TUNE=ON -DDRAVNIK_TESTS=OFF \
	          -DDRAVNIK_PGO= >/dev/null
	@$(CMAKE) --build $(TUNE_DIR) -j $(JOBS) --target dravnik
	python3 tools/spsa.py --engine $(TUNE_DIR)/dravnik --iterations $(SPSA_ITERATIONS) --tc $(SPSA_TC) \
	  --log $(SPSA_LOG) --concurrency $(CONCURRENCY) $(if $(wildcard $(SPSA_LOG)),--resume) $(SPSA_ARGS)

clean:
	rm -rf build

# The engine alone (no tests, so no GoogleTest needed): what `make install` and `make EXE=...` build.
ENGINE_DIR := build/engine

engine:
	$(call configure_optimised,$(ENGINE_DIR),-DDRAVNIK_TESTS=OFF)
	@$(CMAKE) --build $(ENGINE_DIR) -j $(JOBS) --target dravnik

# `make EXE=path` builds the optimised engine at that path, as engine-testing frameworks expect.
ifdef EXE
.DEFAULT_GOAL := exe
endif
exe: engine
	@test -n "$(EXE)" || { echo "exe: say where, e.g. make EXE=dravnik-dev"; exit 1; }
	@mkdir -p $(dir $(EXE))
	cp $(ENGINE_DIR)/dravnik $(EXE)

# Debian's layout for games: the binary in games/, the manual page in section 6, the book folder beside
# the binary. LINK_GNUCHESS_BOOK=yes links the book of Debian's gnuchess-book as Dravnik.bin.
PREFIX ?= /usr/local
DESTDIR ?=
GAMESDIR = $(DESTDIR)$(PREFIX)/games
MAN6DIR = $(DESTDIR)$(PREFIX)/share/man/man6
BOOKDIR = $(GAMESDIR)/dravnik.files
GNUCHESS_BOOK ?= /usr/share/games/gnuchess/book.bin
LINK_GNUCHESS_BOOK ?= no

install: engine
	install -d $(GAMESDIR) $(MAN6DIR) $(BOOKDIR)
	install -m 755 $(ENGINE_DIR)/dravnik $(GAMESDIR)/dravnik
	install -m 644 doc/dravnik.6 $(MAN6DIR)/dravnik.6
	@if [ "$(LINK_GNUCHESS_BOOK)" = yes ]; then \
	    if [ -f "$(GNUCHESS_BOOK)" ]; then \
	        ln -sfn "$(GNUCHESS_BOOK)" "$(BOOKDIR)/Dravnik.bin" && \
	        echo "linked $(BOOKDIR)/Dravnik.bin -> $(GNUCHESS_BOOK)"; \
	    else \
	        echo "LINK_GNUCHESS_BOOK=yes, but $(GNUCHESS_BOOK) is missing (apt-get install gnuchess-book): no book linked"; \
	    fi; \
	elif [ -f "$(GNUCHESS_BOOK)" ] && [ ! -e "$(BOOKDIR)/Dravnik.bin" ]; then \
	    echo "Debian's opening book is installed: 'make install LINK_GNUCHESS_BOOK=yes' links it as $(BOOKDIR)/Dravnik.bin"; \
	fi

# Removes what install put there; a book of the user's own and its folder stay.
uninstall:
	rm -f $(GAMESDIR)/dravnik $(MAN6DIR)/dravnik.6
	@if [ "$$(readlink "$(BOOKDIR)/Dravnik.bin")" = "$(GNUCHESS_BOOK)" ]; then rm -f "$(BOOKDIR)/Dravnik.bin"; fi
	@rmdir $(BOOKDIR) 2>/dev/null || { [ ! -d $(BOOKDIR) ] || echo "kept $(BOOKDIR): it holds files of your own"; }

# Debian packages with Debian's tools, into build/deb/: for this machine, and cross-built for the ARM boards.
deb:
	./tools/deb.sh
deb-armhf:
	./tools/deb.sh armhf

# libFuzzer targets of tests/fuzz, each run for FUZZ_SECONDS; installs clang when it is missing.
FUZZ_SECONDS ?= 60
FUZZ_FROM ?= seeds
fuzz:
	FUZZ_SECONDS=$(FUZZ_SECONDS) FUZZ_FROM=$(FUZZ_FROM) JOBS=$(JOBS) ./tools/fuzz.sh
