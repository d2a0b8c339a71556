#!/usr/bin/env bash
# Runs one libFuzzer target for SECONDS (default 60) from its seed corpus; new inputs go to a
# scratch folder, so the repository's corpus only changes by hand. Exits non-zero on a finding.
#   scripts/fuzz.sh TARGET [SECONDS]      targets: ls fuzz/corpus
set -euo pipefail
cd "$(dirname "$0")/.."
target=${1:?usage: scripts/fuzz.sh TARGET [SECONDS]}
seconds=${2:-60}
[ -d "fuzz/corpus/$target" ] || { echo "fuzz: no such target: $target" >&2; exit 2; }
if [ ! -x "build/fuzz/fuzz/fuzz_$target" ]; then
  cmake --preset fuzz >/dev/null
  cmake --build --preset fuzz --target "fuzz_$target"
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/corpus" "$work/artifacts"
# Leaks inside one run of the target are reported too; the ones libplist keeps for good are not ours.
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  "build/fuzz/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
  -artifact_prefix="$work/artifacts/" "$work/corpus" "fuzz/corpus/$target" 2>"$work/log" || {
  tail -n 60 "$work/log" >&2
  mkdir -p build/fuzz-findings && cp -r "$work/artifacts/." build/fuzz-findings/ 2>/dev/null || true
  echo "fuzz: $target found a failure (input kept in build/fuzz-findings)" >&2
  exit 1
}
runs=$(grep -oE 'stat::number_of_executed_units: *[0-9]+' "$work/log" | grep -oE '[0-9]+$' || echo "?")
echo "fuzz: $target ran clean for ${seconds}s ($runs inputs)" >&2
