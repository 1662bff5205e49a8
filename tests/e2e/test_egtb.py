"""Endgame tables over UCI: perfect endings from the binary, the smallest Hash, a Hash resize, clock and stop."""
import os
import re
import sys
import time

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, main, within

MATE = re.compile(r" score mate (-?\d+) ")
QUEEN_ROOK = "8/8/8/4k3/8/8/8/KQ5r w - - 0 1"  # Qxh1 and mate in 10


# On a game clock a table is built before the search, in half of the planned time of a move or a twentieth
# of the clock: ten minutes leave seconds for it.
def go(e, fen, moves=(), command="go wtime 600000 btime 600000", timeout=60.0):
    """The best move and the last announced mate (None without one)."""
    e.send("position fen " + fen + (" moves " + " ".join(moves) if moves else ""))
    lines = e.go(command, timeout)
    mates = [int(m.group(1)) for m in map(MATE.search, lines) if m]
    return lines[-1].split()[1], (mates[-1] if mates else None)


def with_table(e, fen, moves=()):
    """Searches until the table is complete (a slow build spreads over several moves); move and mate."""
    for _ in range(30):
        move, mate = go(e, fen, moves)
        if mate is not None:
            return move, mate
    raise AssertionError("no table-exact mate after 30 searches of " + fen)


def test_bishop_and_knight_mate_as_announced_with_the_smallest_hash(binary):
    # 6 MB of Hash is less than the table needs: it is built in a buffer of its own.
    e = Engine(binary)
    e.send("setoption name Hash value 6")
    fen = "8/8/8/3k4/8/8/8/KBN5 w - - 0 1"
    move, mate = with_table(e, fen)
    assert mate is not None and mate > 15, mate
    # The table plays both sides; the mate comes exactly when announced.
    moves = [move]
    while len(moves) < 2 * mate - 1:
        move, _ = go(e, fen, moves)
        assert move != "0000", (len(moves), moves)
        moves.append(move)
    assert go(e, fen, moves)[0] == "0000", moves
    assert e.quit() == 0


def test_the_build_yields_to_the_clock_stop_and_a_hash_resize(binary):
    e = Engine(binary)
    e.isready()
    # Three seconds left is below the reserve the queen-and-rook build needs: an ordinary quick search.
    start = time.monotonic()
    move, _ = go(e, QUEEN_ROOK, command="go wtime 3000 btime 3000")
    assert time.monotonic() - start < within(1.5) and move != "0000"
    # "stop" ends a search that is building the table.
    e.send("position fen " + QUEEN_ROOK)
    e.send("go wtime 600000 btime 600000")
    time.sleep(0.2)
    start = time.monotonic()
    e.send("stop")
    e.expect(lambda l: l.startswith("bestmove"), 5)
    assert time.monotonic() - start < within(1.0)
    # With time enough the build goes on to the end.
    assert with_table(e, QUEEN_ROOK) == ("b1h1", 10)
    # The table lives in the transposition table's memory: a resize releases it, the next search rebuilds.
    e.send("setoption name Hash value 16")
    e.isready()
    assert with_table(e, QUEEN_ROOK) == ("b1h1", 10)
    assert e.quit() == 0


def test_analysis_and_pondering_build_in_slices_and_limits_never_wait(binary):
    # Analysing or pondering, the table is built between the search's nodes and used once complete.
    for command in ("go infinite", "go ponder wtime 60000 btime 60000"):
        e = Engine(binary)
        e.send("position fen " + QUEEN_ROOK)
        e.send(command)
        # The tree may report a longer mate of its own first; the table's shortest one must follow.
        lines = e.expect(lambda l: MATE.search(l) is not None and int(MATE.search(l).group(1)) <= 10, 30)
        assert int(MATE.search(lines[-1]).group(1)) == 10, lines[-1]
        start = time.monotonic()
        e.send("stop")
        e.expect(lambda l: l.startswith("bestmove"), 5)
        assert time.monotonic() - start < within(1.0)
        assert e.quit() == 0
    # A depth limit, or a short move time, never waits for a build, and leaves none behind.
    e = Engine(binary)
    for command in ("go depth 8", "go movetime 300", "go depth 8"):
        start = time.monotonic()
        move, mate = go(e, QUEEN_ROOK, command=command)
        assert mate is None and move != "0000" and time.monotonic() - start < within(1.5), (command, mate)
    assert e.quit() == 0


def test_a_game_clock_gives_the_build_a_twentieth_of_thirty_seconds(binary):
    # A complete table plays the ending perfectly: on a 30 s clock the first move may build for 1.5 s, where
    # half its planned time alone would stop the build after half a second (and the second move would not
    # have the table; on an idle machine it has, as the README says). Either the table is done on this move
    # or the build took its share; and the clock is never overrun for it.
    e = Engine(binary)
    start = time.monotonic()
    move, mate = go(e, QUEEN_ROOK, command="go wtime 30000 btime 30000")
    took = time.monotonic() - start
    assert mate is not None or took >= 1.35, (took, mate)
    assert move == "b1h1" and took < within(4.0), (move, took)
    assert e.quit() == 0


if __name__ == "__main__":
    main([test_bishop_and_knight_mate_as_announced_with_the_smallest_hash,
          test_the_build_yields_to_the_clock_stop_and_a_hash_resize,
          test_analysis_and_pondering_build_in_slices_and_limits_never_wait,
          test_a_game_clock_gives_the_build_a_twentieth_of_thirty_seconds])
