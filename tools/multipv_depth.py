#!/usr/bin/env python3
"""The depth a search reaches in a fixed time at several MultiPV settings: what more lines cost.

Usage: tools/multipv_depth.py ENGINE [--ms 10000] [--lines 1,3,5]
"""
import argparse
import re
import subprocess

POSITIONS = [
    "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 8",
    "r2q1rk1/1b2bppp/p2ppn2/1p6/3NP3/1BN1B3/PPP2PPP/R2Q1RK1 w - - 0 11",
    "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3",
]


def depth_reached(engine, fen, lines, ms):
    p = subprocess.Popen([engine], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    p.stdin.write("setoption name MultiPV value %d\nposition fen %s\ngo movetime %d\n" % (lines, fen, ms))
    p.stdin.flush()
    depth = 0
    for line in p.stdout:
        m = re.match(r"info depth (\d+) ", line)
        if m:
            depth = max(depth, int(m.group(1)))
        if line.startswith("bestmove"):
            break
    p.stdin.write("quit\n")
    p.stdin.flush()
    p.wait()
    return depth


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("engine")
    ap.add_argument("--ms", type=int, default=10000)
    ap.add_argument("--lines", default="1,3,5")
    args = ap.parse_args()
    counts = [int(x) for x in args.lines.split(",")]
    print("position | " + " | ".join("MultiPV %d" % n for n in counts))
    for fen in POSITIONS:
        print(fen + " | " + " | ".join(str(depth_reached(args.engine, fen, n, args.ms)) for n in counts),
              flush=True)


if __name__ == "__main__":
    main()
