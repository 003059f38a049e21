#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Holds docs/dependencies.md against the packages that scripts/setup installs.

Usage: dependencies_test.py SOURCE_FOLDER
"""
import pathlib
import re
import sys

source = pathlib.Path(sys.argv[1])
setup = (source / "scripts/setup").read_text(encoding="utf-8")
installed = set(" ".join(re.findall(r"^\w+_packages=\(([^)]*)\)", setup, re.M)).split())
rows = re.findall(r"^\| `([^`]*)` \| ([^|]*) \| ([^|]*) \|$",
                  (source / "docs/dependencies.md").read_text(encoding="utf-8"), re.M)
explained = {package for package, licence, reason in rows if licence.strip() and reason.strip()}
faults = [f"installed, but not in docs/dependencies.md: {name}" for name in installed - explained]
faults += [f"in docs/dependencies.md, but not installed: {name}" for name in explained - installed]
print("\n".join(sorted(faults)) or f"{len(installed)} packages, as documented")
sys.exit(1 if faults or not installed else 0)
