#!/usr/bin/env python3
"""Writes a home folder shaped like macOS with many cache files, for the clean preview benchmark.

    make_clean_home.py DIR [FILES]

Deterministic (fixed seed). The tree is generated data: keep it outside the repository.
"""
import os
import random
import sys

root = sys.argv[1]
total = int(sys.argv[2]) if len(sys.argv) > 2 else 300000
rng = random.Random(42)

# (folder relative to the home, share of the files, fan-out per level)
areas = [
    ("Library/Caches/com.example.app{n}", 0.30, 40),
    ("Library/Caches/Google/Chrome/Default/Cache", 0.05, 20),
    ("Library/Application Support/Google/Chrome/Default/Cache/Cache_Data", 0.10, 20),
    ("Library/Application Support/Google/Chrome/Default/Code Cache/js", 0.05, 20),
    ("Library/Developer/Xcode/DerivedData/App{n}-abcdef/Build/Intermediates.noindex", 0.20, 30),
    (".npm/_cacache/content-v2/sha512", 0.15, 64),
    ("Library/Logs/app{n}", 0.05, 10),
    ("Library/Containers/com.example.sandboxed{n}/Data/Library/Caches", 0.10, 20),
]
payload = b"x" * 16384
written = 0
for template, share, fanout in areas:
    count = int(total * share)
    for i in range(count):
        folder = os.path.join(root, template.format(n=i % 25), "%02x" % (i % fanout), "%02x" % ((i // fanout) % 16))
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "f%07d" % i), "wb") as out:
            out.write(payload[: rng.randint(1, 16384)])
        written += 1
# Things that must never be offered.
os.makedirs(os.path.join(root, "Documents"), exist_ok=True)
with open(os.path.join(root, "Documents", "thesis.tex"), "wb") as out:
    out.write(b"keep me")
print(f"{written} cache files under {root}", file=sys.stderr)
