#!/usr/bin/env python3
"""SPSA over the search's constants: the tool reads every constant the header declares, the tuning build
offers them and holds them within their ranges (a normal build offers none), and the tool's steps round,
clamp and resume as a run in one sitting would."""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ENGINE = os.path.abspath(sys.argv[1]) if len(sys.argv) > 1 else "build/release/dravnik"
ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path.insert(0, os.path.join(ROOT, "tools"))
from match import empty_totals  # noqa: E402
from spsa import (HEADER, Parameter, announced, apply, perturb, read_log, read_parameters, tune,  # noqa: E402
                  update)


def benches(commands):
    """The bench node counts of one engine process given the commands (each "bench" reports one)."""
    out = subprocess.run([ENGINE], input="\n".join(commands + ["quit"]) + "\n", stdout=subprocess.PIPE,
                         text=True, timeout=600).stdout
    return [int(n) for n in re.findall(r"^nodes:\s*(\d+)", out, re.MULTILINE)]


class Declarations(unittest.TestCase):
    def test_every_declaration_is_read_with_its_default_in_range(self):
        params = read_parameters()
        with open(HEADER) as f:
            declared = re.findall(r"DRAVNIK_TUNABLE\((\w+)", f.read())
        self.assertEqual([p.name for p in params], declared)  # none lost to a layout the pattern misses
        self.assertEqual(len(set(declared)), len(declared))
        for p in params:
            self.assertTrue(p.min <= p.default <= p.max and 0 < p.step <= p.max - p.min, p)

    def test_the_tuning_build_offers_them_within_their_ranges(self):
        params = read_parameters()
        options = announced(ENGINE)
        offered = [name for name in options if name in {p.name for p in params}]
        if not offered:
            return  # a normal build: its options are the usual ones (test_uci)
        self.assertEqual([(p.name, p.default, p.min, p.max) for p in params],
                         [(n,) + options[n] for n in offered])
        default, below, at_zero, lmr = benches([
            "bench", "setoption name futility_margin_1 value -5000", "bench",
            "setoption name FUTILITY_MARGIN_1 value 0", "setoption name lmr_divisor value abc", "bench",
            "setoption name futility_margin_1 value 99", "setoption name lmr_divisor value 150", "bench"])
        self.assertNotEqual(below, default)
        self.assertEqual(below, at_zero)  # held at its minimum; a malformed value changes nothing
        self.assertNotEqual(lmr, default)  # the reduction table was built anew


P = [Parameter("a", 10, 0, 12, 4), Parameter("b", 0, -3, 3, 1)]


class Steps(unittest.TestCase):
    def test_nudges_are_rounded_half_up_within_the_ranges(self):
        # The first iteration nudges by whole steps: a 10.4 +/- 4, b 0.5 -/+ 1.
        self.assertEqual(perturb([10.4, 0.5], P, 0, 10, [1, -1]), ([12, 0], [6, 2]))
        self.assertEqual(perturb([1.0, -2.6], P, 0, 10, [-1, -1]), ([0, -3], [5, -2]))

    def test_a_game_won_moves_each_constant_by_the_rate_at_first_and_less_later(self):
        self.assertEqual(update([10.0, 0.0], P, 0, 10, [1, -1], 1, 1.0), [12, -1.0])  # a held at its maximum
        self.assertEqual(update([10.0, 0.0], P, 0, 10, [1, -1], -2, 1.0), [2.0, 2.0])
        later = update([10.0, 0.0], P, 9, 10, [1, -1], -1, 1.0)
        self.assertTrue(10 - 4 < later[0] < 10 and 0 < later[1] < 0.5, later)
        slow = update([10.0, 0.0], P, 0, 10, [1, -1], -2)  # the default rate: a tenth of that
        self.assertEqual([round(x, 9) for x in slow], [9.2, 0.2])

    def test_a_run_resumed_after_an_interruption_ends_as_one_in_a_single_sitting(self):
        def play(plus, minus, k, seed, stop_at=None):
            if k == stop_at:
                raise KeyboardInterrupt
            totals = empty_totals()
            # theta+ wins when its a is nearer 7 than theta-'s; the seed decides the second game.
            totals["games"] = 2
            totals["wins"] = int(abs(plus[0] - 7) < abs(minus[0] - 7)) + seed % 2
            totals["losses"] = 2 - totals["wins"] - (seed % 3 == 0 and totals["wins"] < 2)
            totals["time"]["old"] = int(k == 5)
            return totals

        with tempfile.TemporaryDirectory() as tmp:
            whole, parts = os.path.join(tmp, "whole.csv"), os.path.join(tmp, "parts.csv")
            theta = tune(P, 8, play, whole, False, report=lambda _: None)
            with self.assertRaises(KeyboardInterrupt):
                tune(P, 8, lambda *a: play(*a, stop_at=3), parts, False, report=lambda _: None)
            self.assertEqual(read_log(parts, P)[0], 3)
            self.assertRaises(SystemExit, tune, P, 8, play, parts, False)  # never overwritten
            self.assertEqual(tune(P, 8, play, parts, True, report=lambda _: None), theta)
            with open(whole) as a, open(parts) as b:
                self.assertEqual(a.read(), b.read())
            self.assertNotEqual(theta, [10.0, 0.0])
            self.assertEqual(read_log(parts, P)[1:], (theta, 16, {"time": 1, "illegal": 0, "crash": 0}))

    def test_apply_writes_the_rounded_values_as_defaults_and_nothing_else(self):
        params = read_parameters()
        theta = [p.default + 0.6 for p in params]
        theta[0] = params[0].max + 10.0
        with tempfile.TemporaryDirectory() as tmp:
            copy = os.path.join(tmp, "pruning.h")
            shutil.copy(HEADER, copy)
            apply(theta, params, copy)
            expected = [p._replace(default=min(p.default + 1, p.max)) for p in params]
            expected[0] = params[0]._replace(default=params[0].max)
            self.assertEqual(read_parameters(copy), expected)
            with open(HEADER) as a, open(copy) as b:
                other = lambda text: re.sub(r"DRAVNIK_TUNABLE\(\w+, -?\d+", "", text)
                self.assertEqual(other(a.read()), other(b.read()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
