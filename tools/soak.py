#!/usr/bin/env python3
"""A soak of games at the extremes: every game must end on the board (the tournament manager's termination
"normal"), with no loss on time, illegal move, crash or stall.

  tools/soak.py ENGINE [--scale 1.0] [--only NAME,...] [--pgn-dir DIR] [--weakened]

The sets below are played in turn by the tournament manager in ../shared/tools/fastchess, except those
marked "ponder": the manager never ponders, so those games are refereed here, with the GUI's side of
pondering (go ponder on the expected reply, ponderhit when it comes, stop and a new go when it does not),
the clock kept from each go, ponderhit or stop to the bestmove line, every move checked against the
engine's own list of legal moves. Such a game ends on the board at mate or stalemate, or as a draw after
240 plies. --scale multiplies every set's number of games. --weakened plays the weakened engine's sets
instead (UCI_Elo 1500, 1800 and 2100 against each other at 2+0.02 and 1+0.01, some with Ponder) and
prints each pair's score. Exit status 1 when any game ended otherwise.
"""
import argparse
import os
import random
import re
import select
import subprocess
import sys
import tempfile
import time

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), ".."))
SHARED = os.path.abspath(os.path.join(ROOT, "..", "shared"))
FASTCHESS = os.path.join(SHARED, "tools", "fastchess", "fastchess")
OPENINGS = os.path.join(SHARED, "openings")

# name, games, time control, options of both engines, Chess960, games at once, refereed here with
# Ponder; the weakened sets give each engine its own options.
SETS = [
    ("1+0.01", 400, "1+0.01", {}, False, 2, False),
    ("1+0.01 Chess960", 200, "1+0.01", {}, True, 2, False),
    ("0.5+0.05", 200, "0.5+0.05", {}, False, 2, False),
    ("0.5+0.05 Chess960", 100, "0.5+0.05", {}, True, 2, False),
    ("40/2", 200, "40/2", {}, False, 2, False),
    ("Threads 2 at 1+0.1", 100, "1+0.1", {"Threads": 2}, False, 1, False),
    ("MultiPV 3 at 2+0.02", 200, "2+0.02", {"MultiPV": 3}, False, 2, False),
    ("Hash 6 at 1+0.01", 400, "1+0.01", {"Hash": 6}, False, 2, False),
    ("Ponder at 1+0.01", 100, "1+0.01", {"Ponder": "true"}, False, 1, True),
    ("Ponder, Hash 6 at 2+0.02", 100, "2+0.02", {"Ponder": "true", "Hash": 6}, False, 1, True),
]


def weak(elo, **more):
    return dict({"UCI_LimitStrength": "true", "UCI_Elo": elo}, **more)


# The weakened engine's clock: each pair of settings at both clocks, and some of the games with Ponder.
WEAKENED = []
for a, b in ((1500, 1800), (1800, 2100), (1500, 2100)):
    for tc in ("2+0.02", "1+0.01"):
        WEAKENED.append(("Elo %d-%d at %s" % (a, b, tc), 80, tc, (weak(a), weak(b)), False, 2, False))
        WEAKENED.append(("Elo %d-%d Ponder at %s" % (a, b, tc), 20, tc,
                         (weak(a, Ponder="true"), weak(b, Ponder="true")), False, 1, True))


def both(options):
    """The options of the two engines: one dict for both, or a pair."""
    return options if isinstance(options, tuple) else (options, options)


