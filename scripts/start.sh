#!/usr/bin/env bash
# Sets everything up, builds a release, and runs the main job: a preview of what can be cleaned.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
exec build/release/tidyloom/tidyloom "$@" clean --dry-run
