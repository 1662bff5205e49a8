#!/usr/bin/env bash
# Cross-compiles the engine and its unit tests for 32-bit ARM Linux and runs them under qemu-arm.
# Installs the cross compiler and qemu with apt-get when missing; reports itself as skipped, loudly,
# when they cannot be had.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/install_or_skip.sh

need=()
command -v arm-linux-gnueabihf-g++ >/dev/null || need+=(g++-arm-linux-gnueabihf)
command -v qemu-arm >/dev/null || need+=(qemu-user)
install_or_skip arm-test 0 "${need[@]}"

build=build/arm
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE="$PWD/tools/arm-toolchain.cmake" \
      -DDRAVNIK_GTEST_SOURCE=/usr/src/googletest >/dev/null
cmake --build "$build" -j "$(nproc)"
file "$build/dravnik" | grep -q "ARM" || { echo "arm-test: the binary is not an ARM executable"; exit 1; }
cd "$build" && ctest --output-on-failure -j "$(nproc)" -E 'e2e_' 
