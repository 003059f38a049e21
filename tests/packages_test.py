#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the Debian packages against the files in them, and builds a program with their content.

Usage: packages_test.py SOURCE_FOLDER C_COMPILER --build BUILD_FOLDER
       packages_test.py SOURCE_FOLDER C_COMPILER FOLDER_OF_PACKAGES [AARCH64_ROOT]

With --build the packages are made first, in a folder that is gone afterwards. The packages are
unpacked, not installed. Exit status 77, for ctest: this machine has no Debian tools.
"""
import pathlib
import re
import shutil
import sys
import tempfile

import installed_examples
from installed_examples import run

# Packages whose names do not follow from that of the library.
PACKAGE_OF = {"libc.so.6": "libc6", "libm.so.6": "libc6", "libgcc_s.so.1": "libgcc-s1",
              "libglib-2.0.so.0": "libglib2.0-0"}
# The compiler whose library first had a version of symbols.
COMPILER_OF = {28: 9, 29: 11, 30: 12}


def package_of(soname):
    if soname.startswith("ld-linux"):
        return "libc6"
    name, _, version = soname.partition(".so.")
    return PACKAGE_OF.get(soname, (name + version).replace("_", "-").lower())


def needed_packages(binary):
    """Package to the least version that the file's symbols tell of, which may be none."""
    needed = {package_of(soname): () for soname in
              re.findall(r"\(NEEDED\).*\[(.*)\]", run("readelf", "-dW", binary))}
    versions = run("readelf", "-VW", binary)
    for package, pattern, translate in (
            ("libc6", r"Name: GLIBC_([\d.]+)", lambda version: version),
            ("libstdc++6", r"Name: GLIBCXX_3\.4\.(\d+)",
             lambda version: (COMPILER_OF[version[0]],) if version[0] >= 28 else ())):
        found = [tuple(map(int, text.split("."))) for text in re.findall(pattern, versions)]
        if found and package in needed:
            needed[package] = translate(max(found))
    return needed


def check_depends(package, field, binary):
    depends = {}
    for alternative in field.split(", "):
        name, version = re.fullmatch(r"(\S+)(?: \([>=]+ (?:\d+:)?([\d.]+).*\))?", alternative).groups()
        depends[name] = tuple(map(int, version.split("."))) if version else ()
    needed = needed_packages(binary)
    print(f"{package}: {', '.join(sorted(needed))}")
    if depends.keys() != needed.keys():
        sys.exit(f"{package} depends on {sorted(depends)}, {binary.name} needs {sorted(needed)}")
    for name, least in needed.items():
        if depends[name] < least:
            sys.exit(f"{package} depends on {name} {depends[name]}, {binary.name} needs {least}")


def unpack(packages, root):
    """Unpacks them over each other. Returns the control fields by package."""
    fields = {}
    for package in packages:
        run("dpkg-deb", "-x", package, root)
        text = run("dpkg-deb", "-f", package, "Package", "Version", "Depends")
        found = dict(line.split(": ", 1) for line in text.splitlines())
        fields[found["Package"]] = found
    return fields


def check_symbols_file(package, library, folder):
    """The dependency of what links with the library comes from there."""
    run("dpkg-deb", "-e", package, folder)
    version = library.name.removeprefix("libsteadywarp.so.")
    symbols = (folder / "symbols").read_text(encoding="utf-8")
    for line in (f"{library.name} libsteadywarp{version} #MINVER#",
                 f" eis2_process@STEADYWARP_1.3 {version}"):
        if line not in symbols.splitlines():
            sys.exit(f"the symbols file has no line: {line}")


def check(packages, source, machine, folder):
    root = folder / "root"
    fields = unpack(packages, root)
    (library,) = [path for path in root.rglob("libsteadywarp.so.*") if not path.is_symlink()]
    version = library.name.removeprefix("libsteadywarp.so.")
    runtime = f"libsteadywarp{version}"
    if fields.keys() != {runtime, "libsteadywarp-dev", "steadywarp"}:
        sys.exit(f"these are the packages: {sorted(fields)}")
    if fields["libsteadywarp-dev"]["Depends"] != f"{runtime} (= {fields[runtime]['Version']})":
        sys.exit(f"libsteadywarp-dev depends on {fields['libsteadywarp-dev']['Depends']}")
    check_depends(runtime, fields[runtime]["Depends"], library)
    check_depends("steadywarp", fields["steadywarp"]["Depends"], root / "usr/bin/steadywarp")
    (runtime_package,) = [package for package in packages if package.name.startswith(runtime)]
    check_symbols_file(runtime_package, library, folder / "control")
    for document in ("copyright", "changelog.Debian.gz"):
        for package in fields:
            if not (root / "usr/share/doc" / package / document).is_file():
                sys.exit(f"{package} has no {document}")
    installed_examples.check(root / "usr", source, machine, folder)


def main(source, compiler, where, *rest):
    if not shutil.which("dpkg-shlibdeps"):
        print("no Debian tools on this machine")
        sys.exit(77)
    source = pathlib.Path(source)
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        machine = installed_examples.Machine(compiler)
        if where == "--build":
            where = folder / "packages"
            run("cpack", "-G", "DEB", "-B", where, cwd=rest[0])
        elif rest:
            machine = installed_examples.EmulatedArm(compiler, pathlib.Path(rest[0]).resolve())
        check(sorted(pathlib.Path(where).glob("*.deb")), source, machine, folder)


main(*sys.argv[1:])
