import shutil
import unittest

import common
from common import TOOLS, run

TOOL = TOOLS / "check-cggtts"
FIRST = 20  # number of the first data line

# First and last character of the columns the tests change, counted from 1.
PLACES = {"SAT": (1, 3), "CL": (5, 6), "MJD": (8, 12), "STTIME": (14, 19), "TRKL": (21, 24), "ELV": (26, 28),
          "AZTH": (30, 33), "REFSV": (35, 45), "REFSYS": (54, 64), "DSG": (73, 76), "FRC": (122, 124)}


def sum_line(line):
    return line[:125] + format(sum(line[:125].encode()) & 0xFF, "02X")


def change(line, **fields):
    """The line with other columns and the checksum that belongs to them."""
    for name, text in fields.items():
        first, last = PLACES[name]
        assert len(text) == last - first + 1, name
        line = line[:first - 1] + text + line[last:]
    return sum_line(line)


def change_line(number, **fields):
    def damage(lines):
        lines[number - 1] = change(lines[number - 1], **fields)
    return damage


def replace_line(number, line):
    def damage(lines):
        lines[number - 1] = line(lines[number - 1]) if callable(line) else line
    return damage


def swap(lines):
    lines[FIRST - 1:FIRST + 1] = reversed(lines[FIRST - 1:FIRST + 1])


def sum_header(lines):
    """Sums the blank before the checksum too: often done, not meant."""
    lines[15] = f"CKSUM = {(sum(''.join(lines[:15]).encode()) + sum(b'CKSUM = ')) & 0xFF:02x}"


# What is done to the lines of the GPS file (tracks at 00:10, satellites G05, G07, G08 ... first), and what is found.
DAMAGES = [
    (replace_line(1, "CGGTTS   GENERIC DATA FORMAT VERSION = 01"),
     ["1: the first line is not that of version 2E", "16: header checksum is "]),
    (lambda lines: lines.pop(3), ["4: CH line expected"]),
    (replace_line(11, lambda line: line + "!"), ["16: header checksum is "]),
    (sum_header, ["16: header checksum is "]),
    (replace_line(16, lambda line: line.upper()), ["16: CKSUM is not two lower-case hexadecimal digits"]),
    (lambda lines: lines.insert(16, ""), ["17: one empty line expected before the column titles"]),
    (replace_line(18, lambda line: line.replace("MSIO", "MSI0")), ["18: column titles differ"]),
    (replace_line(FIRST, lambda line: line[:60] + line[61:]), ["20: 126 columns instead of 127"]),
    (replace_line(FIRST, lambda line: sum_line(line[:28] + "1" + line[29:])), ["20: no blank between two columns"]),
    (replace_line(FIRST, lambda line: line[:63] + "0" + line[64:]), ["20: checksum is "]),
    (replace_line(FIRST, lambda line: line[:125] + line[125:].lower()),
     ["20: CK is ", "20: checksum is "]),
    (change_line(FIRST, DSG="****"), ["20: DSG is asterisks: its value did not fit"]),
    (change_line(FIRST, REFSV="-2147483648"), ["20: REFSV is -2147483648: no value"]),
    (change_line(FIRST, REFSYS="    48O9246"), ["20: REFSYS is '    48O9246'"]),
    (change_line(FIRST, REFSYS="4809246    "), ["20: REFSYS is '4809246    '"]),
    (change_line(FIRST, CL="FX"), ["20: CL is 'FX'"]),
    (change_line(FIRST, TRKL=" 770"), ["20: TRKL is 770, outside 780 to 780"]),
    (change_line(FIRST, ELV="901"), ["20: ELV is 901, outside 0 to 900"]),
    (change_line(FIRST, ELV=" -1"), ["20: ELV is -1, outside 0 to 900"]),
    (change_line(FIRST, AZTH="3601"), ["20: AZTH is 3601, outside 0 to 3600"]),
    (change_line(FIRST, FRC="L3E"), ["20: FRC L3E does not belong to G05"]),
    (change_line(FIRST, SAT="E05", FRC="L3E"),
     ["20: satellite E05 in a file of constellation G"]),
    (change_line(FIRST, STTIME="001060"), ["20: 59025 001060 is no time"]),
    (swap, ["21: G05 at 001000 is out of order"]),
    (lambda lines: lines.insert(FIRST, lines[FIRST - 1]), ["21: G05 has this track in line 20 already"]),
    (change_line(FIRST, STTIME="000900"), ["20: track at 000900 is not on the schedule of MJD 59025"]),
    (lambda lines: lines.append(""), [": 0 columns instead of 127"]),
]

