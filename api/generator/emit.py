# SPDX-License-Identifier: Apache-2.0
"""Writes the C++ of checked definitions: a header per namespace, a source per family, and the set
managers with their catalogues."""
from definitions import SCALARS

NOTE = "// Made by api/generator from {}; change that.\n"
LICENCE = "// SPDX-License-Identifier: Apache-2.0\n"


def element_type(structure, entry):
    """The element's type as it is written inside `structure`."""
    if entry.kind == "Structure":
        outer = structure.name + "::"
        name = entry.target.name
        return name[len(outer):] if name.startswith(outer) else name
    return entry.target.name if entry.kind == "Enum" else SCALARS[entry.kind][1]


def is_wrapped(entry):
    return entry.name.endswith("_tab")


def unwrapped(entry):
    return entry.name[:-len("_tab")]


def base_of(structure, paths):
    base = "ParameterStructure" if paths else "ParameterRecord"
    if structure.module is not None:
        return f"ParameterValues<{structure.short}, {base}>"
    return f"{base}<{structure.short}>"


class Header:
    """Types of one namespace."""

    def __init__(self, family, namespace, paths):
        self.family, self.namespace, self.paths = family, namespace, paths
        self.out = []

    def text(self):
        name = self.namespace.name
        modules = ", ".join(n for m in self.namespace.modules for n, _ in m.names)
        self.out = [LICENCE, NOTE.format(self.family.path.name),
                    f"/// @file {name}.h\n/// Values of the tuning modules {modules}.\n",
                    "#pragma once\n\n#include \"steadywarp/tuning/parametertypeclass.h\"\n\n",
                    f"namespace {name} {{\n"]
        for enumeration in self.namespace.enumerations.values():
            self.enumeration(enumeration)
        for structure in self.namespace.structures.values():
            if "::" not in structure.name:
                self.structure(structure, "")
        for module in self.namespace.modules:
            values = module.values.name
            self.out.append(f"\nusing {values}Class = ParameterTypeClass<{values}>;\n")
        self.out.append(f"\n}}  // namespace {name}\n")
        return "".join(self.out)

    def enumeration(self, enumeration):
        name = enumeration.name
        numbers = ", ".join(map(str, enumeration.values))
        values = ", ".join(f"Value{v} = {v}" for v in enumeration.values)
        self.out.append(f"""
enum class {name} : uint32_t {{ {values} }};
inline constexpr uint32_t kValues_{name}[] = {{{numbers}}};
inline constexpr ParameterEnumDescriptor kEnum_{name} = {{"{name}", kValues_{name},
                                                         {len(enumeration.values)}}};
inline bool ReadEnum_{name}(ParameterFileSymbolTableEntry* entry, {name}& value,
                            unsigned char alignment) {{
    uint32_t number = 0;
    const bool good = ParameterReadEnum(kEnum_{name}, number, entry, alignment);
    value = static_cast<{name}>(number);
    return good;
}}
""")

    def structure(self, structure, indent):
        inner = indent + "    "
        add = self.out.append
        add(f"\n{indent}struct {structure.short} : {base_of(structure, self.paths)} {{\n")
        # In the order of the namespace, in which what a structure needs stands before it.
        for name, nested in self.namespace.structures.items():
            if name.rpartition("::")[0] == structure.name:
                self.structure(nested, inner)
        if structure.module is not None:
            self.head(structure.module, inner)
        for entry in structure.fields:
            self.field(structure, entry, inner)
        self.descriptor(inner)
        if structure.module is not None:
            add(f"{inner}STEADYWARP_API static const ParameterModuleDescriptor kModule;\n")
        add(f"{indent}}};\n")
        if structure.size is not None:
            add(f"{indent}static_assert(sizeof({structure.short}) == {structure.size});\n")

    def descriptor(self, indent):
        self.out.append(
            f"{indent}STEADYWARP_API static const ParameterStructureDescriptor kDescriptor;\n")

    def head(self, module, indent):
        self.out.append(f"""{indent}using module_versionStruct = ParameterModuleVersion;
{indent}using parameter_versionStruct = ParameterParameterVersion;
{indent}uint32_t SymbolTableID;
{indent}module_versionStruct module_version;
""")
        if module.parameter_version:
            self.out.append(f"{indent}parameter_versionStruct parameter_version;\n")
        else:
            self.out.append(f"{indent}uint32_t noParameterVersion;  ///< 0, and not in the file\n")

    def field(self, structure, entry, indent):
        add = self.out.append
        if entry.kind == "String":
            add(f"{indent}uint32_t {entry.name}Length;\n{indent}uint32_t {entry.name}Count;\n"
                f"{indent}uint32_t {entry.name}ID;\n{indent}char* {entry.name};\n")
            return
        kind = element_type(structure, entry)
        if entry.shape == "Array":
            add(f"{indent}uint32_t {entry.name}Count;\n{indent}uint32_t {entry.name}ID;\n"
                f"{indent}{kind}* {entry.name};\n")
        elif is_wrapped(entry):
            wrapper = entry.name + "Struct"
            base = "ParameterStructure" if self.paths else "ParameterRecord"
            add(f"{indent}struct {wrapper} : {base}<{wrapper}> {{\n"
                f"{indent}    {kind} {unwrapped(entry)}[{entry.elements}];\n")
            self.descriptor(indent + "    ")
            add(f"{indent}}};\n{indent}{wrapper} {entry.name};\n")
        elif entry.shape == "Table":
            add(f"{indent}{kind} {entry.name}[{entry.elements}];\n")
        else:
            add(f"{indent}{kind} {entry.name};\n")


