#!/usr/bin/env bash
# Sets everything up and runs every check: formatting, the whole suite under ASan/UBSan, a Clang
# build with warnings as errors, and clang-tidy.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)

echo "== clang-format" >&2
mapfile -t sources < <(git ls-files '*.cpp' '*.h' | grep -v '^bench/corpus/')
clang-format --dry-run --Werror "${sources[@]}"

echo "== asan build and tests" >&2
cmake --preset asan >/dev/null
cmake --build --preset asan -j "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --preset asan -j "$jobs"

echo "== clang build" >&2
cmake --preset clang >/dev/null
cmake --build --preset clang -j "$jobs"

echo "== clang-tidy" >&2
scripts/tidy.sh build/clang
