#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Write a seed corpus: for each operation of a target and two chips, one input of zeros with the
choice in front, one of random bytes, and one that switches everything on: bytes of 13 read as true,
as virtual, as one matrix and as the fine ring grid.

Usage: make_seeds.py CORPUS_FOLDER OPERATIONS
"""
import pathlib
import random
import struct
import sys

CORPUS = pathlib.Path(sys.argv[1])
rng = random.Random(1)
for operation in range(int(sys.argv[2])):
    for chip in (0, 3):
        head = struct.pack("<HH", chip, operation)
        (CORPUS / f"calm_{operation}_{chip}").write_bytes(head)
        (CORPUS / f"wild_{operation}_{chip}").write_bytes(head + rng.randbytes(600))
        (CORPUS / f"bright_{operation}_{chip}").write_bytes(head + bytes([13]) * 2400)
