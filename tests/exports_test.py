#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Holds what the built library exports against the list that says what it should.

Usage: exports_test.py LIBRARY MAP NM
Prints every name that is in one and not in the other and exits with 1 if there is any.
"""
import fnmatch
import re
import subprocess
import sys


def listed(path):
    """Plain names, and the patterns over demangled C++ names."""
    names, patterns, in_cpp, in_global = set(), set(), False, False
    for line in open(path, encoding="utf-8"):
        line = line.split("#")[0].strip()
        if line == "global:":
            in_global = True
        elif line == "local:":
            in_global = False
        elif line.startswith('extern "C++"'):
            in_cpp = True
        elif line == "};" and in_cpp:
            in_cpp = False
        elif in_global and line.endswith(";"):
            (patterns if in_cpp else names).add(line.rstrip(";").strip('"'))
    return names, patterns


def exported(library, nm):
    out = subprocess.run([nm, "-D", "--defined-only", library], check=True,
                         capture_output=True, text=True).stdout
    symbols = set()
    for line in out.splitlines():
        _, kind, name = line.split(maxsplit=2)
        if kind != "A":
            symbols.add(re.sub("@.*", "", name))
    return symbols


def demangled(symbol):
    return subprocess.run(["c++filt", symbol], check=True, capture_output=True,
                          text=True).stdout.strip()


def main():
    library, version_map, nm = sys.argv[1:]
    names, patterns = listed(version_map)
    symbols = exported(library, nm)
    faults = [f"listed but not exported: {name}" for name in sorted(names - symbols)]
    used = set()
    for symbol in sorted(symbols - names):
        text = demangled(symbol)
        hits = {p for p in patterns if fnmatch.fnmatchcase(text, p)}
        used |= hits
        if not hits:
            faults.append(f"exported but not listed: {text}")
    faults += [f"listed but nothing matches: {p}" for p in sorted(patterns - used)]
    print("\n".join(faults) or f"{len(symbols)} symbols, as listed")
    if not names or not symbols:
        sys.exit("nothing to compare")
    sys.exit(1 if faults else 0)


main()
