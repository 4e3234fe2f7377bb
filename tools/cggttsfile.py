"""CGGTTS files: header, columns, checksums and schedule as text.

The format is that of P. Defraigne and G. Petit, "CGGTTS-Version 2E: an extended standard for GNSS Time Transfer",
Metrologia 52 (2015) G1, and of version 2 before it.
"""

import collections
import datetime
import functools
import re

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


def is_date(text):
    """True of yyyy-mm-dd."""
    if not re.fullmatch(r"\d{4}-\d\d-\d\d", text or ""):
        return False
    try:
        return bool(datetime.date.fromisoformat(text))
    except ValueError:
        return False


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
