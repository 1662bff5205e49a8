"""What an analysing user reads: every MultiPV line is the best move of those not in the lines above, with
its exact score and whole line, as a search restricted to those moves finds it; and a weakened engine
answers at its planned time, not at its hard limit."""
import os
import re
import sys
import time

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, main, within

LINE = re.compile(r"^info depth (\d+) .* multipv (\d+) score (cp|mate) (-?\d+) .* pv (.*?) ?$")
# White wins the queen, then the knight; the rest lose material. The second is a quiet opening position.
TACTICAL = "6k1/5ppp/8/3q3r/n7/2N5/4BPPP/R5K1 w - - 0 1"
OPENING = "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3"


def final_lines(lines, depth):
    """The last report's lines at the given depth, by their multipv number."""
    found = {}
    for l in lines:
        m = LINE.match(l)
        if m and int(m.group(1)) == depth:
            found[int(m.group(2))] = (m.group(3), int(m.group(4)), m.group(5).split())
    return [found[k] for k in sorted(found)]


def best_of(e, fen, depth, moves):
    """Score and move of a fresh single-line search restricted to the given moves."""
    e.send("setoption name MultiPV value 1")
    e.send("ucinewgame")
    e.send("position fen " + fen)
    out = e.go("go depth %d searchmoves %s" % (depth, " ".join(moves)), 120)
    last = [l for l in out if l.startswith("info depth %d " % depth)][-1]
    return int(re.search(r" score cp (-?\d+) ", last).group(1)), out[-1].split()[1]


def test_each_line_is_the_best_of_the_moves_below_the_lines_above(binary):
    e = Engine(binary)
    # A separate search of the same moves builds another tree: its score may differ by about a tenth of a
    # pawn in the tactical position's losing lines, more in the quiet opening.
    for fen, depth, count, tolerance in ((TACTICAL, 7, 3, 25), (OPENING, 8, 4, 40)):
        e.send("setoption name MultiPV value %d" % count)
        e.send("ucinewgame")
        e.send("position fen " + fen)
        lines = final_lines(e.go("go depth %d" % depth, 120), depth)
        assert len(lines) == count, lines
        scores = [s for kind, s, _ in lines]
        assert all(kind == "cp" for kind, _, _ in lines), lines
        assert scores == sorted(scores, reverse=True), scores  # best first, never above the line before
        firsts = [pv[0] for _, _, pv in lines]
        assert len(set(firsts)) == count, firsts
        assert all(len(pv) > 1 for _, _, pv in lines), lines  # whole lines, not a bound's single move
        legal = e.legal_moves("position fen " + fen)
        for k, (_, score, pv) in enumerate(lines):
            alone, move = best_of(e, fen, depth, [m for m in legal if m not in firsts[:k]])
            assert abs(alone - score) <= tolerance, (fen, k + 1, score, pv[0], alone, move)
            # The same move, or a near tie: the line's own move, searched alone, scores as well.
            if move != pv[0]:
                own, _ = best_of(e, fen, depth, [pv[0]])
                assert abs(own - alone) <= tolerance, (fen, k + 1, pv[0], own, move, alone)
    assert e.quit() == 0


def test_a_stopped_search_shows_every_line_at_the_depth_it_reached(binary):
    # A node limit stops the search at the same place every time; at most of these places the last
    # iteration's further lines are not all done, and the lines of the iteration before stand below the new.
    e = Engine(binary)
    e.send("setoption name MultiPV value 3")
    mixed = 0
    for nodes in range(15000, 55000, 5000):
        e.send("ucinewgame")
        e.send("position startpos moves e2e4 e7e5")
        out = e.go("go nodes %d" % nodes)
        last = max(i for i, l in enumerate(out) if " multipv 1 " in l)
        report = [LINE.match(l) for l in out[last:] if l.startswith("info depth ")]
        assert [int(m.group(2)) for m in report] == [1, 2, 3], (nodes, out[last:])
        depths = [int(m.group(1)) for m in report]
        assert depths == sorted(depths, reverse=True) and depths[0] - depths[-1] <= 1, (nodes, depths)
        mixed += depths[0] != depths[-1]
    assert mixed > 0
    assert e.quit() == 0


def test_fifty_lines_answer_within_the_move_time(binary):
    e = Engine(binary)
    e.send("setoption name MultiPV value 50")
    e.send("position startpos")
    e.isready()
    start = time.monotonic()
    out = e.go("go movetime 1000", 10)
    elapsed = time.monotonic() - start
    assert elapsed < within(1.0) + 0.1, elapsed
    # The last report, cut by the move time in the middle of an iteration, still holds every line (the
    # start position has 20 moves): those the iteration did not reach from the one before.
    infos = [m for m in map(LINE.match, out) if m]
    last = max(i for i, m in enumerate(infos) if m.group(2) == "1")
    assert [int(m.group(2)) for m in infos[last:]] == list(range(1, 21)), [m.group(0)[:40] for m in infos[last:]]
    assert e.quit() == 0


def test_a_weakened_engine_answers_at_its_planned_time(binary):
    # A minute's clock: the plan is about 2.0 s, the hard limit about 3.6 s; a depth-2 search is done at
    # once and waits for the plan alone.
    e = Engine(binary)
    e.send("setoption name UCI_LimitStrength value true")
    e.send("setoption name UCI_Elo value 1500")
    e.send("position startpos moves e2e4")
    e.isready()
    start = time.monotonic()
    e.go("go wtime 60000 btime 60000", 10)
    elapsed = time.monotonic() - start
    assert 1.8 < elapsed < within(2.8), elapsed
    assert e.quit() == 0


if __name__ == "__main__":
    main([test_each_line_is_the_best_of_the_moves_below_the_lines_above, test_fifty_lines_answer_within_the_move_time,
          test_a_stopped_search_shows_every_line_at_the_depth_it_reached,
          test_a_weakened_engine_answers_at_its_planned_time])
