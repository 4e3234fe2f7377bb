"""The tracks of CGGTTS files as arrays, and which of them are used."""

import argparse
import datetime
import math
import re
import sys

import numpy as np

from cggttsfile import (CggttsFile, Fault, NO_VALUE, SECONDS_PER_DAY, Unusable, check_header, checksum,
                        header_checksum_habit, report, start_of_track)

# A track: satellite, signal (FRC), start in s since MJD 0, angles in degrees, values in ns (nan: not given), and where
# it was read: index of the file and line.
TRACK = [("satellite", "U3"), ("signal", "U3"), ("start", "i8"), ("elevation", "f8"), ("refsys", "f8"),
         ("dsg", "f8"), ("azimuth", "f8"), ("msio", "f8"), ("file", "i4"), ("line", "i4")]
NEEDED = ("SAT", "MJD", "STTIME", "ELV", "REFSYS", "DSG", "CK")
UNKNOWN = {"ELV": 999, "REFSYS": 99999999999, "DSG": 9999, "AZTH": 9999, "MSIO": 9999}  # printed for no value
SATELLITE = re.compile(r"[GRECJS]\d\d")


def line_reader(columns):
    """A function that gives a data line as the first values of TRACK, or what is wrong with it and the detail.

    Columns are told apart by blanks, since programs differ in their widths; a comment may follow the checksum.
    """
    place = {name: columns.index(name) for name in columns}
    sat, mjd, sttime, ck, count = *(place[name] for name in ("SAT", "MJD", "STTIME", "CK")), len(columns)
    frc = place.get("FRC")
    values = [(place.get(name), unknown) for name, unknown in UNKNOWN.items()]

    def tenths(words, at, unknown):
        try:
            value = int(words[at])
        except (TypeError, ValueError):  # no such column; asterisks
            return math.nan
        return math.nan if value in (unknown, NO_VALUE) else value / 10

    def read(line):
        words = line.split(None, count)
        if len(words) < count:
            return "a line that is cut", f"{len(words)} of {count} columns"
        end = len(line) - (len(words[count]) if len(words) > count else 0)
        summed = line[:line.rindex(words[ck], 0, end)]
        if f"{checksum(summed):02X}" != words[ck] and f"{checksum(summed.rstrip()):02X}" != words[ck]:
            return "a line with a wrong checksum", ""
        satellite = words[sat]
        if satellite.isdecimal() and 1 <= int(satellite) <= 32:
            satellite = f"G{int(satellite):02d}"  # of the days when there was GPS alone
        start = start_of_track(words[mjd], words[sttime])
        if start is None or not SATELLITE.fullmatch(satellite):
            return "a line without satellite or time", line[:20]
        numbers = [tenths(words, *value) for value in values]
        if math.isnan(numbers[0] + numbers[1] + numbers[2]):
            missing = next(name for name, number in zip(UNKNOWN, numbers) if math.isnan(number))
            return f"a line whose {missing} is {words[place[missing]]}", satellite
        return satellite, words[frc] if frc else "", start, *numbers

    return read


def read_tracks(file, number=0):
    """The tracks of a file as an array of TRACK, and the faults of header and lines; number: index of the file."""
    for name in NEEDED:
        if name not in file.columns:
            raise Unusable(f"no column {name} in the titles")
    faults = list(check_header(file))
    if header_checksum_habit(file) is None:
        faults.append(Fault(len(file.header), "the checksum of the header is missing or wrong", ""))
    rows = []
    read = line_reader(file.columns)
    for line_number, line in enumerate(file.data, start=file.first_data_line):
        row = read(line)
        if len(row) > 2:
            rows.append((*row, number, line_number))
        elif line.strip():
            faults.append(Fault(line_number, row[0] + " is left out", row[1]))
    return np.array(rows, dtype=TRACK), faults


