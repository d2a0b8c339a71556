#!/usr/bin/env bash
# Times `tidyloom lens` against gdu, ncdu, du -s and the system-call floor on one generated tree,
# with a warm cache, at one and at two threads; prints entries per second and peak memory.
#
#   bench/run_lens_bench.sh                 # 1,000,000 files under build/bench-corpus-1000000
#   FILES=200000 RUNS=3 bench/run_lens_bench.sh
#   CORPUS=/some/tree bench/run_lens_bench.sh   # time an existing tree instead
#
# The corpus is generated data: it stays under build/ (ignored) and is never committed.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(dirname "$here")
files=${FILES:-1000000}
corpus=${CORPUS:-$repo/build/bench-corpus-$files}
runs=${RUNS:-5}
depth=${DEPTH:-3}
out=${OUT:-$repo/build/bench-results}
build=$repo/build/release

for tool in hyperfine gdu ncdu du /usr/bin/time python3; do
  command -v "$tool" >/dev/null || { echo "missing $tool (scripts/setup.sh installs it)" >&2; exit 1; }
done

# Warnings are not errors here: an optimised build may warn where the debug build does not.
(cd "$repo" && cmake --preset release -DTIDYLOOM_WERROR=OFF >/dev/null &&
  cmake --build --preset release -j2 --target tidyloom make_corpus lens_floor | grep -E "warning|error" >&2 || true)
tidyloom=$build/tidyloom/tidyloom
floor=$build/bench/lens_floor

if [ ! -d "$corpus" ]; then
  echo "writing the corpus ($files files) to $corpus" >&2
  "$build/bench/make_corpus" "$corpus" "$files" >&2
fi
mkdir -p "$out"

# Entries the walk visits (everything but the root), for the rate.
entries=$("$floor" -j 2 "$corpus" | sed -E 's/.* ([0-9]+) entries.*/\1/')
echo "corpus: $corpus, $entries entries" >&2

names=(); commands=()
add() { names+=("$1"); commands+=("$2"); }
add "tidyloom lens -j1" "$tidyloom --no-progress --lang en lens --threads 1 --depth $depth $corpus"
add "gdu -j1" "gdu -n -p -x --max-cores 1 $corpus"
add "ncdu" "ncdu -0 -x -o /dev/null $corpus"
add "du -s" "du -s $corpus"
add "floor -j1" "$floor -j 1 $corpus"
add "tidyloom lens -j2" "$tidyloom --no-progress --lang en lens --threads 2 --depth $depth $corpus"
add "gdu -j2" "gdu -n -p -x --max-cores 2 $corpus"
add "floor -j2" "$floor -j 2 $corpus"

args=()
for i in "${!names[@]}"; do args+=(-n "${names[$i]}" "${commands[$i]} >/dev/null 2>&1"); done
hyperfine --warmup 1 --runs "$runs" --export-json "$out/lens.json" "${args[@]}" >&2

# Peak resident memory of one run each (GNU time, kilobytes).
: >"$out/lens-memory.tsv"
for i in "${!names[@]}"; do
  kb=$( { /usr/bin/time -f '%M' sh -c "${commands[$i]} >/dev/null 2>&1"; } 2>&1 | tail -1)
  printf '%s\t%s\n' "${names[$i]}" "$kb" >>"$out/lens-memory.tsv"
done

python3 - "$out/lens.json" "$out/lens-memory.tsv" "$entries" <<'PY'
import json, sys
results = json.load(open(sys.argv[1]))["results"]
memory = dict(line.rstrip("\n").split("\t") for line in open(sys.argv[2]))
entries = int(sys.argv[3])
floors = {r["command"][-3:]: r["mean"] for r in results if r["command"].startswith("floor")}
# CPU seconds (user + system) beside the wall time: on a shared machine the wall time also
# measures the neighbours, the CPU time much less so.
cpu_floors = {r["command"][-3:]: r["user"] + r["system"] for r in results if r["command"].startswith("floor")}
print(f"{'command':<20}{'wall s':>8}{'± s':>7}{'entries/s':>12}{'x floor':>9}{'cpu s':>8}{'x floor':>9}{'peak MiB':>10}")
for r in results:
    name = r["command"]
    threads = "-j2" if name.endswith("-j2") else "-j1"
    cpu = r["user"] + r["system"]
    ratio = r["mean"] / floors[threads] if threads in floors else float("nan")
    cpu_ratio = cpu / cpu_floors[threads] if threads in cpu_floors else float("nan")
    print(f"{name:<20}{r['mean']:>8.3f}{r['stddev']:>7.3f}{entries / r['mean']:>12,.0f}{ratio:>9.2f}"
          f"{cpu:>8.3f}{cpu_ratio:>9.2f}{int(memory[name]) / 1024:>10.1f}")
PY
