"""Time behaviour over UCI: answers under a fast clock and at a nearly flagged one, the overshoot of fixed
move times and the time from "stop" to "bestmove", as a GUI sees them through the pipes.

  tools/bench_timing.py path/to/dravnik [SEARCHES]   (50 searches of each kind by default)
"""
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "e2e"))
from uci_driver import Engine


def timed(e, go):
    t0 = time.monotonic()
    e.send(go)
    line = e.expect(lambda l: l.startswith("bestmove"), 30)[-1]
    return (time.monotonic() - t0) * 1000, line.split()[1]


def spread(ms):
    """Median and worst of a list of times in milliseconds."""
    ms = sorted(ms)
    return "median %.1f ms, worst %.1f ms" % (ms[len(ms) // 2], ms[-1])


def main(binary, searches=50):
    e = Engine(binary)
    moves, clock, slowest = [], [1000, 1000], 0.0
    for ply in range(100):
        e.send("position startpos" + (" moves " + " ".join(moves) if moves else ""))
        ms, move = timed(e, "go wtime %d btime %d winc 10 binc 10" % (clock[0], clock[1]))
        if move == "0000":
            break
        side = ply % 2
        clock[side] = max(1, int(clock[side] - ms + 10))
        slowest = max(slowest, ms)
        moves.append(move)
    print("clock 1000+10: %d moves, slowest answer %.0f ms, clocks left %s ms" % (len(moves), slowest, clock))
    # Nearly flagged, the engine answers at once: what that costs must stay below the increment, or the
    # clock only falls from there (a GUI sends "position" and "go" back to back).
    flagged = []
    for i in range(searches):
        e.send("position startpos moves " + " ".join(moves[: i % 20]))
        flagged.append(timed(e, "go wtime 60 btime 60 winc 10 binc 10")[0])
    print("answer at 60+10 ms on the clock over %d searches: %s" % (searches, spread(flagged)))
    for movetime in (50, 100, 1000):
        over = []
        for i in range(searches):
            e.send("position startpos moves " + " ".join(moves[: i % 20]))
            ms, _ = timed(e, "go movetime %d" % movetime)
            over.append(ms - movetime)
        print("movetime %d: overshoot over %d searches %s" % (movetime, searches, spread(over)))
    answers = []
    for i in range(searches):
        e.send("position startpos moves " + " ".join(moves[: i % 20]))
        e.send("go infinite")
        time.sleep(0.05 + 0.01 * (i % 10))
        t0 = time.monotonic()
        e.send("stop")
        e.expect(lambda l: l.startswith("bestmove"), 30)
        answers.append((time.monotonic() - t0) * 1000)
    print("stop to bestmove over %d searches: %s" % (searches, spread(answers)))
    for threads in (1, 2):
        e.send("setoption name Threads value %d" % threads)
        e.send("ucinewgame")
        e.send("position startpos")
        ms, _ = timed(e, "go depth 12")
        print("Threads %d: start position to depth 12 in %.0f ms" % (threads, ms))
    e.quit()


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 50)
