#!/usr/bin/env python3
"""table.py DIRECTORY: prints what scripts/bench measured, one line per log, and one per subcommand of zeltlog.

Exit status: 0 all well, 1 when zeltlog takes longer than it may.
"""
import json
import pathlib
import statistics
import sys

COLUMNS = "%-21s %6s %8s %8s %8s %8s %8s %8s %8s %7s"
ZELTLOG_COLUMNS = "%-21s %8s %8s %8s %8s   %s"

# What zeltlog may take on a log of a day: CPU seconds, or CPU time over that of zelt2cggtts.
ZELTLOG_LIMITS = {"info": ("ratio", 3), "span": ("CPU s", 0.005), "tracks": ("ratio", 1.2)}


def read_round(path):
    """Wall and CPU seconds of a program and CPU seconds of its reference, each the mean over a round's runs."""
    program, reference = json.loads(path.read_text())["results"]
    return program["mean"], program["user"] + program["system"], reference["user"] + reference["system"]


def medians(directory, name):
    """Wall and CPU seconds, the reference's CPU seconds, ratio of the two and peak memory in MB."""
    rounds = [read_round(path) for path in directory.glob(name + ".[0-9]*.json")]
    wall, cpu, reference = (statistics.median(column) for column in zip(*rounds))
    ratio = statistics.median(row[1] / row[2] for row in rounds)
    peak = int((directory / (name + ".memory")).read_text().split()[-1]) / 1e3
    return wall, cpu, reference, ratio, peak


def print_row(size_file):
    wall, cpu, cksum, ratio, peak = medians(size_file.parent, size_file.stem)
    megabytes = int(size_file.read_text()) / 1e6
    lines = size_file.with_suffix(".lines").read_text().strip()
    print(COLUMNS % (size_file.stem, lines, "%.1f" % megabytes, "%.3f" % wall, "%.3f" % cpu,
                     "%.0f" % (megabytes / wall), "%.2f" % (cpu * 1e3 / megabytes), "%.1f" % peak, "%.3f" % cksum,
                     "%.1f" % ratio))


def print_zeltlog_row(directory, name):
    """Whether the subcommand keeps its limits."""
    wall, cpu, _, ratio, peak = medians(directory, name)
    measured = {"CPU s": cpu, "ratio": ratio}
    quantity, limit = ZELTLOG_LIMITS[name]
    within = measured[quantity] <= limit
    print(ZELTLOG_COLUMNS % (name, "%.4f" % wall, "%.4f" % cpu, "%.1f" % peak, "%.2f" % ratio,
                             "%s %s %g" % (quantity, "within" if within else "beyond", limit)))
    return within


def main():
    results = pathlib.Path(sys.argv[1])
    print(COLUMNS % ("log", "lines", "MB", "wall s", "CPU s", "MB/s", "ms/MB", "peak MB", "cksum s", "ratio"))
    for size_file in sorted(results.glob("*.size"), key=lambda path: path.stat().st_mtime_ns):
        print_row(size_file)
    print("MB: 10^6 bytes. MB/s by wall time, ms/MB by CPU time. ratio: CPU time over that of cksum.")
    print()
    print(ZELTLOG_COLUMNS % ("zeltlog, 24 h", "wall s", "CPU s", "peak MB", "ratio", "limit"))
    within = [print_zeltlog_row(results / "zeltlog", name) for name in ZELTLOG_LIMITS]
    print("ratio: CPU time over that of zelt2cggtts.")
    sys.exit(not all(within))


if __name__ == "__main__":
    main()
