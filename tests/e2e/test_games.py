"""Complete short games of the engine against itself: every move is checked against the engine's own legal
move list, and no search may crash or overrun its time."""
import os
import random
import sys
import threading
import time

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, main, within

PLY_CAP = 90


# Chess960 starts with the castling files of their rooks.
CHESS960 = ["bbqnnrkr/pppppppp/8/8/8/8/PPPPPPPP/BBQNNRKR w FHfh - 0 1",
            "rbknbqrn/pppppppp/8/8/8/8/PPPPPPPP/RBKNBQRN w AGag - 0 1",
            "nqbbrnkr/pppppppp/8/8/8/8/PPPPPPPP/NQBBRNKR w EHeh - 0 1",
            "rkrnnqbb/pppppppp/8/8/8/8/PPPPPPPP/RKRNNQBB w ACac - 0 1",
            "rknnbqrb/pppppppp/8/8/8/8/PPPPPPPP/RKNNBQRB w AGag - 0 1"]


def play(binary, start, chess960, rng, results, index):
    e = Engine(binary)
    try:
        if chess960:
            e.send("setoption name UCI_Chess960 value true")
        e.isready()
        head = "position " + ("fen " + start if start != "startpos" else "startpos")
        moves = []
        for _ in range(2):  # a random opening for variety
            legal = e.legal_moves(head + (" moves " + " ".join(moves) if moves else ""))
            moves.append(rng.choice(legal))
        outcome = "cap"
        while len(moves) < PLY_CAP:
            position = head + " moves " + " ".join(moves)
            legal = e.legal_moves(position)
            if not legal:
                outcome = "mate or stalemate"
                break
            e.send(position)
            t0 = time.monotonic()
            line = e.go("go wtime 2000 btime 2000 winc 20 binc 20", 10)[-1]
            if time.monotonic() - t0 > within(3.0):
                raise AssertionError("search overran its clock: %.2f s" % (time.monotonic() - t0))
            move = line.split()[1]
            if move not in legal:
                raise AssertionError("illegal move %s after %s (legal: %s)" % (move, position, legal))
            moves.append(move)
        assert e.quit() == 0
        results[index] = (True, outcome, len(moves))
    except Exception as ex:  # recorded and reported by the test
        results[index] = (False, str(ex), 0)
        e.proc.kill()


def test_twenty_games_with_legal_moves_only(binary):
    rng = random.Random(2026)
    starts = [("startpos", False)] * 15 + [(fen, True) for fen in CHESS960]
    results = [None] * len(starts)
    threads = []
    for i, (start, c960) in enumerate(starts):
        t = threading.Thread(target=play, args=(binary, start, c960, random.Random(rng.random()), results, i))
        threads.append(t)
        t.start()
        if len(threads) >= 10:
            threads.pop(0).join()
    for t in threads:
        t.join()
    failures = [r[1] for r in results if not r or not r[0]]
    assert not failures, failures
    assert len(results) == 20


if __name__ == "__main__":
    main([test_twenty_games_with_legal_moves_only])