# Starts on the schedule: 00:02 on MJD 50722, then every 16 minutes, 89 times; 4 minutes earlier on every next day.
STARTS = [
    ("50722", "000200", True), ("50722", "001800", True), ("50722", "233000", True), ("50722", "234600", False),
    ("50722", "235800", True), ("50722", "000000", False), ("50722", "000230", False),
    ("50723", "001400", True), ("50723", "232600", True), ("50723", "235400", True), ("50723", "000200", False),
    ("50721", "000600", True), ("50721", "000200", False),
    # 359 days later all starts recur: 359 x 4 minutes are one period.
    ("51081", "000200", True), ("51081", "234600", False), ("51081", "235800", True),
]


class CheckCggtts(common.ToolTest):
    def setUp(self):
        super().setUp()
        self.files = common.convert(self.folder / "good", "-labid", "EX", "-rxid", "01")
        self.lines = self.files["G"].read_text().splitlines()

    def write(self, lines, name="GZEX0159.025", end="\n"):
        path = self.folder / name
        path.write_text("\n".join(lines) + end)
        return path

    def findings(self, path, *options):
        result = run(TOOL, *options, path)
        *found, count = result.stdout.splitlines()
        self.assertEqual(count, f"{len(found)} findings in 1 files")
        self.assertEqual((result.returncode, result.stderr), (1 if found else 0, ""))
        return [line.removeprefix(str(path) + ":") for line in found]

    def assert_findings(self, found, expected, what):
        self.assertEqual(len(found), len(expected), (what, found))
        for line, text in zip(found, expected):
            self.assertIn(text, line, what)

    def test_files_of_the_program_are_clean(self):
        result = run(TOOL, *self.files.values())
        self.assertEqual((result.returncode, result.stdout), (0, "0 findings in 4 files\n"))
        header_only = self.write(self.lines[:FIRST - 1])
        self.assertEqual(self.findings(header_only), [])
        windows = self.folder / "GZEX0159.025-windows"
        windows.write_bytes(self.files["G"].read_bytes().replace(b"\n", b"\r\n"))
        self.assertEqual(self.findings(windows), [])

    def test_every_damage_is_found_and_nothing_else(self):
        for number, (damage, expected) in enumerate(DAMAGES):
            lines = list(self.lines)
            damage(lines)
            self.assertNotEqual(lines, self.lines)
            self.assert_findings(self.findings(self.write(lines)), expected, number)

    def test_end_and_name_of_the_file(self):
        last = len(self.lines)
        cases = [("GZEX0159.025", "", [f"{last}: the last line has no end"]),
                 ("GZEX0159.026", "\n", ["20: the first track is of MJD 59025, the file name says 59.026"]),
                 ("gps.txt", "\n", ["1: the file name is not of the form XFLLmodd.ddd"])]
        for name, end, expected in cases:
            self.assert_findings(self.findings(self.write(self.lines, name, end)), expected, name)

    def test_schedule(self):
        for mjd, start, scheduled in STARTS:
            line = change(self.lines[FIRST - 1], MJD=mjd, STTIME=start)
            found = self.findings(self.write(self.lines[:FIRST - 1] + [line], f"GZEX01{mjd[:2]}.{mjd[2:]}"))
            expected = [] if scheduled else [f"20: track at {start} is not on the schedule of MJD {mjd}"]
            self.assert_findings(found, expected, (mjd, start))

    def test_contiguous_tracks(self):
        files = common.convert(self.folder / "contiguous", "-C", "-labid", "EX", "-rxid", "01")
        for path in files.values():
            self.assertEqual(self.findings(path, "--contiguous"), [])
        self.assertTrue(self.findings(files["G"]))

        first = self.lines[FIRST - 1]
        for start, continuous in (("002300", True), ("004900", True), ("002330", False), ("002600", False)):
            found = self.findings(self.write(self.lines[:FIRST] + [change(first, STTIME=start)]), "--contiguous")
            expected = f"21: track at {start} is not a multiple of 13 minutes after the first"
            self.assert_findings(found, [] if continuous else [expected], start)

    def test_unusable_files(self):
        (self.folder / "empty").touch()
        shutil.copy(common.EXAMPLE_LOG, self.folder / "log")
        for name in ("missing", "empty", "log", "."):
            result = run(TOOL, self.folder / name, self.files["G"])
            self.assertEqual((result.returncode, result.stdout), (2, "0 findings in 1 files\n"), name)
            self.assertIn(f"check-cggtts: {self.folder / name}: ", result.stderr)


if __name__ == "__main__":
    unittest.main()
