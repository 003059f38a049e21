#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Holds what the built library exports against the list that says what it should, and what it takes
from the C math library against what docs/aarch64.md knows of.

Usage: exports_test.py LIBRARY MAP NM SONAME
Prints every name that is in one and not in the other, or has another version there, and exits with 1
if there is any.
"""
import ctypes
import fnmatch
import re
import subprocess
import sys


def listed(path):
    """The version, plain names, and the patterns over demangled C++ names."""
    version, names, patterns, in_cpp, in_global = None, set(), set(), False, False
    for line in open(path, encoding="utf-8"):
        line = line.split("#")[0].strip()
        if line.startswith("STEADYWARP_"):
            version = line.split()[0]
        elif line == "global:":
            in_global = True
        elif line == "local:":
            in_global = False
        elif line.startswith('extern "C++"'):
            in_cpp = True
        elif line == "};" and in_cpp:
            in_cpp = False
        elif in_global and line.endswith(";"):
            (patterns if in_cpp else names).add(line.rstrip(";").strip('"'))
    return version, names, patterns


def soname(library):
    out = subprocess.run(["readelf", "-d", library], check=True, capture_output=True, text=True).stdout
    return re.search(r"\(SONAME\).*\[(.*)\]", out)[1]


# Those of the math library whose last bit may differ among processors, and a test moves it.
INEXACT = {"asin", "atan2", "cos", "exp", "sin", "sincos"}
# The same bits everywhere: exact by their definition, or in each library that the document names.
SAME_EVERYWHERE = {"ceil", "ceilf", "floor", "floorf", "fma", "fmaf", "ldexpf", "logf", "lrint",
                   "nearbyint", "nearbyintf", "powf", "rint", "rintf", "round", "roundf", "sqrt",
                   "sqrtf", "trunc", "truncf"}


def names_of(nm, kind, library):
    """(letter, name) of each dynamic symbol, its version behind an @ as nm has it."""
    out = subprocess.run([nm, "-D", kind, library], check=True, capture_output=True,
                         text=True).stdout
    return [(line.split()[-2], line.split()[-1]) for line in out.splitlines()]


def unversioned(nm, kind, library):
    return {name.partition("@")[0] for _, name in names_of(nm, kind, library)}


def exported(library, nm):
    """Version by name."""
    symbols = {}
    for letter, name in names_of(nm, "--defined-only", library):
        if letter != "A":
            name, _, symbol_version = name.partition("@@")
            symbols[name] = symbol_version
    return symbols


def imported_math(library, nm):
    """What the library takes from libm, told by the names that this machine's libm exports."""
    ctypes.CDLL("libm.so.6")
    path = next(line.split()[-1] for line in open("/proc/self/maps", encoding="utf-8")
                if "/libm." in line or "/libm-" in line)
    return unversioned(nm, "--undefined-only", library) & unversioned("nm", "--defined-only", path)


def demangled(symbols):
    return subprocess.run(["c++filt"], input="\n".join(symbols), check=True, capture_output=True,
                          text=True).stdout.splitlines()


def main():
    library, version_map, nm, wanted_soname = sys.argv[1:]
    version, names, patterns = listed(version_map)
    versions = exported(library, nm)
    symbols = versions.keys()
    faults = [f"listed but not exported: {name}" for name in sorted(names - symbols)]
    faults += [f"version {found} instead of {version}: {name}"
               for name, found in versions.items() if found != version]
    if soname(library) != wanted_soname:
        faults.append(f"soname {soname(library)} instead of {wanted_soname}")
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
    print("\n".join(faults) or f"{len(symbols)} symbols of {version}, as listed")
    if not names or not symbols or not math & INEXACT:
        sys.exit("nothing to compare")
    sys.exit(1 if faults else 0)


main()
