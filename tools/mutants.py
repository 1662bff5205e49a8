#!/usr/bin/env python3
"""Mutation campaign: plants one fault at a time in a scratch copy of the tree, runs the whole test suite on
each and reports which faults the tests killed. The checkout itself is never touched.

Usage: tools/mutants.py FAULTS_FILE [--scratch DIR] [--only ID,...] [--jobs N]

A faults file holds blocks of this form (the old text must occur exactly once in the file named):

    @ ID | path/from/the/top | what the fault does
    <<<
    old lines
    ===
    new lines
    >>>
"""
import argparse
import os
import shutil
import subprocess
import sys
import time

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def read_faults(path):
    faults, block, mode = [], None, None
    with open(path) as f:
        for line in f:
            if line.startswith("@ "):
                fid, file, what = [p.strip() for p in line[2:].split("|", 2)]
                block = {"id": fid, "file": file, "what": what, "old": [], "new": []}
                faults.append(block)
            elif line.rstrip("\n") == "<<<":
                mode = "old"
            elif line.rstrip("\n") == "===":
                mode = "new"
            elif line.rstrip("\n") == ">>>":
                mode = None
            elif mode:
                block[mode].append(line)
    return faults


def run(cmd, cwd, limit):
    try:
        return subprocess.run(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              timeout=limit).returncode
    except subprocess.TimeoutExpired:
        return "timeout"


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("faults")
    ap.add_argument("--scratch", default="/tmp/dravnik-mutants")
    ap.add_argument("--only", default="")
    ap.add_argument("--jobs", default="2")
    args = ap.parse_args()
    faults = read_faults(args.faults)
    if args.only:
        keep = set(args.only.split(","))
        faults = [f for f in faults if f["id"] in keep]

    src = os.path.join(args.scratch, "src")
    build = os.path.join(args.scratch, "build")
    files = subprocess.run(["git", "ls-files"], cwd=TOP, stdout=subprocess.PIPE, text=True).stdout.split()
    shutil.rmtree(src, ignore_errors=True)
    for name in files:
        os.makedirs(os.path.dirname(os.path.join(src, name)), exist_ok=True)
        shutil.copy2(os.path.join(TOP, name), os.path.join(src, name))
    subprocess.run(["cmake", "-S", src, "-B", build, "-DCMAKE_BUILD_TYPE=Release"], check=True,
                   stdout=subprocess.DEVNULL)
    if run(["cmake", "--build", build, "-j", args.jobs], src, 3600) != 0:
        sys.exit("the unmutated tree does not build")

    results = []
    for f in faults:
        path = os.path.join(src, f["file"])
        with open(path) as fh:
            pristine = fh.read()
        old, new = "".join(f["old"]), "".join(f["new"])
        if pristine.count(old) != 1:
            results.append((f, "not applicable", 0))
            print("%-4s not applicable (old text found %d times)" % (f["id"], pristine.count(old)), flush=True)
            continue
        start = time.monotonic()
        try:
            with open(path, "w") as fh:
                fh.write(pristine.replace(old, new))
            if run(["cmake", "--build", build, "-j", args.jobs], src, 1800) != 0:
                verdict = "does not build"
            else:
                rc = run(["ctest", "--stop-on-failure", "-j", args.jobs], build, 900)
                verdict = "survived" if rc == 0 else "killed"
        finally:
            with open(path, "w") as fh:
                fh.write(pristine)
            os.utime(path, None)
        results.append((f, verdict, time.monotonic() - start))
        print("%-4s %-9s %5.0f s  %s" % (f["id"], verdict, results[-1][2], f["what"]), flush=True)

    counted = [r for r in results if r[1] in ("killed", "survived")]
    killed = sum(1 for r in counted if r[1] == "killed")
    print("\n| id | where | fault | result |\n| --- | --- | --- | --- |")
    for f, verdict, _ in results:
        print("| %s | %s | %s | %s |" % (f["id"], f["file"], f["what"], verdict))
    if counted:
        print("\nkilled %d of %d: %.0f%%" % (killed, len(counted), 100.0 * killed / len(counted)))
    run(["cmake", "--build", build, "-j", args.jobs], src, 1800)  # leave the scratch build unmutated


if __name__ == "__main__":
    main()
