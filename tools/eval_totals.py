"""The engine's `eval` totals of positions and its other answers per position, for the tools that study the
evaluation."""
import subprocess


def answers(engine, fens, command, last):
    """Per FEN from one engine process: its lines in answer to the position and the command, up to and
    including the first line that starts with last."""
    p = subprocess.Popen([engine], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    result = []
    for fen in fens:
        p.stdin.write("position fen %s\n%s\n" % (fen, command))
        p.stdin.flush()
        lines = []
        while not lines or not lines[-1].startswith(last):
            lines.append(p.stdout.readline())
            if not lines[-1]:
                raise RuntimeError("the engine closed its output")
        result.append(lines)
    p.stdin.write("quit\n")
    p.stdin.flush()
    p.communicate()  # waits, and closes the pipes
    return result


def eval_reports(engine, fens):
    """Per FEN from one engine process: (total, [(variable, middle-game part, endgame part), ...]) of its
    `eval` report (White's view), or None where the engine refused the position."""
    reports = []
    for lines in answers(engine, fens, "eval", "Total score:"):
        # A refused position leaves the previous one, whose report follows.
        if any(line.startswith("info string") for line in lines):
            reports.append(None)
            continue
        rows = [(f[0], float(f[1]), float(f[2])) for f in (line.split() for line in lines) if len(f) == 3]
        reports.append((int(lines[-1].split()[2]), rows))
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
