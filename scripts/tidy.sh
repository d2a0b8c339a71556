#!/usr/bin/env bash
# Runs clang-tidy with the project's check list over every non-test source; fails on any finding.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/clang}
mapfile -t files < <(git ls-files 'TidyloomKit/*.cpp' 'TidyloomHelper/*.cpp' 'tidyloom/*.cpp' | grep -v '_test\.cpp$' | grep -v '_darwin\.')
printf '%s\n' "${files[@]}" | xargs -P "$(nproc)" -n 8 clang-tidy -p "$build" --quiet --warnings-as-errors='*' 2>/dev/null
