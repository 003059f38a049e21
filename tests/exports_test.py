#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Holds what the built library exports against the list that says what it should.

Usage: exports_test.py LIBRARY MAP NM SONAME
Prints every name that is in one and not in the other, or has another version there, and exits with 1
if there is any.
"""
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


def exported(library, nm):
    """Version by name."""
    out = subprocess.run([nm, "-D", "--defined-only", library], check=True,
                         capture_output=True, text=True).stdout
    symbols = {}
    for line in out.splitlines():
        _, kind, name = line.split(maxsplit=2)
        if kind != "A":
            name, _, symbol_version = name.partition("@@")
            symbols[name] = symbol_version
    return symbols


def demangled(symbol):
    return subprocess.run(["c++filt", symbol], check=True, capture_output=True,
                          text=True).stdout.strip()


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
    for symbol in sorted(symbols - names):
        text = demangled(symbol)
        hits = {p for p in patterns if fnmatch.fnmatchcase(text, p)}
        used |= hits
        if not hits:
            faults.append(f"exported but not listed: {text}")
    faults += [f"listed but nothing matches: {p}" for p in sorted(patterns - used)]
    print("\n".join(faults) or f"{len(symbols)} symbols of {version}, as listed")
    if not names or not symbols:
        sys.exit("nothing to compare")
    sys.exit(1 if faults else 0)


main()
