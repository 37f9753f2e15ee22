"""Turns gcovr's JSON into one table: the libraries, their folders and files, and the lines that nothing reached."""

import collections
import json
import pathlib
import sys


class Counts:
    """Lines and branches, and how many of them were reached."""

    def __init__(self):
        self.lines = self.lines_hit = self.branches = self.branches_hit = 0
        self.missed = []

    def add_line(self, number, count, branches):
        self.lines += 1
        self.lines_hit += count > 0
        if count == 0:
            self.missed.append(number)
        self.branches += len(branches)
        self.branches_hit += sum(branch["count"] > 0 for branch in branches)

    def __iadd__(self, other):
        self.lines += other.lines
        self.lines_hit += other.lines_hit
        self.branches += other.branches
        self.branches_hit += other.branches_hit
        return self


def percent(hit, total):
    # Cut, not rounded: 100.0 says that nothing is missed.
    return f"{hit * 1000 // total / 10:.1f}" if total else "-"


def ranges(numbers):
    """[3, 4, 5, 9] as "3-5 9"."""
    runs = []
    for number in numbers:
        if runs and number == runs[-1][1] + 1:
            runs[-1][1] = number
        else:
            runs.append([number, number])
    return " ".join(str(a) if a == b else f"{a}-{b}" for a, b in runs)


def row(name, counts, note=""):
    lines = f"{counts.lines_hit}/{counts.lines}"
    branches = f"{counts.branches_hit}/{counts.branches}"
    print(f"{name:<52}{lines:>12}{percent(counts.lines_hit, counts.lines):>7}"
          f"{branches:>13}{percent(counts.branches_hit, counts.branches):>7}  {note}".rstrip())


def main():
    files = {}
    for entry in json.loads(pathlib.Path(sys.argv[1]).read_text())["files"]:
        counts = files[pathlib.PurePosixPath(entry["file"])] = Counts()
        for line in entry["lines"]:
            if not line.get("gcovr/noncode") and not line.get("gcovr/excluded"):
                counts.add_line(line["line_number"], line["count"], line["branches"])

    folders = collections.defaultdict(Counts)
    libraries = collections.defaultdict(Counts)
    for path, counts in files.items():
        folders[path.parent] += counts
        libraries[path.parts[0]] += counts

    print(f"{'':<52}{'lines':>12}{'%':>7}{'branches':>13}{'%':>7}  lines not reached")
    for folder in sorted(folders):
        print()
        row(f"{folder}/", folders[folder])
        for path in sorted(path for path in files if path.parent == folder):
            row(f"  {path.name}", files[path], ranges(files[path].missed))
    print()
    for library in sorted(libraries):
        row(library, libraries[library])


main()
