#!/usr/bin/env python3
"""SPSA over the search's tunable constants: the tuning build plays itself under the tournament manager, one
side with every constant nudged up or down at random and the other with the opposite nudges, and the
constants move towards the side that scored more.

  tools/spsa.py [--engine build/tune/dravnik] [--iterations 500] [--pairs 2] [--tc 5+0.05 | --nodes N]
                [--openings 8moves_v3.pgn] [--concurrency 2] [--log build/spsa/spsa.csv] [--resume]
                [--seed 1] [--rate 0.1] [--apply]

The constants, their ranges and steps are the DRAVNIK_TUNABLE lines of src/search/pruning.h. Iteration k
(from 0) perturbs each constant by c_k = step / (k+1)^0.101 up (theta+) or down (theta-), rounds both sets
to integers within the ranges, and plays --pairs game pairs between them from random openings, colours
swapped. With r the games theta+ won less those theta- won, each constant moves by a_k * r * c_k * delta
(delta the sign of its nudge): the gradient estimate r / (2 c_k delta) times c_k^2, so that each constant
moves in units of its own step. a_k = a / (k+1+A)^0.602 with A a tenth of the planned iterations and
a = rate * (1+A)^0.602, so that a_0 = rate: at the start, a game won moves every constant by --rate of its
step (0.1). A game's result is mostly noise: at a rate of 1 the constants of a first run wandered by up to
fifteen steps in 83 iterations; at 0.1 the noise of 500 iterations of four games moves a constant by about one
and a half steps, so that only a slope of a few Elo a step shows through. Every sitting of a run must use
the same rate.

Every iteration is appended to the log (iteration, games, result, faults by kind, every constant as a
float); --resume continues from its last row, so a run can be spread over several sittings (--iterations
counts the whole run). At the end the values are printed with the setoption commands that play them, and
--apply writes them into the header as the defaults of a normal build. Losses on time, illegal moves,
crashes and stalls are counted over the whole run. Exit status: 1 when a game of the run ended in a fault,
2 when nothing could be played.
"""
import argparse
import csv
import math
import os
import random
import re
import subprocess
import sys
import tempfile
from collections import namedtuple

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from match import FASTCHESS, FAULTS, OPENINGS, ROOT, empty_totals, game_limit, tally  # noqa: E402

HEADER = os.path.join(ROOT, "src", "search", "pruning.h")
TUNABLE = re.compile(r"^DRAVNIK_TUNABLE\((\w+), (-?\d+), (-?\d+), (-?\d+), (\d+)\)", re.MULTILINE)
Parameter = namedtuple("Parameter", "name default min max step")
FAULT_KINDS = [kind for kind, _, _ in FAULTS]
# The manager's engine names: tally() scores "new" against "old"; here "new" plays theta+.
PLUS, MINUS = "new", "old"


def read_parameters(path=HEADER):
    """The tunables a header declares, in their order."""
    with open(path) as f:
        return [Parameter(m.group(1), *map(int, m.groups()[1:])) for m in TUNABLE.finditer(f.read())]


def clamp(x, p):
    return min(max(x, p.min), p.max)


# Steps a game won moves each constant by at the start of a run.
RATE = 0.1


def gains(k, planned, rate=RATE):
    """a_k and the factor of each step that makes c_k, for iteration k of a run of planned iterations."""
    big_a = 0.1 * planned
    a = rate * (1 + big_a) ** 0.602
    return a / (k + 1 + big_a) ** 0.602, 1.0 / (k + 1) ** 0.101


def rounded(t, p):
    """The integer a value plays as: half rounded up, within the range."""
    return int(clamp(math.floor(t + 0.5), p))


def perturb(theta, params, k, planned, delta):
    """theta+ and theta-: the nudged values as they play."""
    _, c = gains(k, planned)
    return ([rounded(t + c * p.step * d, p) for t, p, d in zip(theta, params, delta)],
            [rounded(t - c * p.step * d, p) for t, p, d in zip(theta, params, delta)])


