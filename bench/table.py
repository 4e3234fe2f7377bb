#!/usr/bin/env python3
"""table.py DIRECTORY: prints what scripts/bench measured, one line per log."""
import json
import pathlib
import statistics
import sys

COLUMNS = "%-21s %6s %8s %8s %8s %8s %8s %8s %8s %7s"


def read_round(path):
    """Wall and CPU seconds of the program and CPU seconds of cksum, each the mean over a round's runs."""
    program, cksum = json.loads(path.read_text())["results"]
    return program["mean"], program["user"] + program["system"], cksum["user"] + cksum["system"]


def print_row(size_file):
    rounds = [read_round(path) for path in size_file.parent.glob(size_file.stem + ".[0-9]*.json")]
    wall, cpu, cksum = (statistics.median(column) for column in zip(*rounds))
    ratio = statistics.median(row[1] / row[2] for row in rounds)
    megabytes = int(size_file.read_text()) / 1e6
    peak = int(size_file.with_suffix(".memory").read_text().split()[-1]) / 1e3
    lines = size_file.with_suffix(".lines").read_text().strip()
    print(COLUMNS % (size_file.stem, lines, "%.1f" % megabytes, "%.3f" % wall, "%.3f" % cpu,
                     "%.0f" % (megabytes / wall), "%.2f" % (cpu * 1e3 / megabytes), "%.1f" % peak, "%.3f" % cksum,
                     "%.1f" % ratio))


def main():
    print(COLUMNS % ("log", "lines", "MB", "wall s", "CPU s", "MB/s", "ms/MB", "peak MB", "cksum s", "ratio"))
    for size_file in sorted(pathlib.Path(sys.argv[1]).glob("*.size"), key=lambda path: path.stat().st_mtime_ns):
        print_row(size_file)
    print("MB: 10^6 bytes. MB/s by wall time, ms/MB by CPU time. ratio: CPU time over that of cksum.")


if __name__ == "__main__":
    main()
