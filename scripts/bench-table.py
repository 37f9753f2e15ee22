"""Turns Google Benchmark's JSON into one table of ours against each peer.

Benchmarks are named BM_<what>/<who>[/<argument>...]; ours is the one called KXCoreLib or KXPlatform. Cases that differ
only in <who> are compared. Figures are medians of CPU time an iteration (of real time where the benchmark says so).
"""

import argparse
import collections
import json
import pathlib
import platform
import re
import subprocess

OURS = ("KXCoreLib", "KXPlatform")

# What a benchmark counts beside the time: the memory of what it makes, the size of what it writes, the allocations.
COUNTERS = {"memory": ", {:.0f} B of memory", "bytes": ", {:.0f} B", "mallocs/item": ", {:.2g} mallocs an item"}

# The packages that the peers come from.
PEERS = ("libboost-dev", "libicu-dev", "libssl-dev", "nettle-dev", "libglib2.0-dev", "libplist-dev", "libpugixml-dev",
         "libuv1-dev", "libevent-dev", "libsqlite3-dev", "libleveldb-dev", "librocksdb-dev", "liblmdb-dev",
         "libmsgpack-cxx-dev", "libflatbuffers-dev", "libcapnp-dev", "libprotobuf-dev", "flex", "bison", "libc6")

# What stands in the file from this heading on is written by hand and kept.
REMARKS = "## Where ours is behind"


def nanoseconds(entry):
    unit = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[entry["time_unit"]]
    real = "/real_time" in entry["run_name"] or "/manual_time" in entry["run_name"]
    return unit * entry["real_time" if real else "cpu_time"]


def parse(path):
    """Yields (what with arguments, who, entry) of every median in the file."""
    for entry in json.loads(path.read_text())["benchmarks"]:
        if entry.get("aggregate_name") != "median":
            continue
        parts = [p for p in entry["run_name"].removeprefix("BM_").split("/") if p not in ("real_time", "manual_time", "process_time")]
        who = parts[1] if len(parts) > 1 else "KXCoreLib"
        yield " ".join([parts[0], *parts[2:]]), who, entry


def show(ns):
    for limit, scale, unit in ((1e3, 1, "ns"), (1e6, 1e3, "us"), (1e9, 1e6, "ms")):
        if ns < limit:
            return f"{ns / scale:.3g} {unit}"
    return f"{ns / 1e9:.3g} s"


def figures(entry):
    text = show(nanoseconds(entry))
    if "bytes_per_second" in entry:
        text += f" ({entry['bytes_per_second'] / 1e9:.2f} GB/s)"
    for counter, form in COUNTERS.items():
        if counter in entry:
            text += form.format(entry[counter])
    return text


def in_order(text):
    """A key that sorts numbers in a text as numbers."""
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", text)]


def rows(paths):
    for path in paths:
        cases = collections.defaultdict(dict)
        for what, who, entry in parse(path):
            cases[what][who] = entry
        for what, entries in sorted(cases.items(), key=lambda case: in_order(case[0])):
            ours = next((who for who in OURS if who in entries), None)
            if ours is None:
                for who, entry in entries.items():
                    yield path.stem, what, "", who, figures(entry), ""
                continue
            mine = entries.pop(ours)
            if not entries:
                yield path.stem, what, figures(mine), "", "", ""
            for who, entry in sorted(entries.items(), key=lambda item: nanoseconds(item[1])):
                yield path.stem, what, figures(mine), who, figures(entry), f"{nanoseconds(entry) / nanoseconds(mine):.2f}"


def machine():
    model = next((line.split(":")[1].strip() for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                  if line.startswith("model name")), platform.machine()) if pathlib.Path("/proc/cpuinfo").exists() else platform.machine()
    compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True).stdout.splitlines()[0]
    return f"{model}, {platform.system()} {platform.release()}, {compiler}"


def versions():
    """The peers' packages with their versions; empty where the system has no such packages."""
    try:
        query = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", *PEERS], capture_output=True, text=True)
    except FileNotFoundError:
        return ""
    return ", ".join(query.stdout.splitlines())


def remarks(path):
    before = path.read_text() if path.exists() else ""
    return "\n" + before[before.index(REMARKS):] if REMARKS in before else ""


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--write", type=pathlib.Path, help="also write the table to this file, as Markdown")
    parser.add_argument("results", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()

    header = ("Component", "Case", "Ours", "Peer", "Peer's", "Ratio")
    table = list(rows(arguments.results))
    widths = [max(len(row[i]) for row in [header, *table]) for i in range(len(header))]
    lines = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(row, widths)) + " |" for row in [header, *table]]
    lines.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
    print("\n".join(lines))
    if arguments.write:
        arguments.write.write_text(
            "# Benchmarks\n\nMade by `scripts/bench --write`; medians, ours and the peers in the same process.\n"
            "A ratio above 1 says how many times faster ours is.\n\n"
            f"Machine: {machine()}.\n\nPeers: {versions()}.\n\n" + "\n".join(lines) + "\n"
            + remarks(arguments.write))


if __name__ == "__main__":
    main()