class Source:
    """Descriptors, catalogue rows and accessors of one family."""

    def __init__(self, family, manager):
        self.family, self.manager = family, manager
        self.out, self.count = [], 0

    def text(self):
        add = self.out.append
        add(LICENCE + NOTE.format(self.family.path.name))
        for name in sorted(self.family.namespaces):
            add(f"#include \"steadywarp/tuning/modules/{name}.h\"\n")
        add(f"""
#include <cstddef>

#include "steadywarp/tuning/{self.manager.name.lower()}.h"

namespace {{
using Kind = ParameterKind;
using Shape = ParameterShape;
using Fields = ParameterFieldDescriptor;
}}  // namespace
""")
        for namespace in self.family.namespaces.values():
            for structure in namespace.structures.values():
                self.structure(structure)
            for module in namespace.modules:
                self.module(module)
        self.rows()
        return "".join(self.out)

    def structure(self, structure):
        rows = []
        if structure.module is not None:
            rows.append(self.row("module_version", structure.qualified, "Structure",
                                 target="ParameterModuleVersion"))
            if structure.module.parameter_version:
                rows.append(self.row("parameter_version", structure.qualified, "Structure",
                                     target="ParameterParameterVersion"))
        for entry in structure.fields:
            if is_wrapped(entry):
                wrapper = f"{structure.qualified}::{entry.name}Struct"
                self.described(wrapper, [self.entry_row(wrapper, unwrapped(entry), entry)],
                               entry.least_bytes)
                rows.append(self.row(entry.name, structure.qualified, "Structure", target=wrapper))
            else:
                rows.append(self.entry_row(structure.qualified, entry.name, entry))
        self.described(structure.qualified, rows, structure.least_bytes,
                       4 if structure.module is not None else 0)

    def entry_row(self, owner, name, entry):
        target = enumeration = None
        if entry.kind == "Structure":
            target = entry.target.qualified
        elif entry.kind == "Enum":
            enumeration = f"{owner.split('::')[0]}::kEnum_{entry.target.name}"
        return self.row(name, owner, entry.kind, entry.shape, entry.elements, target, enumeration)

    @staticmethod
    def row(name, owner, kind, shape="Single", elements=1, target=None, enumeration=None):
        first = {"String": name + "Length"}.get(kind, name)
        first = name + "Count" if shape == "Array" else first
        pointer = f"offsetof({owner}, {name})" if first != name else "0"
        return (f"    {{\"{name}\", {f'&{target}::kDescriptor' if target else 'nullptr'}, "
                f"{f'&{enumeration}' if enumeration else 'nullptr'}, "
                f"offsetof({owner}, {first}), {pointer}, {elements}, Kind::{kind}, "
                f"Shape::{shape}}},\n")

    def described(self, name, rows, least_bytes, kept=0):
        self.count += 1
        fields = "nullptr"
        if rows:
            fields = f"kFields{self.count}"
            self.out.append(f"\nstatic constexpr Fields {fields}[] = {{\n{''.join(rows)}}};\n")
        self.out.append(f"const ParameterStructureDescriptor {name}::kDescriptor = {{\n"
                        f"    \"{name}\", sizeof({name}), {kept}, {least_bytes}, {len(rows)}, "
                        f"{fields}}};\n")

    def module(self, module):
        values = module.values
        names = ", ".join(f'"{name}"' for name, _ in module.names)
        self.count += 1
        self.out.append(
            f"static constexpr char const* kNames{self.count}[] = {{{names}}};\n"
            f"const ParameterModuleDescriptor {values.qualified}::kModule = {{\n"
            f"    &{values.qualified}::kDescriptor, \"{values.name}Class\", kNames{self.count},\n"
            f"    {len(module.names)}, {{{', '.join(map(str, module.version))}}}, "
            f"{str(self.manager.paths).lower()}}};\n")

    def rows(self):
        add = self.out.append
        modules = [m for n in self.family.namespaces.values() for m in n.modules]
        add("\nstatic constexpr ParameterCatalogueRow kRows[] = {\n")
        count = 0
        for module in modules:
            values = module.values.qualified
            for name, _ in module.names:
                count += 1
                add(f"    {{\"{name}\", &{values}::kModule, ParameterMakeClassObject<{values}>}},\n")
        add(f"}};\n\nnamespace parameter_families {{\n"
            f"extern const ParameterCatalogueFamily {self.family.stem};\n"
            f"const ParameterCatalogueFamily {self.family.stem} = {{kRows, {count}}};\n"
            "}  // namespace parameter_families\n")
        for module in modules:
            for name, _ in module.names:
                add(f"\n{accessor(module, name, self.manager.name + '::')} {{\n"
                    f"    return GetTyped(\"{name}\", branch, count, previous);\n}}\n")


