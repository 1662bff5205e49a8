"""A real Polyglot book, Debian's gnuchess-book, reachable as Dravnik.bin in the working directory: the keys
and the record format must match what other programs write."""
import os
import struct
import sys
import tempfile

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, bestmove, ensure, main, skip

BOOK = "/usr/share/games/gnuchess/book.bin"
START_KEY = 0x463B96181691FC9C
AFTER_E4_KEY = 0x823C9B50FD114196


def book_moves(key):
    """The book's moves for a key, in coordinates (castling as the file stores it, king onto rook)."""
    with open(BOOK, "rb") as f:
        data = f.read()
    square = lambda s: "abcdefgh"[s % 8] + str(s // 8 + 1)
    records = (struct.unpack(">QHHI", data[i:i + 16]) for i in range(0, len(data) - 15, 16))
    return {square((m >> 6) & 63) + square(m & 63) for k, m, w, _ in records if k == key and w > 0}


def test_the_book_answers_the_opening(binary):
    with tempfile.TemporaryDirectory() as tmp:
        os.symlink(BOOK, os.path.join(tmp, "Dravnik.bin"))
        e = Engine(binary, cwd=tmp)
        e.send("setoption name OwnBook value true")
        for moves, key in (("", START_KEY), (" moves e2e4", AFTER_E4_KEY)):
            e.send("position startpos" + moves)
            lines = e.go("go wtime 60000 btime 60000", 5)
            assert not any(l.startswith("info depth") for l in lines), lines  # no search: a book move
            assert bestmove(lines) in book_moves(key), (moves, lines[-1], sorted(book_moves(key)))
        assert e.quit() == 0


if __name__ == "__main__":
    if not ensure(lambda: os.path.exists(BOOK), "gnuchess-book"):
        skip("%s is missing and gnuchess-book could not be installed" % BOOK)
    main([test_the_book_answers_the_opening])
