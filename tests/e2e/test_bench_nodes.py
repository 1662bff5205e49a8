"""The "bench" command's node counts: a guard against changes that alter the search's tree by accident.

Speed work on the board, move generator, evaluation or tables must leave every count as it is. A change
that alters the search on purpose (pruning, ordering, extensions, evaluation terms) updates the figures
below in the same commit and says so.
"""
import os
import re
import sys

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, main

# Nodes per position (start position, start position without castling rights, a middle game) and total.
POSITION_NODES = [151481, 97532, 37895]
TOTAL_NODES = 286908


def test_bench_node_counts(binary):
    e = Engine(binary)
    e.send("bench")
    lines = e.expect(lambda l: l.startswith("nodes:"), timeout=60)  # seconds of the optimised build
    per_position = [int(m.group(1)) for m in (re.search(r"\bnodes=(\d+)", l) for l in lines) if m]
    total = int(lines[-1].split()[-1])
    assert per_position == POSITION_NODES, per_position
    assert total == TOTAL_NODES, total
    assert e.quit() == 0


if __name__ == "__main__":
    main([test_bench_node_counts])
