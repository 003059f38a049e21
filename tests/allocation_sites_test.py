#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the allocations that the tests made fail against those that the library's code has.

Usage: allocation_sites_test.py [--entries] LIBRARY OBJDUMP PROGRAM...
Each PROGRAM holds the library's objects and tests/support/allocation_counter.cpp; all are run, and
tell the calls whose allocation they let fail. Every call of an allocator in the library's functions
must be among them, or stand in EXCUSED. --entries lists, in place of that, the exported functions
from which an allocator can be reached by direct calls.
"""
import os
import re
import subprocess
import sys
import tempfile

ALLOCATORS = {"malloc", "calloc", "realloc", "strdup", "posix_memalign", "_Znwm", "_Znam",
              "_ZnwmRKSt9nothrow_t", "_ZnamRKSt9nothrow_t"}
# How many calls in a function no test lets fail, and why.
ROOM_WAS_MADE = "grows a list for which room was made before, with a test of its failure there"
SECOND_FAILURE = "allocates, for one test of both, where the allocation before it has failed"
NINTH_MODULE = "grows a list of eight, and no test has nine modules of one mode on demand"
EXCUSED = {
    "ParameterFileSymbolTable::CollectModuleData": (1, ROOM_WAS_MADE),
    "ParameterSetManager::GetActiveModes": (1, ROOM_WAS_MADE),
    "ParameterSetManager::LoadEntryModules": (1, NINTH_MODULE),
    "ParameterSetManager::LoadModules": (1, ROOM_WAS_MADE),
    "ParameterSetManager::NewMode": (1, ROOM_WAS_MADE),
    "ParameterSetManager::RetireSymbolTable": (1, ROOM_WAS_MADE),
    "ParameterSetManager::TouchMode": (1, ROOM_WAS_MADE),
    "ParameterSetManager::UpdateFromBuffer": (1, ROOM_WAS_MADE),
    "steadywarp::LongFilter::LongFilter": (2, SECOND_FAILURE),
    "steadywarp::init_ldc_grids": (1, SECOND_FAILURE),
}


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def calls_of(objdump, binary):
    """For each function by name: its start, and (return address, callee) of its direct calls.

    A jump to another function returns to the caller: its address is None.
    """
    functions, waiting = {}, None
    for line in output(objdump, "-d", "--no-show-raw-insn", binary).splitlines():
        head = re.match(r"([0-9a-f]+) <(.+)>:$", line)
        if head:
            calls = []
            functions[head[2]] = (int(head[1], 16), calls)
            continue
        instruction = re.match(r"\s*([0-9a-f]+):\t(.*)", line)
        if not instruction:
            continue
        if waiting:
            calls.append((int(instruction[1], 16), waiting))
            waiting = None
        call = re.match(r"(call|jmp)\s+[0-9a-f]+ <([^>+]+)>", instruction[2])
        if call:
            callee = re.sub(r"^__wrap_|@plt$", "", call[2])
            if call[1] == "call":
                waiting = callee
            else:
                calls.append((None, callee))
    return functions


def exported(library):
    """Names by address: constructors have several for one function."""
    names = {}
    for line in output("nm", "-D", "--defined-only", library).splitlines():
        address, kind, name = line.split(maxsplit=2)
        if kind in "TW":
            names.setdefault(int(address, 16), []).append(name.split("@")[0])
    return names


def allocating_entries(objdump, library):
    functions = calls_of(objdump, library)
    names = exported(library)
    by_start = {start: name for name, (start, _) in functions.items()}
    alias = {other: by_start[at] for at, others in names.items() for other in others
             if at in by_start}
    reaches = set(ALLOCATORS)
    grown = True
    while grown:
        found = {name for name, (_, calls) in functions.items() if name not in reaches and
                 any(alias.get(callee, callee) in reaches for _, callee in calls)}
        reaches |= found
        grown = bool(found)
    entries = [name for others in names.values() for name in others]
    return sorted(e for e in entries if alias.get(e, e) in reaches), len(entries)


def plain(names):
    """Demangled, and without the arguments of the templates of modules: one code for all of them."""
    texts = subprocess.run(["c++filt"], input="\n".join(names), check=True, capture_output=True,
                           text=True).stdout.splitlines()
    pattern = re.compile(r"(ParameterTypeClass|ParameterMakeClassObject)<[^()]*>(?=::|\()|"
                         r"\w+(SetManager(?=::UpdateBinaryParameters))")
    return dict(zip(names, (pattern.sub(r"\1\2", text) for text in texts)))


def sites(functions):
    """Address by (function, which of its calls of an allocator)."""
    names = plain(list(functions))
    # Whoever ends with a jump to an allocator is one to its callers.
    allocators = ALLOCATORS | {name for name, (_, calls) in functions.items()
                               if any(at is None and callee in ALLOCATORS for at, callee in calls)}
    found = {}
    for name, (_, calls) in functions.items():
        places = [at for at, callee in calls if at is not None and callee in allocators]
        found.update({at: (names[name], i) for i, at in enumerate(places)})
    return found


def failed_by(program):
    with tempfile.NamedTemporaryFile() as report:
        environment = dict(os.environ, STEADYWARP_FAILED_ALLOCATIONS=report.name)
        subprocess.run([program, "--gtest_brief=1"], check=True, env=environment,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return {int(line, 16) for line in open(report.name, encoding="ascii")}


def source(program, address):
    lines = output("addr2line", "-i", "-e", program, hex(address - 1)).splitlines()
    return " in ".join(os.path.basename(line.split(" ")[0]) for line in lines)


def main():
    arguments = [a for a in sys.argv[1:] if a != "--entries"]
    library, objdump, programs = arguments[0], arguments[1], arguments[2:]
    if len(arguments) != len(sys.argv[1:]):
        entries, total = allocating_entries(objdump, library)
        print(output("c++filt", *entries), end="")
        print(f"{len(entries)} of {total} exported functions can reach an allocator")
        return
    needed = set(sites(calls_of(objdump, library)).values())
    failed, places = set(), {}
    for program in programs:
        found = sites(calls_of(objdump, program))
        failed |= {found[at] for at in failed_by(program) if at in found}
        places.update({site: (program, at) for at, site in found.items()})
    missing = {}
    for site in sorted(needed - failed):
        missing.setdefault(site[0], []).append(source(*places[site]) if site in places else
                                               "in no program")
    excused = {name: EXCUSED.get(name.split("(")[0], (0, ""))[0] for name in missing}
    faults = [f"{name}: {place}" for name, there in missing.items()
              if len(there) > excused[name] for place in there]
    print("\n".join(faults))
    print(f"{len(needed & failed)} of {len(needed)} calls of an allocator failed by the tests, "
          f"{sum(min(excused[name], len(there)) for name, there in missing.items())} excused")
    if not needed or faults:
        sys.exit(1)


main()
