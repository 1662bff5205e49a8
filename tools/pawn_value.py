#!/usr/bin/env python3
"""What a pawn weighs in the evaluation's units, the figure behind the centipawn scale of the info lines
(eval_units_per_pawn in src/engine/uci_text.h): in middle-game positions (moves 10 to 30, queens on, ten
pieces or more besides pawns and kings) each pawn is taken off the board in turn and the engine's `eval`
total read before and after; the loss of the side that gave up the pawn is collected over all of them.

Usage: tools/pawn_value.py ENGINE POSITIONS.epd [--share 0.25]   (an EPD whose lines start with a FEN)
"""
import argparse
import random
import statistics

from eval_totals import eval_totals


def squares(board):
    found = {}
    for r, row in enumerate(board.split("/")):
        f = 0
        for c in row:
            if c.isdigit():
                f += int(c)
            else:
                found[(7 - r, f)] = c
                f += 1
    return found


def board_text(found):
    rows = []
    for r in range(7, -1, -1):
        row, empty = "", 0
        for f in range(8):
            c = found.get((r, f))
            if c:
                row += (str(empty) if empty else "") + c
                empty = 0
            else:
                empty += 1
        rows.append(row + (str(empty) if empty else ""))
    return "/".join(rows)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("engine")
    ap.add_argument("positions")
    ap.add_argument("--share", type=float, default=0.25, help="share of the eligible positions used")
    args = ap.parse_args()
    random.seed(1)
    fens, removals = [], []  # removals: (index of the whole position, of the one without a pawn, White's)
    for line in open(args.positions):
        fen = line.split(";")[0].strip()
        fields = fen.split()
        if len(fields) < 6 or not 10 <= int(fields[5]) <= 30:
            continue
        found = squares(fields[0])
        pieces = [c for c in found.values() if c in "NBRQnbrq"]
        if len(pieces) < 10 or "Q" not in pieces or "q" not in pieces or random.random() > args.share:
            continue
        whole = len(fens)
        fens.append(fen)
        rest = fields[1:]
        rest[2] = "-"  # a pawn taken off may have been the one that passed
        for square, piece in list(found.items()):
            if piece in "Pp":
                fewer = dict(found)
                del fewer[square]
                removals.append((whole, len(fens), piece == "P"))
                fens.append(board_text(fewer) + " " + " ".join(rest))
    totals = eval_totals(args.engine, fens)
    losses = [totals[w] - totals[r] if white else totals[r] - totals[w] for w, r, white in removals
              if totals[w] is not None and totals[r] is not None]
    losses.sort()
    n = len(losses)
    print("pawns taken off: %d; loss median %d, quartiles %d and %d, mean %.1f" %
          (n, statistics.median(losses), losses[n // 4], losses[3 * n // 4], statistics.mean(losses)))


if __name__ == "__main__":
    main()
