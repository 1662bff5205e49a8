"""A minimal UCI peer for end-to-end tests: starts the engine and exchanges lines with time-outs."""
import os
import re
import select
import shutil
import subprocess
import sys
import time

# Wall-clock bounds and time-outs are for an optimised build; a sanitizer or debug build runs many times
# slower and scales them by this factor (set by the build for its tests).
TIME_SCALE = float(os.environ.get("DRAVNIK_TIME_SCALE", "1"))


SKIP = 77  # ctest reports this exit code as "skipped"

# A scored line of a search: what a GUI needs before "bestmove".
INFO = re.compile(r"^info depth \d+ seldepth \d+( multipv \d+)? score (cp -?\d+|mate -?\d+) time \d+ "
                  r"nodes \d+ nps \d+ pv( [a-h][1-8][a-h][1-8][qrbn]?)+ $")


def assert_search_ending(lines, finished):
    """The lines of one search as the GUI reads them: scored lines, "info hashfull" when the search ended by
    itself (not at "stop"), then the last line's move with its reply as the ponder move."""
    infos = lines[:-2] if finished else lines[:-1]
    assert infos and all(INFO.match(l) for l in infos), lines[-4:]
    if finished:
        assert re.match(r"^info hashfull \d+$", lines[-2]), lines[-2:]
    pv = infos[-1].split(" pv ")[1].split()
    assert lines[-1] == "bestmove " + pv[0] + (" ponder " + pv[1] if len(pv) > 1 else ""), lines[-2:]


def within(seconds):
    """A wall-clock bound of the optimised build, scaled for the build under test."""
    return seconds * TIME_SCALE


def bestmove(lines):
    assert lines[-1].startswith("bestmove "), lines[-1]
    return lines[-1].split()[1]


def ensure(present, package):
    """Whether present() holds, installing the Debian package first where root may (a second try after an
    update of the package lists)."""
    if not present() and os.geteuid() == 0 and shutil.which("apt-get"):
        for cmd in (["apt-get", "install", "-y", package], ["apt-get", "update"],
                    ["apt-get", "install", "-y", package]):
            try:
                subprocess.run(cmd, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=300)
            except (OSError, subprocess.TimeoutExpired):
                break
            if present():
                break
    return present()


def skip(reason):
    print("#" * 60 + "\nSKIPPED: " + reason + "\n" + "#" * 60)
    sys.exit(SKIP)


class Engine:
    def __init__(self, binary, cwd=None):
        self.proc = subprocess.Popen([os.path.abspath(binary)], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE, cwd=cwd, bufsize=0)
        self._buffer = b""

    def send(self, line):
        self.proc.stdin.write((line + "\n").encode())
        self.proc.stdin.flush()

    def readline(self, timeout=10.0):
        """The next output line, or None when none arrives within the time-out."""
        deadline = time.monotonic() + within(timeout)
        while b"\n" not in self._buffer:
            left = deadline - time.monotonic()
            if left <= 0:
                return None
            ready, _, _ = select.select([self.proc.stdout], [], [], left)
            if not ready:
                return None
            chunk = os.read(self.proc.stdout.fileno(), 65536)
            if not chunk:
                return None
            self._buffer += chunk
        line, self._buffer = self._buffer.split(b"\n", 1)
        return line.decode()

    def expect(self, predicate, timeout=10.0):
        """Lines up to and including the first that satisfies the predicate; fails on a time-out."""
        lines = []
        deadline = time.monotonic() + within(timeout)
        while True:
            line = self.readline(max(0.0, deadline - time.monotonic()) / TIME_SCALE)
            if line is None:
                raise AssertionError("no expected line within %.1f s; got %r" % (timeout, lines[-10:]))
            lines.append(line)
            if predicate(line):
                return lines

    def perft(self, position, depth, timeout=10.0):
        """Sets the position; the lines of "go perft" up to and including the "Nodes searched" total."""
        self.send(position)
        self.send("go perft %d" % depth)
        return self.expect(lambda l: l.startswith("Nodes searched:"), timeout)

    def legal_moves(self, position):
        """The legal moves of a position, from the engine's own perft divide."""
        return sorted(l.split(":")[0] for l in self.perft(position, 1, 30)[:-2])

    def go(self, command, timeout=30.0):
        """Sends a "go" command; the lines up to and including "bestmove"."""
        self.send(command)
        return self.expect(lambda l: l.startswith("bestmove"), timeout)

    def isready(self, timeout=10.0):
        self.send("isready")
        return self.expect(lambda l: l == "readyok", timeout)

    def quit(self, timeout=10.0):
        self.send("quit")
        try:
            return self.proc.wait(within(timeout))
        except subprocess.TimeoutExpired:
            self.proc.kill()
            raise AssertionError("engine did not quit")


def main(tests):
    """Runs test functions taking the binary path; prints a summary line ctest can read."""
    binary = sys.argv[1]
    failed = 0
    for test in tests:
        try:
            test(binary)
            print("PASS", test.__name__)
        except Exception as e:  # report every failure, keep going
            failed += 1
            print("FAIL", test.__name__, "-", e)
    print("%d passed, %d failed" % (len(tests) - failed, failed))
    sys.exit(1 if failed else 0)
