# SPDX-License-Identifier: Apache-2.0
"""Reads the definitions of modules and checks them. docs/adding-a-module.md tells the format.

Every fault is a Fault with file and line. What comes out is consistent: every type that a field
names exists, no structure contains itself, and no name is taken twice.
"""
import re
import tomllib
from dataclasses import dataclass, field

# Kind of a scalar: bytes on file and in memory, C++ type.
SCALARS = {
    "Int32": (4, "int32_t"),
    "UInt32": (4, "uint32_t"),
    "Float": (4, "float"),
    "Boolean": (4, "uint32_t"),
    "UInt16": (2, "uint16_t"),
    "UInt8": (1, "uint8_t"),
    "Int64": (8, "int64_t"),
    "UInt64": (8, "uint64_t"),
}
POINTER_BYTES = 8  # of a string or an array: u32 length or count, u32 ID
LARGEST_TABLE = 1 << 20
LONGEST_TYPE = 32
IDENTIFIER = re.compile(r"[A-Za-z][A-Za-z0-9_]*")
FIELD = re.compile(r"([A-Za-z][A-Za-z0-9_]*)(\*|\[([0-9]+)\])? ([A-Za-z][A-Za-z0-9_]*)")
KEYWORDS = set("""alignas alignof and asm auto bool break case catch char class concept const
    constexpr continue default delete do double else enum explicit export extern false float for
    friend goto if inline int long mutable namespace new not nullptr operator or private protected
    public register requires return short signed sizeof static struct switch template this throw
    true try typedef typeid typename union unsigned using virtual void volatile while xor""".split())
TAKEN_MEMBERS = set("""SymbolTableID module_version parameter_version kDescriptor kModule Load Unload
    GetValue SetValue GetInfo GetModified Release""".split())


class Fault(Exception):
    """What is wrong with a definition, and where."""

    def __init__(self, path, line, text):
        super().__init__(f"{path}:{line}: {text}")


@dataclass
class Field:
    name: str
    line: int
    word: str  # the type as it is written
    shape: str  # Single, Table or Array
    elements: int = 1
    kind: str = ""  # a scalar's kind, Enum, String or Structure
    target: object = None  # the Enumeration or the Structure

    @property
    def least_bytes(self):
        if self.shape == "Array" or self.kind == "String":
            return POINTER_BYTES
        one = self.target.least_bytes if self.kind == "Structure" else 4
        one = SCALARS[self.kind][0] if self.kind in SCALARS else one
        return one * self.elements


@dataclass
class Enumeration:
    name: str
    values: list


@dataclass
class Structure:
    """`name` is the name in the namespace, with :: for one that stands in another."""
    namespace: str
    name: str
    line: int
    fields: list = field(default_factory=list)
    size: int = None
    inner: list = field(default_factory=list)
    module: object = None  # the Module whose values these are

    @property
    def qualified(self):
        return f"{self.namespace}::{self.name}"

    @property
    def short(self):
        return self.name.rsplit("::", 1)[-1]

    @property
    def least_bytes(self):
        head = 0
        if self.module is not None:
            head = 12 + (POINTER_BYTES if self.module.parameter_version else 0)
        return head + sum(f.least_bytes for f in self.fields)


@dataclass
class Module:
    namespace: str
    names: list
    version: tuple
    values: Structure
    parameter_version: bool
    line: int


@dataclass
class Namespace:
    name: str
    line: int
    enumerations: dict = field(default_factory=dict)
    structures: dict = field(default_factory=dict)  # by name, in an order that C++ takes
    modules: list = field(default_factory=list)


class Lines:
    """Where in a file things stand, which the TOML reader does not tell.

    Knows the plain forms that definitions use: one table header or key to a line, and strings in
    double quotes.
    """

    def __init__(self, text):
        self.where = {}
        self.strings = {}
        counts = {}
        at, key = (), None
        for number, line in enumerate(text.splitlines(), 1):
            header = re.match(r"\s*\[(\[?)\s*([\w.]+)\s*\]", line)
            if header:
                name = header.group(2)
                at = (name,)
                if header.group(1):
                    counts[name] = counts.get(name, -1) + 1
                    at = (name, counts[name])
                self.where[at] = number
                continue
            assigned = re.match(r'\s*([\w-]+)\s*=', line)
            if assigned:
                key = assigned.group(1)
                self.where[at + (key,)] = number
            for found in re.finditer(r'"([^"]*)"|#.*', line):
                if found.group(1) is not None:
                    self.strings.setdefault(at + (key,), []).append(number)

    def of(self, *at):
        while at and at not in self.where:
            at = at[:-1]
        return self.where.get(at, 1)

    def of_string(self, index, *at):
        lines = self.strings.get(at, [])
        return lines[index] if index < len(lines) else self.of(*at)


