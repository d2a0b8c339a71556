#!/usr/bin/env bash
# The root daemon under abuse: a release build installed into a root-owned prefix, started by
# systemd-socket-activate exactly as the socket unit would, then a legitimate `system scan
# --via-helper` timed with hyperfine three ways: alone, beside 40 connections that never send a
# byte, and beside 1,000 concurrent connections from a user who is no administrator. Prints the
# daemon's peak memory (VmHWM) at the end. Needs root; touches nothing outside its own folders.
#
#   sudo bench/run_helper_abuse_bench.sh          # RUNS=20 by default
#   PRESET=clang bench/run_helper_abuse_bench.sh  # another build (a debug build gives an upper bound)
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(dirname "$here")
runs=${RUNS:-20}
preset=${PRESET:-release}
[ "$(id -u)" -eq 0 ] || { echo "run as root: the daemon and its installation need it" >&2; exit 1; }
command -v hyperfine >/dev/null || { echo "missing hyperfine (scripts/setup.sh installs it)" >&2; exit 1; }
command -v systemd-socket-activate >/dev/null || { echo "missing systemd-socket-activate" >&2; exit 1; }

(cd "$repo" && cmake --preset "$preset" >/dev/null && cmake --build --preset "$preset" -j2 --target tidyloom TidyloomHelper >&2)
work=$(mktemp -d /tmp/tidyloom-abuse-XXXXXX)
chmod 755 "$work"
daemon_pid=
abuse_pid=
cleanup() {
  [ -n "$abuse_pid" ] && kill "$abuse_pid" 2>/dev/null || true
  [ -n "$daemon_pid" ] && kill "$daemon_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
cmake --install "$repo/build/$preset" --prefix "$work/prefix" >/dev/null
socket=$work/helper.sock
systemd-socket-activate -l "$socket" "$work/prefix/libexec/tidyloom/TidyloomHelper" 2>"$work/daemon.log" &
daemon_pid=$!
for _ in $(seq 50); do [ -S "$socket" ] && break; sleep 0.1; done
chmod 666 "$socket"
export TIDYLOOM_HELPER_SOCKET=$socket XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config
scan="$work/prefix/bin/tidyloom --json --no-progress system scan --via-helper"

# Holds COUNT connections open as USER (uid), reconnecting as the daemon closes them, until killed.
# Run in a subshell that becomes python itself, so that killing its pid ends it.
abuse() {
  exec setpriv --reuid "$1" --regid "$1" --clear-groups /usr/bin/python3 - "$socket" "$2" <<'PY'
import socket, sys, time
path, count = sys.argv[1], int(sys.argv[2])
held = []
while True:
    while len(held) < count:
        s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            s.connect(path)
        except OSError:
            s.close(); time.sleep(0.001); continue
        held.append(s)
    time.sleep(0.05)
    alive = []
    for s in held:
        try:
            if s.recv(1, socket.MSG_DONTWAIT | socket.MSG_PEEK) == b"":
                s.close(); continue
        except BlockingIOError:
            pass
        except OSError:
            s.close(); continue
        alive.append(s)
    held = alive
PY
}

echo "== alone" >&2
hyperfine --warmup 2 --runs "$runs" -N "$scan" 2>&1 | grep -E "Time|Range" >&2
echo "== beside 40 stalled connections (root, never sending)" >&2
(abuse 0 40) & abuse_pid=$!
sleep 1
hyperfine --warmup 2 --runs "$runs" -N "$scan" 2>&1 | grep -E "Time|Range" >&2
kill "$abuse_pid"; wait "$abuse_pid" 2>/dev/null || true
echo "== beside 1,000 connections from a user who is no administrator" >&2
(abuse 65534 1000) & abuse_pid=$!
sleep 2
hyperfine --warmup 2 --runs "$runs" -N "$scan" 2>&1 | grep -E "Time|Range" >&2
kill "$abuse_pid"; wait "$abuse_pid" 2>/dev/null || true
abuse_pid=
helper=$(pgrep -f "$work/prefix/libexec/tidyloom/TidyloomHelper" | head -n 1 || true)
if [ -n "$helper" ]; then
  echo "== daemon peak memory: $(grep VmHWM "/proc/$helper/status" | awk '{print $2, $3}')" >&2
fi
echo "== daemon log: $(wc -l <"$work/daemon.log") lines" >&2
