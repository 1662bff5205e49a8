#!/usr/bin/env bash
# Performance figures of the release build: first the headline figures, one line each as medians of several
# runs (tools/bench_figures.py), then the details: table sizes, evaluation, endgame-table builds, the bench
# command's own report and the time behaviour over UCI.
#
#   tools/bench.sh [BUILD_DIR [OTHER_BUILD_DIR]]   with a second build, the headline figures alternate
#                                                  between the two and end in their ratio
set -euo pipefail
dir=${1:-build/release}
tools=$(dirname "$0")
echo "== headline figures =="
python3 "$tools/bench_figures.py" --runs "${BENCH_RUNS:-5}" "$dir" ${2:+"$2"}
[ $# -ge 2 ] && exit 0
echo
echo "== move generator =="
"$dir/bench_perft"
if [ -x "$dir/bench_eval" ]; then echo; echo "== evaluation =="; "$dir/bench_eval"; fi
echo
echo "== endgame table builds =="
"$dir/egtb_stats"
echo
echo "== search (bench command) =="
printf 'bench\nquit\n' | "$dir/dravnik"
echo
echo "== time behaviour over UCI =="
python3 "$tools/bench_timing.py" "$dir/dravnik"