def fastchess_set(engine, tc, options, chess960, games, concurrency, pgn, workdir):
    """Plays one set under the manager; returns the PGN text."""
    extra = {}
    if chess960:
        openings = ["-variant", "fischerandom", "-openings",
                    "file=%s" % os.path.join(OPENINGS, "FRC_openings.epd"), "format=epd", "order=random"]
        extra = {"UCI_Chess960": "true"}
    else:
        openings = ["-openings", "file=%s" % os.path.join(OPENINGS, "8moves_v3.pgn"), "format=pgn",
                    "order=random"]
    command = [FASTCHESS]
    for name, own in zip("ab", both(options)):
        own = dict({"Hash": 16}, **own, **extra)
        command += ["-engine", "cmd=" + engine, "name=" + name] + ["option.%s=%s" % kv for kv in own.items()]
    command += ["-each", "tc=" + tc, "proto=uci"] + openings + [
               "-rounds", str(max(1, games // 2)), "-repeat", "-concurrency", str(concurrency),
               "-pgnout", "file=" + pgn, "timeleft=true", "-ratinginterval", "0"]
    subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=workdir)
    with open(pgn) as f:
        return f.read()


def terminations(pgn_text):
    """The termination of every game in a PGN text."""
    return [dict(re.findall(r'\[(\w+) "([^"]*)"\]', g)).get("Termination", "?")
            for g in pgn_text.split("[Event ")[1:]]


def results(pgn_text):
    """Wins of engine a, draws, wins of engine b."""
    tally = [0, 0, 0]
    for game in pgn_text.split("[Event ")[1:]:
        tags = dict(re.findall(r'\[(\w+) "([^"]*)"\]', game))
        result = tags.get("Result")
        if result == "1/2-1/2":
            tally[1] += 1
        elif result in ("1-0", "0-1"):
            tally[0 if (tags.get("White") == "a") == (result == "1-0") else 2] += 1
    return tally


class Player:
    """An engine process with line reads that time out."""

    def __init__(self, binary, options):
        self.proc = subprocess.Popen([binary], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, bufsize=0)
        self.buffer = b""
        for name, value in options.items():
            self.send("setoption name %s value %s" % (name, value))
        self.send("isready")
        self.until(lambda l: l == "readyok", 10)

    def send(self, line):
        self.proc.stdin.write((line + "\n").encode())
        self.proc.stdin.flush()

    def until(self, predicate, timeout):
        """Lines up to the first that satisfies the predicate; None on a time-out or a closed pipe."""
        deadline = time.monotonic() + timeout
        lines = []
        while True:
            while b"\n" not in self.buffer:
                left = deadline - time.monotonic()
                if left <= 0 or not select.select([self.proc.stdout], [], [], left)[0]:
                    return None
                chunk = os.read(self.proc.stdout.fileno(), 65536)
                if not chunk:
                    return None
                self.buffer += chunk
            line, self.buffer = self.buffer.split(b"\n", 1)
            lines.append(line.decode())
            if predicate(lines[-1]):
                return lines

    def legal(self, moves):
        self.send("position startpos" + (" moves " + " ".join(moves) if moves else ""))
        self.send("go perft 1")
        out = self.until(lambda l: l.startswith("Nodes searched"), 10)
        return [l.split(":")[0] for l in out if re.match(r"^[a-h][1-8][a-h][1-8][qrbn]?:", l)]

    def close(self):
        try:
            self.send("quit")
            self.proc.wait(5)
        except (OSError, subprocess.TimeoutExpired):
            self.proc.kill()


def ponder_game(binary, tc, options, seed):
    """One game with pondering; returns its termination ("normal" or the fault)."""
    base, inc = (float(x) for x in tc.split("+"))
    clock = [base * 1000.0, base * 1000.0]
    inc_ms = inc * 1000.0
    rng = random.Random(seed)
    judge = Player(binary, {})
    players = [Player(binary, own) for own in both(options)]
    if seed % 2:
        players.reverse()  # each side with either engine
    moves = []
    pondering = [None, None]  # the move a player ponders on, or None
    try:
        for _ in range(4):  # a short random opening for variety
            moves.append(rng.choice(judge.legal(moves)))
        while len(moves) < 240:
            legal = judge.legal(moves)
            if not legal:
                return "normal"
            side = len(moves) % 2
            p = players[side]
            go = "wtime %d btime %d winc %d binc %d" % (clock[0], clock[1], inc_ms, inc_ms)
            if pondering[side] is not None and pondering[side] == moves[-1]:
                p.send("ponderhit")
                start = time.monotonic()
            else:
                if pondering[side] is not None:
                    p.send("stop")
                    if p.until(lambda l: l.startswith("bestmove"), 5) is None:
                        return "stall after stop"
                p.send("position startpos moves " + " ".join(moves))
                p.send("go " + go)
                start = time.monotonic()
            pondering[side] = None
            out = p.until(lambda l: l.startswith("bestmove"), clock[side] / 1000.0 + 5)
            used = (time.monotonic() - start) * 1000.0
            if out is None:
                return "crash or stall"
            clock[side] -= used
            if clock[side] < 0:
                return "loss on time (%.0f ms overrun)" % -clock[side]
            clock[side] += inc_ms
            words = out[-1].split()
            if words[1] not in legal:
                return "illegal move %s" % words[1]
            moves.append(words[1])
            if len(words) > 3 and words[2] == "ponder":
                p.send("position startpos moves " + " ".join(moves + [words[3]]))
                p.send("go ponder wtime %d btime %d winc %d binc %d" % (clock[0], clock[1], inc_ms, inc_ms))
                pondering[side] = words[3]
        return "normal"
    finally:
        for p in players + [judge]:
            p.close()


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("engine")
    ap.add_argument("--scale", type=float, default=1.0)
    ap.add_argument("--only", help="comma-separated set names")
    ap.add_argument("--weakened", action="store_true", help="the weakened engine's sets instead")
    ap.add_argument("--pgn-dir", help="keep the manager's games here")
    args = ap.parse_args()
    engine = os.path.abspath(args.engine)
    if not os.access(FASTCHESS, os.X_OK):
        print("soak: the tournament manager is not there (%s); no game was played." % FASTCHESS)
        return 2
    sets = WEAKENED if args.weakened else SETS
    chosen = [s for s in sets if not args.only or s[0] in args.only.split(",")]
    faults, total = 0, 0
    for name, games, tc, options, chess960, concurrency, ponder in chosen:
        games = max(2, int(round(games * args.scale / 2)) * 2)
        began = time.monotonic()
        score = ""
        if ponder:
            ends = [ponder_game(engine, tc, options, seed) for seed in range(games)]
        else:
            with tempfile.TemporaryDirectory() as tmp:
                pgn = os.path.join(tmp, "games.pgn")
                text = fastchess_set(engine, tc, options, chess960, games, concurrency, pgn, tmp)
                if args.pgn_dir:
                    os.makedirs(args.pgn_dir, exist_ok=True)
                    with open(os.path.join(args.pgn_dir, re.sub(r"\W+", "_", name) + ".pgn"), "w") as f:
                        f.write(text)
                ends = terminations(text)
                score = "; a +%d =%d -%d" % tuple(results(text))
        bad = [e for e in ends if e != "normal"]
        faults += len(bad) + max(0, games - len(ends))
        total += len(ends)
        print("%-30s %4d games, %3d not normal%s (%.0f s)%s" % (name, len(ends), len(bad) + max(0, games - len(ends)),
              (": " + ", ".join(sorted(set(bad)))) if bad else "", time.monotonic() - began, score), flush=True)
    print("soak: %d games, %d not ended normally" % (total, faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
