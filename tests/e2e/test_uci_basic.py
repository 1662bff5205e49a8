"""Start-up, handshake, positions, perft and bad input against the built engine binary."""
import os
import sys

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, main

UCI_LINES = [
    "id name Dravnik 0.40.1",
    "id author Harvenlo",
    "option name Hash type spin default 128 min 6 max 4096",
    "option name Threads type spin default 1 min 1 max 2",
    "option name Ponder type check default true",
    "option name OwnBook type check default false",
    "option name UCI_LimitStrength type check default false",
    "option name UCI_Elo type spin default 2000 min 1500 max 2200",
    "option name UCI_Chess960 type check default false",
    "option name MultiPV type spin default 1 min 1 max 256",
    "option name Debug type check default false",
    "uciok",
]


def test_handshake_and_quit(binary):
    e = Engine(binary)
    e.send("uci")
    got = [e.readline() for _ in UCI_LINES]
    assert got == UCI_LINES, got
    e.isready()
    assert e.quit() == 0
    assert e.proc.stdout.read() == b"", "quit must print nothing"


def test_perft_divide(binary):
    e = Engine(binary)
    lines = e.perft("position startpos", 3)
    assert lines[-1] == "Nodes searched: 8902", lines[-1]
    assert lines[-2] == ""
    assert len(lines) == 20 + 2, len(lines)
    assert "e2e4: 600" in lines and all(": " in l for l in lines[:-2])
    kiwipete = "position fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1"
    assert e.perft(kiwipete, 2)[-1] == "Nodes searched: 2039"
    assert e.quit() == 0


def test_incremental_position(binary):
    e = Engine(binary)
    e.send("position startpos moves e2e4")
    e.send("position startpos moves e2e4 e7e5")
    lines = e.perft("position startpos moves e2e4 e7e5 g1f3", 1)
    assert lines[-1] == "Nodes searched: 29", lines[-1]  # black to move after 1.e4 e5 2.Nf3
    assert e.quit() == 0


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
    ]
    for line in bad:
        e.send(line)
        e.isready()
    # The last good position stands: after the rejected lines the legal FEN above is kept.
    assert e.perft("position startpos", 2)[-1] == "Nodes searched: 400"
    # An illegal move in a list stops it like an unreadable one: made as it stands it would corrupt the board.
    lines = e.perft("position startpos moves e2e4 e1e3 e7e5", 1)
    assert lines[-1] == "Nodes searched: 20" and any("e1e3" in l for l in lines), lines[-3:]
    e.send("usermove e7e4")
    e.send("go perft 1")
    assert e.expect(lambda l: l.startswith("Nodes searched"))[-1] == "Nodes searched: 20"
    assert e.quit() == 0


def test_eval_report(binary):
    e = Engine(binary)
    e.send("position startpos")
    e.send("eval")
    lines = e.expect(lambda l: l.startswith("Total score: "))
    assert len(lines) == 47 + 2, len(lines)
    assert lines[0].startswith("material") and lines[46].startswith("stm") and lines[47] == ""
    assert lines[-1] == "Total score: 14     (white's point of view)", lines[-1]
    assert e.quit() == 0


if __name__ == "__main__":
    main([test_handshake_and_quit, test_perft_divide, test_incremental_position,
          test_malformed_input_keeps_the_engine_serving, test_eval_report])
