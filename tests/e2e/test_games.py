"""Complete short games of the engine against itself: every move is checked against the engine's own legal
move list, and no search may crash or overrun its time."""
import os
import random
import sys
import time
from concurrent.futures import ThreadPoolExecutor

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, main, within

PLY_CAP = 90


# Chess960 starts with the castling files of their rooks.
CHESS960 = ["bbqnnrkr/pppppppp/8/8/8/8/PPPPPPPP/BBQNNRKR w FHfh - 0 1",
            "rbknbqrn/pppppppp/8/8/8/8/PPPPPPPP/RBKNBQRN w AGag - 0 1",
            "nqbbrnkr/pppppppp/8/8/8/8/PPPPPPPP/NQBBRNKR w EHeh - 0 1",
            "rkrnnqbb/pppppppp/8/8/8/8/PPPPPPPP/RKRNNQBB w ACac - 0 1",
            "rknnbqrb/pppppppp/8/8/8/8/PPPPPPPP/RKNNBQRB w AGag - 0 1"]


def play(binary, start, chess960, seed):
    """One game: "" when every move was legal and in time, else what went wrong."""
    rng = random.Random(seed)
    e = Engine(binary)
    try:
        if chess960:
            e.send("setoption name UCI_Chess960 value true")
        e.isready()
        head = "position " + ("fen " + start if start != "startpos" else "startpos")
        moves = []
        for _ in range(2):  # a random opening for variety
            moves.append(rng.choice(e.legal_moves(head + (" moves " + " ".join(moves) if moves else ""))))
        while len(moves) < PLY_CAP:
            position = head + " moves " + " ".join(moves)
            legal = e.legal_moves(position)
            if not legal:  # mate or stalemate
                break
            e.send(position)
            t0 = time.monotonic()
            move = e.go("go wtime 2000 btime 2000 winc 20 binc 20", 10)[-1].split()[1]
            assert time.monotonic() - t0 < within(3.0), "search overran its clock: %.2f s" % (time.monotonic() - t0)
            assert move in legal, "illegal move %s after %s (legal: %s)" % (move, position, legal)
            moves.append(move)
        assert e.quit() == 0
        return ""
    except Exception as ex:  # reported by the test
        e.proc.kill()
        return str(ex) or repr(ex)


def test_twenty_games_with_legal_moves_only(binary):
    rng = random.Random(2026)
    starts = [("startpos", False)] * 15 + [(fen, True) for fen in CHESS960]
    games = [(start, c960, rng.random()) for start, c960 in starts]
    with ThreadPoolExecutor(max_workers=10) as pool:
        faults = list(pool.map(lambda game: play(binary, *game), games))
    assert faults == [""] * 20, [f for f in faults if f]


if __name__ == "__main__":
    main([test_twenty_games_with_legal_moves_only])
