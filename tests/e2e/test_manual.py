"""The manual page renders without a warning and documents what the built engine announces."""
import os
import re
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.dirname(__file__))
from uci_driver import Engine, ensure, main, skip

PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "doc", "dravnik.6")


def rendered():
    """The page as plain text on lines too long to break, without hyphenation."""
    run = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-rLL=2000n", "-rHY=0", PAGE],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    assert run.returncode == 0 and run.stderr == b"", run.stderr.decode()
    text = re.sub(r".\x08", "", run.stdout.decode())
    return re.sub(r"\s+", " ", text)


def test_renders_cleanly(binary):
    rendered()
    if shutil.which("man"):
        run = subprocess.run(["man", "-l", "-P", "cat", PAGE], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                             env=dict(os.environ, MANWIDTH="80"), timeout=60)
        assert run.returncode == 0 and run.stderr == b"" and b"SYNOPSIS" in run.stdout, run.stderr


def test_documents_every_option_and_command(binary):
    text = rendered()
    e = Engine(binary)
    e.send("uci")
    options = [l for l in e.expect(lambda l: l == "uciok") if l.startswith("option name ")]
    assert e.quit() == 0
    assert options, "no option announced"
    section = " " + text.split(" OPTIONS ")[1].split(" FILES ")[0] + " "
    names = [line.split()[2] for line in options]
    for i, line in enumerate(options):
        m = re.match(r"option name (\S+) type (spin|check) default (\S+)(?: min (\d+) max (\d+))?$", line)
        assert m, line
        name, kind, default, low, high = m.groups()
        # The page lists the options in the order the engine announces them.
        entry = section.split(" %s " % name)[1].split(" %s " % names[i + 1])[0] if i + 1 < len(names) else \
            section.split(" %s " % name)[1]
        assert "%s, default %s" % (kind, default) in entry, (name, entry[:120])
        if low:
            assert "from %s to %s" % (low, high) in entry, (name, entry[:120])
    for words in ("go perft", "eval", "bench", "usermove", "position testpos", "uci_eng_", "analysis_",
                  "eval_log.log", "/usr/local/games/dravnik.files/Dravnik.bin",
                  "/usr/games/dravnik.files/Dravnik.bin", "LINK_GNUCHESS_BOOK=yes", "SYNOPSIS", "EXAMPLES"):
        assert words in text, words


if __name__ == "__main__":
    if not ensure(lambda: shutil.which("groff"), "groff-base"):
        skip("groff is missing and groff-base could not be installed")
    main([test_renders_cleanly, test_documents_every_option_and_command])
