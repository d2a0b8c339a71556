#!/usr/bin/env bash
# Times a full clean preview (`tidyloom clean --dry-run`) over a generated home with a few hundred
# thousand cache files, warm cache, against `du -s` of the same tree (the walk every preview must at
# least do to measure what it offers).
#
#   bench/run_clean_bench.sh                  # 300,000 files under /tmp/tidyloom-clean-bench-300000
#   FILES=100000 RUNS=3 bench/run_clean_bench.sh
#
# The home is generated data under /tmp: never committed.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(dirname "$here")
files=${FILES:-300000}
home=${HOME_DIR:-/tmp/tidyloom-clean-bench-$files}
runs=${RUNS:-5}

(cd "$repo" && cmake --preset release -DTIDYLOOM_WERROR=OFF >/dev/null &&
  cmake --build --preset release -j2 --target tidyloom | grep -E "warning|error" >&2 || true)
tidyloom=$repo/build/release/tidyloom/tidyloom

if [ ! -d "$home" ]; then
  echo "writing the home ($files files) to $home" >&2
  python3 "$here/make_clean_home.py" "$home" "$files"
fi

preview() { "$tidyloom" --fixture "$home" --no-progress --json clean --dry-run >/dev/null; }
walk() { du -s "$home" >/dev/null; }
preview && walk  # warm the cache

report=$("$tidyloom" --fixture "$home" --no-progress --json clean --dry-run)
python3 - "$report" <<'PY' >&2
import json, sys
r = json.loads(sys.argv[1])
print(f"preview: {len(r['candidates'])} candidates, {sum(c['byteSize'] for c in r['candidates'])} bytes, "
      f"{len(r['appHeld'])} held, {len(r['reviewItems'])} review rows")
PY

if command -v hyperfine >/dev/null; then
  hyperfine --warmup 1 --runs "$runs" -N \
    "$tidyloom --fixture $home --no-progress --json clean --dry-run" "du -s $home"
else
  for name in preview walk; do
    best=
    for _ in $(seq "$runs"); do
      start=$(date +%s.%N)
      "$name"
      t=$(echo "$(date +%s.%N) - $start" | bc)
      if [ -z "$best" ] || [ "$(echo "$t < $best" | bc)" = 1 ]; then best=$t; fi
    done
    echo "$name: best of $runs: ${best}s"
  done
fi
