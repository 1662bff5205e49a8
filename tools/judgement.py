#!/usr/bin/env python3
"""How the static evaluation judges positions against a stronger engine's search scores.

  tools/judgement.py ENGINE [POSITIONS.epd] [--worst 20] [--units-per-pawn 266] [--terms] [--quiet]

Each EPD line holds a FEN and "score_cp N" (the stronger engine's score, centipawns, White's view). Prints
the rank correlation (Spearman) of the engine's `eval` total with those scores, the share of positions
scored beyond half a pawn on which both agree in sign, and the positions where they disagree most (the
evaluation scaled to centipawns, both clipped at ten pawns). With --terms, also each variable of the
evaluation: its own rank correlation with those scores, its mean size, and how the total's rank correlation
changes when it is left out (a positive change: the variable, as measured and scaled, misleads).
With --quiet, only the positions whose best move by the engine's own depth-4 search is neither a capture
nor a promotion count: where an exchange is pending, the capture search, not the evaluation, must see it.
"""
import argparse
import os
import re

from eval_totals import answers, blended_terms, eval_reports

DEFAULT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "shared", "data",
                       "judgements.epd")


def ranks(values):
    """Ranks from 1, ties sharing their average rank."""
    order = sorted(range(len(values)), key=lambda i: values[i])
    r = [0.0] * len(values)
    i = 0
    while i < len(order):
        j = i
        while j + 1 < len(order) and values[order[j + 1]] == values[order[i]]:
            j += 1
        for k in range(i, j + 1):
            r[order[k]] = (i + j) / 2.0 + 1
        i = j + 1
    return r


def piece_at(fen, square):
    """The FEN's piece letter on the square ("e4"), or None where it is empty."""
    target_file, file = ord(square[0]) - ord("a"), 0
    for ch in fen.split()[0].split("/")[8 - int(square[1])]:
        if ch.isdigit():
            file += int(ch)
        elif file == target_file:
            return ch
        else:
            file += 1
        if file > target_file:
            return None
    return None


def takes(fen, move):
    """Whether the move (coordinate notation) captures or promotes in the position; "0000" (no legal
    move) does neither."""
    if move == "0000":
        return False
    if len(move) == 5 or piece_at(fen, move[2:4]):
        return True
    return move[2:4] == fen.split()[3] and piece_at(fen, move[0:2]) in ("P", "p")


def quiet(engine, fens, depth=4):
    """Per FEN, whether the engine's best move at the depth is neither a capture nor a promotion."""
    replies = answers(engine, fens, "go depth %d" % depth, "bestmove")
    return [not takes(fen, lines[-1].split()[1]) for fen, lines in zip(fens, replies)]


def pearson(x, y):
    n = len(x)
    mx, my = sum(x) / n, sum(y) / n
    sxy = sum((a - mx) * (b - my) for a, b in zip(x, y))
    sxx = sum((a - mx) ** 2 for a in x)
    syy = sum((b - my) ** 2 for b in y)
    return sxy / (sxx * syy) ** 0.5 if sxx and syy else 0.0


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("engine")
    ap.add_argument("positions", nargs="?", default=DEFAULT)
    ap.add_argument("--worst", type=int, default=20)
    ap.add_argument("--units-per-pawn", type=float, default=266.0)
    ap.add_argument("--terms", action="store_true")
    ap.add_argument("--quiet", action="store_true")
    args = ap.parse_args()
    fens, scores = [], []
    for line in open(args.positions):
        m = re.search(r"score_cp (-?\d+)", line)
        if m:
            fens.append(line.split(";")[0].strip())
            scores.append(int(m.group(1)))
    if args.quiet:
        keep = quiet(os.path.abspath(args.engine), fens)
        print("quiet: %d of %d positions" % (sum(keep), len(keep)))
        fens = [f for f, k in zip(fens, keep) if k]
        scores = [s for s, k in zip(scores, keep) if k]
    reports = eval_reports(os.path.abspath(args.engine), fens)
    kept = [(f, s, r[0]) for f, s, r in zip(fens, scores, reports) if r is not None]
    ours = [t for _, _, t in kept]
    theirs = [s for _, s, _ in kept]
    rho = pearson(ranks(ours), ranks(theirs))
    decided = [(s, t) for _, s, t in kept if abs(s) > 50]
    agree = sum(1 for s, t in decided if (s > 0) == (t > 0)) / max(len(decided), 1)
    print("positions %d (refused %d): rank correlation %.3f; same sign %.1f%% of %d beyond half a pawn" %
          (len(kept), len(fens) - len(kept), rho, 100.0 * agree, len(decided)))
    clip = lambda v: max(-1000.0, min(1000.0, v))
    gaps = sorted(kept, key=lambda k: -abs(clip(k[2] * 100.0 / args.units_per_pawn) - clip(k[1])))
    print("where they disagree most (ours in cp, theirs):")
    for fen, s, t in gaps[:args.worst]:
        print("  %+6.0f %+6d  %s" % (t * 100.0 / args.units_per_pawn, s, fen))
    if args.terms:
        print_terms([blended_terms(r) for r in reports if r is not None], theirs)


def print_terms(terms, theirs):
    """Per variable: rank correlation alone, mean absolute share, and the change of the total's rank
    correlation without it; most misleading first."""
    their_ranks = ranks(theirs)
    totals = [sum(v for _, v in t) for t in terms]
    whole = pearson(ranks(totals), their_ranks)
    rows = []
    for i, (name, _) in enumerate(terms[0]):
        alone = [t[i][1] for t in terms]
        without = [total - a for total, a in zip(totals, alone)]
        rows.append((pearson(ranks(without), their_ranks) - whole, name,
                     sum(abs(a) for a in alone) / len(alone), pearson(ranks(alone), their_ranks)))
    print("each variable (left out: change of the total's rank correlation; mean size in evaluation units):")
    for change, name, size, alone in sorted(rows, reverse=True):
        print("  %-28s left out %+.4f   mean size %7.1f   alone %+.3f" % (name, change, size, alone))


if __name__ == "__main__":
    main()