def accessor(module, name, scope=""):
    values = module.values.qualified
    return (f"{values}* {scope}GetModule_{name}(TuningMode const* branch, unsigned int count,\n"
            f"        {values}* previous)")


def manager_header(manager):
    namespaces = [n for f in manager.families for n in f.namespaces.values()]
    declared = "".join(
        f"namespace {n.name} {{\n" + "".join(f"struct {m.values.name};\n" for m in n.modules) +
        "}\n" for n in namespaces)
    accessors = "".join(f"    {accessor(m, name)};\n"
                        for n in namespaces for m in n.modules for name, _ in m.names)
    return f"""{LICENCE}{NOTE.format("managers.toml")}\
/// @file {manager.name.lower()}.h
/// {manager.brief}
#pragma once

#include "steadywarp/tuning/parametercatalogue.h"

{declared}
/// {manager.brief}
class STEADYWARP_API {manager.name} final : public ParameterCatalogueManager {{
  public:
    {manager.name}();
    ~{manager.name}() override;

    /// Everything this manager parses.
    static ParameterCatalogue const& Catalogue();

    /// Replace the values of the last good load by those of an image, mode by mode. Modules that
    /// are held stay readable. @return false, with the last error text set, if it could not.
    bool UpdateBinaryParameters(unsigned char* buffer, unsigned long length);

    /// @name Values of a module
    /// Each finds the module that answers for a mode path, loads it and takes a reference, which
    /// Release() of the values gives back; as GetModule(). The types stand in
    /// steadywarp/tuning/modules/, one header per namespace.
    /// @param previous values to release, whatever the result; may be NULL.
    /// @return NULL if no mode on the path has the module.
    /// @{{
{accessors}    /// @}}
}};
"""


# Those whose values can be changed through the live tuning service.
LIVE_MANAGERS = {"TuningSetManager"}


def managers_source(managers):
    out = [LICENCE + NOTE.format("managers.toml")]
    out += [f"#include \"steadywarp/tuning/{m.name.lower()}.h\"\n" for m in managers]
    out.append("\nnamespace parameter_families {\n")
    out += [f"extern const ParameterCatalogueFamily {f.stem};\n"
            for m in managers for f in m.families]
    out.append("}  // namespace parameter_families\n")
    for manager in managers:
        name = manager.name
        served = name in LIVE_MANAGERS
        create = " CreateWorker(); " if served else ""
        delete = " DeleteWorker(); " if served else ""
        families = ", ".join(f"&parameter_families::{f.stem}" for f in manager.families)
        out.append(f"""
static constexpr ParameterCatalogueFamily const* k{name}Families[] = {{{families}}};
static constexpr ParameterCatalogue k{name} = {{"{name}", k{name}Families,
                                               {len(manager.families)}}};

{name}::{name}() : ParameterCatalogueManager(k{name}) {{{create}}}
{name}::~{name}() {{{delete}}}

ParameterCatalogue const& {name}::Catalogue() {{
    return k{name};
}}

bool {name}::UpdateBinaryParameters(unsigned char* buffer, unsigned long length) {{
    return UpdateFromBuffer(new (std::nothrow) {name}(), buffer, length);
}}
""")
    return "".join(out)


def outputs(managers):
    """All files: path below the output folder, text."""
    files = {"src/managers.cpp": managers_source(managers)}
    for manager in managers:
        files[f"include/steadywarp/tuning/{manager.name.lower()}.h"] = manager_header(manager)
        for family in manager.families:
            files[f"src/{family.stem}.cpp"] = Source(family, manager).text()
            for namespace in family.namespaces.values():
                files[f"include/steadywarp/tuning/modules/{namespace.name}.h"] = \
                    Header(family, namespace, manager.paths).text()
    return files
