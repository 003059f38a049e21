#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Manual pages and shell completion of the command, made from what its own --help says.

Usage: command_pages.py MANUAL VERSION DATE OUT COMMAND [ARGUMENT ...]
  MANUAL   folder with what the help does not say, a file NAME.roff for the page NAME.1
  DATE     of the pages, YYYY-MM-DD
  OUT      folder; receives man/, bash/ and zsh/
  COMMAND  the command, with an emulator ahead of it if there is one

A line of the help that is not understood ends the program: no page is better than a false one.
"""
import dataclasses
import pathlib
import re
import subprocess
import sys
import textwrap

NAME = "steadywarp"
# The help's second column. A first column that reaches it stands on a line of its own.
COLUMN = 30
OPTIONS_MARK = '.\\" OPTIONS\n'
FIRST_COLUMN = re.compile(
    r"(?P<names>\S+)(?: (?!REQUIRED)(?P<value>[^\s:]+)(?P<many> \.\.\.)?)?(?::(?P<range>\S.*?))?"
    r"(?P<required> REQUIRED)?(?: Needs:(?P<needs>(?: -\S+)+))?(?: Excludes:(?P<excludes>(?: -\S+)+))?")
RANGE = re.compile(r"(FLOAT|UINT|INT) in \[(\S+) - (\S+)\]")


@dataclasses.dataclass
class Entry:
    """A positional, an option or a subcommand."""
    names: list
    text: str
    value: str = ""
    many: bool = False
    range: str = ""
    required: bool = False
    needs: list = dataclasses.field(default_factory=list)
    excludes: list = dataclasses.field(default_factory=list)

    def takes(self):
        """What a shell can offer for the value: "file", "folder" or nothing."""
        kinds = {self.value, self.names[0]}
        return ("file" if kinds & {"FILE", "DIR|PREFIX"} else "folder" if "DIR" in kinds else "")

    def sentences(self):
        """The text and what the first column says beside names."""
        text = [self.text]
        if self.range:
            found = RANGE.fullmatch(self.range)
            if not found:
                sys.exit(f"not understood: {self.range}")
            kind = "A number" if found[1] == "FLOAT" else "A whole number"
            text.append(f"{kind} from {found[2]} to {found[3]}")
        if self.needs:
            text.append("Needs " + " and ".join(self.needs))
        if self.excludes:
            text.append("Not together with " + " or ".join(self.excludes))
        return ". ".join(part.rstrip(".") for part in text) + "."


@dataclasses.dataclass
class Help:
    """One command's help."""
    path: list  # of names, outermost first
    summary: str
    usage: str
    example: str
    sections: dict
    commands: list  # of Help

    def title(self):
        return "-".join(self.path)

    def walk(self):
        yield self
        for command in self.commands:
            yield from command.walk()


def entry(line, text):
    found = FIRST_COLUMN.fullmatch(line.strip())
    if not found:
        sys.exit(f"not understood: {line}")
    parts = found.groupdict()
    return Entry(parts["names"].split(","), text.strip(), parts["value"] or "", bool(parts["many"]),
                 parts["range"] or "", bool(parts["required"]), (parts["needs"] or "").split(),
                 (parts["excludes"] or "").split())


def entries(lines):
    found = []
    lines = [line for line in lines if line]
    while lines:
        line = lines.pop(0)
        if lines and lines[0].startswith(" " * COLUMN):
            found.append(entry(line, lines.pop(0)))
        else:
            found.append(entry(line[:COLUMN], line[COLUMN:]))
    return found


def read_help(command, path, arguments):
    out = subprocess.run([*command, *arguments, "--help"], check=True, capture_output=True,
                         text=True).stdout
    body, example = (re.split(r"^Examples?: ?\n?", out, maxsplit=1, flags=re.M) + [""])[:2]
    summary, usage, *rest = body.splitlines()
    sections, lines = {}, None
    for line in rest:
        if re.fullmatch(r"[A-Z]\w+:", line):
            lines = sections.setdefault(line[:-1], [])
        elif line:
            lines.append(line)
    sections = {name: entries(lines) for name, lines in sections.items()}
    unknown = sections.keys() - {"Positionals", "Options", "Subcommands"}
    if unknown or not usage.startswith("Usage: "):
        sys.exit(f"not understood in the help of {' '.join(path)}: {usage} {unknown}")
    # What a command wants ahead of its subcommand has to be there for the latter's help.
    ahead = ["x" for positional in sections.get("Positionals", []) if positional.required]
    commands = [read_help(command, path + sub.names, arguments + ahead + sub.names)
                for sub in sections.get("Subcommands", [])]
    return Help(path, summary, usage.removeprefix("Usage: "), example.rstrip(), sections, commands)


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.M)


def paragraph(text):
    return roff(textwrap.fill(text, 72, break_long_words=False, break_on_hyphens=False)) + "\n"


def tagged(found):
    """A paragraph of the page."""
    names = ", ".join(f"\\fB{roff(name)}\\fR" if name.startswith("-") else f"\\fI{roff(name)}\\fR"
                      for name in found.names)
    value = f" \\fI{roff(found.value)}\\fR" if found.value and found.names[0][0] == "-" else ""
    return f".TP\n{names}{value}{' ...' if found.many else ''}\n{paragraph(found.sentences())}"


