#!/usr/bin/env bash
# Sets everything up and runs every check: formatting, the whole suite under ASan/UBSan (the slow
# race tests included), the threaded parts under TSan, every fuzz target for a minute, a Clang build
# with warnings as errors, and clang-tidy.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)
# Compiler caches are shared between checkouts in different folders (paths made relative).
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1

echo "== clang-format" >&2
mapfile -t sources < <(git ls-files '*.cpp' '*.h' | grep -v '^bench/corpus/')
clang-format --dry-run --Werror "${sources[@]}"

echo "== asan build and tests" >&2
cmake --preset asan >/dev/null
cmake --build --preset asan -j "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --preset asan -j "$jobs"

echo "== tsan: threaded walks, the daemon, its connections and the reply box" >&2
cmake --preset tsan >/dev/null
cmake --build --preset tsan -j "$jobs" --target analysis_test helper_test daemon_test TidyloomHelper tidyloom
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
  ctest --preset tsan -j "$jobs" -R 'SpaceLens|LargeFile|Duplicate|ParallelWalk|Analyze|ReplyBox|PrivilegedHelperClient|HelperConnection|ConnectionGate|HelperService|InstalledDaemon'

echo "== fuzz: each target for ${FUZZ_SECONDS:=60} s" >&2
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$jobs" --target $(ls fuzz/corpus | sed 's/^/fuzz_/')
ls fuzz/corpus | xargs -P "$jobs" -I{} scripts/fuzz.sh {} "$FUZZ_SECONDS"

echo "== clang build" >&2
cmake --preset clang >/dev/null
cmake --build --preset clang -j "$jobs"

echo "== clang-tidy" >&2
scripts/tidy.sh build/clang
