#!/usr/bin/env python3
"""A tactical test set made from the engine's own games, and how many of it a search solves in a fixed time.

  tools/tactics.py build ENGINE --extract EXTRACT_POSITIONS --pgn GAMES.pgn [--pgn MORE.pgn]
                   [--short 50] [--factor 16] [--gain 100] [--count 300] [--seed 1] [--out tactics.epd]
                   [--workers 1]
  tools/tactics.py solve ENGINE [tactics.epd] [--ms 500] [--workers 1]

build: positions from the games (not in check, from ply 20 on) in a random order; each is searched for
SHORT ms and for FACTOR times as long. Where the long search's move is another than the short search's and
the long search, asked again with only the short search's move ("go searchmoves"), scores that move at least
GAIN centipawns lower, the position is a tactic: the short search misses something the long one sees. Kept
as an EPD line with the long search's move ("bm", coordinate notation) and score ("ce", centipawns from the
side to move's view), until COUNT are kept. Positions where the short search's move already scores five
pawns or more, or the long search's move five pawns or less, are left out: there a better move changes
nothing. The positions are taken from the games in PGN coordinate notation (tools/datagen.py's).

solve: each position searched for MS ms from a cleared table; solved when the engine plays the "bm" move.
Prints the number solved and the list of unsolved ids. The figure to compare is between two builds on the
same set and machine load, as the fixed time counts nodes at the machine's speed.
"""
import argparse
import os
import random
import re
import subprocess
import sys
import threading

from soak import Player

DEFAULT_SET = os.path.join(os.path.dirname(os.path.abspath(__file__)), "tactics.epd")
MATE_CP = 100000
WINNING_CP = 500


class Engine(Player):
    """An engine process for fixed-time searches, with the soak's line reads that time out."""

    def __init__(self, path):
        super().__init__(path, {})

    def search(self, fen, ms, only=None):
        """(best move, score in centipawns from the side to move's view) of a search from a cleared table."""
        self.send("ucinewgame")
        self.send("isready")  # the clearing done before the move time starts
        if self.until(lambda l: l == "readyok", 10) is None:
            raise RuntimeError("no readyok from the engine")
        self.send("position fen " + fen)
        self.send("go movetime %d%s" % (ms, " searchmoves " + only if only else ""))
        lines = self.until(lambda l: l.startswith("bestmove"), ms / 1000.0 + 10)
        if lines is None:
            raise RuntimeError("no bestmove from the engine within ten seconds of its move time")
        score = 0
        for line in lines:
            m = re.search(r" score (cp|mate) (-?\d+)", line)
            if line.startswith("info") and m and " pv " in line:
                v = int(m.group(2))
                score = v if m.group(1) == "cp" else (MATE_CP - abs(v)) * (1 if v > 0 else -1)
        return lines[-1].split()[1], score


def candidates(extract, pgns, seed):
    fens = []
    for pgn in pgns:
        with open(pgn) as f:
            out = subprocess.run([extract, "20", "all"], stdin=f, capture_output=True, text=True, check=True)
        fens += [line.split(";")[0] for line in out.stdout.splitlines() if line]
    fens = sorted(set(fens))
    random.Random(seed).shuffle(fens)
    return fens


def tactic(engine, fen, args):
    """The position's line for the set, or None where the short search finds the long one's move or the
    move does not matter."""
    quick, _ = engine.search(fen, args.short)
    best, best_score = engine.search(fen, args.short * args.factor)
    if best == quick or best_score <= -WINNING_CP:
        return None
    _, quick_score = engine.search(fen, args.short * args.factor, only=quick)
    if best_score - quick_score < args.gain or quick_score >= WINNING_CP:
        return None
    return "%s bm %s; ce %d;" % (" ".join(fen.split()[:4]), best, best_score)


def in_parallel(args, items, work, enough=lambda: False, report=lambda item, result: None):
    """work(engine, item) over the items by args.workers engines at once, until enough() holds; report(item,
    result) is called for each result as it comes, one at a time. Returns the results in item order (None
    where an item was not reached) and how many items were worked on."""
    results = [None] * len(items)
    lock = threading.Lock()
    position = iter(range(len(items)))
    done = [0]

    def run():
        engine = Engine(args.engine)
        while True:
            with lock:
                i = next(position, None)
                if i is None or enough():
                    break
            r = work(engine, items[i])
            with lock:
                results[i] = r
                done[0] += 1
                report(items[i], r)
        engine.close()

    threads = [threading.Thread(target=run) for _ in range(args.workers)]
    for th in threads:
        th.start()
    for th in threads:
        th.join()
    return results, done[0]


def build(args):
    """Writes each tactic as it is found, so that a long build stopped early keeps what it found."""
    fens = candidates(args.extract, args.pgn, args.seed)
    kept = [0]
    with open(args.out, "w") as out:
        def report(fen, line):
            if line is None or kept[0] >= args.count:
                return
            kept[0] += 1
            out.write('%s id "tactic %d";\n' % (line, kept[0]))
            out.flush()
            print("%d kept" % kept[0], file=sys.stderr, flush=True)

        _, looked = in_parallel(args, fens, lambda e, fen: tactic(e, fen, args),
                                lambda: kept[0] >= args.count, report)
    print("%d tactics kept of %d positions looked at" % (kept[0], looked))


def solve(args):
    with open(args.set) as f:
        tests = [m.groups() for m in (re.match(r"(\S+ \S+ \S+ \S+) bm (\S+);.*id \"([^\"]*)\"", line)
                                      for line in f) if m]
    results, _ = in_parallel(args, tests, lambda e, t: e.search(t[0] + " 0 1", args.ms)[0] == t[1])
    missed = [t[2] for t, ok in zip(tests, results) if not ok]
    print("solved %d of %d at %d ms" % (len(tests) - len(missed), len(tests), args.ms))
    print("missed: " + ", ".join(missed))


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    sub = ap.add_subparsers(dest="command", required=True)
    b = sub.add_parser("build")
    b.add_argument("engine")
    b.add_argument("--extract", required=True)
    b.add_argument("--pgn", action="append", required=True)
    b.add_argument("--short", type=int, default=50)
    b.add_argument("--factor", type=int, default=16)
    b.add_argument("--gain", type=int, default=100)
    b.add_argument("--count", type=int, default=300)
    b.add_argument("--seed", type=int, default=1)
    b.add_argument("--out", default=DEFAULT_SET)
    s = sub.add_parser("solve")
    s.add_argument("engine")
    s.add_argument("set", nargs="?", default=DEFAULT_SET)
    s.add_argument("--ms", type=int, default=500)
    for p in (b, s):
        # One engine per processor: a search in a fixed time must not share its processor.
        p.add_argument("--workers", type=int, default=1)
    args = ap.parse_args()
    build(args) if args.command == "build" else solve(args)


if __name__ == "__main__":
    main()
