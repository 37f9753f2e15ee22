"""Tests/mutants-equivalent.txt: changes that change nothing that a program can see, each with the reason."""

import dataclasses

from project import ROOT

PATH = ROOT / "Tests/mutants-equivalent.txt"


@dataclasses.dataclass
class Entry:
    path: str
    function: str
    before: str
    after: str
    reason: str
    line: int
    used: bool = False


def read():
    """All entries, by what they say of a change."""
    entries, path, function, before, pending = {}, "", "", "", []
    for number, line in enumerate(PATH.read_text().splitlines() if PATH.exists() else [], 1):
        if line.startswith("- "):
            before = line[2:]
        elif line.startswith("+") and line[1:2] in ("", " "):
            pending.append(Entry(path, function, before, line[2:], "", number))
        elif line.startswith("= "):
            for entry in pending:
                entry.reason = line[2:]
                entries[entry.path, entry.function, entry.before, entry.after] = entry
            pending = []
        elif line.startswith("  ") and not pending:
            for entry in entries.values():
                if entry.line == max(other.line for other in entries.values()):
                    entry.reason += " " + line.strip()
        elif line and not line.startswith("#"):
            path, _, function = line.partition(" ")
        if line and not line.startswith(("-", "+", "=", " ", "#")) and pending:
            raise SystemExit(f"{PATH}:{number}: a change without a reason")
    return entries


def of(entries, mutant):
    entry = entries.get((mutant.path, mutant.function, mutant.before, mutant.after))
    if entry:
        entry.used = True
    return entry
