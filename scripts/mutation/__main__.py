"""scripts/mutants, but for what its head does."""

import argparse
import concurrent.futures
import dataclasses
import hashlib
import json
import os
import pathlib
import shutil
import sys
import time

import equivalents
from judging import judge, record
from programs import Workshop, mutants_of
from project import ROOT, Build, components

# The programs that judge, one after the other: each only what the ones before did not catch.
PRESETS = ("dev", "asan", "tsan")


class Progress:
    """One line in place for a person, one now and then for a log."""

    def __init__(self, name):
        self.name = name
        self.begin = self.last = time.monotonic()

    def __call__(self, text):
        self.show(text, True)

    def show(self, text, always=False):
        now = time.monotonic()
        if sys.stdout.isatty():
            print(f"\r\033[K[{now - self.begin:3.0f}s] {self.name}: {text}"[:120], end="", flush=True)
        elif always or now - self.last > 20:
            print(f"[{now - self.begin:3.0f}s] {self.name}: {text}", flush=True)
            self.last = now

    def end(self):
        if sys.stdout.isatty():
            print("\r\033[K", end="", flush=True)


class Results:
    """What was found out, kept by the text of the sources: a mutant that was caught stays so until they change, one that
    was not also until the tests do."""

    def __init__(self, component, mutants):
        self.path = ROOT / "build/mutants" / component.name / "results.json"
        tests = [path for path in (ROOT / "Tests").rglob("*") if path.suffix in (".h", ".cpp", ".c")
                 and (path.parent == ROOT / "Tests" or path.parent.name == pathlib.Path(component.files[0]).parts[0]
                      or "Platform" in path.parts)]
        self.sources = digest(ROOT / file for file in component.files)
        self.tests = digest(sorted(tests))
        try:
            self.known = json.loads(self.path.read_text())
        except (OSError, ValueError):
            self.known = {}
        self.keys = {}
        counts = {}
        for mutant in mutants:
            text = "\n".join((mutant.path, mutant.function, mutant.before, mutant.after))
            counts[text] = counts.get(text, 0) + 1
            self.keys[mutant.number] = f"{text}\n{counts[text]}"

    def get(self, mutant):
        found = self.known.get(self.keys[mutant.number])
        if not found or found["sources"] != self.sources or not found["caught"] and found["tests"] != self.tests:
            return None
        return found

    def judged(self, mutant, preset):
        """Whether the programs of a preset have nothing more to say of a mutant."""
        found = self.get(mutant)
        return found is not None and (found["caught"] or preset in found["presets"])

    def set(self, mutant, state, caught, presets):
        old = self.get(mutant)
        self.known[self.keys[mutant.number]] = {
            "state": state, "caught": caught, "presets": (old["presets"] if old else []) + presets,
            "sources": self.sources, "tests": self.tests}

    def save(self):
        self.path.parent.mkdir(parents=True, exist_ok=True)
        new = self.path.with_suffix(".new")
        new.write_text(json.dumps({key: value for key, value in self.known.items() if value["sources"] == self.sources},
                                  indent=0))
        new.rename(self.path)


def digest(paths):
    total = hashlib.sha256()
    for path in paths:
        total.update(path.read_bytes())
    return total.hexdigest()


