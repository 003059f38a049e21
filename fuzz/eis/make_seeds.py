#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the seed corpus beside this script: plain streams, with and without a lens that moves, breathes or
distorts."""
import pathlib
import random


OIS, IFOVC = 0x008, 0x800
TUNED_GRIDS, GRIDS_BESIDE = 0x82, 0xC1


def stream(seed, flags, optics, frames):
    rng = random.Random(seed)
    out = bytearray([0]) + flags.to_bytes(2, "little") + bytes([0])  # common, one sensor
    out[3:3] = bytes([0, 2, 0])  # a grid with a ring, unspoiled
    out += bytes([0, optics])
    out += bytes(1 if flags & IFOVC else 0) + bytes(1 if optics & 0x80 else 0)
    if flags & OIS:
        out += bytes([rng.randrange(6)])
    out += bytes(4)  # four groups of tuning, unspoiled
    for _ in range(frames):
        out += bytes([rng.choice([0, 0, 0, 205, 230])])
        for stream_index in range(3):
            count = 36
            out += bytes([count])
            out += bytes(rng.choice([1, 2, 3, 5, 9, 11]) for _ in range(count))
            if stream_index == 1:
                out += bytes([0, 0, 0])
    return bytes(out)


def main():
    folder = pathlib.Path(__file__).parent / "corpus"
    folder.mkdir(exist_ok=True)
    for index, what in enumerate([(0, 0, 3), (1, 0, 8), (OIS, 0, 3), (OIS, 0, 10), (0, 0, 30),
                                  (IFOVC, 0, 5), (IFOVC, 1, 5), (0, TUNED_GRIDS, 5),
                                  (0, GRIDS_BESIDE, 5), (OIS | IFOVC, GRIDS_BESIDE, 8)]):
        (folder / f"stream_{index}").write_bytes(stream(index, *what))


main()