def arguments_of(command):
    text = ""
    for name in ("Positionals", "Options"):
        text += "".join(tagged(found) for found in command.sections.get(name, []))
    return text


def synopsis(command, ahead=""):
    """How to call it; `ahead` is what its outer command wants in front of its name."""
    required = "".join(f" \\fB{roff(option.names[-1])}\\fR \\fI{roff(option.value)}\\fR"
                       for option in command.sections.get("Options", []) if option.required)
    shown = " ".join(command.path)
    if not command.usage.startswith(shown):
        sys.exit(f"not understood: {command.usage}")
    outer, name = " ".join(command.path[:-1] + [""]), command.path[-1]
    return f"\\fB{outer}\\fR{ahead}\\fB{name}\\fR{required}{roff(command.usage[len(shown):])}"


def page(command, manual, version, date):
    """The page of a command; its subcommands are sections, but those of the whole have pages."""
    name = command.title()
    prose = (manual / f"{name}.roff").read_text(encoding="utf-8")
    if prose.count(OPTIONS_MARK) != 1:
        sys.exit(f"{name}.roff does not say where the options go")
    ahead, behind = prose.split(OPTIONS_MARK)
    summary = command.summary.rstrip(".")
    ahead_of_commands = "".join(f"\\fI{roff(positional.names[0])}\\fR "
                                for positional in command.sections.get("Positionals", []))
    text = (f'.TH {name.upper()} 1 {date} "{NAME} {version}" "User Commands"\n'
            f".SH NAME\n{paragraph(f'{name} - {summary[0].lower()}{summary[1:]}')}"
            f".SH SYNOPSIS\n{synopsis(command)}\n{ahead}.SH OPTIONS\n{arguments_of(command)}")
    if command.commands:
        text += ".SH COMMANDS\n"
    for sub in command.commands:
        if len(command.path) == 1:
            text += f".TP\n\\fB{roff(sub.title())}\\fR(1)\n{paragraph(sub.summary + '.')}"
        else:
            text += (f".SS {sub.path[-1]}\n{synopsis(sub, ahead_of_commands)}\n"
                     f".PP\n{paragraph(sub.summary + '.')}"
                     f"{arguments_of(sub)}")
    text += behind
    examples = "\n".join(found.example for found in command.walk()
                         if found.example and (found is command or len(command.path) > 1))
    if examples:
        text += f".SH EXAMPLES\n.nf\n{roff(examples)}\n.fi\n"
    related = [sub.title() for sub in command.commands] if len(command.path) == 1 else [NAME]
    return text + ".SH SEE ALSO\n" + " ,\n".join(f".BR {roff(name)} (1)" for name in related) + "\n"


def quoted(words):
    return " ".join("'" + word.replace("'", "'\\''") + "'" for word in words)


def completion(root, shell):
    """The script of one shell; what each command offers is a table in it."""
    commands = list(root.walk())

    def place(command):
        return "".join(f"/{name}" for name in command.path[1:])

    def values(kind):
        return [f"{place(command)} {name}" for command in commands
                for option in command.sections.get("Options", [])
                if option.value and option.takes() == kind for name in option.names]

    def words(command):
        found = [*command.sections.get("Subcommands", []), *command.sections.get("Options", [])]
        return [(name, entry.text) for entry in found for name in entry.names]

    def arm(patterns, what):
        return f"        {' | '.join(quoted([p]) for p in patterns)}) {what} ;;\n" if patterns else ""

    files = [place(command) for command in commands
             if any(found.takes() for found in command.sections.get("Positionals", []))]
    table = "".join(arm([place(command)], "offered=(" + quoted(
        name + (":" + text.replace(":", "\\:") if shell == "zsh" else "")
        for name, text in words(command)) + ")") for command in commands)
    template = (pathlib.Path(__file__).parent / f"completion.{shell}").read_text(encoding="utf-8")
    for mark, text in {
            "@COMMANDS@": arm([place(command) for command in commands[1:]], 'place+="/$word"'),
            "@FILE_VALUES@": arm(values("file"), "_steadywarp_files; return"),
            "@FOLDER_VALUES@": arm(values("folder"), "_steadywarp_folders; return"),
            "@OTHER_VALUES@": arm(values(""), "return"),
            "@OFFERED@": table,
            "@FILES@": arm(files, "_steadywarp_files"),
    }.items():
        template = template.replace(f"{mark}\n", text)
    return template


def main(manual, version, date, out, *command):
    root = read_help(command, [NAME], [])
    out = pathlib.Path(out)
    for folder in ("man", "bash", "zsh"):
        (out / folder).mkdir(parents=True, exist_ok=True)
    for documented in (root, *root.commands):
        text = page(documented, pathlib.Path(manual), version, date)
        (out / "man" / f"{documented.title()}.1").write_text(text, encoding="utf-8")
    (out / "bash" / NAME).write_text(completion(root, "bash"), encoding="utf-8")
    (out / "zsh" / f"_{NAME}").write_text(completion(root, "zsh"), encoding="utf-8")


main(*sys.argv[1:])
