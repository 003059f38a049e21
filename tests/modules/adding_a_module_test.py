#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Does what docs/adding-a-module.md says, in a copy: defines the module, builds it, reads a file.

Usage: adding_a_module_test.py SOURCE COMPILER LIBRARY COMMAND [FLAG ...]
LIBRARY is the static library of all floors. Its modules are used for all families but the one that
is added to. COMMAND is the steadywarp command, FLAGs end the compiler's line.
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile


def run(*words):
    done = subprocess.run(words, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{words[0]}: exit status {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def main():
    source, compiler, library, command, *flags = sys.argv[1:]
    source = pathlib.Path(source)
    page = (source / "docs/adding-a-module.md").read_text(encoding="utf-8")
    blocks = re.findall(r"^```(\w+)\n(.*?)^```$", page, re.M | re.S)
    (_, definition), (_, description), (_, program), (_, output) = blocks
    assert [kind for kind, _ in blocks] == ["toml", "toml", "cpp", "text"]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        shutil.copytree(source / "api/definitions", folder / "definitions")
        with open(folder / "definitions/image_quality.toml", "a", encoding="utf-8") as family:
            family.write("\n" + definition)
        run(sys.executable, "-B", source / "api/generator/generate.py", folder / "definitions",
            folder / "made")
        (folder / "vignette.toml").write_text(description, encoding="utf-8")
        run(command, "tuning", "build", folder / "vignette.toml", "-o", folder / "vignette.bin")
        (folder / "main.cpp").write_text(program, encoding="utf-8")
        run(compiler, "-std=c++20", "-O0", "-Wall", "-Wextra", "-Werror",
            "-I", folder / "made/include", "-I", source / "include", folder / "main.cpp",
            folder / "made/src/image_quality.cpp", library, *flags, "-o", folder / "main")
        said = run(folder / "main", folder / "vignette.bin")
        if said != output:
            sys.exit(f"expected\n{output}found\n{said}")


main()
