#!/usr/bin/env python3
"""Plays Dravnik against itself or another build under the tournament manager and counts what matters on a
clock: games, losses on time, illegal moves, crashes and stalls, the score, and the time spent per move.

  tools/match.py --new build/release/dravnik [--old other/dravnik | --old-rev GIT_REV]
                 [--tc 10+0.1 | --nodes N] [--games 100] [--chess960 0|1|half] [--threads 1]
                 [--old-threads N] [--hash 16] [--concurrency 2] [--sprt]

The games are played in pairs from the same opening with the colours swapped (8-move openings, or the 960
start positions for Chess960). With --sprt the manager runs a sequential test (elo0=0, elo1=5 or
--elo1, alpha=beta=0.05) and stops by itself, --games being the most it plays. The exit status is 1 when any game
ended in a fault (time, illegal move, crash or stall), 2 when nothing could be played.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), ".."))
SHARED = os.path.abspath(os.path.join(ROOT, "..", "shared"))
FASTCHESS = os.path.join(SHARED, "tools", "fastchess", "fastchess")
OPENINGS = os.path.join(SHARED, "openings")

# How the manager ends a game that was not decided on the board: each fault's kind, the name it is reported
# by, and the words of the manager's result comment.
FAULTS = (("time", "losses on time", re.compile(r"(White|Black)[^,}]*loses on time")),
          ("illegal", "illegal moves", re.compile(r"(White|Black)[^,}]*illegal", re.IGNORECASE)),
          ("crash", "crashes and stalls",
           re.compile(r"(White|Black)[^,}]*(disconnect|crash|stall)", re.IGNORECASE)))
MOVE_TIME = re.compile(r"[^,]*?(\d+\.\d+)s(,|$)")


def build_revision(rev):
    """Builds the engine of a git revision beside the tree (build/match-old/REV) and returns its path."""
    sha = subprocess.check_output(["git", "-C", ROOT, "rev-parse", "--short", rev], text=True).strip()
    tree = os.path.join(ROOT, "build", "match-old", sha)
    binary = os.path.join(tree, "build", "dravnik")
    if not os.path.exists(binary):
        if not os.path.exists(tree):
            subprocess.check_call(["git", "-C", ROOT, "worktree", "add", "--detach", tree, sha],
                                  stdout=subprocess.DEVNULL)
        subprocess.check_call(["cmake", "-S", tree, "-B", os.path.join(tree, "build"),
                               "-DCMAKE_BUILD_TYPE=Release", "-DDRAVNIK_TESTS=OFF"], stdout=subprocess.DEVNULL)
        subprocess.check_call(["cmake", "--build", os.path.join(tree, "build"), "--target", "dravnik", "-j",
                               str(os.cpu_count() or 2)], stdout=subprocess.DEVNULL)
    return binary


def play(args, new, old, chess960, games, pgn, workdir):
    """One run of the manager; returns its standard output."""
    if chess960:
        openings = ["-variant", "fischerandom", "-openings",
                    "file=%s" % os.path.join(OPENINGS, "FRC_openings.epd"), "format=epd", "order=random"]
    else:
        openings = ["-openings", "file=%s" % os.path.join(OPENINGS, "8moves_v3.pgn"), "format=pgn",
                    "order=random"]
    options = ["option.Hash=%d" % args.hash]
    if chess960:
        options.append("option.UCI_Chess960=true")
    old_threads = args.threads if args.old_threads is None else args.old_threads
    limit = game_limit(args.tc, args.nodes)
    command = [FASTCHESS, "-engine", "cmd=" + new, "name=new", "option.Threads=%d" % args.threads,
               "-engine", "cmd=" + old, "name=old", "option.Threads=%d" % old_threads,
               "-each"] + limit + ["proto=uci"] + options + openings + [
               "-rounds", str(max(1, games // 2)), "-repeat", "-concurrency", str(args.concurrency),
               "-pgnout", "file=" + pgn, "timeleft=true", "latency=true", "-ratinginterval", "0"]
    if args.sprt:
        command += ["-sprt", "elo0=0", "elo1=%g" % args.elo1, "alpha=0.05", "beta=0.05"]
    at = "%d nodes a move" % args.nodes if args.nodes else args.tc
    print("match: %d %sgames at %s, new %s against old %s" % (games, "Chess960 " if chess960 else "", at, new,
                                                            old), flush=True)
    # The manager leaves its state (config.json) in its working directory: a scratch one.
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, cwd=workdir)
    return result.stdout


def game_limit(tc, nodes):
    """The manager's words for a game's limit: a node count a move when given, else the clock."""
    return ["tc=inf", "nodes=%d" % nodes] if nodes else ["tc=" + tc]


def tally(pgn_text, totals):
    """Adds the games of a PGN text to the totals: results and faults per engine, move times."""
    for game in pgn_text.split("[Event ")[1:]:
        tags = dict(re.findall(r'\[(\w+) "([^"]*)"\]', game))
        white, black, result = tags.get("White"), tags.get("Black"), tags.get("Result", "*")
        totals["games"] += 1
        if result == "1/2-1/2":
            totals["draws"] += 1
        elif result in ("1-0", "0-1"):
            winner = white if result == "1-0" else black
            totals["wins" if winner == "new" else "losses"] += 1
        for kind, _, pattern in FAULTS:
            found = pattern.search(game)
            if found:
                totals[kind][white if found.group(1) == "White" else black] += 1
                break
        # Time per move of each side: one comment a move, white's first ("book" for the opening's moves).
        for i, comment in enumerate(re.findall(r"\{([^}]*)\}", game.split("\n\n", 1)[-1])):
            used = MOVE_TIME.match(comment)
            if used:
                side = white if i % 2 == 0 else black
                totals["seconds"][side] += float(used.group(1))
                totals["moves"][side] += 1


def empty_totals():
    """Totals for tally(), which counts the games of the engines named "new" and "old"."""
    totals = {"games": 0, "wins": 0, "losses": 0, "draws": 0,
              "seconds": {"new": 0.0, "old": 0.0}, "moves": {"new": 0, "old": 0}}
    for kind, _, _ in FAULTS:
        totals[kind] = {"new": 0, "old": 0}
    return totals


def elo(wins, losses, draws):
    """Elo difference and its 95% error bar from a score."""
    import math
    n = wins + losses + draws
    if n == 0:
        return 0.0, 0.0
    score = (wins + draws / 2.0) / n
    var = (wins * (1 - score) ** 2 + losses * score ** 2 + draws * (0.5 - score) ** 2) / n
    clamp = lambda s: min(max(s, 1e-6), 1 - 1e-6)
    to_elo = lambda s: -400.0 * math.log10(1.0 / clamp(s) - 1.0)
    margin = 1.96 * math.sqrt(var / n)
    return to_elo(score), (to_elo(score + margin) - to_elo(score - margin)) / 2.0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--new", default=os.path.join(ROOT, "build", "release", "dravnik"))
    parser.add_argument("--old", help="the other engine (default: the new one, self-play)")
    parser.add_argument("--old-rev", help="build this git revision and play against it")
    parser.add_argument("--tc", default="10+0.1", help="time control, e.g. 2+0.05 or 40/5 (seconds)")
    parser.add_argument("--nodes", type=int, help="nodes a move instead of a clock: a quick screen of a "
                        "search change, blind to its speed and to the time rules")
    parser.add_argument("--games", type=int, default=100)
    parser.add_argument("--chess960", default="0", choices=["0", "1", "half"])
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--old-threads", type=int, help="the old engine's threads (default: --threads), "
                        "to measure what a second thread is worth")
    parser.add_argument("--hash", type=int, default=16)
    parser.add_argument("--concurrency", type=int, default=2)
    parser.add_argument("--sprt", action="store_true")
    parser.add_argument("--elo1", type=float, default=5, help="the sequential test's alternative (elo0 is 0)")
    parser.add_argument("--pgn", help="keep the games in this file")
    args = parser.parse_args()

    if not os.access(FASTCHESS, os.X_OK):
        print("match: the tournament manager is not there (%s); no game was played." % FASTCHESS)
        return 2
    new = os.path.abspath(args.new)
    old = build_revision(args.old_rev) if args.old_rev else os.path.abspath(args.old or args.new)
    for binary in (new, old):
        if not os.access(binary, os.X_OK):
            print("match: no engine at %s; no game was played." % binary)
            return 2

    parts = {"0": [(False, args.games)], "1": [(True, args.games)],
             "half": [(False, args.games - args.games // 2), (True, args.games // 2)]}[args.chess960]
    totals = empty_totals()
    with tempfile.TemporaryDirectory() as tmp:
        for chess960, games in parts:
            if games == 0:
                continue
            pgn = os.path.join(tmp, "games.pgn")
            output = play(args, new, old, chess960, games, pgn, tmp)
            sprt = [l for l in output.splitlines() if l.startswith(("LLR", "Elo:", "SPRT"))]
            for line in sprt[-3:]:
                print("  " + line)
            if not os.path.exists(pgn):
                print(output[-2000:])
                print("match: the manager played no game.")
                return 2
            with open(pgn) as f:
                text = f.read()
            tally(text, totals)
            if args.pgn:
                with open(args.pgn, "a") as f:
                    f.write(text)
            os.remove(pgn)

    w, l, d = totals["wins"], totals["losses"], totals["draws"]
    n = totals["games"]
    rating, margin = elo(w, l, d)
    print("games %d: new %d wins, %d losses, %d draws; score %.1f%%; Elo %+.1f +/- %.1f" %
          (n, w, l, d, 100.0 * (w + d / 2.0) / max(n, 1), rating, margin))
    faults = 0
    for kind, name, _ in FAULTS:
        faults += totals[kind]["new"] + totals[kind]["old"]
        print("%-20s new %d, old %d" % (name + ":", totals[kind]["new"], totals[kind]["old"]))
    per_move = {k: totals["seconds"][k] / max(totals["moves"][k], 1) for k in ("new", "old")}
    print("%-20s new %.3f s, old %.3f s" % ("time per move:", per_move["new"], per_move["old"]))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
