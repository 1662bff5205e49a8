"""The headline speed figures of a release build, one line each, as medians of several runs.

    bench_figures.py [--runs N] BUILD_DIR [OTHER_BUILD_DIR]

BUILD_DIR holds dravnik, bench_perft and bench_eval. With a second directory every measurement alternates
between the two builds, run by run, and a last column gives the ratio first / second: on a shared machine
absolute times drift, ratios from alternating runs do not.
"""
import os
import re
import statistics
import subprocess
import sys
import time


def perft(build, which):
    out = subprocess.run([os.path.join(build, "bench_perft"), which], capture_output=True, text=True,
                         check=True).stdout.split()
    return int(out[0]) / float(out[1])


def bench(build):
    out = subprocess.run([os.path.join(build, "dravnik")], input="bench\nquit\n", capture_output=True,
                         text=True, check=True).stdout
    nodes = int(re.search(r"^nodes:\s*(\d+)", out, re.M).group(1))
    seconds = float(re.search(r"^time:\s*([0-9.eE+-]+)", out, re.M).group(1))
    return nodes / seconds, nodes


# Two middle-game positions searched for a fixed time: the node rate of real searches, deeper than the
# bench's and with a table in use.
SEARCH_FENS = ["r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 8",
               "r2q1rk1/1b2bppp/p2ppn2/1p6/3NP3/1BN1B3/PPP2PPP/R2Q1RK1 w - - 0 11"]


def search(build, fen, movetime=4000):
    """Nodes per second of "go movetime" on a fresh engine with a 64 MB table, and the depth reached."""
    commands = "setoption name Hash value 64\nisready\nposition fen %s\ngo movetime %d\n" % (fen, movetime)
    p = subprocess.Popen([os.path.join(build, "dravnik")], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                         text=True)
    p.stdin.write(commands)
    p.stdin.flush()
    nodes = nps = depth = 0
    for line in p.stdout:
        m = re.search(r"\bdepth (\d+).*\bnodes (\d+).*\bnps (\d+)", line)
        if m:
            depth, nodes, nps = int(m.group(1)), int(m.group(2)), int(m.group(3))
        if line.startswith("bestmove"):
            break
    p.stdin.write("quit\n")
    p.stdin.flush()
    p.wait()
    return nps, "depth %d" % depth


def evals(build):
    out = subprocess.run([os.path.join(build, "bench_eval")], capture_output=True, text=True, check=True,
                         cwd=os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")).stdout
    return float(re.search(r"^tree nodes:\s*([0-9.]+) evals/s", out, re.M).group(1))


def rss_kib(pid):
    with open("/proc/%d/status" % pid) as f:
        return int(re.search(r"^VmRSS:\s*(\d+)", f.read(), re.M).group(1))


def start_up(build, options=()):
    """Milliseconds from the start of the process to "readyok", and the resident size then (KiB)."""
    t0 = time.monotonic()
    p = subprocess.Popen([os.path.join(build, "dravnik")], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    lines = ["uci"] + ["setoption name %s" % o for o in options] + ["isready"]
    p.stdin.write(("\n".join(lines) + "\n").encode())
    p.stdin.flush()
    for line in p.stdout:
        if line.strip() == b"readyok":
            break
    ms = (time.monotonic() - t0) * 1000
    rss = rss_kib(p.pid)
    p.stdin.write(b"quit\n")
    p.stdin.flush()
    p.wait()
    return ms, rss


def measure(builds, runs, name, unit, fn, scale=1.0, fmt="%.2f", note=lambda b: ""):
    values = {b: [] for b in builds}
    notes = {}
    for _ in range(runs):
        for b in builds:
            v = fn(b)
            if isinstance(v, tuple):
                v, notes[b] = v[0], v[1]
            values[b].append(v)
    med = [statistics.median(values[b]) for b in builds]
    cols = "  ".join((fmt % (m * scale)).rjust(10) for m in med)
    extra = "  ".join(str(notes[b]) for b in builds if b in notes)
    ratio = "  ratio %.3f" % (med[0] / med[1]) if len(builds) == 2 and med[1] else ""
    print("%-28s %-9s %s%s%s" % (name, unit, cols, ratio, ("  " + note(extra)) if extra else ""), flush=True)


def main():
    args = sys.argv[1:]
    runs = 3
    if args[:1] == ["--runs"]:
        runs, args = int(args[1]), args[2:]
    builds = args
    if len(builds) == 2:
        print("%-28s %-9s %10s  %10s" % ("", "", "this", "other") + "  (medians of %d alternating runs)" % runs)
    else:
        print("(medians of %d runs)" % runs)
    measure(builds, runs, "perft 6 start position", "Mnodes/s", lambda b: perft(b, "start"), 1e-6)
    measure(builds, runs, "perft 5 middle game", "Mnodes/s", lambda b: perft(b, "middle"), 1e-6)
    measure(builds, runs, "bench (depth 12)", "Mnodes/s", bench, 1e-6, note=lambda n: "nodes " + n)
    measure(builds, runs, "evaluations", "M/s", evals, 1e-6)
    for i, fen in enumerate(SEARCH_FENS):
        measure(builds, runs, "search 4 s, position %d" % (i + 1), "Mnodes/s", lambda b: search(b, fen), 1e-6,
                note=lambda d: d)
    measure(builds, 2 * runs + 1, "start-up to readyok", "ms", lambda b: start_up(b)[0], fmt="%.1f")
    measure(builds, 1, "resident at start, Hash 128", "MiB", lambda b: start_up(b)[1], 1 / 1024.0, "%.1f")
    measure(builds, 1, "resident at start, Hash 6", "MiB", lambda b: start_up(b, ["Hash value 6"])[1],
            1 / 1024.0, "%.1f")


if __name__ == "__main__":
    main()
