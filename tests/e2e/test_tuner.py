#!/usr/bin/env python3
"""The evaluation tuner's tools: which positions of a game become data, with which label, and a fit that
lowers the loss and writes constants the source can take back."""
import os
import re
import subprocess
import sys
import tempfile
import unittest

BUILD = os.path.dirname(os.path.abspath(sys.argv[1])) if len(sys.argv) > 1 else "build/release"
ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))

# Scholar's mate, fool's mate, a rook check from a FEN, and an unfinished game. With no opening plies left
# out, every position before a move is looked at: all are quiet but the one where the queen takes on f7
# with mate, the one with the side to move in check, and those of the unfinished game. The manager's
# comments give the mover's search score in pawns: a book move and a mate score give none.
GAMES = """[Event "a"]
[Result "1-0"]

1. e2e4 {+0.3/5 0.01s} e7e5 {-0.50/6 0.01s} 2. d1h5 {book} b8c6 {+M3/4 0.01s} 3. f1c4 {+1.00/7
0.01s, a comment over two lines} g8f6 4. h5f7 1-0

[Event "b"]
[Result "0-1"]

1. f2f3 e7e5 2. g2g4 d8h4 0-1

[Event "c"]
[FEN "4k3/8/8/8/8/8/4R3/4K3 b - - 0 1"]
[Result "1/2-1/2"]

1... e8d8 2. e1f1 1/2-1/2

[Event "d"]
[Result "*"]

1. e2e4 e7e5 *
"""


def numbers(text):
    return re.findall(r"-?\d+(?:\.\d+)?(?:e-?\d+)?f?", re.sub(r"//.*|/\*.*?\*/", "", text))


class Tuner(unittest.TestCase):
    def test_quiet_positions_with_their_game_results(self):
        out = subprocess.run([os.path.join(BUILD, "extract_positions"), "0"], input=GAMES, text=True,
                             capture_output=True, check=True).stdout.splitlines()
        labels = [line.split(";")[1] for line in out]
        self.assertEqual(labels, ["1"] * 6 + ["0"] * 4 + ["0.5"])
        # Scores in evaluation units (266 a pawn) from white's side.
        scores = [(line.split(";") + [None])[2] for line in out[:6]]
        self.assertEqual(scores, ["80", "133", None, None, "266", None])
        fens = [line.split(";")[0] for line in out]
        self.assertNotIn("r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - 4 4", fens)
        self.assertNotIn("4k3/8/8/8/8/8/4R3/4K3 b - - 0 1", fens)
        self.assertEqual(fens[-1], "3k4/8/8/8/8/8/4R3/4K3 w - - 1 2")
        # The opening's plies are left out by default.
        default = subprocess.run([os.path.join(BUILD, "extract_positions")], input=GAMES, text=True,
                                 capture_output=True, check=True).stdout
        self.assertEqual(default, "")

    def test_a_fit_lowers_the_loss_and_writes_source(self):
        with tempfile.TemporaryDirectory() as tmp:
            inc = os.path.join(tmp, "measures_values.inc")
            report = subprocess.run([os.path.join(BUILD, "tune_eval"),
                                     os.path.join(ROOT, "tests", "data", "tune_sample.txt"), "1", inc],
                                    text=True, capture_output=True, check=True, timeout=300).stdout
            before = re.search(r"loss before: fitted ([\d.]+), held out ([\d.]+)", report)
            after = re.search(r"loss after:  fitted ([\d.]+), held out ([\d.]+)", report)
            self.assertIsNotNone(before, report)
            self.assertLess(float(after.group(1)), float(before.group(1)), report)
            with open(inc) as f, open(os.path.join(ROOT, "src", "eval", "measures_values.inc")) as g:
                self.assertEqual(len(numbers(f.read())), len(numbers(g.read())))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
