#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the corpus that the fuzzer of module payloads starts from, into the folder given."""
import pathlib
import struct
import sys

# Modules by their place in tests/modules/definitions/shapes.toml.
SCALARS, STRINGS, TABLES, NESTED, DEEP = 0, 1, 3, 4, 5
DISK, ALIGNED = 0x80, 0x40
VERSION = struct.pack("<3i", 1, 2, 3)


def words(*numbers):
    return struct.pack(f"<{len(numbers)}I", *numbers)


def seed(choice, rows, payload):
    """`rows`: pairs of DuplicateID and bytes."""
    behind = b"".join(bytes([len(data), duplicate]) + data for duplicate, data in rows)
    return bytes([choice, len(rows)]) + behind + payload


HEAD = VERSION + words(4, 1)
TEXT = (1, b"rev\0")
NUMBERS = (2, words(7, 8))
INNER = (3, struct.pack("<H3I", 5, 2, 2, 40))
MIDDLE = (4, words(1, 3, 4, 1))
OUTER = (5, words(3, 1, 4))
SEEDS = {
    "scalars": seed(SCALARS, [TEXT], HEAD + bytes(range(35)) + words(2)),
    "strings": seed(STRINGS, [TEXT, (1, b"rev\0")], HEAD + words(4, 2) + b"\5" + words(4, 1)),
    "tables": seed(TABLES, [TEXT], HEAD + bytes(16 + 3 + 10 + 16) + words(1, 2, 3, 9, 9, 9, 9)),
    "nested": seed(NESTED, [TEXT], VERSION + b"\1\2" + bytes(10) + words(4, 1, 9)),
    "deep": seed(DEEP, [TEXT, NUMBERS, INNER, MIDDLE, OUTER], HEAD + words(1, 5, 99)),
    "deep_disk": seed(DEEP | DISK, [TEXT, NUMBERS, INNER, MIDDLE, OUTER], HEAD + words(1, 5, 99)),
    "aligned": seed(SCALARS | ALIGNED, [TEXT], HEAD + bytes(100)),
}

for name, data in SEEDS.items():
    (pathlib.Path(sys.argv[1]) / name).write_bytes(data)