def update(theta, params, k, planned, delta, result, rate=RATE):
    """theta after an iteration in which theta+ scored result games more than theta-."""
    a, c = gains(k, planned, rate)
    return [float(clamp(t + a * result * c * p.step * d, p)) for t, p, d in zip(theta, params, delta)]


def log_columns(params):
    return ["iteration", "games", "result"] + FAULT_KINDS + [p.name for p in params]


def read_log(path, params):
    """The iterations done, theta after the last, the games and the faults by kind, from a log."""
    with open(path, newline="") as f:
        rows = list(csv.reader(f))
    if not rows or rows[0] != log_columns(params):
        raise SystemExit("spsa: %s is not a log of these parameters (the header changed?)" % path)
    theta = [float(p.default) for p in params]
    games, faults = 0, dict.fromkeys(FAULT_KINDS, 0)
    for row in rows[1:]:
        games += int(row[1])
        for i, kind in enumerate(FAULT_KINDS):
            faults[kind] += int(row[3 + i])
        theta = [float(x) for x in row[3 + len(FAULT_KINDS):]]
    return len(rows) - 1, theta, games, faults


def tune(params, planned, play, log, resume, seed=1, rate=RATE, report=print):
    """Runs the iterations of the log's run still to do; play(plus, minus, k, seed) plays theta+ against
    theta- and returns the games' totals (tally's). Returns theta."""
    if resume and os.path.exists(log):
        done, theta, _, _ = read_log(log, params)
        report("spsa: resuming %s after %d iterations" % (log, done))
    else:
        if os.path.exists(log):
            raise SystemExit("spsa: %s exists; --resume continues it" % log)
        os.makedirs(os.path.dirname(os.path.abspath(log)), exist_ok=True)
        with open(log, "w", newline="") as f:
            csv.writer(f).writerow(log_columns(params))
        done, theta = 0, [float(p.default) for p in params]
    for k in range(done, planned):
        # Each iteration's draws come from the seed and its number alone: a resumed run plays as one.
        rng = random.Random("%d:%d" % (seed, k))
        delta = [rng.choice((-1, 1)) for _ in params]
        plus, minus = perturb(theta, params, k, planned, delta)
        totals = play(plus, minus, k, rng.randrange(1 << 31))
        result = totals["wins"] - totals["losses"]
        theta = update(theta, params, k, planned, delta, result, rate)
        found = [totals[kind][PLUS] + totals[kind][MINUS] for kind in FAULT_KINDS]
        with open(log, "a", newline="") as f:
            csv.writer(f).writerow([k + 1, totals["games"], result] + found + [repr(t) for t in theta])
        faulty = ["%s by %s" % (kind, name) for kind in FAULT_KINDS for side, name in
                  ((PLUS, "theta+"), (MINUS, "theta-")) for _ in range(totals[kind][side])]
        report("iteration %d/%d: games %d, theta+ against theta- %+d%s" % (
            k + 1, planned, totals["games"], result, "; faults: " + ", ".join(faulty) if faulty else ""))
    return theta


def manager_play(args, engine, params, workdir):
    """A play() for tune(): the games under the tournament manager."""
    limit = game_limit(args.tc, args.nodes)

    def play(plus, minus, k, seed):
        pgn = os.path.join(workdir, "games.pgn")
        command = [FASTCHESS]
        for name, values in ((PLUS, plus), (MINUS, minus)):
            command += ["-engine", "cmd=" + engine, "name=" + name]
            command += ["option.%s=%d" % (p.name, v) for p, v in zip(params, values)]
        command += ["-each", "proto=uci", "option.Hash=%d" % args.hash] + limit + [
            "-openings", "file=" + args.openings, "format=pgn", "order=random", "-srand", str(seed),
            "-rounds", str(args.pairs), "-repeat", "-concurrency", str(args.concurrency),
            "-pgnout", "file=" + pgn, "-ratinginterval", "0"]
        output = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                cwd=workdir).stdout
        if not os.path.exists(pgn):
            print(output[-2000:])
            raise SystemExit("spsa: the manager played no game in iteration %d" % (k + 1))
        totals = empty_totals()
        with open(pgn) as f:
            tally(f.read(), totals)
        os.remove(pgn)
        return totals
    return play


