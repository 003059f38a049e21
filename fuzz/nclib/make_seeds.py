#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Write the seed corpus: for each operation of the target and two chips, one input of zeros with
the choice in front, and one of random bytes."""
import pathlib
import random
import struct

CORPUS = pathlib.Path(__file__).with_name("corpus")
rng = random.Random(1)
for operation in range(6):
    for chip in (0, 3):
        head = struct.pack("<HH", chip, operation)
        (CORPUS / f"calm_{operation}_{chip}").write_bytes(head)
        (CORPUS / f"wild_{operation}_{chip}").write_bytes(head + rng.randbytes(600))
