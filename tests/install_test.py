#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Builds and runs the examples against an installed copy of the library.

Usage: install_test.py BUILD_FOLDER SOURCE_FOLDER C_COMPILER

The copy is installed into a folder of its own and moved once, so that nothing of the build folder
can be found by accident. The examples are built twice: by hand with pkg-config, and as a CMake
project of their own. They check themselves; what they print must be the same both times.
"""
import os
import pathlib
import subprocess
import sys
import tempfile

EXAMPLES = {"stabilize": "60 of 60 frames stabilized", "warps": "fits the hardware: 1"}


def run(*command, **options):
    result = subprocess.run(command, text=True, capture_output=True, check=False, **options)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\nexit status {result.returncode}\n"
                 f"{result.stdout}{result.stderr}")
    return result.stdout


def with_pkg_config(prefix, source, compiler, out):
    (package,) = prefix.rglob("steadywarp.pc")
    environment = dict(os.environ, PKG_CONFIG_PATH=str(package.parent))
    flags = run("pkg-config", "--cflags", "--libs", "steadywarp", env=environment).split()
    for flag in flags:
        if flag.startswith(("-I", "-L")) and not os.path.realpath(flag[2:]).startswith(
                os.path.realpath(prefix)):
            sys.exit(f"steadywarp.pc leads out of its prefix: {flag}")
    version = run("pkg-config", "--modversion", "steadywarp", env=environment).strip()
    if version not in (prefix / "version").read_text(encoding="utf-8"):
        sys.exit(f"steadywarp.pc says version {version}")
    for name in EXAMPLES:
        run(compiler, "-std=c11", "-Wall", "-Wextra", "-Wpedantic", "-Werror",
            source / "examples" / f"{name}.c", *flags, "-lm", f"-Wl,-rpath,{package.parent.parent}",
            "-o", out / name)


def with_cmake(prefix, source, compiler, out):
    run("cmake", "-G", "Ninja", "-S", source / "examples", "-B", out, f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DCMAKE_C_COMPILER={compiler}")
    run("cmake", "--build", out)


def main(build, source, compiler):
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        prefix = folder / "moved"
        run("cmake", "--install", build, "--component", "library", "--prefix", folder / "fresh")
        (folder / "fresh").rename(prefix)
        (library,) = [path for path in prefix.rglob("libsteadywarp.so.*") if not path.is_symlink()]
        (prefix / "version").write_text(library.name, encoding="utf-8")
        printed = []
        for make in (with_pkg_config, with_cmake):
            out = folder / make.__name__
            out.mkdir()
            make(prefix, source, compiler, out)
            printed.append({name: run(out / name) for name in EXAMPLES})
    for name, line in EXAMPLES.items():
        print(printed[0][name], end="")
        if line not in printed[0][name]:
            sys.exit(f"{name} does not print: {line}")
    if printed[0] != printed[1]:
        sys.exit("the two builds print different things")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3])
