#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the seed corpus beside this script: plain streams, with and without a moving lens."""
import pathlib
import random


def stream(seed, flags, frames):
    rng = random.Random(seed)
    out = bytearray([0]) + flags.to_bytes(2, "little") + bytes([0])  # common, one sensor
    out += bytes([0])
    if flags & 8:
        out += bytes([rng.randrange(6)])
    out += bytes(4)  # four groups of tuning, unspoiled
    for _ in range(frames):
        out += bytes([rng.choice([0, 0, 0, 205, 230])])
        for _ in range(2):
            count = 36
            out += bytes([count])
            out += bytes(rng.choice([1, 2, 3, 5, 9, 11]) for _ in range(count))
        out += bytes([0, 0, 0])
    return bytes(out)


def main():
    folder = pathlib.Path(__file__).parent / "corpus"
    folder.mkdir(exist_ok=True)
    for index, (flags, frames) in enumerate([(0, 3), (1, 8), (8, 3), (8, 10), (0, 30)]):
        (folder / f"stream_{index}").write_bytes(stream(index, flags, frames))


main()