class Table:
    """One table of a definition file, whose keys are asked for and checked."""

    def __init__(self, reader, content, *at):
        self.reader, self.content, self.at = reader, content, at
        if not isinstance(content, dict):
            self.fail(f"expected a table [{'.'.join(map(str, at))}]")

    def line(self, key=None):
        return self.reader.lines.of(*self.at, *([key] if key else []))

    def fail(self, text, key=None):
        raise Fault(self.reader.path, self.line(key), text)

    def only(self, *keys):
        for key in self.content:
            if key not in keys:
                self.fail(f"no key {key} here; expected one of {', '.join(keys)}", key)

    def get(self, key, kind, what, default=None):
        if key not in self.content:
            if default is None:
                self.fail(f"expected {what} for {key}")
            return default
        value = self.content[key]
        if not isinstance(value, kind) or (kind is int and isinstance(value, bool)):
            self.fail(f"expected {what} for {key}", key)
        return value

    def name(self, key, default=None):
        return self.checked(self.get(key, str, "a name", default), self.line(key))

    def names(self, key):
        """The names of a list, each with its line."""
        texts = self.strings(key, self.get(key, list, "a list of names"))
        found = [(self.checked(text, line), line) for text, line in texts]
        if not found:
            self.fail(f"expected at least one name for {key}", key)
        return found

    def strings(self, key, texts):
        if any(not isinstance(text, str) for text in texts):
            self.fail(f"expected texts alone in {key}", key)
        return [(text, self.reader.lines.of_string(i, *self.at, key))
                for i, text in enumerate(texts)]

    def checked(self, text, line):
        if not IDENTIFIER.fullmatch(text) or text in KEYWORDS:
            raise Fault(self.reader.path, line, f"{text!r} is no name for C++")
        return text

    def fields(self):
        texts = self.strings("fields", self.get("fields", list, "a list of fields", []))
        for text, line in texts:
            match = FIELD.fullmatch(text)
            if match is None:
                raise Fault(self.reader.path, line,
                            f'expected a field such as "Float[32] name", found {text!r}')
            word, shape, elements, name = match.groups()
            self.checked(name, line)
            if elements is not None and not 0 < int(elements) <= LARGEST_TABLE:
                raise Fault(self.reader.path, line,
                            f"a table has 1 to {LARGEST_TABLE} elements, not {elements}")
            if name.endswith("_tab") and elements is None:
                raise Fault(self.reader.path, line, f"{name} is a table, so its type needs [N]")
            kinds = {None: "Single", "*": "Array"}
            yield Field(name, line, word, kinds.get(shape, "Table"), int(elements or 1))


