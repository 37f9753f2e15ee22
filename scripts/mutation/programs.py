"""Builds a component's test programs with its mutants in them."""

import concurrent.futures
import os
import re
import shutil
import subprocess

from changes import Source, find
from planting import plant
from project import ROOT

# A mutant need not be as clean as the source, and the compiler's time is worth more than the program's.
DROPPED = re.compile(r"-O.*|-g.*|-W(?!l,).*|-pedantic.*|-M.*|-flto.*")
ERROR = re.compile(r"^(.*?):(\d+):(\d+): (?:fatal )?error: (.*)$")


class Workshop:
    """A component's sources with mutants in them, in a tree of their own, and the programs made from them."""

    def __init__(self, component, build, mutants, folder, jobs):
        self.component = component
        self.build = build
        self.mutants = mutants
        self.jobs = jobs
        self.tree = folder / "tree"
        self.objects = folder / build.preset
        self.objects.mkdir(parents=True, exist_ok=True)
        shutil.rmtree(self.tree, ignore_errors=True)
        for place in ("KXCoreLib", "Platform"):
            shutil.copytree(ROOT / place, self.tree / place)

    # ---- Compiling

    def arguments(self, arguments, tree):
        """A command's arguments, looking for headers and sources in the tree."""
        kept, skip = [], False
        for argument in arguments:
            if skip or DROPPED.fullmatch(argument) and argument != "-MD":
                skip = False
                continue
            for place in ("KXCoreLib", "Platform"):
                argument = re.sub(rf"^(-I|-isystem)?{re.escape(str(ROOT))}/{place}(?=/|$)", rf"\1{tree}/{place}", argument)
            kept.append(argument)
        return kept

    def compile(self, arguments, source, output, tree):
        """Compiles a source by the command of the original; returns what the compiler says."""
        arguments = self.arguments(arguments, tree)
        arguments[arguments.index("-o") + 1] = str(output)
        arguments[arguments.index("-c") + 1] = str(source)
        if not arguments[-1].endswith(".c"):
            arguments += ["-include", str(ROOT / "Tests/MutantSwitch.h")]
        level = ["-O0"] if self.build.preset == "dev" else ["-O1"]  # as the presets of sanitizers have it
        done = subprocess.run([*arguments, *level, "-w", "-Wno-narrowing", "-fmax-errors=0"], cwd=self.build.directory,
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="replace")
        return done.returncode == 0, done.stdout

    def units(self):
        """What is compiled anew: the objects of the component's sources, and those of its tests that include its headers."""
        files = set(self.component.files)
        headers = files - set(self.component.sources())
        library = set(self.objects_of(self.component.library))
        units = set()
        for target in [self.component.library, *self.component.tests]:
            for name in self.objects_of(target):
                source = self.build.compilations[name][1]
                if source in files or name not in library and headers & self.build.dependencies().get(name, set()):
                    units.add(name)
        return sorted(units)

    def objects_of(self, target):
        return [word for word in self.build.link_command(target) if word in self.build.compilations]

    def output(self, name, folder=None):
        return (folder or self.objects) / name.replace("/", "+")

    def source_in(self, name, tree):
        source = self.build.compilations[name][1]
        return (tree if source.startswith(("KXCoreLib/", "Platform/")) else ROOT) / source

    def make(self, progress):
        """Compiles all; returns the mutants that could not be put in. Does not compile: builds the rest without."""
        units, left_out = self.units(), []
        while True:
            planted = self.plant(left_out)
            progress(f"compiling {len(units)} sources with {len(self.mutants) - len(left_out)} mutants")
            with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
                results = list(pool.map(lambda name: self.compile(
                    self.build.compilations[name][0], self.source_in(name, self.tree), self.output(name), self.tree), units))
            failed = [(name, text) for name, (good, text) in zip(units, results) if not good]
            if not failed:
                return left_out
            blamed = {}
            for _, text in failed:
                for match in filter(None, map(ERROR.match, text.splitlines())):
                    path = os.path.relpath(os.path.normpath(self.build.directory / match[1]), self.tree)
                    if path in planted:
                        for mutant in planted[path].blame(int(match[2]), int(match[3])):
                            blamed[mutant.number] = mutant
            if not blamed:
                raise SystemExit(f"{failed[0][0]} does not compile with its mutants:\n{failed[0][1][:3000]}")
            left_out += blamed.values()
            units = [name for name, _ in failed] if not any(mutant.path.endswith(".h") for mutant in blamed.values()) else units

    def plant(self, left_out):
        """Writes the sources with all mutants but those left out."""
        planted, out = {}, {mutant.number for mutant in left_out}
        for file in self.component.files:
            source = Source(file, (ROOT / file).read_text(encoding="latin-1"))
            chosen = [mutant for mutant in self.mutants if mutant.path == file and mutant.number not in out]
            planted[file] = plant(source, chosen)
            (self.tree / file).write_text(planted[file].text, encoding="latin-1")
        return planted

    def link(self, test, changed, output):
        """Links a test program with the library's objects in the library's place. `changed`: {object: file to take}."""
        arguments = list(self.build.link_command(test))
        library = self.build.link_command(self.component.library)
        is_library = re.compile(rf"(^|/)lib{self.component.library}\.(so[.0-9]*|a)$").search
        own = {self.build.compilations[name][1] for name in self.objects_of(test)}
        objects, others = [], []
        for word in library:
            if word in self.build.compilations:
                if self.build.compilations[word][1] not in own:
                    (objects if word in changed else others).append(str(changed.get(word, word)))
            elif re.search(r"\.so[.0-9]*$|\.a$", word) and not word.startswith("-") and not is_library(word):
                others.append(word)
            elif re.match(r"-l|-Wl,-rpath", word):
                others.append(word)
        linked = []
        for word in arguments:
            if is_library(word):
                linked += others
            else:
                linked.append(str(changed.get(word, word)))
        linked[linked.index("-o") + 1] = str(output)
        # What is changed comes first: of inline functions the linker keeps the first it meets.
        linked[1:1] = ["-rdynamic"] + [str(changed[name]) for name in self.objects_of(test) if name in changed] + objects + [self.switch()]
        linked = dedupe_objects(linked)
        done = subprocess.run(linked, cwd=self.build.directory, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode != 0:
            raise SystemExit(f"{test} does not link with its mutants:\n{done.stdout[:3000]}")
        return output

    def switch(self):
        """The object of Tests/MutantSwitch.cpp, compiled as the first of the tests is."""
        output = self.objects / "MutantSwitch.o"
        if not output.exists():
            name = next(name for name in self.objects_of(self.component.tests[0]) if name.endswith(".cpp.o"))
            good, text = self.compile(self.build.compilations[name][0], ROOT / "Tests/MutantSwitch.cpp", output, ROOT)
            if not good:
                raise SystemExit(text)
        return str(output)

    def programs(self):
        """The test programs with all mutants in them, by name."""
        changed = {name: self.output(name) for name in self.units()}
        return {test: self.link(test, changed, self.objects / test) for test in self.component.tests}

    def programs_of(self, mutant, folder):
        """The test programs with one mutant made for good, or None when it does not compile."""
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        text = (ROOT / mutant.path).read_text(encoding="latin-1")
        text = text[:mutant.start] + mutant.text + text[mutant.end:]
        changed = {name: self.output(name) for name in self.units()}
        if mutant.path.endswith(".h"):
            tree = folder / "tree"
            for place in ("KXCoreLib", "Platform"):
                shutil.copytree(ROOT / place, tree / place)
            (tree / mutant.path).write_text(text, encoding="latin-1")
            units = [(name, self.source_in(name, tree)) for name in self.units()]
        else:
            tree = self.tree
            copy = (tree / mutant.path).with_suffix(f".{folder.name}.cpp")
            copy.write_text(text, encoding="latin-1")
            units = [(name, copy) for name in self.units() if self.build.compilations[name][1] == mutant.path]
        for name, source in units:
            changed[name] = self.output(name, folder)
            if not self.compile(self.build.compilations[name][0], source, changed[name], tree)[0]:
                return None
        return {test: self.link(test, changed, folder / test) for test in self.component.tests}


def dedupe_objects(arguments):
    seen, kept = set(), []
    for word in arguments:
        if word.endswith(".o"):
            if word in seen:
                continue
            seen.add(word)
        kept.append(word)
    return kept


def mutants_of(component, build):
    """All mutants of a component, numbered."""
    by_source = {source: arguments for arguments, source in build.compilations.values()
                 if f"/{component.library}.dir/" in " ".join(arguments)}
    spare = next(iter(by_source.values()))
    found = []
    for file in component.files:
        arguments = [word for word in by_source.get(file, spare)[1:] if re.match(r"-[ID]|-isystem|-std|/usr/include", word)]
        source = Source(file, (ROOT / file).read_text(encoding="latin-1"))
        found += find(source, str(ROOT / file), [*arguments, f"-I{(ROOT / file).parent}"])
    for number, mutant in enumerate(found, 1):
        mutant.number = number
    return found
