#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the manual pages and the completion against what the command says of itself.

Usage: command_pages_test.py PAGES COMMAND
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

BASH = ('source "$0" || exit 1; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _steadywarp; '
        'printf "%s\\n" "${COMPREPLY[@]}"')
ZSH = ('words=("$@"); CURRENT=$#; _describe() { print -rl -- "${(@P)2}" }; _files() { print FILES }; '
       'source "$0"')
# What a command wants ahead of its subcommands.
AHEAD = {"tune": ["x"]}


def output(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def first_words(text, heading):
    """The names that a section of the help lists, several to a line."""
    section = re.search(rf"^{heading}:\n((?:  .*\n)*)", text, re.M)
    lines = re.findall(r"^  (\S+)", section[1], re.M) if section else []
    return {name for line in lines for name in line.split(",")}


class Shell:
    def __init__(self, pages, folder):
        self.pages, self.folder = pages, folder

    def bash(self, words):
        script = self.pages / "bash/steadywarp"
        return set(output("bash", "--norc", "-c", BASH, script, *words, cwd=self.folder).split("\n"))

    def zsh(self, words):
        script = self.pages / "zsh/_steadywarp"
        lines = output("zsh", "-f", "-c", ZSH, script, *words, cwd=self.folder).split("\n")
        return {line.split(":")[0] for line in lines}


def check_place(shell, ways, command, place, faults):
    """Looks at a command and all below it. Returns how many those are."""
    text = output(command, *place, "--help")
    options, subcommands = first_words(text, "Options"), first_words(text, "Subcommands")
    if "--help" not in options:
        sys.exit(f"no options in the help of {place}")
    name = "-".join(["steadywarp", *place[:1]])
    page = (shell.pages / "man" / f"{name}.1").read_text(encoding="utf-8").replace("\\-", "-")
    bold = set(re.findall(r"\\fB(-[^\\]*)\\fR", page))
    faults += [f"{name}.1 lacks {option}" for option in options - bold]
    for way in ways:
        for start, wanted in (("-", options), ("", options | subcommands)):
            offered = {word for word in way(["steadywarp", *place, start]) if word}
            missing = wanted - offered
            surplus = {word for word in offered - wanted if word.startswith("-")}
            if missing or surplus:
                faults.append(f"{way.__name__} {place} '{start}': lacks {missing}, has {surplus}")
    place = place + AHEAD.get("-".join(place), [])
    return 1 + sum(check_place(shell, ways, command, [*place, subcommand], faults)
                   for subcommand in sorted(subcommands))


def main(pages, command):
    pages, faults = pathlib.Path(pages).resolve(), []
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / "log.csv").touch()
        shell = Shell(pages, folder)
        ways = [way for way in (shell.bash, shell.zsh) if shutil.which(way.__name__)]
        places = check_place(shell, ways, command, [], faults)
        for way, file in ((shell.bash, "log.csv"), (shell.zsh, "FILES")):
            for words, wanted in ((["stabilize", "--gyro", ""], {file}),
                                  (["stabilize", "--fps", ""], set())):
                if way in ways and way(["steadywarp", *words]) - {""} != wanted:
                    faults.append(f"{way.__name__} {words}: {way(['steadywarp', *words])}")
    for page in sorted((pages / "man").iterdir()):
        if shutil.which("mandoc"):
            lint = subprocess.run(["mandoc", "-T", "lint", "-W", "style", page], check=False,
                                  capture_output=True, text=True)
            faults += (lint.stdout + lint.stderr).splitlines()
    print("\n".join(faults) or f"{places} commands in {', '.join(way.__name__ for way in ways)}")
    sys.exit(1 if faults else 0)


main(*sys.argv[1:])
