"""CGGTTS files: header, columns, checksums and schedule as text, and their tracks as arrays.

The format is that of P. Defraigne and G. Petit, "CGGTTS-Version 2E: an extended standard for GNSS Time Transfer",
Metrologia 52 (2015) G1, and of version 2 before it. Only what gives arrays needs numpy.
"""

import collections
import datetime
import functools
import math
import re
import signal
import sys

try:
    import numpy as np
except ImportError:  # those who read no arrays do without
    np = None

# Columns of version 2E and their widths; one blank lies between two columns. MSIO to ISG are there when the ionosphere
# was measured.
COLUMNS = {"SAT": 3, "CL": 2, "MJD": 5, "STTIME": 6, "TRKL": 4, "ELV": 3, "AZTH": 4, "REFSV": 11, "SRSV": 6,
           "REFSYS": 11, "SRSYS": 6, "DSG": 4, "IOE": 3, "MDTR": 4, "SMDT": 4, "MDIO": 4, "SMDI": 4, "MSIO": 4,
           "SMSI": 4, "ISG": 3, "FR": 2, "HC": 2, "FRC": 3, "CK": 2}
IONOSPHERE = ("MSIO", "SMSI", "ISG")
LINE_LENGTH = sum(COLUMNS.values()) + len(COLUMNS) - 1
EARLIER_TITLES = {"PRN": "SAT", "REFGPS": "REFSYS", "REFGLO": "REFSYS", "SRGPS": "SRSYS", "SRGLO": "SRSYS"}

INTEGER = re.compile(r" *-?\d+")  # a number in its column
NO_VALUE = -2**31  # printed for a value that is not a number, where it fits

HEADER_KEYWORDS = ("REV DATE", "RCVR", "CH", "IMS", "LAB", "X", "Y", "Z", "FRAME", "COMMENTS", "INT DLY", "CAB DLY",
                   "REF DLY", "REF", "CKSUM")
# Delays that are known as a sum only: SYS DLY holds the cable's too, TOT DLY all of them.
SUMS_OF_DELAYS = {"SYS DLY": ("INT DLY", "CAB DLY"), "TOT DLY": ("INT DLY", "CAB DLY", "REF DLY")}

# Constellation, kind of receiver, laboratory and receiver, MJD; a suffix may follow.
FILE_NAME = re.compile(r"(?P<constellation>[GRECJ])[SMZ](?P<station>.{4})(?P<day>\d\d\.\d{3})")
CONSTELLATIONS = {"G": "GPS", "R": "GLONASS", "E": "Galileo", "C": "BeiDou", "J": "QZSS", "S": "SBAS"}

SECONDS_PER_DAY = 86400
TRACK_LENGTH = 780  # s

# The BIPM schedule: 89 tracks, 16 minutes apart, in 23 h 56 min, the first at 00:02 of MJD 50722.
ORIGIN = 50722 * SECONDS_PER_DAY + 120
PERIOD = 86160
SPACING = 960
TRACKS_PER_PERIOD = 89

Fault = collections.namedtuple("Fault", "line kind detail")  # of a file: line from 1, what, and what it is here


class Unusable(Exception):
    """The file cannot be read, or is no CGGTTS file."""


class CggttsFile:
    """The lines of a file without their ends: header (up to CKSUM and empty lines), titles, data.

    columns: names of the columns in their order, those of earlier versions by their name in 2E.
    body: the text from the titles on, as it is.
    """

    def __init__(self, path):
        self.path = str(path)
        self.name = re.search(r"[^/]*$", self.path).group()
        try:
            with open(path, "rb") as file:
                begin = file.read(6)
                if begin != b"CGGTTS":
                    raise Unusable("no CGGTTS file")
                self.text = (begin + file.read()).decode("latin-1")  # a byte is a character: checksums are over bytes
        except OSError as error:
            raise Unusable(error.strerror) from error
        lines = self.text.split("\n")
        self.ends_with_line = lines[-1] == ""
        lines = lines[:-1] if self.ends_with_line else lines
        titles = next((i for i, line in enumerate(lines) if re.match(r"(SAT|PRN) +CL ", line)), None)
        if titles is None:
            raise Unusable("no CGGTTS file: no line of column titles")
        self.body = self.text[sum(len(line) + 1 for line in lines[:titles]):]
        lines = [line.removesuffix("\r") for line in lines]
        data = titles + 1 + ("hhmmss" in "".join(lines[titles + 1:titles + 2]))
        self.header, self.titles, self.data = lines[:titles], lines[titles:data], lines[data:]
        self.columns = [EARLIER_TITLES.get(title, title) for title in self.titles[0].split()]
        self.first_data_line = data + 1  # counted from 1

    def header_value(self, keyword):
        """The text after "KEYWORD =", None without such a line."""
        values = (re.fullmatch(re.escape(keyword) + r" *= *(.*?) *", line) for line in self.header)
        value = next((value.group(1) for value in values if value), None)
        return value and value.encode("latin-1").decode("utf-8", "replace")

    def station(self):
        """Laboratory and receiver in the name of the file, else LAB, else "?"."""
        name = FILE_NAME.match(self.name)
        return name["station"] if name else self.header_value("LAB") or "?"


def checksum(text):
    return sum(text.encode("latin-1")) % 256


def header_keywords(file):
    """Those that the header must have, in their order."""
    for keyword, parts in SUMS_OF_DELAYS.items():
        if file.header_value(keyword) is not None:
            return [keyword if name == parts[0] else name for name in HEADER_KEYWORDS if name not in parts[1:]]
    return HEADER_KEYWORDS