def examine(component, mutants, results, entries, quick, jobs):
    """Finds out about all mutants of a component that nothing is known of. Those that are listed as equivalent are tried
    in the first build alone."""
    presets = PRESETS[:1] if quick else PRESETS
    progress = Progress(component.name)
    folder = ROOT / "build/mutants" / component.name
    for preset in presets:
        pending = [mutant for mutant in mutants if not results.judged(mutant, preset)
                   and not (preset != presets[0] and equivalents.of(entries, mutant))]
        if not pending:
            continue
        build = Build(preset)
        tested = dataclasses.replace(component, tests=[test for test in component.tests if build.has(test)])
        if not tested.tests:  # not one of threads
            for mutant in pending:
                results.set(mutant, "survives", False, [preset])
            continue
        progress(f"building its tests by preset '{preset}'")
        build.ninja(*tested.tests, tested.library)
        workshop = Workshop(tested, build, pending, folder, jobs)
        alone = workshop.make(progress)
        progress("running its tests without a mutant")
        suites = {test: record(program, pending, build.directory) for test, program in workshop.programs().items()}
        for test, suite in suites.items():
            if suite.broken:
                progress(f"left out, since they fail without a mutant: {' '.join(suite.broken)}")
        numbers = {mutant.number for mutant in alone}
        switched = [mutant for mutant in pending if mutant.number not in numbers]
        reached = [mutant for mutant in switched if any(suite.reaching(mutant.number) for suite in suites.values())]
        rest = {mutant.number for mutant in switched} - {mutant.number for mutant in reached}
        # The compiler may have computed what was not reached.
        alone += [mutant for mutant in switched if mutant.number in rest and mutant.constant]
        for mutant in switched:
            if mutant.number in rest and not mutant.constant:
                results.set(mutant, "not reached", False, list(PRESETS))

        def by_switch(mutant):
            for suite in suites.values():
                caught = judge(suite, mutant.number, suite.reaching(mutant.number), build.directory)
                if caught:
                    return caught, True
            return "survives", False

        def by_itself(mutant):
            place = folder / f"alone{mutant.number}"
            try:
                programs = workshop.programs_of(mutant, place)
                if programs is None:
                    return "does not compile", True
                for test, suite in suites.items():
                    own = dataclasses.replace(suite, program=programs[test])
                    caught = judge(own, 0, suite.tests, build.directory)
                    if caught:
                        return caught, True
                return "survives", False
            finally:
                shutil.rmtree(place, ignore_errors=True)

        survivors = 0
        ways = [("", reached, by_switch), (" that need a program of their own", alone, by_itself)]
        for kind, some, way in ways[:1] if quick else ways:
            with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
                futures = {pool.submit(way, mutant): mutant for mutant in some}
                for count, future in enumerate(concurrent.futures.as_completed(futures), 1):
                    state, caught = future.result()
                    results.set(futures[future], state, caught, [preset])
                    survivors += not caught
                    progress.show(f"{preset}: {count} of {len(some)} mutants{kind}, {survivors} survive")
                    if count % 50 == 0:
                        results.save()
        results.save()
    progress.end()


def summary(component, mutants, results, entries):
    """Prints the survivors that are not listed, and returns the counts."""
    caught = listed = unknown = 0
    survivors = []
    catchers, surviving = {}, set()  # of entries: of one text there may be several mutants
    compiled = 0
    for mutant in mutants:
        entry = equivalents.of(entries, mutant)
        found = results.get(mutant)
        if found is None:
            unknown += 1
            continue
        if found["state"] == "does not compile":
            continue
        compiled += 1
        if found["caught"]:
            caught += 1
            if entry:
                catchers.setdefault(entry.line, found["state"])
        elif entry:
            listed += 1
            surviving.add(entry.line)
        else:
            survivors.append((mutant, found["state"]))
    for line, state in catchers.items():
        if line not in surviving:
            print(f"{equivalents.PATH.name}:{line}: not equivalent: {state} catches it")
    for mutant, state in survivors:
        print(f"\n{mutant.path}:{mutant.line}: {state}, in {mutant.function or 'no function'} ({component.name} {mutant.number})")
        print(f"- {mutant.before}\n+ {mutant.after}")
    return component.name, compiled, caught, listed, len(survivors), unknown


def main():
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("component", nargs="*")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--show", type=int)
    arguments = parser.parse_args()
    known = components()
    names = arguments.component or [name for name, component in known.items() if component.library == "KXCoreLib"]
    if unknown := [name for name in names if name not in known]:
        raise SystemExit(f"there is no component {unknown[0]} with a test; there are: {' '.join(known)}")
    entries = equivalents.read()
    rows = []
    for name in names:
        component = known[name]
        mutants = mutants_of(component, Build("dev"))
        results = Results(component, mutants)
        if arguments.list or arguments.show:
            for mutant in mutants:
                if arguments.show in (None, mutant.number):
                    state = (results.get(mutant) or {"state": "not run"})["state"]
                    print(f"{name} {mutant.number}: {mutant.path}:{mutant.line} in {mutant.function or 'no function'}: {state}")
                    if arguments.show:
                        print(f"- {mutant.before}\n+ {mutant.after}")
            continue
        examine(component, mutants, results, entries, arguments.quick, arguments.jobs)
        rows.append(summary(component, mutants, results, entries))
    if not rows:
        return
    files = {file for name in names for file in known[name].files}
    for entry in entries.values():
        if entry.path in files and not entry.used:
            print(f"{equivalents.PATH.name}:{entry.line}: there is no such mutant any more")
    rows.append(("all", *(sum(row[column] for row in rows) for column in range(1, 6))))
    print(f"\n{'component':<28}{'mutants':>9}{'caught':>9}{'listed':>9}{'survive':>9}{'not run':>9}")
    for row in rows:
        print(f"{row[0]:<28}" + "".join(f"{number:>9}" for number in row[1:]))
    sys.exit(rows[-1][4] > 0)


main()
