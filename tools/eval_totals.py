"""The engine's `eval` totals of positions, for the tools that study the evaluation."""
import subprocess


def eval_totals(engine, fens):
    """The `eval` totals (White's view) of the FENs from one engine process; None where it refused one."""
    p = subprocess.Popen([engine], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    totals = []
    for fen in fens:
        p.stdin.write("position fen %s\neval\n" % fen)
        p.stdin.flush()
        refused = False  # a refused position leaves the previous one, whose total follows
        while True:
            line = p.stdout.readline()
            if not line:
                raise RuntimeError("the engine closed its output")
            refused |= line.startswith("info string")
            if line.startswith("Total score:"):
                totals.append(None if refused else int(line.split()[2]))
                break
    p.stdin.write("quit\n")
    p.stdin.flush()
    p.wait()
    return totals
