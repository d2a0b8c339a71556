#!/usr/bin/env bash
# Times permanent removal of one generated tree: `tidyloom remove --permanent` (measures, checks,
# then walks with directory descriptors) against `rm -rf`, with hyperfine; each run gets a fresh copy.
#
#   bench/run_removal_bench.sh               # 200,000 files under build/bench-corpus-200000
#   FILES=50000 RUNS=3 bench/run_removal_bench.sh
#
# The corpus and its copies are generated data under build/ (ignored), never committed.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(dirname "$here")
files=${FILES:-200000}
runs=${RUNS:-5}
corpus=$repo/build/bench-corpus-$files
scratch=$repo/build/bench-removal
build=$repo/build/release

command -v hyperfine >/dev/null || { echo "missing hyperfine (scripts/setup.sh installs it)" >&2; exit 1; }
(cd "$repo" && cmake --preset release -DTIDYLOOM_WERROR=OFF >/dev/null &&
  cmake --build --preset release -j2 --target tidyloom make_corpus | grep -E "warning|error" >&2 || true)
[ -d "$corpus" ] || "$build/bench/make_corpus" "$corpus" "$files" >/dev/null

mkdir -p "$scratch"
# The copy lives inside the fixture folder, where the protection layer allows it.
prepare="rm -rf '$scratch/tree' && cp -a '$corpus' '$scratch/tree' && sync"
hyperfine --warmup 1 --runs "$runs" --prepare "$prepare" \
  -n "tidyloom remove --permanent" \
  "'$build/tidyloom/tidyloom' --fixture '$scratch' --json --no-progress remove --permanent --yes '$scratch/tree'" \
  -n "rm -rf" "rm -rf '$scratch/tree'"
rm -rf "$scratch"
