#!/usr/bin/env bash
# Times moving files to the freedesktop.org Trash, emptying it, and putting a run back, against
# trash-cli doing the same (trash-put, trash-empty). Every round runs in a private mount namespace
# with a fresh tmpfs on /root (tidyloom's home is the password database's, whatever HOME says), so
# the machine's own Trash is never touched; both sides pay the same set-up.
#
#   bench/run_trash_bench.sh                  # 2,000 files of 4 KiB, 5 paired runs each
#   FILES=500 RUNS=3 bench/run_trash_bench.sh
#
# Needs root (unshare, mount), trash-cli and farm-bench.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(dirname "$here")
files=${FILES:-2000}
runs=${RUNS:-5}

(cd "$repo" && cmake --preset release -DTIDYLOOM_WERROR=OFF >/dev/null &&
  cmake --build --preset release -j2 --target tidyloom | grep -E "warning|error" >&2 || true)
tidyloom=$repo/build/release/tidyloom/tidyloom

round=$(mktemp /tmp/tidyloom-trash-round-XXXXXX.sh)
trap 'rm -f "$round"' EXIT
# round.sh STEP TOOL: a fresh home with FILES files (already in the Trash for "empty" and "undo"),
# then STEP done by TOOL.
cat >"$round" <<EOF
#!/bin/sh
set -e
mount -t tmpfs bench /root
export HOME=/root
mkdir -p /root/work
cd /root/work
i=0
while [ \$i -lt $files ]; do printf '%4096s' '' > f\$i; i=\$((i + 1)); done
if [ "\$1" != move ]; then "$tidyloom" --no-progress remove --yes /root/work/* >/dev/null; fi
case "\$1-\$2" in
  move-tidyloom) exec "$tidyloom" --no-progress remove --yes /root/work/* ;;
  move-trash-cli) exec trash-put /root/work/* ;;
  empty-tidyloom) exec "$tidyloom" --no-progress clean --surface trash --yes ;;
  empty-trash-cli) exec trash-empty ;;
  undo-tidyloom) exec "$tidyloom" --no-progress undo ;;
  undo-none) exit 0 ;;
esac
EOF
chmod +x "$round"
bench() { farm-bench -n "$runs" --timeout 600 --vs "unshare -m --propagation private $round $1 $3" -- \
  unshare -m --propagation private "$round" "$1" "$2"; }

echo "== move $files files to the Trash: tidyloom remove (A) vs trash-put (B)"
bench move tidyloom trash-cli
echo "== empty a Trash of $files items: tidyloom clean --surface trash (A) vs trash-empty (B)"
bench empty tidyloom trash-cli
echo "== put back a run of $files items: tidyloom undo (A) vs the same set-up doing nothing (B)"
bench undo tidyloom none
