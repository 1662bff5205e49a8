"""The opening book over UCI, with Debian's gnuchess-book reachable as Dravnik.bin in the working directory."""
import os
import struct
import sys
import tempfile

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, ensure, main, skip

BOOK = "/usr/share/games/gnuchess/book.bin"
START_KEY = 0x463B96181691FC9C


def book_moves(key):
    """Texts of the book's moves for a key (castling written king onto rook, as the file stores it)."""
    moves = set()
    with open(BOOK, "rb") as f:
        data = f.read()
    for off in range(0, len(data) - 15, 16):
        k, move, weight, _ = struct.unpack(">QHHI", data[off:off + 16])
        if k == key and weight > 0:
            sq = lambda s: "abcdefgh"[s % 8] + str(s // 8 + 1)
            text = sq((move >> 6) & 63) + sq(move & 63)
            moves.add({"e1h1": "e1g1", "e1a1": "e1c1"}.get(text, text))
    return moves


def test_book_move_from_the_start_position(binary):
    with tempfile.TemporaryDirectory() as tmp:
        os.symlink(BOOK, os.path.join(tmp, "Dravnik.bin"))
        e = Engine(binary, cwd=tmp)
        e.send("setoption name OwnBook value true")
        e.send("position startpos")
        lines = e.go("go wtime 60000 btime 60000", 5)
        assert not any(l.startswith("info depth") for l in lines), lines  # answered from the book, no search
        move = lines[-1].split()[1]
        expected = book_moves(START_KEY)
        assert move in expected, (move, sorted(expected))
        # Analysis and pondering want a search, never an instant book move.
        for go in ("go infinite", "go ponder wtime 60000 btime 60000"):
            e.send("position startpos")
            e.send(go)
            lines = e.expect(lambda l: l.startswith("info depth"), 5)
            assert not any(l.startswith("bestmove") for l in lines), (go, lines)
            e.send("stop")
            e.expect(lambda l: l.startswith("bestmove"), 5)
        # Far outside the book the engine searches as usual.
        e.send("position fen 8/8/4k3/8/8/4K3/4P3/8 w - - 0 1")
        lines = e.go("go depth 6", 10)
        assert any(l.startswith("info depth") for l in lines), lines
        assert e.quit() == 0


if __name__ == "__main__":
    if not ensure(lambda: os.path.exists(BOOK), "gnuchess-book"):
        skip("%s is missing and gnuchess-book could not be installed" % BOOK)
    main([test_book_move_from_the_start_position])
