#!/usr/bin/env bash
# pgo_train.sh INSTRUMENTED_BUILD RELEASE_BUILD
# Runs the bench with the instrumented engine when it is newer than its last run, and copies the counts
# (one .gcda file per object) to the same places under the release build, where the compiler looks for them.
set -euo pipefail
gen=$1 release=$2
if [[ ! $gen/trained.stamp -nt $gen/dravnik ]]; then
    find "$gen" -name '*.gcda' -delete
    printf 'bench\nquit\n' | "$gen/dravnik" >/dev/null
    touch "$gen/trained.stamp"
fi
[[ $release/pgo.stamp -nt $gen/trained.stamp ]] && exit 0
mkdir -p "$release"
find "$release" -name '*.gcda' -delete
(cd "$gen" && find . -name '*.gcda' -print0) | while IFS= read -r -d '' f; do
    mkdir -p "$release/$(dirname "$f")"
    cp "$gen/$f" "$release/$f"
done
touch "$release/pgo.stamp"
