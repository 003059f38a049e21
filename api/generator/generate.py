#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the C++ of the tuning modules from their definitions.

Usage: generate.py DEFINITIONS OUTPUT
DEFINITIONS is a folder with managers.toml and the families it names. OUTPUT receives src/ and
include/; files there that no definition asks for any more are removed, files that would not change
are left alone. A fault is told as FILE:LINE: what was expected, with exit status 2, and nothing is
written. The same definitions give the same bytes.
"""
import pathlib
import sys

sys.dont_write_bytecode = True
from definitions import Fault, read_managers  # noqa: E402
from emit import outputs  # noqa: E402


def main():
    definitions, target = map(pathlib.Path, sys.argv[1:])
    try:
        files = outputs(read_managers(definitions / "managers.toml"))
    except (Fault, OSError) as fault:
        print(fault, file=sys.stderr)
        return 2
    for folder in ("src", "include"):
        for old in (target / folder).rglob("*"):
            if old.is_file() and str(old.relative_to(target)) not in files:
                old.unlink()
    for name, text in files.items():
        path = target / name
        if not path.is_file() or path.read_text(encoding="utf-8") != text:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
    return 0


sys.exit(main())
