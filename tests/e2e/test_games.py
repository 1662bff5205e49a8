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


def chess960_fen(n):
    """Start position number n in the engine's own numbering, with its castling files."""
    rank = [None] * 8
    rank[2 * (n // 240)] = "B"
    rank[2 * ((n % 240) // 60) + 1] = "B"

    def place(k, piece):
        free = [f for f in range(8) if rank[f] is None]
        rank[free[k]] = piece

    place((n % 60) // 10, "Q")
    pairs = [(0, 1), (0, 2), (0, 3), (0, 4), (1, 2), (1, 3), (1, 4), (2, 3), (2, 4), (3, 4)]
    a, b = pairs[n % 10]
    place(b, "N")
    place(a, "N")
    for piece in "RKR":
        place(0, piece)
    white = "".join(rank)
    files = [chr(ord("A") + f) for f in range(8) if rank[f] == "R"]
    castle = "".join(files) + "".join(f.lower() for f in files)
    return "%s/pppppppp/8/8/8/8/PPPPPPPP/%s w %s - 0 1" % (white.lower(), white, castle)


def legal_moves(e, position):
    lines = e.perft(position, 1, 30)
    return [l.split(":")[0] for l in lines if ": " in l and not l.startswith("Nodes")]


def play(binary, start, chess960, rng, results, index):
    e = Engine(binary)
    try:
        if chess960:
            e.send("setoption name UCI_Chess960 value true")
        e.isready()
        head = "position " + ("fen " + start if start != "startpos" else "startpos")
        moves = []
        for _ in range(2):  # a random opening for variety
            legal = legal_moves(e, head + (" moves " + " ".join(moves) if moves else ""))
            moves.append(rng.choice(legal))
        outcome = "cap"
        while len(moves) < PLY_CAP:
            position = head + " moves " + " ".join(moves)
            legal = legal_moves(e, position)
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
    starts = [("startpos", False)] * 15 + [(chess960_fen(n), True) for n in (0, 518, 311, 959, 707)]
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
