# SPDX-License-Identifier: Apache-2.0
"""Builds the examples against an installed library, by hand with pkg-config and as a CMake project of
their own, and runs them. They check themselves; what they print must be the same both times."""
import os
import pathlib
import subprocess
import sys

EXAMPLES = {"stabilize": "60 of 60 frames stabilized", "warps": "fits the hardware: 1"}


def run(*command, **options):
    result = subprocess.run(command, text=True, capture_output=True, check=False, **options)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\nexit status {result.returncode}\n"
                 f"{result.stdout}{result.stderr}")
    return result.stdout


def with_pkg_config(prefix, source, machine, out):
    (package,) = prefix.rglob("steadywarp.pc")
    environment = dict(os.environ, PKG_CONFIG_PATH=str(package.parent))
    flags = run("pkg-config", "--cflags", "--libs", "steadywarp", env=environment).split()
    for flag in flags:
        if flag.startswith(("-I", "-L")) and not os.path.realpath(flag[2:]).startswith(
                os.path.realpath(prefix)):
            sys.exit(f"steadywarp.pc leads out of its prefix: {flag}")
    version = run("pkg-config", "--modversion", "steadywarp", env=environment).strip()
    (library,) = [path for path in prefix.rglob("libsteadywarp.so.*") if not path.is_symlink()]
    if library.name != f"libsteadywarp.so.{version}":
        sys.exit(f"steadywarp.pc says version {version} of {library.name}")
    for name in EXAMPLES:
        run(machine.compiler, "-std=c11", "-Wall", "-Wextra", "-Wpedantic", "-Werror",
            source / "examples" / f"{name}.c", *flags, "-lm", f"-Wl,-rpath,{package.parent.parent}",
            *machine.link_flags, "-o", out / name)


def with_cmake(prefix, source, machine, out):
    run("cmake", "-G", "Ninja", "-S", source / "examples", "-B", out, f"-DCMAKE_PREFIX_PATH={prefix}",
        *machine.cmake_flags)
    run("cmake", "--build", out)


class Machine:
    """Whose programs are built, and how they are run."""

    def __init__(self, compiler):
        self.compiler = compiler
        self.link_flags = []
        self.cmake_flags = [f"-DCMAKE_C_COMPILER={compiler}"]
        self.runner = []


class EmulatedArm(Machine):
    """AArch64 programs, with the libraries that the cross build has."""

    def __init__(self, compiler, root):
        super().__init__(compiler)
        libraries = root / "usr/lib/aarch64-linux-gnu"
        self.link_flags = [f"-Wl,-rpath-link,{libraries}"]
        self.cmake_flags += ["-DCMAKE_SYSTEM_NAME=Linux", "-DCMAKE_SYSTEM_PROCESSOR=aarch64",
                             f"-DCMAKE_EXE_LINKER_FLAGS=-Wl,-rpath-link,{libraries}"]
        self.runner = ["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu", "-E",
                       f"LD_LIBRARY_PATH={libraries}"]


def check(prefix, source, machine, folder):
    """Exits with a message if an example does not build, run or print what it should."""
    printed = []
    for make in (with_pkg_config, with_cmake):
        out = pathlib.Path(folder) / make.__name__
        out.mkdir()
        make(prefix, source, machine, out)
        printed.append({name: run(*machine.runner, out / name) for name in EXAMPLES})
    for name, line in EXAMPLES.items():
        print(printed[0][name], end="")
        if line not in printed[0][name]:
            sys.exit(f"{name} does not print: {line}")
    if printed[0] != printed[1]:
        sys.exit("the two builds print different things")
