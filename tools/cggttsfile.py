"""The layout of CGGTTS 2E files with measured ionosphere: columns, header lines, file names, checksums, tracks."""

import re

# Columns and their widths; one blank lies between two columns.
COLUMNS = {"SAT": 3, "CL": 2, "MJD": 5, "STTIME": 6, "TRKL": 4, "ELV": 3, "AZTH": 4, "REFSV": 11, "SRSV": 6,
           "REFSYS": 11, "SRSYS": 6, "DSG": 4, "IOE": 3, "MDTR": 4, "SMDT": 4, "MDIO": 4, "SMDI": 4, "MSIO": 4,
           "SMSI": 4, "ISG": 3, "FR": 2, "HC": 2, "FRC": 3, "CK": 2}
LINE_LENGTH = sum(COLUMNS.values()) + len(COLUMNS) - 1

INTEGER = re.compile(r" *-?\d+")  # a number in its column
NO_VALUE = -2**31  # printed for a value that is not a number, where it fits

HEADER_KEYWORDS = ("REV DATE", "RCVR", "CH", "IMS", "LAB", "X", "Y", "Z", "FRAME", "COMMENTS", "INT DLY", "CAB DLY",
                   "REF DLY", "REF", "CKSUM")

# Constellation, frequencies, laboratory and receiver, MJD; a suffix may follow.
FILE_NAME = re.compile(r"(?P<constellation>[GREC])[SMZ](?P<station>.{4})(?P<day>\d\d\.\d{3})")
CONSTELLATIONS = {"G": "GPS", "R": "GLONASS", "E": "Galileo", "C": "BeiDou"}

SECONDS_PER_DAY = 86400
TRACK_LENGTH = 780  # s


class Unusable(Exception):
    """The file cannot be read, or is no CGGTTS file."""


class CggttsFile:
    """The lines of a file without their ends: header (up to CKSUM and the empty line), titles (two), data."""

    def __init__(self, path):
        try:
            with open(path, "rb") as file:
                text = file.read().decode("latin-1")  # a byte is a character: checksums are over bytes
        except OSError as error:
            raise Unusable(error.strerror) from error
        self.path = str(path)
        self.name = re.search(r"[^/]*$", self.path).group()
        lines = text.split("\n")
        self.ends_with_line = lines[-1] == ""
        lines = [line.removesuffix("\r") for line in (lines[:-1] if self.ends_with_line else lines)]
        titles = next((i for i, line in enumerate(lines) if line.startswith("SAT CL")), None)
        if titles is None or not text.startswith("CGGTTS"):
            raise Unusable("no CGGTTS file")
        self.header = lines[:titles]
        self.titles = lines[titles:titles + 2]
        self.data = lines[titles + 2:]
        self.first_data_line = titles + 3  # counted from 1

    def header_value(self, keyword):
        """The text after "KEYWORD =", None without such a line."""
        start = keyword + " ="
        value = next((line[len(start):].strip() for line in self.header if line.startswith(start)), None)
        return value and value.encode("latin-1").decode("utf-8", "replace")


def checksum(text):
    return sum(map(ord, text)) % 256


def split_line(line):
    """The columns of a data line by name, with their blanks; None when the line is not divided like that."""
    if len(line) != LINE_LENGTH:
        return None
    fields = {}
    start = 0
    for name, width in COLUMNS.items():
        if start > 0 and line[start - 1] != " ":
            return None
        fields[name] = line[start:start + width]
        start += width + 1
    return fields


def start_of_track(fields):
    """Start in seconds since MJD 0, None when MJD or STTIME are no such."""
    match = re.fullmatch(r"(\d{5})([01]\d|2[0-3])([0-5]\d)([0-5]\d)", fields["MJD"] + fields["STTIME"])
    if match is None:
        return None
    mjd, hours, minutes, seconds = map(int, match.groups())
    return mjd * SECONDS_PER_DAY + hours * 3600 + minutes * 60 + seconds
