"""What the build tree knows: components, and how their sources and tests are compiled and linked."""

import dataclasses
import functools
import json
import os
import pathlib
import re
import shlex
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', re.MULTILINE)


@dataclasses.dataclass
class Component:
    name: str
    library: str
    files: list  # sources and headers, as paths from ROOT
    tests: list  # names of its test programs

    def sources(self):
        return [file for file in self.files if file.endswith(".cpp")]


def components(preset="dev"):
    """All components that have both something to change and a test, by name."""
    build = Build(preset)
    found, owned = {}, set()
    for line in (build.directory / "components.txt").read_text().splitlines():
        library, name, folder, sources, headers, tested_by = line.split("|")
        files = [os.path.relpath(file, ROOT) for file in f"{sources};{headers}".split(";") if file not in ("", "NONE")]
        owned.update(files)
        tests = [name + "Test"] if (ROOT / "Tests" / folder / f"{name}Test.cpp").exists() else []
        found[name] = Component(name, library, files, tests + ([tested_by + "Test"] if tested_by else []))
    # A header that no component declares belongs to the first one that includes it.
    for component in found.values():
        for file in component.files:
            for header in build.included(file):
                if header not in owned:
                    owned.add(header)
                    component.files.append(header)
    # A test that is built from a component's source itself tests it too.
    for name, (_, source) in build.compilations.items():
        test = re.search(r"/(\w+Test)\.dir/", name)
        for component in found.values():
            if test and source in component.files and test[1] not in component.tests:
                component.tests.append(test[1])
    return {name: component for name, component in found.items() if component.files and component.tests}


class Build:
    """A preset's build tree."""

    def __init__(self, preset):
        self.preset = preset
        self.directory = ROOT / "build" / preset
        self.compilations = {}
        for entry in json.loads((self.directory / "compile_commands.json").read_text()):
            arguments = shlex.split(entry["command"])
            self.compilations[arguments[arguments.index("-o") + 1]] = (arguments, os.path.relpath(entry["file"], ROOT))

        self.include_folders = sorted({
            word[2:] for arguments, _ in self.compilations.values() for word in arguments if word.startswith(f"-I{ROOT}/")})

    def included(self, file):
        """The project's own headers that a file includes."""
        path = ROOT / file
        for name in INCLUDE.findall(path.read_text()):
            for folder in (path.parent, *self.include_folders):
                header = os.path.normpath(os.path.join(folder, name))
                if os.path.isfile(header):
                    if not header.startswith(f"{ROOT}/Tests/"):
                        yield os.path.relpath(header, ROOT)
                    break

    def has(self, test):
        return any(f"/{test}.dir/" in name for name in self.compilations)

    def ninja(self, *arguments):
        return subprocess.run(["ninja", "-C", self.directory, *arguments], check=True, text=True,
                              stdout=subprocess.PIPE).stdout

    @functools.cache
    def link_command(self, target):
        """The command that links a target, and the files and libraries in it, as arguments."""
        line = [line for line in self.ninja("-t", "commands", target).splitlines()
                if re.search(rf" (?:-o|qc) \S*/(?:lib)?{target}(\.so\S*|\.a)? ", line)][-1]
        line = re.sub(r"^: && | && :.*$", "", line)
        arguments = shlex.split(line)
        return arguments[1:] if "ccache" in arguments[0] else arguments

    @functools.cache
    def dependencies(self):
        """Of each object file, the files of the project that it was made from."""
        found, current = {}, None
        for line in self.ninja("-t", "deps").splitlines():
            if line.startswith("    "):
                path = os.path.normpath(self.directory / line.strip())
                if path.startswith(str(ROOT)):
                    current.add(os.path.relpath(path, ROOT))
            elif ": #deps" in line:
                current = found[line.split(": #deps")[0]] = set()
        return found
