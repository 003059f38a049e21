#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Holds what the built library exports against the list that says what it should, and what it takes
from the C math library against what docs/aarch64.md knows of.

Usage: exports_test.py LIBRARY MAP NM
Prints every name that is in one and not in the other and exits with 1 if there is any.
"""
import ctypes
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


# Those of the math library whose last bit may differ among processors, and a test moves it.
INEXACT = {"asin", "atan2", "cos", "exp", "sin", "sincos"}
# The same bits everywhere: exact by their definition, or in each library that the document names.
SAME_EVERYWHERE = {"ceil", "ceilf", "floor", "floorf", "fma", "fmaf", "ldexpf", "logf", "lrint",
                   "nearbyint", "nearbyintf", "powf", "rint", "rintf", "round", "roundf", "sqrt",
                   "sqrtf", "trunc", "truncf"}


def names_of(nm, kind, library):
    """(letter, name) of each dynamic symbol, without its version."""
    out = subprocess.run([nm, "-D", kind, library], check=True, capture_output=True,
                         text=True).stdout
    return [(line.split()[-2], re.sub("@.*", "", line.split()[-1])) for line in out.splitlines()]


def exported(library, nm):
    return {name for letter, name in names_of(nm, "--defined-only", library) if letter != "A"}


def imported_math(library, nm):
    """What the library takes from libm, told by the names that this machine's libm exports."""
    ctypes.CDLL("libm.so.6")
    path = next(line.split()[-1] for line in open("/proc/self/maps", encoding="utf-8")
                if "/libm." in line or "/libm-" in line)
    math = {name for _, name in names_of("nm", "--defined-only", path)}
    return {name for _, name in names_of(nm, "--undefined-only", library)} & math


def demangled(symbols):
    return subprocess.run(["c++filt"], input="\n".join(symbols), check=True, capture_output=True,
                          text=True).stdout.splitlines()


def main():
    library, version_map, nm = sys.argv[1:]
    names, patterns = listed(version_map)
    symbols = exported(library, nm)
    faults = [f"listed but not exported: {name}" for name in sorted(names - symbols)]
    used = set()
    for text in demangled(sorted(symbols - names)):
        hits = {p for p in patterns if fnmatch.fnmatchcase(text, p)}
        used |= hits
        if not hits:
            faults.append(f"exported but not listed: {text}")
    faults += [f"listed but nothing matches: {p}" for p in sorted(patterns - used)]
    math = imported_math(library, nm)
    faults += [f"not known to give the same bits everywhere: {name}"
               for name in sorted(math - INEXACT - SAME_EVERYWHERE)]
    print("\n".join(faults) or f"{len(symbols)} symbols, as listed")
    if not names or not symbols or not math & INEXACT:
        sys.exit("nothing to compare")
    sys.exit(1 if faults else 0)


main()
