"""Runs test programs with one mutant on at a time: only the tests that reach it, the quick ones first."""

import dataclasses
import math
import mmap
import os
import re
import resource
import shutil
import signal
import struct
import subprocess
import tempfile

HEADER = struct.Struct("iIII")  # of Tests/MutantSwitch.cpp
ROWS = 4096


@dataclasses.dataclass
class Test:
    name: str
    seconds: float
    reached: bytes


@dataclasses.dataclass
class Suite:
    """What a test program does without any mutant on."""

    program: str
    tests: list
    outside: bytes  # the mutants that are reached outside of the tests
    broken: list  # tests that fail here without any mutant: they judge nothing

    def reaching(self, number):
        if self.outside[number]:
            return self.tests
        return [test for test in self.tests if test.reached[number]]


def environment(folder, **variables):
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("GTEST_", "KX_MUTANT"))}
    kept |= {"TMPDIR": folder, "GTEST_BREAK_ON_FAILURE": "0", "GTEST_COLOR": "no",
             "ASAN_OPTIONS": "hard_rss_limit_mb=6000", "UBSAN_OPTIONS": "print_stacktrace=0"}
    return kept | variables


def limit(processor_seconds):
    resource.setrlimit(resource.RLIMIT_CPU, (processor_seconds, processor_seconds + 1))
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(program, seconds, cwd, **variables):
    """Runs a program of tests that takes so many seconds; returns (exit status or None when it took far too long, what it
    printed). What goes round and round is stopped by its processor time, so that a busy machine makes no difference."""
    folder = tempfile.mkdtemp(prefix="kxm-")
    try:
        with open(os.path.join(folder, "output"), "w+b") as output:
            child = subprocess.Popen([program], cwd=cwd, env=environment(folder, **variables), stdin=subprocess.DEVNULL,
                                     stdout=output, stderr=output, start_new_session=True, preexec_fn=lambda: limit(math.ceil(1 + 4 * seconds)))
            try:
                status = child.wait(10 + 10 * seconds)
                status = None if status == -signal.SIGXCPU else status
            except subprocess.TimeoutExpired:
                status = None
            try:
                os.killpg(child.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            child.wait()
            output.seek(max(0, output.seek(0, os.SEEK_END) - 200000))
            return status, output.read().decode(errors="replace")
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def record(program, mutants, cwd):
    """Runs all tests without a mutant, and notes which mutants each one reaches."""
    capacity = max((mutant.number for mutant in mutants), default=0) + 1
    with tempfile.TemporaryDirectory(prefix="kxm-") as folder:
        log, path = os.path.join(folder, "log"), os.path.join(folder, "map")
        with open(path, "w+b") as file:
            file.truncate(HEADER.size + ROWS * capacity)
            file.write(HEADER.pack(0, 0, ROWS, capacity))
            file.flush()
            broken = []
            for _ in range(5):
                status, output = run(program, 300, cwd, KX_MUTANTS_MAP=path, KX_MUTANTS_LOG=log,
                                     GTEST_FILTER="-" + ":".join(broken) if broken else "*")
                lines = open(log).read().splitlines() if os.path.exists(log) else []
                failed = [line.split(" ", 3)[3] for line in lines if line.split(" ", 3)[2] == "failed"]
                stopped = re.findall(r"^\[ RUN      \] (\S+)$", output, re.MULTILINE)[-1:] if status not in (0, 1) else []
                if status == 0 or not (failed or stopped):
                    break
                broken += [name for name in failed + stopped if name not in broken]
                file.seek(0)
                file.write(HEADER.pack(0, 0, ROWS, capacity))
                file.flush()
            if status != 0:
                raise SystemExit(f"{program} fails without any mutant ({status}):\n{output[-3000:]}")
            with mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as rows:
                row = lambda index: rows[HEADER.size + index * capacity:HEADER.size + (index + 1) * capacity]
                tests = []
                for line in lines:
                    index, milliseconds, outcome, name = line.split(" ", 3)
                    if outcome == "passed":
                        tests.append(Test(name, int(milliseconds) / 1000, row(int(index))))
                return Suite(program, tests, row(0), broken)


def judge(suite, number, tests, cwd):
    """What catches a mutant: a test's name, with how; None when nothing does. `number` 0: the mutant is there for good."""
    tests = sorted(tests, key=lambda test: test.seconds)
    quick, seconds = 0, 0.0
    while quick < len(tests) and seconds + tests[quick].seconds < 1:
        seconds += tests[quick].seconds
        quick += 1
    for part in (tests[:quick], tests[quick:]):
        if part:
            names = ":".join(test.name for test in part)
            if len(names) > 100000:
                names = "-" + ":".join(suite.broken)
            seconds = sum(test.seconds for test in part)
            variables = {"KX_MUTANT": str(number)} if number else {}
            status, output = run(suite.program, seconds, cwd, GTEST_FILTER=names, GTEST_FAIL_FAST="1", **variables)
            if status != 0:
                started = re.findall(r"^\[ RUN      \] (\S+)$", output, re.MULTILINE)
                failed = re.findall(r"^\[  FAILED  \] (\S+?),? .*ms\)$", output, re.MULTILINE)
                test = (failed or started or ["(before any test)"])[-1]
                if status is None:
                    return f"{test} (hangs)"
                if not failed and re.search("Sanitizer", output):
                    return f"{test} (sanitizer)"
                return test if failed else f"{test} (status {status})"
    return None
