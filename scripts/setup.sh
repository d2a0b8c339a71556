#!/usr/bin/env bash
# Installs what building and testing Tidyloom needs, with apt-get, only when something is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config git clang clang-format clang-tidy libclang-rt-14-dev
  nlohmann-json3-dev libfmt-dev libicu-dev libssl-dev libsqlite3-dev libplist-dev libcli11-dev
  libsystemd-dev libgtest-dev libgmock-dev libbenchmark-dev shared-mime-info
  trash-cli hyperfine gdu ncdu jdupes rdfind fdupes fd-find
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}" >&2
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
