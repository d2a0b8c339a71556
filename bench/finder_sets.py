#!/usr/bin/env python3
"""Reads the duplicate sets that one tool printed and writes them in one canonical form, so that the
outputs of different tools can be compared: each path becomes its file's (device, inode), since
tools pick different names for hard-linked files; then one set per line, sorted.
Usage: finder_sets.py FORMAT FILE   with FORMAT tidyloom (--json), blocks (jdupes, fdupes) or rdfind."""
import json
import os
import sys


def tidyloom(text):
    return [[f["path"] for f in g["files"]] for g in json.loads(text)["groups"]]


def blocks(text):
    sets, current = [], []
    for line in text.splitlines():
        if line.strip():
            current.append(line)
        elif current:
            sets.append(current)
            current = []
    if current:
        sets.append(current)
    return sets


def rdfind(text):
    # "DUPTYPE id depth size device inode priority name": the name may hold spaces.
    by_id = {}
    for line in text.splitlines():
        if not line or line.startswith("#"):
            continue
        fields = line.split(" ", 7)
        by_id.setdefault(fields[1].lstrip("-"), []).append(fields[7])
    return list(by_id.values())


def main():
    fmt, path = sys.argv[1], sys.argv[2]
    text = open(path, encoding="utf-8", errors="surrogateescape").read()
    sets = {"tidyloom": tidyloom, "blocks": blocks, "rdfind": rdfind}[fmt](text)
    def identity(path):
        status = os.lstat(path)
        return f"{status.st_dev}:{status.st_ino}"

    canonical = (sorted({identity(p) for p in s}) for s in sets)
    for line in sorted(" ".join(s) for s in canonical if len(s) > 1):
        print(line)


main()
