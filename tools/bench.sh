#!/usr/bin/env bash
# Performance figures of the release build: generator, evaluation, endgame-table and search benchmarks,
# start-up time.
set -euo pipefail
dir=${1:-build/release}
echo "== move generator =="
"$dir/bench_perft"
echo
echo "== start-up to uciok =="
python3 - "$dir/dravnik" <<'PY'
import subprocess, sys, time
t0 = time.monotonic()
p = subprocess.Popen([sys.argv[1]], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
p.stdin.write(b"uci\n"); p.stdin.flush()
for line in p.stdout:
    if line.strip() == b"uciok":
        break
print("start-up to uciok: %.1f ms" % ((time.monotonic() - t0) * 1000))
p.stdin.write(b"quit\n"); p.stdin.flush(); p.wait()
PY
if [ -x "$dir/bench_eval" ]; then echo; echo "== evaluation =="; "$dir/bench_eval"; fi
echo
echo "== endgame table builds =="
"$dir/egtb_stats"
echo
echo "== search (bench command) =="
printf 'bench\nquit\n' | "$dir/dravnik"
echo
echo "== time behaviour over UCI =="
python3 "$(dirname "$0")/bench_timing.py" "$dir/dravnik"
