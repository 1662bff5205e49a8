"""Time behaviour over UCI: answers under a fast clock and the overshoot of fixed move times."""
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


def main(binary):
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
    for movetime, count in ((100, 50), (1000, 10)):
        worst = 0.0
        for i in range(count):
            e.send("position startpos moves " + " ".join(moves[: i % 20]))
            ms, _ = timed(e, "go movetime %d" % movetime)
            worst = max(worst, ms - movetime)
        print("movetime %d: worst overshoot over %d searches %.0f ms" % (movetime, count, worst))
    for threads in (1, 2):
        e.send("setoption name Threads value %d" % threads)
        e.send("ucinewgame")
        e.send("position startpos")
        ms, _ = timed(e, "go depth 12")
        print("Threads %d: start position to depth 12 in %.0f ms" % (threads, ms))
    e.quit()


if __name__ == "__main__":
    main(sys.argv[1])
