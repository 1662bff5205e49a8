"""The engine's own commands (bench, usermove, testpos, eval), the Debug log files, the command line, and
where the opening book is looked for."""
import glob
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(__file__))
from test_bench_nodes import POSITION_NODES
from uci_driver import Engine, main

START_KEY = 0x463B96181691FC9C
KNIGHTS_OUT_AND_BACK_KEY = 0x1DD5A2EDBB6BBD0A  # after 1.Nf3 Nf6 2.Ng1, black to move


BENCH_LINE = re.compile(r"^position: (.+)\t  depth=12  nps=\d+  nodes=(\d+)  time=[\d.e+-]+  ebf=[\d.e+-]+"
                        r"  eval=-?\d+  bestmove [a-h][1-8][a-h][1-8][qrbn]?$")


def bench_nodes(lines):
    """Checks the bench table's shape; the node count of each position and the total."""
    assert len(lines) == 8, lines
    rows = [BENCH_LINE.match(l) for l in lines[:3]]
    assert all(rows), lines[:3]
    sep = "-------------------------------------"
    assert lines[3] == sep and lines[7] == sep, lines
    assert lines[4].startswith("nodes: \t") and lines[5].startswith("time: \t") and lines[6].startswith("nps:  \t")
    nodes = [int(r.group(2)) for r in rows]
    assert int(lines[4].split("\t")[1]) == sum(nodes), lines[4]
    return nodes


