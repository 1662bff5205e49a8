#!/usr/bin/env python3
"""Makes the evaluation tuner's data set: self-play games under the tournament manager at a fixed number of
nodes a move, then the quiet positions of those games, each labelled with its game's result.

  tools/datagen.py --engine build/release/dravnik --extract build/release/extract_positions
                   [--games 9000] [--nodes 5000] [--concurrency 24] [--out build/data] [--seed 1]

Each game starts from a different random 8-move opening (one game per opening: at a fixed node count the
engine is deterministic, so the colours swapped would replay the same game). The games go to
OUT/selfplay.pgn in coordinate notation with each move's search score; the positions to OUT/positions.txt,
one "FEN;result;score" a line, the result from white's side (1, 0.5, 0), the score that of the search from
the position (evaluation units, white's side; left out after a book move or a mate score). A run can be repeated with another --seed to add games: the PGN is
appended to and the positions are extracted anew from all of it.
"""
import argparse
import os
import subprocess
import sys
import tempfile

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), ".."))
SHARED = os.path.abspath(os.path.join(ROOT, "..", "shared"))
FASTCHESS = os.path.join(SHARED, "tools", "fastchess", "fastchess")
OPENINGS = os.path.join(SHARED, "openings", "8moves_v3.pgn")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--engine", required=True)
    parser.add_argument("--extract", required=True, help="the extract_positions tool")
    parser.add_argument("--games", type=int, default=9000)
    parser.add_argument("--nodes", type=int, default=5000)
    # The engine waits on its input between moves far more than it searches: many games at once keep the
    # processors busy.
    parser.add_argument("--concurrency", type=int, default=24)
    parser.add_argument("--out", default=os.path.join(ROOT, "build", "data"))
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--skip-games", action="store_true", help="only extract from the PGN already there")
    args = parser.parse_args()

    os.makedirs(args.out, exist_ok=True)
    pgn = os.path.join(args.out, "selfplay.pgn")
    if not args.skip_games:
        if not os.path.exists(FASTCHESS):
            sys.exit("datagen: the tournament manager is missing (%s)" % FASTCHESS)
        engine = os.path.abspath(args.engine)
        # Draws are adjudicated once a game is dead level for long (it would only add more of the same
        # positions); wins are played out, so the late positions of a won game carry its result.
        command = [FASTCHESS, "-engine", "cmd=" + engine, "name=a", "-engine", "cmd=" + engine, "name=b",
                   "-each", "tc=inf", "nodes=%d" % args.nodes, "proto=uci", "option.Hash=8",
                   "-openings", "file=" + OPENINGS, "format=pgn", "order=random", "-srand", str(args.seed),
                   "-rounds", str(args.games), "-games", "1", "-concurrency", str(args.concurrency),
                   "-force-concurrency", "-draw", "movenumber=60", "movecount=10", "score=5",
                   "-maxmoves", "250", "-pgnout", "file=" + pgn, "notation=uci",
                   "-ratinginterval", "0"]
        print("datagen: %d games at %d nodes a move into %s" % (args.games, args.nodes, pgn), flush=True)
        with tempfile.TemporaryDirectory() as workdir:  # the manager leaves its state file there
            done = subprocess.run(command, cwd=workdir, stdout=subprocess.DEVNULL)
        if done.returncode != 0:
            sys.exit("datagen: the tournament manager failed (%d)" % done.returncode)
    positions = os.path.join(args.out, "positions.txt")
    with open(pgn) as source, open(positions, "w") as sink:
        subprocess.check_call([os.path.abspath(args.extract)], stdin=source, stdout=sink)
    print("datagen: positions in %s" % positions)


if __name__ == "__main__":
    main()
