#!/usr/bin/env python3
"""The judgement tool's view of the evaluation: each variable's share blended by phase as the engine blends
it, and the report of what each variable does to the rank correlation."""
import os
import re
import subprocess
import sys
import tempfile
import unittest

ENGINE = os.path.abspath(sys.argv[1]) if len(sys.argv) > 1 else "build/release/dravnik"
ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path.insert(0, os.path.join(ROOT, "tools"))
from eval_totals import blended_terms, eval_reports, middle_game_share  # noqa: E402
from judgement import takes  # noqa: E402

# An opening, a middle game, a rook ending and a queen against a rook: phases from full to bare; each with
# a score for White that follows the material.
POSITIONS = [("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1", 30),
             ("r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 8", 20),
             ("r2q1rk1/1b2bppp/p2ppn2/1p6/3NP3/1BN1B3/PPP2PPP/R2Q1RK1 w - - 0 11", 40),
             ("8/5pk1/6p1/8/R7/6P1/5PK1/r7 w - - 0 40", 0),
             ("8/5pk1/6p1/8/8/6P1/5PK1/r7 w - - 0 40", -500),
             ("4k3/8/8/8/8/8/3QK3/7r w - - 0 1", 600)]


def judge(positions, option):
    """The judgement tool's output on the positions (FEN, score) with the option."""
    with tempfile.NamedTemporaryFile("w", suffix=".epd", delete=False) as f:
        for fen, score in positions:
            f.write("%s; score_cp %d\n" % (fen, score))
    try:
        return subprocess.run([sys.executable, os.path.join(ROOT, "tools", "judgement.py"), ENGINE, f.name,
                               option], capture_output=True, text=True, check=True).stdout
    finally:
        os.unlink(f.name)


class Judgement(unittest.TestCase):
    def test_phase_follows_the_pieces_and_the_shares_add_up(self):
        reports = eval_reports(ENGINE, [f for f, _ in POSITIONS[:4]] + ["not a position"])
        self.assertIsNone(reports[-1])
        shares = [middle_game_share(r) for r in reports[:-1]]
        self.assertGreater(shares[0], 0.9)  # all pieces: the middle-game column counts
        self.assertLess(shares[3], 0.35)  # a rook each: mostly the endgame column
        self.assertGreater(shares[1], shares[3])
        for report in reports[:-1]:
            terms = blended_terms(report)
            self.assertEqual(len(terms), 47)
            self.assertEqual(terms[0][0], "material")
            self.assertAlmostEqual(sum(v for _, v in terms), report[0], delta=1.0)

    def test_terms_report_leaving_out_material_loses_most(self):
        out = judge(POSITIONS, "--terms")
        self.assertIn("positions 6 (refused 0)", out)
        rows = [line.split() for line in out.split("each variable")[1].splitlines()[1:]]
        self.assertEqual(len(rows), 47)
        changes = {r[0]: float(r[3]) for r in rows}
        self.assertEqual(min(changes, key=changes.get), "material")
        self.assertLess(changes["material"], 0.0)

    def test_quiet_leaves_out_pending_captures(self):
        self.assertTrue(takes("4k3/8/8/3r4/8/8/8/3QK3 w - - 0 1", "d1d5"))
        self.assertFalse(takes("4k3/8/8/3r4/8/8/8/3QK3 w - - 0 1", "d1d4"))
        self.assertTrue(takes("4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8q"))
        self.assertTrue(takes("4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 2", "d5e6"))
        self.assertFalse(takes("4k3/8/8/3Pp3/8/8/8/4K3 w - - 0 2", "d5d6"))
        self.assertFalse(takes("4k3/8/8/3Pp3/5N2/8/8/4K3 w - e6 0 2", "f4e6"))  # no pawn: no capture
        self.assertFalse(takes("4k3/8/4p3/3P4/8/8/8/4K3 w - - 0 2", "e1e2"))
        self.assertTrue(takes("4k3/8/4p3/3P4/8/8/8/4K3 w - - 0 2", "d5e6"))
        # The hanging rook is taken at once and left out; the first reply to 1.e4 is no capture.
        out = judge(POSITIONS + [("4k3/8/8/3r4/8/8/8/3QK3 w - - 0 1", 900)], "--quiet")
        kept = re.search(r"quiet: (\d+) of 7 positions\npositions (\d+) \(refused 0\)", out)
        self.assertTrue(kept and kept.group(1) == kept.group(2) and int(kept.group(1)) < 7, out)
        self.assertNotIn("3r4/8/8/8/3QK3", out)
        self.assertIn("rnbqkbnr/pppppppp/8/8/4P3", out)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