def announced(engine):
    """The spin options the engine announces: name -> (default, min, max)."""
    out = subprocess.run([engine], input="uci\nquit\n", stdout=subprocess.PIPE, text=True, timeout=30).stdout
    return {m.group(1): tuple(map(int, m.groups()[1:])) for m in re.finditer(
        r"^option name (\S+) type spin default (-?\d+) min (-?\d+) max (-?\d+)$", out, re.MULTILINE)}


def apply(theta, params, path=HEADER):
    """Writes the rounded values into the header as the tunables' defaults."""
    values = {p.name: rounded(t, p) for t, p in zip(theta, params)}
    with open(path) as f:
        text = f.read()
    text = TUNABLE.sub(lambda m: "DRAVNIK_TUNABLE(%s, %d, %s, %s, %s)" % (
        m.group(1), values.get(m.group(1), int(m.group(2))), m.group(3), m.group(4), m.group(5)), text)
    with open(path, "w") as f:
        f.write(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--engine", default=os.path.join(ROOT, "build", "tune", "dravnik"))
    parser.add_argument("--iterations", type=int, default=500,
                        help="of the whole run, resumed sittings included")
    parser.add_argument("--pairs", type=int, default=2, help="game pairs an iteration")
    parser.add_argument("--tc", default="5+0.05", help="time control in seconds, e.g. 5+0.05")
    parser.add_argument("--nodes", type=int, help="nodes a move instead of a clock")
    parser.add_argument("--openings", default=os.path.join(OPENINGS, "8moves_v3.pgn"))
    parser.add_argument("--concurrency", type=int, default=2)
    parser.add_argument("--hash", type=int, default=16)
    parser.add_argument("--log", default=os.path.join(ROOT, "build", "spsa", "spsa.csv"))
    parser.add_argument("--resume", action="store_true", help="continue the log's run")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--rate", type=float, default=RATE,
                        help="steps a game won moves each constant by at first (the same in every sitting)")
    parser.add_argument("--apply", action="store_true", help="write the result into " + HEADER)
    args = parser.parse_args()

    params = read_parameters()
    if not os.access(FASTCHESS, os.X_OK):
        print("spsa: the tournament manager is not there (%s); no game was played." % FASTCHESS)
        return 2
    engine = os.path.abspath(args.engine)
    if not os.access(engine, os.X_OK):
        print("spsa: no engine at %s (make spsa builds the tuning build); no game was played." % engine)
        return 2
    # The engine must offer the header's constants as declared: not a normal build, nor a stale one.
    options = announced(engine)
    stale = [p.name for p in params if options.get(p.name) != (p.default, p.min, p.max)]
    if stale:
        print("spsa: %s does not offer %s as the header declares; build the tuning build anew." %
              (engine, ", ".join(stale)))
        return 2

    with tempfile.TemporaryDirectory() as tmp:
        tune(params, args.iterations, manager_play(args, engine, params, tmp), args.log, args.resume,
             args.seed, args.rate)
    done, theta, games, faults = read_log(args.log, params)

    print("after %d iterations, %d games:" % (done, games))
    print("%-26s %8s %8s %8s" % ("parameter", "default", "tuned", "theta"))
    for p, t in zip(params, theta):
        print("%-26s %8d %8d %8.2f" % (p.name, p.default, rounded(t, p), t))
    values = [rounded(t, p) for t, p in zip(theta, params)]
    print("setoption commands:")
    print("\n".join("setoption name %s value %d" % (p.name, v) for p, v in zip(params, values)))
    print("fastchess: " + " ".join("option.%s=%d" % (p.name, v) for p, v in zip(params, values)))
    for kind, name, _ in FAULTS:
        print("%-20s %d" % (name + ":", faults[kind]))
    if args.apply:
        apply(theta, params)
        print("spsa: wrote the values into %s; build a normal engine and test it (tools/match.py --sprt)"
              % HEADER)
    return 1 if any(faults.values()) else 0


if __name__ == "__main__":
    sys.exit(main())
