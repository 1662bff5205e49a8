"""The engine over UCI as a GUI drives it: handshake, bad input, search limits and stop, searchmoves,
positions without a move, Chess960 castling text."""
import os
import re
import sys
import time

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, assert_search_ending, bestmove, main


def test_handshake_and_quit(binary):
    e = Engine(binary)
    e.send("uci")
    lines = e.expect(lambda l: l == "uciok")
    assert lines[0].startswith("id name Dravnik ") and lines[1].startswith("id author "), lines[:2]
    # Each option line itself is checked against the manual page (test_manual.py).
    assert len(lines) == 12 and all(l.startswith("option name ") for l in lines[2:-1]), lines
    e.isready()
    assert e.quit() == 0
    assert e.proc.stdout.read() == b"", "quit must print nothing"


def test_malformed_input_keeps_the_engine_serving(binary):
    e = Engine(binary)
    bad = [
        "position fen rnbqkbnr/ppppXppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "position fen rnbqkbnrr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "position fen 8/8/8/8/8/8/8/8/8/8 w - - 0 1",
        "position fen 8/8/8/8/8/8/8/8 w - - 0 1",
        "position fen 4k3/8/8/8/8/8/8/4K2P w - - 0 1",
        "position fen k7/8/8/8/8/8/8/R3K3 w - - 0 1",  # black is in check but not to move
        "position fen",
        "position",
        "position startpos moves e2e4 zz99 e7e5",
        "position startpos moves e7e5",
        "go perft",
        "go perft -3",
        "go perft x",
        "setoption name",
        "xyzzy",
        "\t  ",
        "position fen " + "1" * 5000,
        "position fen nrnqkbnr/pppppppp/8/8/QKBNR/pppppppp/8 w KQkq - 0 1",  # more men than can be counted
    ]
    for line in bad:
        e.send(line)
        e.isready()
    # The last good position stands: after the rejected lines the legal FEN above is kept.
    e.send("position fen 4k3/8/8/8/8/8/8/4K2R w K - 0 1")
    e.send("position fen nrnqkbnr/pppppppp/8/8/QKBNR/pppppppp/8 w KQkq - 0 1")
    lines = e.expect(lambda l: l.startswith("info string"))
    assert "more than 16 men" in lines[-1], lines
    e.send("go perft 1")
    assert e.expect(lambda l: l.startswith("Nodes searched"))[-1] == "Nodes searched: 15"
    assert e.perft("position startpos", 2)[-1] == "Nodes searched: 400"
    # An illegal move in a list stops it like an unreadable one: made as it stands it would corrupt the board.
    lines = e.perft("position startpos moves e2e4 e1e3 e7e5", 1)
    assert lines[-1] == "Nodes searched: 20" and any("e1e3" in l for l in lines), lines[-3:]
    e.send("usermove e7e4")
    e.send("go perft 1")
    assert e.expect(lambda l: l.startswith("Nodes searched"))[-1] == "Nodes searched: 20"
    # A list cut short is not remembered as taken: the next command that extends it is read in full, not
    # played on from where the cut one left the board.
    e.send("position startpos moves e2e4")
    e.send("position startpos moves e2e4 e7e5 e1e3")
    assert e.perft("position startpos moves e2e4 e7e5 g1f3 b8c6", 1)[-1] == "Nodes searched: 27"
    assert e.quit() == 0


def test_depth_nodes_and_mate_limits(binary):
    # Move times and clocks are judged by the protocol test and the self-play games.
    e = Engine(binary)
    e.send("position startpos moves e2e4")
    lines = e.go("go depth 5")
    assert_search_ending(lines, finished=True)
    assert lines[-3].startswith("info depth 5 "), lines[-3:]
    assert e.isready() == ["readyok"]  # nothing after the move
    e.go("go nodes 5000")
    e.go("go mate 3")
    assert e.quit() == 0


def test_isready_during_search_stop_and_quit(binary):
    e = Engine(binary)
    e.send("position startpos")
    e.send("go infinite")
    time.sleep(0.3)
    lines = e.isready(timeout=2)[:-1]
    e.send("stop")
    lines += e.expect(lambda l: l.startswith("bestmove"), 5)
    assert_search_ending(lines, finished=False)
    assert e.isready() == ["readyok"]
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
    # "quit" during a search ends the engine promptly.
    e.send("go infinite")
    time.sleep(0.2)
    assert e.quit(timeout=5) == 0


def test_mate_score_searchmoves_and_positions_without_a_move(binary):
    e = Engine(binary)
    # However short the search, its mate score is reported.
    e.send("position fen 4k3/p5r1/1p5p/1P1n2p1/8/1bP2PPK/3r4/8 b - - 0 1")
    lines = e.go("go depth 9")
    assert bestmove(lines) == "b3c4"
    assert any(" score mate 3 " in l for l in lines), lines[-4:]
    e.send("position startpos")
    assert bestmove(e.go("go depth 3 searchmoves a2a3 h2h3")) in ("a2a3", "h2h3")
    # A move text carries no check flag: a checking move still matches its generated twin.
    e.send("position fen 4k3/8/8/8/8/8/8/R3K3 w - - 0 1")
    assert bestmove(e.go("go depth 4 searchmoves a1a8")) == "a1a8"
    e.send("position fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1")  # stalemate
    assert bestmove(e.go("go depth 5", 5)) == "0000"
    e.send("position fen 7k/6Q1/6K1/8/8/8/8/8 b - - 0 1")  # checkmate
    assert bestmove(e.go("go movetime 100", 5)) == "0000"
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


def test_what_the_front_end_reads_and_reports(binary):
    e = Engine(binary)
    # A FEN without its two counters, then moves: the moves are played, not read as counters.
    lines = e.perft("position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - moves e2e4 e7e5", 1)
    assert lines[-1] == "Nodes searched: 29", lines[-3:]
    # Nodes per second are nodes over the time in seconds, from the same line.
    e.send("position startpos")
    for line in e.go("go movetime 500", 10):
        f = line.split()
        if line.startswith("info") and "nps" in f and int(f[f.index("time") + 1]) >= 100:
            nodes, ms, nps = (int(f[f.index(k) + 1]) for k in ("nodes", "time", "nps"))
            assert 0.5 < nps / (nodes * 1000 / ms) < 2, line
    assert e.quit() == 0


if __name__ == "__main__":
    main([test_what_the_front_end_reads_and_reports, test_handshake_and_quit, test_malformed_input_keeps_the_engine_serving,
          test_depth_nodes_and_mate_limits, test_isready_during_search_stop_and_quit,
          test_mate_score_searchmoves_and_positions_without_a_move, test_chess960_castling_text])
