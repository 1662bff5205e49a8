"""The Debian package: built with Debian's tools, it holds the engine, its manual page and book folder in
Debian's places, its engine gives the bench count, and its maintainer scripts link and unlink
gnuchess-book's book without touching a book of the user's own."""
import os
import re
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(__file__))
from test_bench_nodes import TOTAL_NODES
from uci_driver import SKIP, TIME_SCALE

TOP = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
BOOK = "/usr/share/games/gnuchess/book.bin"
FOLDER = "/usr/games/dravnik.files"


def build():
    """The amd64 (or native) package's path; exits with SKIP where the tools cannot be had."""
    done = subprocess.run([os.path.join(TOP, "tools", "deb.sh")], cwd=TOP, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True)
    print(done.stdout[-3000:])
    if done.returncode == SKIP:
        sys.exit(SKIP)
    assert done.returncode == 0, "deb.sh failed"
    return os.path.join(TOP, re.search(r"deb: built (\S+)", done.stdout).group(1))


def check_contents(package):
    listing = subprocess.run(["dpkg", "-c", package], stdout=subprocess.PIPE, text=True, check=True).stdout
    files = {line.split()[-1].lstrip(".") for line in listing.splitlines()}
    for path in ("/usr/games/dravnik", FOLDER + "/", "/usr/share/man/man6/dravnik.6.gz",
                 "/usr/share/doc/dravnik/copyright", "/usr/share/doc/dravnik/changelog.gz"):
        assert path in files, (path, sorted(files))
    assert not any(f.startswith(("/usr/local", "/usr/bin")) for f in files), sorted(files)
    fields = subprocess.run(["dpkg-deb", "-f", package, "Section", "Suggests"], stdout=subprocess.PIPE,
                            text=True, check=True).stdout
    assert "Section: games" in fields and "gnuchess-book" in fields, fields
    with tempfile.TemporaryDirectory() as root:
        subprocess.run(["dpkg", "-x", package, root], check=True)
        out = subprocess.run([root + "/usr/games/dravnik", "bench"], stdout=subprocess.PIPE, text=True,
                             timeout=120).stdout
        assert re.search(r"^nodes:\s+%d$" % TOTAL_NODES, out, re.M), out[-500:]
        page = subprocess.run(["man", "-l", root + "/usr/share/man/man6/dravnik.6.gz"], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=dict(os.environ, MANWIDTH="80"))
        assert page.returncode == 0 and "UCI" in page.stdout, page.stdout[:300]


def check_maintainer_scripts():
    """The scripts, run against a scratch root: link made only where nothing stands, removed only if ours."""
    with tempfile.TemporaryDirectory() as root:
        book, folder = root + BOOK, root + FOLDER
        link = folder + "/Dravnik.bin"

        def run(script, argument):
            text = open(os.path.join(TOP, "debian", script)).read().replace(BOOK, book).replace(FOLDER, folder)
            text = text.replace("#DEBHELPER#", "")
            subprocess.run(["sh", "-c", text, script, argument], check=True)

        os.makedirs(folder)
        run("postinst", "configure")  # no gnuchess-book: nothing to link
        assert not os.path.lexists(link)
        os.makedirs(os.path.dirname(book))
        open(book, "w").close()
        run("postinst", "configure")
        assert os.readlink(link) == book
        run("prerm", "upgrade")  # an upgrade keeps it
        assert os.path.islink(link)
        run("prerm", "remove")
        assert not os.path.lexists(link)
        # A book of the user's own is never replaced nor removed.
        with open(link, "w") as f:
            f.write("mine")
        run("postinst", "configure")
        run("prerm", "remove")
        assert open(link).read() == "mine"


if __name__ == "__main__":
    if TIME_SCALE != 1:
        print("SKIPPED: the package is built and checked in the optimised run")
        sys.exit(SKIP)
    check_maintainer_scripts()
    check_contents(build())
    print("1 passed, 0 failed")
