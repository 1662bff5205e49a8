"""Searching over UCI as a GUI drives it: limits, reporting, options, ponder, MultiPV, Chess960, bad input."""
import os
import re
import sys
import time

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, main, within

INFO = re.compile(r"^info depth \d+ seldepth \d+( multipv \d+)? score (cp -?\d+|mate -?\d+) time \d+ "
                  r"nodes \d+ nps \d+ pv( [a-h][1-8][a-h][1-8][qrbn]?)+ $")


def bestmove(lines):
    assert lines[-1].startswith("bestmove "), lines[-1]
    return lines[-1].split()[1]


def test_depth_nodes_movetime_and_clock(binary):
    e = Engine(binary)
    e.send("position startpos moves e2e4")
    lines = e.go("go depth 5")
    infos = [l for l in lines if l.startswith("info depth")]
    assert infos and all(INFO.match(l) for l in infos), infos[-3:]
    assert infos[-1].startswith("info depth 5 "), infos[-1]
    assert any(l.startswith("info hashfull ") for l in lines)
    assert lines.index([l for l in lines if l.startswith("info hashfull")][0]) == len(lines) - 2
    e.go("go nodes 5000")
    start = time.monotonic()
    e.go("go movetime 300", timeout=5)
    assert time.monotonic() - start < within(2.0)
    start = time.monotonic()
    e.go("go wtime 2000 btime 2000 winc 10 binc 10 movestogo 5", timeout=5)
    assert time.monotonic() - start < within(2.5)
    e.go("go mate 3")
    assert e.quit() == 0


def test_isready_during_search_and_stop(binary):
    e = Engine(binary)
    e.send("position startpos")
    e.send("go infinite")
    time.sleep(0.3)
    e.isready(timeout=2)
    e.send("stop")
    lines = e.expect(lambda l: l.startswith("bestmove"), 5)
    assert bestmove(lines) != "0000"
    # A burst of go/stop pairs: every go is answered by exactly one bestmove.
    for _ in range(10):
        e.send("go infinite")
        e.send("stop")
    count = 0
    deadline = time.monotonic() + 10
    while count < 10 and time.monotonic() < deadline:
        line = e.readline(1.0)
        if line and line.startswith("bestmove"):
            count += 1
    assert count == 10, count
    e.isready()
    assert e.quit() == 0


def test_ponder_and_ponderhit(binary):
    e = Engine(binary)
    e.send("position startpos moves e2e4 e7e5")
    e.send("go ponder wtime 1000 btime 1000")
    time.sleep(1.5)  # far past the time of a normal search: a ponder search holds its move
    e.send("isready")
    lines = e.expect(lambda l: l == "readyok", 5)
    assert not any(l.startswith("bestmove") for l in lines)
    e.send("ponderhit")
    bestmove(e.expect(lambda l: l.startswith("bestmove"), 5))
    assert e.quit() == 0


def test_quit_during_search(binary):
    e = Engine(binary)
    e.send("position startpos")
    e.send("go infinite")
    time.sleep(0.2)
    assert e.quit(timeout=5) == 0


def test_mate_score_and_searchmoves(binary):
    e = Engine(binary)
    e.send("position fen 8/8/8/8/8/6k1/4r3/6K1 b - - 0 1")
    lines = e.go("go depth 4")
    assert bestmove(lines) == "e2e1"
    # However short the search, its mate score is reported.
    e.send("position fen 4k3/p5r1/1p5p/1P1n2p1/8/1bP2PPK/3r4/8 b - - 0 1")
    lines = e.go("go depth 8")
    assert bestmove(lines) == "b3c4"
    assert any(" score mate 3 " in l for l in lines), lines[-4:]
    e.send("position startpos")
    lines = e.go("go depth 3 searchmoves a2a3 h2h3")
    assert bestmove(lines) in ("a2a3", "h2h3")
    # A move text carries no check flag: a checking move still matches its generated twin.
    e.send("position fen 4k3/8/8/8/8/8/8/R3K3 w - - 0 1")
    assert bestmove(e.go("go depth 4 searchmoves a1a8")) == "a1a8"
    e.send("position fen 6k1/5ppp/8/8/8/8/8/R5K1 b - - 0 1")
    lines = e.go("go depth 4")
    assert bestmove(lines) != "0000"
    e.send("position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1")
    lines = e.go("go depth 4")
    assert bestmove(lines) == "a1a8"
    assert e.quit() == 0


def test_multipv(binary):
    e = Engine(binary)
    e.send("setoption name MultiPV value 3")
    e.send("position startpos")
    lines = e.go("go depth 4")
    last = [l for l in lines if l.startswith("info depth 4 ")]
    numbers = sorted(int(re.search(r" multipv (\d+) ", l).group(1)) for l in last[-3:])
    assert numbers == [1, 2, 3], last
    assert e.quit() == 0


def test_options_case_insensitive_and_clamped(binary):
    e = Engine(binary)
    for line in ["setoption name hash value 16", "setoption name HASH value 0", "setoption name Threads value 8",
                 "setoption name threads value 1", "setoption name MultiPV value 100",
                 "setoption name multipv value 1", "setoption name UCI_Elo value 99999",
                 "setoption name Hash value 999999", "setoption name Hash value abc", "setoption name Nope value 1",
                 "setoption name Debug value false", "setoption name OwnBook value true"]:
        e.send(line)
        e.isready()
    e.send("position startpos")
    bestmove(e.go("go depth 3"))
    assert e.quit() == 0


def test_chess960_castling_text(binary):
    e = Engine(binary)
    e.send("setoption name UCI_Chess960 value true")
    # Castling is written as the king taking its own rook: e1b1 and e1g1 here.
    lines = e.perft("position fen 1r2k1r1/pppppppp/8/8/8/8/PPPPPPPP/1R2K1R1 w GBgb - 0 1", 1)
    assert "e1g1: 1" in lines and "e1b1: 1" in lines, lines
    lines = e.perft("position fen 1r2k1r1/pppppppp/8/8/8/8/PPPPPPPP/1R2K1R1 w GBgb - 0 1 moves e1b1", 1)
    assert "e8b8: 1" in lines, lines
    assert e.quit() == 0


def test_eval_and_bench_output(binary):
    e = Engine(binary)
    e.send("position startpos")
    e.send("eval")
    lines = e.expect(lambda l: l.startswith("Total score: "))
    assert lines[0].startswith("material"), lines[0]
    assert lines[-1].endswith("(white's point of view)")
    bestmove(e.go("go depth 1"))
    assert e.quit() == 0


def test_go_without_kings_or_moves(binary):
    e = Engine(binary)
    e.send("position fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1")  # stalemate
    assert bestmove(e.go("go depth 5", 5)) == "0000"
    e.send("position fen 7k/6Q1/6K1/8/8/8/8/8 b - - 0 1")  # checkmate
    assert bestmove(e.go("go movetime 100", 5)) == "0000"
    assert e.quit() == 0


if __name__ == "__main__":
    main([test_depth_nodes_movetime_and_clock, test_isready_during_search_and_stop, test_ponder_and_ponderhit,
          test_quit_during_search, test_mate_score_and_searchmoves, test_multipv,
          test_options_case_insensitive_and_clamped, test_chess960_castling_text, test_eval_and_bench_output,
          test_go_without_kings_or_moves])