class Family:
    """One definition file."""

    def __init__(self, path):
        self.path = path
        self.stem = path.stem
        text = path.read_text(encoding="utf-8")
        try:
            content = tomllib.loads(text)
        except tomllib.TOMLDecodeError as error:
            at = re.search(r"at line (\d+)", str(error))
            raise Fault(path, at.group(1) if at else text.count("\n") + 1, error) from None
        self.lines = Lines(text)
        self.namespaces = {}
        self.root = Table(self, content)
        self.read()

    def read(self):
        self.root.only("module", "structure", "records", "enumerations")
        for table in self.tables("module"):
            self.read_module(table)
        for namespace, content in self.root.get("enumerations", dict, "tables", {}).items():
            self.read_enumerations(namespace, Table(self, content, "enumerations." + namespace))
        for table in self.tables("structure"):
            table.only("namespace", "name", "fields", "size")
            parts = table.get("name", str, "a name").split("::")
            for part in parts:
                table.checked(part, table.line("name"))
            structure = self.add(table, "::".join(parts))
            structure.fields = list(table.fields())
            structure.size = table.get("size", int, "a number of bytes", 0) or None
        for table in self.tables("records"):
            table.only("namespace", "names")
            for name, line in table.names("names"):
                self.add(table, name, line)
        for namespace in self.namespaces.values():
            Resolver(self.path, namespace).run()

    def tables(self, key):
        for index, content in enumerate(self.root.get(key, list, f"[[{key}]] tables", [])):
            yield Table(self, content, key, index)

    def known(self, table):
        name = table.name("namespace")
        if name not in self.namespaces:
            table.fail(f"no [[module]] in this file has the namespace {name}", "namespace")
        return self.namespaces[name]

    def add(self, table, name, line=None):
        namespace = self.known(table)
        line = line or table.line("name")
        if name in namespace.structures or name in namespace.enumerations:
            raise Fault(self.path, line, f"{namespace.name} already has a type {name}")
        structure = Structure(namespace.name, name, line)
        namespace.structures[name] = structure
        return structure

    def read_module(self, table):
        table.only("namespace", "names", "record", "version", "size", "fields",
                   "parameter_version")
        name = table.name("namespace")
        namespace = self.namespaces.setdefault(name, Namespace(name, table.line("namespace")))
        names = table.names("names")
        record = table.name("record", default_record(name, names[0][0]))
        if record in namespace.structures:
            table.fail(f"{name} already has a type {record}", "namespace")
        values = Structure(name, record, table.line())
        namespace.structures[record] = values
        module = Module(name, names, self.version(table, name), values,
                        table.content.get("parameter_version", True), table.line())
        if not isinstance(module.parameter_version, bool):
            table.fail("expected true or false for parameter_version", "parameter_version")
        values.module = module
        values.fields = list(table.fields())
        values.size = table.get("size", int, "a number of bytes", 0) or None
        namespace.modules.append(module)

    def version(self, table, namespace):
        text = table.get("version", str, "a version", default_version(namespace))
        match = re.fullmatch(r"(\d{1,5})\.(\d{1,5})\.(\d{1,10})", text)
        version = tuple(map(int, match.groups())) if match else (1 << 16, 0, 0)
        if version[0] >= 1 << 16 or version[1] >= 1 << 16 or version[2] >= 1 << 32:
            table.fail(f'expected a version such as "1.3.0", found "{text}"', "version")
        return version

    def read_enumerations(self, namespace, table):
        if namespace not in self.namespaces:
            table.fail(f"no [[module]] in this file has the namespace {namespace}")
        enumerations = self.namespaces[namespace].enumerations
        for name, given in table.content.items():
            table.checked(name, table.line(name))
            values = list(range(given + 1)) if type(given) is int and 0 <= given < 4096 else given
            if (not isinstance(values, list) or not values or len(set(values)) != len(values)
                    or any(type(v) is not int or not 0 <= v < 1 << 32 for v in values)):
                table.fail("expected the highest enumerator, or a list of different numbers", name)
            enumerations[name] = Enumeration(name, values)


class Resolver:
    """Finds the types that fields name, and puts structures in an order that C++ takes."""

    def __init__(self, path, namespace):
        self.path, self.namespace = path, namespace
        self.done, self.open = {}, []

    def run(self):
        for structure in list(self.namespace.structures.values()):
            outer = structure.name.rpartition("::")[0]
            if outer:
                if outer not in self.namespace.structures:
                    self.fail(structure.line, f"no structure {outer} to stand in")
                self.namespace.structures[outer].inner.append(structure)
        for structure in list(self.namespace.structures.values()):
            self.visit(structure)
        self.namespace.structures = self.done

    def fail(self, line, text):
        raise Fault(self.path, line, text)

    def visit(self, structure):
        if structure.name in self.done:
            return
        if structure in self.open:
            self.fail(structure.line, f"{structure.name} contains itself")
        self.open.append(structure)
        members = set(TAKEN_MEMBERS)
        for entry in structure.fields:
            self.resolve(structure, entry)
            for member in members_of(entry):
                if member in members:
                    self.fail(entry.line, f"{structure.name} already has a member {member}")
                members.add(member)
        self.open.pop()
        self.done[structure.name] = structure

    def resolve(self, structure, entry):
        if entry.word in SCALARS:
            entry.kind = entry.word
            return
        if entry.word == "String":
            entry.kind = "String"
            if entry.shape != "Single":
                self.fail(entry.line, "several strings need a structure around each of them")
            return
        scope = structure.name
        while True:
            name = f"{scope}::{entry.word}" if scope else entry.word
            if name in self.namespace.structures:
                entry.kind, entry.target = "Structure", self.namespace.structures[name]
                self.visit(entry.target)
                return
            if not scope:
                break
            scope = scope.rpartition("::")[0]
        if entry.word not in self.namespace.enumerations:
            self.fail(entry.line, f"{self.namespace.name} has no type {entry.word}")
        entry.kind, entry.target = "Enum", self.namespace.enumerations[entry.word]