def test_bench_on_the_command_line(binary):
    run = subprocess.run([binary, "bench"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, timeout=600)
    assert run.returncode == 0, run.stderr
    # The signature of the build: the same counts as the bench over UCI, on every run.
    assert bench_nodes(run.stdout.decode().splitlines()) == POSITION_NODES
    for args in (["benchx"], ["bench", "1"], ["--help"]):
        bad = subprocess.run([binary] + args, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, timeout=30)
        assert bad.returncode != 0 and bad.stdout == b"", args
        assert len(bad.stderr.decode().splitlines()) == 1 and "bench" in bad.stderr.decode(), bad.stderr


def test_usermove_testpos_and_eval(binary):
    e = Engine(binary)
    e.send("position startpos")
    e.send("usermove e2e4")
    lines = e.perft("usermove e7e5", 1)  # two moves played on the kept position
    assert lines[-1] == "Nodes searched: 29" and "g1f3: 1" in lines, lines
    e.send("usermove e9e9")  # refused; the position stays
    e.send("usermove")
    assert e.perft("isready", 1)[-1] == "Nodes searched: 29"
    testpos = "b4bN1/4p1p1/1Q1p2K1/q1np4/3p1Rnk/6pr/4Rppr/3N4 w - - 0 1"
    for depth in (1, 2):
        assert e.perft("position testpos", depth) == e.perft("position fen " + testpos, depth)
    assert e.quit() == 0


def test_eval_reports_every_term_in_its_column(binary):
    # The reports are the engine's own units, to the printed digit: a figure in the wrong column, a term
    # dropped or a total weighted by the wrong phase shows.
    with open(os.path.join(os.path.dirname(__file__), "..", "data", "eval_reports.txt")) as f:
        blocks = [b.strip("\n").split("\n") for b in re.split(r"\n(?=position )", f.read()) if b.startswith("pos")]
    e = Engine(binary)
    e.send("position startpos")
    for block in blocks:
        e.send(block[0])  # the report of the position set last, not of the start position
        e.send("eval")
        assert e.expect(lambda l: l.startswith("Total score: ")) == block[1:], block[0]
    assert e.quit() == 0


def test_debug_writes_the_log_files(binary):
    with tempfile.TemporaryDirectory() as tmp:
        e = Engine(binary, cwd=tmp)
        e.send("position startpos")
        e.go("go depth 2")
        e.isready()
        assert os.listdir(tmp) == [], os.listdir(tmp)  # nothing is written while Debug is off
        e.send("setoption name debug value true")
        e.send("position startpos moves d2d4")
        best = e.go("go depth 4")[-1]
        e.send("setoption name Debug value false")
        e.isready()
        assert e.quit() == 0
        engine_logs = glob.glob(os.path.join(tmp, "uci_eng_*.log"))
        assert len(engine_logs) == 1 and re.search(r"uci_eng_\d+\.log$", engine_logs[0]), os.listdir(tmp)
        text = open(engine_logs[0]).read()
        assert "engine <- position startpos moves d2d4\n" in text and "engine <- go depth 4\n" in text, text
        assert "engine -> " + best + "\n" in text and "engine -> info depth 4 " in text, text
        assert "engine <- setoption name Debug value false\n" in text
        assert len(glob.glob(os.path.join(tmp, "analysis_*.log"))) == 1, os.listdir(tmp)
        evals = open(os.path.join(tmp, "eval_log.log")).read().splitlines()
        assert len(evals) > 10 and all(re.match(r"^\S+ [wb] \S+ \S+ \d+ \d+ : -?\d+$", l) for l in evals), evals[:3]


def book(path, *records):
    """A Polyglot book of (key, move) records, the moves in coordinates, each of weight 1."""
    square = lambda name: "abcdefgh".index(name[0]) + 8 * (int(name[1]) - 1)
    with open(path, "wb") as f:
        for key, move in records:
            f.write(struct.pack(">QHHI", key, square(move[2:4]) | square(move[:2]) << 6, 1, 0))


SYSTEM_BOOKS = ("/usr/local/games/dravnik.files", "/usr/games/dravnik.files")


def isolated_engine(binary, tmp, places):
    """The engine in a mount namespace of its own whose games folders are empty but for the given books."""
    commands = ["mount -t tmpfs tmpfs /usr/local/games", "mount -t tmpfs tmpfs /usr/games"]
    for folder in SYSTEM_BOOKS:
        commands.append("mkdir -p " + folder)
        if folder in places:
            commands.append("cp %s %s/Dravnik.bin" % (places[folder], folder))
    commands.append("exec " + os.path.abspath(binary))
    wrapper = os.path.join(tmp, "isolated.sh")
    with open(wrapper, "w") as f:
        f.write("#!/bin/sh\nexec unshare -m sh -ec '%s'\n" % "; ".join(commands))
    os.chmod(wrapper, 0o755)
    return Engine(wrapper, cwd=tmp)


def can_isolate():
    try:
        return subprocess.run(["unshare", "-m", "sh", "-c", "mount -t tmpfs tmpfs /usr/games"],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=10).returncode == 0
    except (OSError, subprocess.TimeoutExpired):
        return False


def book_answer(e, moves=""):
    """The book's move, or None when the engine searched (a search of depth 8 always reports)."""
    e.send("setoption name OwnBook value true")
    e.send("position startpos" + (" moves " + moves if moves else ""))
    lines = e.go("go depth 8")
    return None if any(l.startswith("info depth") for l in lines) else lines[-1].split()[1]


def test_book_places_in_order_and_when_the_book_answers(binary):
    if not can_isolate():
        print("#" * 60 + "\nSKIPPED test_book_places_in_order: needs root and unshare -m\n" + "#" * 60)
        return
    with tempfile.TemporaryDirectory() as tmp:
        books = {}
        for name, move in (("local", "e2e4"), ("games", "d2d4"), ("cwd", "c2c4")):
            books[name] = os.path.join(tmp, name + ".bin")
            book(books[name], (START_KEY, move))
        shutil.copy(books["cwd"], os.path.join(tmp, "Dravnik.bin"))
        every = {SYSTEM_BOOKS[0]: books["local"], SYSTEM_BOOKS[1]: books["games"]}
        for places, expected in ((every, "e2e4"), ({SYSTEM_BOOKS[1]: books["games"]}, "d2d4"), ({}, "c2c4")):
            e = isolated_engine(binary, tmp, places)
            assert book_answer(e) == expected, (sorted(places), expected)
            assert e.quit() == 0
        # Without any book OwnBook stays off and the engine searches.
        os.remove(os.path.join(tmp, "Dravnik.bin"))
        e = isolated_engine(binary, tmp, {})
        assert book_answer(e) is None
        assert e.quit() == 0

        # The book answers while the game history holds fewer than 25 positions.
        book(os.path.join(tmp, "Dravnik.bin"), (KNIGHTS_OUT_AND_BACK_KEY, "b8c6"), (START_KEY, "b1c3"))
        e = isolated_engine(binary, tmp, {})
        shuffle = " ".join(["g1f3 g8f6 f3g1 f6g8"] * 5)
        assert book_answer(e, shuffle + " g1f3 g8f6 f3g1") == "b8c6"  # 23 moves: 24 positions
        assert book_answer(e, shuffle + " g1f3 g8f6 f3g1 f6g8") is None  # 24 moves: 25 positions
        assert book_answer(e, "g1f3 g8f6 f3g1 f6g8") == "b1c3"
        assert e.quit() == 0


def test_analysis_and_pondering_never_take_a_book_move(binary):
    if any(os.path.exists(os.path.join(folder, "Dravnik.bin")) for folder in SYSTEM_BOOKS):
        print("#" * 60 + "\nSKIPPED test_analysis_and_pondering: a system book comes first\n" + "#" * 60)
        return
    with tempfile.TemporaryDirectory() as tmp:
        book(os.path.join(tmp, "Dravnik.bin"), (START_KEY, "e2e4"))
        e = Engine(binary, cwd=tmp)
        assert book_answer(e) == "e2e4"
        # A GUI's analysis, or pondering, wants a search, not an instant answer.
        for go in ("go infinite", "go ponder wtime 60000 btime 60000"):
            e.send("position startpos")
            e.send(go)
            assert not any(l.startswith("bestmove") for l in e.expect(lambda l: l.startswith("info depth"), 5)), go
            e.send("stop")
            e.expect(lambda l: l.startswith("bestmove"), 5)
        assert e.quit() == 0


if __name__ == "__main__":
    main([test_bench_on_the_command_line, test_usermove_testpos_and_eval, test_eval_reports_every_term_in_its_column,
          test_debug_writes_the_log_files, test_book_places_in_order_and_when_the_book_answers,
          test_analysis_and_pondering_never_take_a_book_move])
