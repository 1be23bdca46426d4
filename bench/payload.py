#!/usr/bin/env python3
"""Deterministic payloads for the installation benchmarks.

A payload is a tree of files in 12 folders whose sizes and contents follow
from a seed alone, so every run (and every machine) installs the same bytes.
Contents mix text-like runs, random runs and repetitive records, so that a
compressor finds about as much to do as in a real product.

    payload.py FOLDER SET [--also NAME ...]

writes the payload of SET into FOLDER (emptied first, unless it already holds
that very payload) together with the package list "PxvUnInst.log" naming
every payload file, plus a "File Copy: " line for each NAME (files the caller
puts beside the payload, such as the product's executable).

From Python: make_payload(folder, SETS[name]) and write_package_list(...).
"""
import argparse
import hashlib
import json
import math
import os
import random
import shutil
import sys

KIB = 1024
MIB = 1024 * KIB

# The folders, parents before children; the extension that files get there.
FOLDERS = [
    ("Bin", ".dll"),
    ("Bin\\Plugins", ".dll"),
    ("Data", ".dat"),
    ("Data\\Images", ".png"),
    ("Data\\Images\\Large", ".png"),
    ("Docs", ".html"),
    ("Help", ".htm"),
    ("Languages", ".lng"),
    ("Effects", ".pvf"),
    ("Effects\\Frames", ".png"),
    ("Samples", ".pvi"),
    ("Redist", ".cab"),
]
# Where the few big files go.
LARGE_FOLDERS = ["Data", "Samples", "Redist"]

# Payload sets: how many files of each class; a total, when given, is met
# exactly by sizing the large files.
SETS = {
    "2000": {"seed": 2000, "large": 5, "medium": 50, "small": 1945, "total": 200 * MIB},
    "200": {"seed": 200, "large": 0, "medium": 0, "small": 200, "total": None},
    "20000": {"seed": 20000, "large": 0, "medium": 0, "small": 20000, "total": None},
}
SMALL = (1 * KIB, 64 * KIB)
MEDIUM = (128 * KIB, 4 * MIB)
LARGE = (10 * MIB, 50 * MIB)

LIST_NAME = "PxvUnInst.log"


def _log_uniform(rng, low, high):
    """File sizes spread like real ones: many small, few near the top."""
    return int(math.exp(rng.uniform(math.log(low), math.log(high))))