def check_header(file):
    """Faults of the header: its lines and their order."""
    if not re.fullmatch(r"CGGTTS +GENERIC DATA FORMAT VERSION = (2E|0?2)", file.header[0].rstrip()):
        yield Fault(1, "the first line is not that of version 2E or 2", file.header[0][:60])
    at = 1
    for keyword in header_keywords(file):
        found = next((i for i in range(at, len(file.header)) if re.match(keyword + " *=", file.header[i])), None)
        if found is None:
            yield Fault(at + 1, f"{keyword} line expected", "")
            continue
        for i in range(at, found):
            yield Fault(i + 1, "a line that is none of the header's", file.header[i][:60])
        at = found + 1


def header_checksums(file):
    """Number of the line of CKSUM, its value (None: not two hexadecimal digits), the sums without and with the blank
    before the value; None without such a line.

    The format's text sums the blank; many programs, zelt2cggtts among them, do not.
    """
    for i, line in enumerate(file.header):
        match = re.match("(CKSUM *=)( *)(.*)", line)
        if match:
            before = "".join(file.header[:i]) + match.group(1)
            value = int(match.group(3), 16) if re.fullmatch("[0-9A-Fa-f]{2} *", match.group(3)) else None
            return i + 1, value, checksum(before), checksum(before + match.group(2))
    return None


def header_checksum_habit(file):
    """"without" or "with" the blank before it, None where CKSUM is missing or wrong."""
    found = header_checksums(file)
    if found is None:
        return None
    _, value, without, summed = found
    return "without" if value == without else "with" if value == summed else None


def is_scheduled(start):
    """Whether a track of the BIPM schedule starts then (s since MJD 0; a number or an array)."""
    phase = (start - ORIGIN) % PERIOD
    return (phase % SPACING == 0) & (phase < TRACKS_PER_PERIOD * SPACING)


def schedule_number(start):
    """The number of a track of the schedule, counted on over the pause of 28 minutes between two periods."""
    return (start - ORIGIN) // PERIOD * TRACKS_PER_PERIOD + (start - ORIGIN) % PERIOD // SPACING


def tracks_before(time):
    """How many tracks of the schedule start before a time since its origin; negative for times before that."""
    periods, rest = divmod(time - ORIGIN, PERIOD)
    return periods * TRACKS_PER_PERIOD + min(TRACKS_PER_PERIOD, -(-rest // SPACING))


def is_contiguous(starts):
    """Whether tracks follow every 13 minutes instead of the schedule; starts: s since MJD 0, every track once."""
    phases = collections.Counter(int(start) % TRACK_LENGTH for start in starts)
    return bool(phases) and max(phases.values()) > max(1, sum(bool(is_scheduled(start)) for start in starts))


def split_line(line, columns):
    """The columns of a data line by name, with their blanks, by their widths in 2E; None when it is not divided so."""
    fields = {}
    start = 0
    for name in columns:
        if start > 0 and line[start - 1:start] != " ":
            return None
        fields[name] = line[start:start + COLUMNS[name]]
        start += COLUMNS[name] + 1
    return fields if start == len(line) + 1 else None


@functools.lru_cache(maxsize=4096)
def start_of_track(mjd, sttime):
    """Start in seconds since MJD 0 of what the columns say, None when they are no such."""
    match = re.fullmatch(r"(\d{5})([01]\d|2[0-3])([0-5]\d)([0-5]\d)", mjd + sttime)
    if match is None:
        return None
    mjd, hours, minutes, seconds = map(int, match.groups())
    return mjd * SECONDS_PER_DAY + hours * 3600 + minutes * 60 + seconds


def date_of(mjd):
    return datetime.date(1858, 11, 17) + datetime.timedelta(days=int(mjd))


def summarise(faults):
    """First line, number of cases, kind and detail of the first case, of each kind of fault."""
    kinds = {}
    for fault in sorted(faults):
        kinds.setdefault(fault.kind, []).append(fault)
    return sorted((cases[0].line, len(cases), kind, cases[0].detail) for kind, cases in kinds.items())


def report(path, faults):
    """The faults of a file as text, a line for each kind."""
    for line, count, kind, detail in summarise(faults):
        many = f"{count:,} lines: ".replace(",", " ") if count > 1 else ""
        yield f"{path}:{line}: {many}{kind}{f' ({detail})' if detail else ''}"


# Reading into arrays. ---------------------------------------------------------------------------------------------

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


# Choosing tracks. -------------------------------------------------------------------------------------------------

def parse_time(text):
    """An MJD (59025 or 59025.5) or a date (2020-06-25 or 2020-06-25T12:00, UTC) in seconds since MJD 0."""
    if re.fullmatch(r"\d{5}(\.\d+)?", text):
        return float(text) * SECONDS_PER_DAY
    moment = datetime.datetime.fromisoformat(text)  # ValueError is what argparse expects
    return (moment - datetime.datetime(1858, 11, 17)).total_seconds()


def add_filters(parser):
    group = parser.add_argument_group("which lines are used")
    group.add_argument("--constellation", metavar="LETTERS", help="G, R, E, C or several of them")
    group.add_argument("--satellite", metavar="LIST", help="only these, for instance G05,E11")
    group.add_argument("--signal", metavar="LIST", help="only lines with this FRC, for instance L3P,L3E")
    group.add_argument("--elevation", metavar="DEGREES", type=float, help="at least that high")
    group.add_argument("--dsg", metavar="NS", type=float, help="DSG at most that")
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


def run(main):
    """Runs a tool; it ends without a word when nobody reads on, as in a pipe to head."""
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    sys.exit(main())
