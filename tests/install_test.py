#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Builds and runs the examples against an installed copy of the library.

Usage: install_test.py BUILD_FOLDER SOURCE_FOLDER C_COMPILER

The copy is installed into a folder of its own and moved once, so that nothing of the build folder
can be found by accident.
"""
import pathlib
import sys
import tempfile

import installed_examples
from installed_examples import run


def main(build, source, compiler):
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        for component in ("library", "development"):
            run("cmake", "--install", build, "--component", component, "--prefix", folder / "fresh")
        (folder / "fresh").rename(folder / "moved")
        installed_examples.check(folder / "moved", source, installed_examples.Machine(compiler), folder)


main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3])