def _text_table():
    """Maps a random byte to a character with roughly English frequencies."""
    weights = {" ": 36, "\n": 4, "e": 25, "t": 18, "a": 16, "o": 15, "i": 14, "n": 14, "s": 13, "h": 12,
               "r": 12, "d": 8, "l": 8, "c": 6, "u": 6, "m": 5, "w": 5, "f": 4, "g": 4, "y": 4, "p": 4,
               "b": 3, "v": 2, "k": 1, ".": 2, ",": 2, "E": 1, "T": 1, "=": 1, "0": 1, "1": 1}
    chars = "".join(c * w for c, w in weights.items())
    return bytes(ord(chars[i * len(chars) // 256]) for i in range(256))


_TEXT = _text_table()


def _content(rng, size):
    """size bytes of runs: text-like, random, or repeated records with a counter."""
    parts = []
    left = size
    while left > 0:
        length = min(left, _log_uniform(rng, 64, 32 * KIB))
        kind = rng.random()
        if kind < 0.45:
            parts.append(rng.randbytes(length).translate(_TEXT))
        elif kind < 0.80:
            parts.append(rng.randbytes(length))
        else:
            record = rng.randbytes(12)
            start = rng.getrandbits(24)
            count = length // 16 + 1
            parts.append(b"".join(record + (start + i).to_bytes(4, "little") for i in range(count))[:length])
        left -= length
    return b"".join(parts)


def plan_payload(shape):
    """[(relative name, size, content seed)] of a set, in a fixed order."""
    rng = random.Random(shape["seed"])
    classes = ["small"] * shape["small"] + ["medium"] * shape["medium"]
    sizes = [_log_uniform(rng, *SMALL) for _ in range(shape["small"])]
    sizes += [_log_uniform(rng, *MEDIUM) for _ in range(shape["medium"])]
    if shape["large"]:
        rest = shape["total"] - sum(sizes)
        low, high = LARGE
        spare = rest - shape["large"] * low
        weights = [rng.uniform(0.2, 1.0) for _ in range(shape["large"])]
        large = [low + int(spare * w / sum(weights)) for w in weights]
        large[-1] += rest - sum(large)  # the rounding's few bytes
        if spare < 0 or max(large) > high:
            sys.exit(f"payload: the large files cannot make up {shape['total']} bytes")
        sizes += large
        classes += ["large"] * shape["large"]
    files = []
    counters = {}
    for cls, size in zip(classes, sizes):
        if cls == "large":
            folder = rng.choice(LARGE_FOLDERS)
            extension = ".bin"
        else:
            folder, extension = rng.choice(FOLDERS)
        counters[folder] = counters.get(folder, 0) + 1
        stem = folder.rsplit("\\", 1)[-1].lower()
        name = f"{folder}\\{stem}{counters[folder]:05d}{extension}"
        files.append((name, size, rng.getrandbits(64)))
    return files


def _local(folder, name):
    return os.path.join(folder, *name.split("\\"))


def make_payload(folder, shape):
    """Writes the set's files below folder; returns [(relative name, size)]."""
    files = plan_payload(shape)
    for sub, _ in FOLDERS:
        os.makedirs(_local(folder, sub), exist_ok=True)
    for name, size, seed in files:
        with open(_local(folder, name), "wb") as out:
            out.write(_content(random.Random(seed), size))
    return [(name, size) for name, size, _ in files]


def write_package_list(folder, files, also=()):
    """The package list: one "File Copy: " line a file, folder by folder as
    a packaging tool walks the tree, the folders after the first copy (which
    makes the product folder on a fresh installation), then the folders
    again children first, so that removal takes each after its children."""
    order = {sub: index for index, (sub, _) in enumerate(FOLDERS)}
    walk = sorted(name for name, _ in files)
    walk.sort(key=lambda name: order[name.rsplit("\\", 1)[0]])
    copies = [f"File Copy: {name}" for name in list(also) + walk]
    lines = copies[:1] + [f"Make Dir: {sub}" for sub, _ in FOLDERS] + copies[1:]
    lines += [f"Make Dir: {sub}" for sub, _ in reversed(FOLDERS)]
    with open(os.path.join(folder, LIST_NAME), "w", newline="\r\n", encoding="latin-1") as out:
        out.write("\n".join(lines) + "\n")


def _stamp(set_name, also):
    """What a payload on disk was made from: this file and the arguments."""
    with open(__file__, "rb") as me:
        digest = hashlib.sha256(me.read()).hexdigest()
    return json.dumps({"generator": digest, "set": set_name, "also": list(also)})


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("folder")
    parser.add_argument("set", choices=sorted(SETS))
    parser.add_argument("--also", action="append", default=[], metavar="NAME",
                        help="a file put beside the payload, listed before it")
    args = parser.parse_args()
    stamp_path = os.path.normpath(args.folder) + ".stamp"  # beside it: not part of the tree
    stamp = _stamp(args.set, args.also)
    if os.path.exists(stamp_path):
        with open(stamp_path) as existing:
            if existing.read() == stamp:
                return
    shutil.rmtree(args.folder, ignore_errors=True)
    if os.path.exists(stamp_path):
        os.remove(stamp_path)
    os.makedirs(args.folder)
    files = make_payload(args.folder, SETS[args.set])
    write_package_list(args.folder, files, args.also)
    with open(stamp_path, "w") as out:
        out.write(stamp)
    total = sum(size for _, size in files)
    print(f"payload {args.set}: {len(files)} files, {total / MIB:.1f} MiB in {args.folder}")


if __name__ == "__main__":
    main()