def members_of(entry):
    """Names that a field takes in its structure."""
    if entry.name.endswith("_tab"):
        return [entry.name, entry.name + "Struct"]
    if entry.kind == "String":
        return [entry.name, entry.name + "Length", entry.name + "Count", entry.name + "ID"]
    if entry.shape == "Array":
        return [entry.name, entry.name + "Count", entry.name + "ID"]
    return [entry.name]


def version_digits(namespace):
    match = re.search(r"_(\d+)_(\d+)(?:_(\d+))?$", namespace)
    return tuple(digits or "0" for digits in match.groups()) if match else None


def default_version(namespace):
    return ".".join(version_digits(namespace) or ("1", "0", "0"))


def default_record(namespace, name):
    if version_digits(namespace):
        return "tessaline_" + name.split("_")[0] + "Type"
    return name + "Type"


def short_type(name):
    """The type name that a record of the tuning file holds for a module name."""
    for prefix in ("tessaline_", "tessaline"):
        if name.lower().startswith(prefix) and len(name) > len(prefix):
            name = name[len(prefix):]
            break
    return name if len(name) <= LONGEST_TYPE else name[:8] + "-" + name[-23:]


@dataclass
class Manager:
    name: str
    brief: str
    paths: bool
    families: list


def read_managers(path):
    """Read managers.toml and the families it names, all in one folder."""
    reader = type("Reader", (), {})()
    reader.path = path
    text = path.read_text(encoding="utf-8")
    try:
        content = tomllib.loads(text)
    except tomllib.TOMLDecodeError as error:
        at = re.search(r"at line (\d+)", str(error))
        raise Fault(path, at.group(1) if at else 1, error) from None
    reader.lines = Lines(text)
    managers, used = [], {}
    root = Table(reader, content)
    root.only("manager")
    for index, entry in enumerate(root.get("manager", list, "[[manager]] tables")):
        table = Table(reader, entry, "manager", index)
        table.only("name", "brief", "paths", "families")
        families = []
        for stem, line in table.names("families"):
            file = path.parent / f"{stem}.toml"
            if stem in used or not file.is_file():
                raise Fault(path, line, f"no file {file.name} to read" if stem not in used else
                            f"{stem} already belongs to {used[stem]}")
            used[stem] = table.name("name")
            families.append(Family(file))
        managers.append(Manager(table.name("name"), table.get("brief", str, "a sentence"),
                                table.get("paths", bool, "true or false"), families))
    for file in sorted(path.parent.glob("*.toml")):
        if file != path and file.stem not in used:
            raise Fault(path, 1, f"no [[manager]] has the family {file.stem}")
    check_across(managers)
    return managers


def check_across(managers):
    """What no file alone can tell: names that two of them take."""
    namespaces = {}
    for manager in managers:
        types = {}
        for family in manager.families:
            for namespace in family.namespaces.values():
                other = namespaces.setdefault(namespace.name, family)
                if other is not family:
                    raise Fault(family.path, namespace.line,
                                f"namespace {namespace.name} already stands in {other.path.name}")
                for module in namespace.modules:
                    for name, line in module.names:
                        kept = types.setdefault(short_type(name), name)
                        if kept is not name:
                            raise Fault(family.path, line,
                                        f"{manager.name} already has a module {kept}, which a file "
                                        f"calls {short_type(name)} as well")
