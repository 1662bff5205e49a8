#!/usr/bin/env bash
# Builds the libFuzzer targets of tests/fuzz with clang and runs each, one after the other, for
# FUZZ_SECONDS (default 60). New inputs go to build/fuzz/corpus/, crashes and hangs to build/fuzz/artifacts/.
# FUZZ_FROM=empty starts every target from nothing instead (build/fuzz/empty/, emptied first): the seeds
# steer the fuzzer towards what we already thought of, and inputs far from them are found only this way.
# Installs clang with apt-get when it is missing and says loudly that it skipped when it cannot.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-60}
jobs=${JOBS:-2}
build=build/fuzz

probe() {
    echo 'extern "C" int LLVMFuzzerTestOneInput(const char *, unsigned long) { return 0; }' >"$1/probe.cpp"
    clang++ -fsanitize=fuzzer "$1/probe.cpp" -o "$1/probe" >/dev/null 2>&1
}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
if ! { command -v clang++ >/dev/null && probe "$tmp"; }; then
    echo "fuzz: installing clang and its libFuzzer runtime"
    pkgs=(clang libclang-rt-dev)
    if ! { [ "$(id -u)" = 0 ] && { apt-get install -y "${pkgs[@]}" || { apt-get update && apt-get install -y "${pkgs[@]}"; }; } >/dev/null 2>&1 && probe "$tmp"; }; then
        echo "################################################################"
        echo "fuzz: SKIPPED - clang with libFuzzer could not be installed"
        echo "################################################################"
        exit 0
    fi
fi

CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDRAVNIK_TESTS=OFF \
    -DDRAVNIK_FUZZ=ON -DDRAVNIK_SANITIZE=fuzzer-no-link,address,undefined >/dev/null
targets=$(cd tests/fuzz && ls fuzz_*.cpp | sed 's/\.cpp$//')
cmake --build "$build" -j "$jobs" --target $targets

failed=()
for target in $targets; do
    name=${target#fuzz_}
    artifacts=$build/artifacts/$name
    if [ "${FUZZ_FROM:-seeds}" = empty ]; then
        corpus=$build/empty/$name
        rm -rf "$corpus"
        inputs=()
    else
        corpus=$build/corpus/$name
        inputs=(tests/fuzz/corpus/"$name")
        [ -d tests/fuzz/regressions/"$name" ] && inputs+=(tests/fuzz/regressions/"$name")
    fi
    mkdir -p "$corpus" "$artifacts"
    dict=()
    [ -f tests/fuzz/"$name".dict ] && dict=(-dict=tests/fuzz/"$name".dict)
    echo "=== $target: $seconds s"
    if ! UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 "$build/tests/fuzz/$target" \
        -max_total_time="$seconds" -timeout=10 -print_final_stats=1 -artifact_prefix="$artifacts/" \
        "${dict[@]}" "$corpus" "${inputs[@]}" 2>"$build/$target.log"; then
        failed+=("$target")
    fi
    grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb|#[0-9]+ +DONE)' "$build/$target.log" || true
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "fuzz: FOUND problems in ${failed[*]}: see $build/<target>.log and $build/artifacts/;"
    echo "      copy each input into tests/fuzz/regressions/<name>/ so that make test replays it"
    exit 1
fi
echo "fuzz: no crash or hang in ${seconds} s per target"
