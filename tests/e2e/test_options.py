"""Options judged by their effect: every spin option at its bounds and one beyond them, in any case, with
and without a value."""
import os
import re
import sys

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, main


def last_depth_lines(lines):
    """The info lines of the last report: from its first variation (no multipv field, or multipv 1) on."""
    infos = [l for l in lines if l.startswith("info depth ")]
    first = max(i for i, l in enumerate(infos) if " multipv " not in l or " multipv 1 " in l)
    return infos[first:]


def threads_of(engine):
    return len(os.listdir("/proc/%d/task" % engine.proc.pid))


def test_threads_and_multipv_at_and_beyond_their_bounds(binary):
    e = Engine(binary)
    e.isready()
    base = threads_of(e)  # main, console reader, search
    for value, helpers in (("0", 0), ("1", 0), ("2", 1), ("3", 1), ("1", 0), ("-1", 1), ("", 1), ("x", 1)):
        e.send("setoption name Threads value %s" % value if value else "setoption name threads")
        e.isready()
        assert threads_of(e) == base + helpers, ("Threads", value, threads_of(e), base)
    e.send("setoption name Threads value 1")

    # MultiPV: 0 acts as 1 (no multipv field), values from 50 up as 50; a name in any case selects it.
    crowded = "position fen 6rk/6pp/8/8/8/QQQQ4/8/K7 w - - 0 1"  # 70 legal moves
    for value, lines in (("0", 1), ("1", 1), ("2", 2), ("256", 50), ("257", 50), ("49", 49)):
        e.send("setoption name mUlTiPv value %s" % value)
        e.send(crowded)
        got = last_depth_lines(e.go("go depth %d" % (5 if lines == 1 else 2)))
        numbers = [re.search(r" multipv (\d+) ", l) for l in got]
        if lines == 1:
            assert len(got) == 1 and numbers == [None], (value, got)
        else:
            assert [int(n.group(1)) for n in numbers] == list(range(1, lines + 1)), (value, len(got))
    e.send("setoption name MultiPV")  # no value: unchanged
    e.send("setoption name MultiPV value")
    e.send(crowded)
    assert len(last_depth_lines(e.go("go depth 2"))) == 49
    assert e.quit() == 0


def test_uci_elo_at_and_beyond_its_bounds(binary):
    # UCI_Elo caps the depth of a weakened search; below 1500 it plays as 1500, from 2200 up at full depth.
    # Without a clock the weakened search has no time allowance to wait for.
    e = Engine(binary)
    e.send("setoption name Hash value 6")  # a weakened search clears the table before every iteration
    e.send("setoption name UCI_LimitStrength value true")
    deepest = {elo: weakened_depth(e, elo) for elo in ("1499", "1500", "1600")}
    assert deepest["1499"] == deepest["1500"] < deepest["1600"] < 6, deepest
    e.send("setoption name UCI_LimitStrength value false")
    e.send("position startpos")
    assert last_depth_lines(e.go("go depth 6"))[0].startswith("info depth 6 ")
    assert e.quit() == 0
    for elo in ("2200", "2201"):
        e = Engine(binary)
        e.send("setoption name Hash value 6")
        e.send("setoption name UCI_LimitStrength value true")
        assert weakened_depth(e, elo) == 6, elo
        assert e.quit() == 0


def weakened_depth(e, elo):
    e.send("setoption name UCI_Elo value %s" % elo)
    e.send("position startpos")
    lines = e.go("go depth 6")
    return max(int(l.split()[2]) for l in lines if l.startswith("info depth "))


def hashfull_after_search(e, new_game=True):
    if new_game:  # the same search every time
        e.send("ucinewgame")
    e.send("position startpos")
    lines = e.go("go depth 11", timeout=120)
    return int([l for l in lines if l.startswith("info hashfull ")][-1].split()[2])


def test_hash_sizes_change_how_full_the_table_gets(binary):
    e = Engine(binary)
    big = {}
    for value in ("4096", "4097"):  # a new table is empty: no new game needed to clear 4 GB
        e.send("setoption name Hash value %s" % value)
        big[value] = hashfull_after_search(e, new_game=False)
    small = {}
    for value in ("5", "6"):
        e.send("setoption name HASH value %s" % value)
        small[value] = hashfull_after_search(e)
    assert small["5"] >= small["6"] > 4 * max(big["4096"], big["4097"], 1), (small, big)
    # Ignored, not read as the smallest size: the 12 MB table stays.
    e.send("setoption name Hash value 12")
    twelve = hashfull_after_search(e)
    assert twelve < small["6"], (twelve, small)
    for value in ("0", "-3", "x", ""):
        e.send("setoption name hash value %s" % value if value else "setoption name Hash")
        assert hashfull_after_search(e) == twelve, value
    assert e.quit() == 0


if __name__ == "__main__":
    main([test_threads_and_multipv_at_and_beyond_their_bounds, test_uci_elo_at_and_beyond_its_bounds,
          test_hash_sizes_change_how_full_the_table_gets])
