#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""What the generator of modules refuses, with file and line, and what it leaves alone.

Usage: generator_test.py GENERATOR DEFINITIONS
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

GENERATOR, DEFINITIONS = map(pathlib.Path, sys.argv[1:3])

MANAGERS = """[[manager]]
name = "OneSetManager"
brief = "One."
paths = true
families = ["one"]
"""
MODULE = """[[module]]
namespace = "one_1_0_0"
names = ["one10"]
fields = [
  "Float a",
  "Point p",
]

[[structure]]
namespace = "one_1_0_0"
name = "Point"
fields = ["Int32 x"]
"""

# What to change in MODULE, and what the generator says. The text to replace stands once.
FAULTS = [
    ("[[module]]", "[[modul]]", "one.toml:1: no key modul here; expected one of"),
    ("names =", "nmes =", "one.toml:3: no key nmes here; expected one of"),
    ('names = ["one10"]\n', "", "one.toml:1: expected a list of names for names"),
    ('["one10"]', "[]", "one.toml:3: expected at least one name for names"),
    ('["one10"]', '["one-10"]', "one.toml:3: 'one-10' is no name for C++"),
    ('["one10"]', '["one10", "tessaline_one10"]', "one.toml:3: OneSetManager already has a module"
     " one10, which a file calls one10 as well"),
    ('["one10"]', '["one10"]\nversion = "1.70000.0"', "one.toml:4: expected a version such as"),
    ('["one10"]', '["one10"]\nversion = 1', "one.toml:4: expected a version for version"),
    ('["one10"]', '["one10"]\nparameter_version = 1', "one.toml:4: expected true or false"),
    ("Float a", "Float", "one.toml:5: expected a field such as \"Float[32] name\", found 'Float'"),
    ("Float a", "Float class", "one.toml:5: 'class' is no name for C++"),
    ("Float a", "Float[0] a", "one.toml:5: a table has 1 to 1048576 elements, not 0"),
    ("Float a", "Float a_tab", "one.toml:5: a_tab is a table, so its type needs [N]"),
    ("Float a", "Double a", "one.toml:5: one_1_0_0 has no type Double"),
    ("Float a", "Float p", "one.toml:6: tessaline_one10Type already has a member p"),
    ("Float a", "String[2] a", "one.toml:5: several strings need a structure around each"),
    ("Float a", "Float* kDescriptor", "one.toml:5: tessaline_one10Type already has a member"),
    ("Float a", "UInt32* pCount\",\n  \"Float pCountID", "one.toml:6: tessaline_one10Type already"),
    ("Point p", "Pointe p", "one.toml:6: one_1_0_0 has no type Pointe"),
    ("Int32 x", "Point* x", "one.toml:11: Point contains itself"),
    ('name = "Point"', 'name = "tessaline_one10Type"', "one.toml:11: one_1_0_0 already has a type"),
    ('name = "Point"', 'name = "Poi::nt"', "one.toml:11: no structure Poi to stand in"),
    ('one_1_0_0"\nname = ', 'two_1_0_0"\nname = ', "one.toml:10: no [[module]] in this file has the"),
    ("[[structure]]", "[[structure]\n", "one.toml:9: "),
    ("[[structure]]", "[structure]", "one.toml:9: expected [[structure]] tables for structure"),
    ("fields = [\n", "fields = [\n 5,\n", "one.toml:4: expected texts alone in fields"),
    ("[[structure]]", "[enumerations.one_1_0_0]\nA = 1\nB = [2, 2]\n[[structure]]",
     "one.toml:11: expected the highest enumerator, or a list of different numbers"),
    ("[[structure]]", "[enumerations.two]\nA = 1\n[[structure]]", "one.toml:9: no [[module]] in"),
]


class Generator(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.definitions = self.folder / "definitions"
        self.definitions.mkdir()
        self.output = self.folder / "output"
        self.write("managers.toml", MANAGERS)
        self.write("one.toml", MODULE)

    def write(self, name, text):
        (self.definitions / name).write_text(text, encoding="utf-8")

    def run_it(self, definitions=None, output=None):
        done = subprocess.run([sys.executable, "-B", GENERATOR, definitions or self.definitions,
                               output or self.output], capture_output=True, text=True, check=False)
        return done.returncode, done.stderr

    def refused(self, text):
        status, said = self.run_it()
        self.assertEqual(status, 2, said)
        self.assertTrue(said.startswith(f"{self.definitions}/{text}"), f"{said!r}, not {text!r}")
        self.assertEqual(said.count("\n"), 1, said)
        self.assertFalse(self.output.exists())

    def test_takes_the_good_one(self):
        self.assertEqual(self.run_it(), (0, ""))
        self.assertTrue((self.output / "include/steadywarp/tuning/onesetmanager.h").is_file())

    def test_faults_have_file_and_line(self):
        for old, new, text in FAULTS:
            with self.subTest(new):
                self.assertEqual(MODULE.count(old), 1, old)
                self.write("one.toml", MODULE.replace(old, new))
                self.refused(text)

    def test_faults_of_managers(self):
        for old, new, text in [
                ('["one"]', '["one", "two"]', "managers.toml:5: no file two.toml to read"),
                ('["one"]', '["one", "one"]', "managers.toml:5: one already belongs to"),
                ("paths = true", "paths = 1", "managers.toml:4: expected true or false for paths"),
                ('brief = "One."\n', "", "managers.toml:1: expected a sentence for brief")]:
            with self.subTest(new):
                self.write("managers.toml", MANAGERS.replace(old, new))
                self.refused(text)
        self.write("managers.toml", MANAGERS)
        self.write("three.toml", MODULE)
        self.refused("managers.toml:1: no [[manager]] has the family three")
        self.write("managers.toml", MANAGERS.replace('["one"]', '["one", "three"]'))
        self.refused("three.toml:2: namespace one_1_0_0 already stands in one.toml")

    def test_gives_the_same_bytes_and_leaves_what_stays(self):
        other = self.folder / "other"
        self.assertEqual(self.run_it(DEFINITIONS), (0, ""))
        self.assertEqual(self.run_it(DEFINITIONS, other), (0, ""))
        files = sorted(p.relative_to(other) for p in other.rglob("*") if p.is_file())
        self.assertGreater(len(files), 200)
        before = {}
        for name in files:
            self.assertEqual((self.output / name).read_bytes(), (other / name).read_bytes(), name)
            before[name] = (other / name).stat().st_mtime_ns
        stale = other / "include/steadywarp/tuning/modules/gone_1_0_0.h"
        stale.write_text("//\n", encoding="utf-8")
        self.assertEqual(self.run_it(DEFINITIONS, other), (0, ""))
        self.assertFalse(stale.exists())
        self.assertEqual(before, {n: (other / n).stat().st_mtime_ns for n in files})


unittest.main(argv=sys.argv[:1])
