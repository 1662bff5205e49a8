"""The engine's `eval` totals of positions, for the tools that study the evaluation."""
import subprocess


def eval_reports(engine, fens):
    """Per FEN from one engine process: (total, [(variable, middle-game part, endgame part), ...]) of its
    `eval` report (White's view), or None where the engine refused the position."""
    p = subprocess.Popen([engine], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    reports = []
    for fen in fens:
        p.stdin.write("position fen %s\neval\n" % fen)
        p.stdin.flush()
        refused = False  # a refused position leaves the previous one, whose report follows
        rows = []
        while True:
            line = p.stdout.readline()
            if not line:
                raise RuntimeError("the engine closed its output")
            refused |= line.startswith("info string")
            if line.startswith("Total score:"):
                reports.append(None if refused else (int(line.split()[2]), rows))
                break
            fields = line.split()
            if len(fields) == 3:
                rows.append((fields[0], float(fields[1]), float(fields[2])))
    p.stdin.write("quit\n")
    p.stdin.flush()
    p.communicate()  # waits, and closes the pipes
    return reports


def eval_totals(engine, fens):
    """The `eval` totals (White's view) of the FENs from one engine process; None where it refused one."""
    return [r and r[0] for r in eval_reports(engine, fens)]


def middle_game_share(report):
    """The weight of the middle-game parts in the report's total (the position's phase), recovered from the
    total, which blends the two columns' sums."""
    total, rows = report
    mg = sum(r[1] for r in rows)
    eg = sum(r[2] for r in rows)
    return min(1.0, max(0.0, (total - eg) / (mg - eg))) if abs(mg - eg) > 1e-6 else 0.5


def blended_terms(report):
    """Each variable's share of the total: its middle-game and endgame parts blended by the phase."""
    share = middle_game_share(report)
    return [(name, m * share + e * (1.0 - share)) for name, m, e in report[1]]
