#!/usr/bin/env bash
# Times `tidyloom large` against find -size and fd --size, and `tidyloom dupes` against jdupes -r,
# rdfind -dryrun true and fdupes -r, on one generated corpus with a warm cache, after checking that
# every duplicate finder reports the same sets. Floors: the walk floor (the bulk-read system calls
# alone) and the SHA-256 floor (reading and hashing only the bytes the three comparison steps need).
#
#   bench/run_finder_bench.sh                          # 100,000 small files + 2,000 MB of large ones
#   FILES=200000 MEGABYTES=4000 RUNS=5 bench/run_finder_bench.sh
#
# The corpus is generated data: it stays under build/ (ignored) and is never committed.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(dirname "$here")
files=${FILES:-100000}
megabytes=${MEGABYTES:-2000}
runs=${RUNS:-5}
min=${MIN:-131072} # bytes; above every file of the small-file tree, so the sets come from the large files
threads=2
corpus=${CORPUS:-$repo/build/bench-finders-$files-$megabytes}
out=${OUT:-$repo/build/bench-results}
build=$repo/build/release

for tool in hyperfine find fdfind jdupes rdfind fdupes python3; do
  command -v "$tool" >/dev/null || { echo "missing $tool (scripts/setup.sh installs it)" >&2; exit 1; }
done

# Warnings are not errors here: an optimised build may warn where the debug build does not.
(cd "$repo" && cmake --preset release -DTIDYLOOM_WERROR=OFF >/dev/null &&
  cmake --build --preset release -j2 --target tidyloom make_corpus lens_floor make_dupes_corpus sha_floor |
  grep -E "warning|error" >&2 || true)
tidyloom="$build/tidyloom/tidyloom --no-progress --lang en"

if [ ! -d "$corpus" ]; then
  echo "writing the corpus to $corpus" >&2
  mkdir -p "$corpus"
  "$build/bench/make_corpus" "$corpus/tree" "$files" >&2
  "$build/bench/make_dupes_corpus" "$corpus/media" "$megabytes" >&2
fi
mkdir -p "$out"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The files the floor hashes from: everything that reaches the minimum.
find "$corpus" -type f -size +$((min - 1))c >"$out/finder-list.txt"
echo "corpus: $corpus; $(wc -l <"$out/finder-list.txt") files of at least $min bytes" >&2
xargs -d "\n" cat <"$out/finder-list.txt" >/dev/null # warm the cache before anything is compared

# Every duplicate finder must report the same sets (hard links reduced to their file).
$tidyloom --json dupes --min "$min" --threads $threads "$corpus" >"$work/tidyloom.json"
jdupes -r -q -X "size+=:$min" "$corpus" >"$work/jdupes.txt"
fdupes -r -q -G "$min" "$corpus" >"$work/fdupes.txt"
rdfind -dryrun true -minsize "$min" -outputname "$work/rdfind.txt" "$corpus" >/dev/null
python3 "$here/finder_sets.py" tidyloom "$work/tidyloom.json" >"$work/sets.tidyloom"
python3 "$here/finder_sets.py" blocks "$work/jdupes.txt" >"$work/sets.jdupes"
python3 "$here/finder_sets.py" blocks "$work/fdupes.txt" >"$work/sets.fdupes"
python3 "$here/finder_sets.py" rdfind "$work/rdfind.txt" >"$work/sets.rdfind"
for other in jdupes fdupes rdfind; do
  if ! cmp -s "$work/sets.tidyloom" "$work/sets.$other"; then
    echo "tidyloom and $other report different duplicate sets:" >&2
    diff "$work/sets.tidyloom" "$work/sets.$other" | head -20 >&2
    exit 1
  fi
done
echo "same duplicate sets from tidyloom, jdupes, fdupes and rdfind: $(wc -l <"$work/sets.tidyloom") sets" >&2

time_group() {
  local name=$1
  shift
  local args=()
  while (($#)); do
    args+=(-n "$1" "$2 >/dev/null 2>&1")
    shift 2
  done
  hyperfine --warmup 1 --runs "$runs" --export-json "$out/$name.json" "${args[@]}" >&2
}

time_group finder-large \
  "tidyloom large" "$tidyloom large --min $min --threads $threads $corpus" \
  "find -size" "find $corpus -type f -size +$((min - 1))c" \
  "fd --size" "fdfind -u -t f -j $threads -S +${min}b . $corpus" \
  "walk floor" "$build/bench/lens_floor -j $threads $corpus"
time_group finder-dupes \
  "tidyloom dupes" "$tidyloom dupes --min $min --threads $threads $corpus" \
  "jdupes -r" "jdupes -r -q -X size+=:$min $corpus" \
  "rdfind" "rdfind -dryrun true -minsize $min -outputname $work/rdfind-timed.txt $corpus" \
  "fdupes -r" "fdupes -r -q -G $min $corpus" \
  "sha-256 floor" "$build/bench/sha_floor -j $threads $out/finder-list.txt"

python3 - "$out/finder-large.json" "$out/finder-dupes.json" <<'PY'
import json, sys
large = {r["command"]: r for r in json.load(open(sys.argv[1]))["results"]}
dupes = {r["command"]: r for r in json.load(open(sys.argv[2]))["results"]}
def table(results, floor, extra):
    print(f"{'command':<16}{'mean s':>9}{'± s':>8}{'cpu s':>8}{'x floor':>9}  {extra[0]}")
    for name, r in results.items():
        cpu = r["user"] + r["system"]
        print(f"{name:<16}{r['mean']:>9.3f}{r['stddev']:>8.3f}{cpu:>8.3f}{r['mean'] / results[floor]['mean']:>9.2f}"
              f"  {extra[1](r):.2f}")
table(large, "walk floor", ("x tidyloom", lambda r: r["mean"] / large["tidyloom large"]["mean"]))
print()
table(dupes, "sha-256 floor", ("x tidyloom", lambda r: r["mean"] / dupes["tidyloom dupes"]["mean"]))
both = dupes["sha-256 floor"]["mean"] + large["walk floor"]["mean"]
print(f"\ntidyloom dupes / (sha-256 floor + walk floor) = {dupes['tidyloom dupes']['mean'] / both:.2f}")
print(f"tidyloom dupes / jdupes -r = {dupes['tidyloom dupes']['mean'] / dupes['jdupes -r']['mean']:.2f}")
PY