def track_keys(tracks, labels):
    """A number for each satellite, signal and start; labels: all that occur, sorted."""
    names = np.char.add(tracks["satellite"], tracks["signal"])
    return tracks["start"] * len(labels) + np.searchsorted(labels, names)


def track_labels(*stations):
    return np.unique(np.concatenate([np.char.add(tracks["satellite"], tracks["signal"]) for tracks in stations]))


def read_station(paths, program):
    """The tracks of several files by start, satellite and signal, the files, and how many findings were reported.

    What cannot be used is named on standard error and left out, as are lines that repeat a track.
    """
    files, parts, found = [], [np.array([], dtype=TRACK)], []
    for path in paths:
        try:
            file = CggttsFile(path)
            tracks, faults = read_tracks(file, len(files))
        except Unusable as error:
            found.append(f"{program}: {path}: {error}")
            continue
        files.append(file)
        parts.append(tracks)
        found += report(file.path, faults)
    tracks = np.concatenate(parts)
    _, first = np.unique(track_keys(tracks, track_labels(tracks)), return_index=True)
    repeated = np.delete(tracks, first)
    for number in np.unique(repeated["file"]):
        faults = [Fault(int(row["line"]), "a track that is there already is left out", str(row["satellite"]))
                  for row in repeated[repeated["file"] == number]]
        found += report(files[number].path, faults)
    for text in found:
        print(text, file=sys.stderr)
    return tracks[first][np.lexsort((tracks[first]["signal"], tracks[first]["satellite"], tracks[first]["start"]))], \
        files, len(found)


def parse_amount(text):
    """A number from 0 on, for argparse. float() alone takes "nan" and "inf", which no value can be compared with."""
    try:
        number = float(text)
    except ValueError:
        number = math.nan
    if not 0 <= number < math.inf:
        raise argparse.ArgumentTypeError(f"{text}: must be a number from 0 on")
    return number


def parse_time(text):
    """An MJD (59025 or 59025.5) or a date (2020-06-25 or 2020-06-25T12:00, UTC) in seconds since MJD 0."""
    if re.fullmatch(r"\d{5}(\.\d+)?", text):
        return float(text) * SECONDS_PER_DAY
    moment = datetime.datetime.fromisoformat(text)  # ValueError is what argparse expects
    return (moment - datetime.datetime(1858, 11, 17)).total_seconds()


def add_filters(parser):
    group = parser.add_argument_group("which lines are used")
    group.add_argument("--constellation", metavar="LETTERS", help="G, R, E, C, J (QZSS), S (SBAS) or several of them")
    group.add_argument("--satellite", metavar="LIST", help="only these, for instance G05,E11")
    group.add_argument("--signal", metavar="LIST", help="only lines with this FRC, for instance L3P,L3E")
    group.add_argument("--elevation", metavar="DEGREES", type=parse_amount, help="at least that high")
    group.add_argument("--dsg", metavar="NS", type=parse_amount, help="DSG at most that")
    group.add_argument("--from", metavar="TIME", type=parse_time, dest="begin",
                       help="tracks that start then or later: MJD or date (59025.5 or 2020-06-25T12:00)")
    group.add_argument("--to", metavar="TIME", type=parse_time, dest="end", help="tracks that start before")


def select(tracks, arguments):
    """The tracks that the options of add_filters let through."""
    use = np.ones(len(tracks), bool)
    for given, test in ((arguments.constellation, lambda v: np.isin(tracks["satellite"].astype("U1"), list(v))),
                        (arguments.satellite, lambda v: np.isin(tracks["satellite"], v.split(","))),
                        (arguments.signal, lambda v: np.isin(tracks["signal"], v.split(","))),
                        (arguments.elevation, lambda v: tracks["elevation"] >= v),
                        (arguments.dsg, lambda v: tracks["dsg"] <= v),
                        (arguments.begin, lambda v: tracks["start"] >= v),
                        (arguments.end, lambda v: tracks["start"] < v)):
        if given is not None:
            use &= test(given)
    return tracks[use]
