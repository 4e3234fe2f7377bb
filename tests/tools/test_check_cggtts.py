import json
import shutil
import unittest

import common
from common import EXPECTED, call, sum_line

TOOL = common.load("check-cggtts")
FIRST = 20  # number of the first data line

# First and last character of the columns the tests change, counted from 1.
PLACES = {"SAT": (1, 3), "CL": (5, 6), "MJD": (8, 12), "STTIME": (14, 19), "TRKL": (21, 24), "ELV": (26, 28),
          "AZTH": (30, 33), "REFSV": (35, 45), "REFSYS": (54, 64), "DSG": (73, 76), "FRC": (122, 124)}


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


def change_all(lines):
    lines[FIRST - 1:] = [change(line, DSG="****") for line in lines[FIRST - 1:]]


# What is done to the lines of the GPS file (tracks at 00:10, satellites G05, G07, G08 ... first), and what is found.
DAMAGES = [
    (replace_line(1, "CGGTTS   GENERIC DATA FORMAT VERSION = 01"),
     ["1: the first line is not that of version 2E", "16: header checksum is "]),
    (lambda lines: lines.pop(3), ["4: CH line expected", "15: header checksum is "]),
    (lambda lines: lines.insert(3, "NOISE = 3"), ["4: a line that is none of the header's", "17: header checksum is "]),
    (replace_line(11, lambda line: line + "!"), ["16: header checksum is "]),
    (replace_line(16, "CKSUM = G1"), ["16: CKSUM is not two hexadecimal digits"]),
    (lambda lines: lines.insert(16, ""), ["17: one empty line expected before the column titles"]),
    (replace_line(18, lambda line: line.replace("MSIO", "MSI0")), ["18: column titles differ"]),
    (replace_line(FIRST, lambda line: line[:60] + line[61:]), ["20: not 127 columns (126)"]),
    (replace_line(FIRST, lambda line: sum_line(line[:28] + "1" + line[29:])), ["20: no blank between two columns"]),
    (replace_line(FIRST, lambda line: line[:63] + "0" + line[64:]), ["20: wrong checksum"]),
    (replace_line(FIRST, lambda line: line[:125] + line[125:].lower()),
     ["20: CK has another form", "20: wrong checksum"]),
    (change_line(FIRST, DSG="****"), ["20: DSG is asterisks: its value did not fit"]),
    (change_line(FIRST, REFSV="-2147483648"), ["20: REFSV is -2147483648: no value"]),
    (change_line(FIRST, REFSYS="    48O9246"), ["20: REFSYS has another form ('    48O9246')"]),
    (change_line(FIRST, REFSYS="4809246    "), ["20: REFSYS has another form ('4809246    ')"]),
    (change_line(FIRST, CL="FX"), ["20: CL has another form ('FX')"]),
    (change_line(FIRST, TRKL=" 770"), ["20: TRKL is outside 780 to 780 (770)"]),
    (change_line(FIRST, ELV="901"), ["20: ELV is outside 0 to 900 (901)"]),
    (change_line(FIRST, ELV=" -1"), ["20: ELV is outside 0 to 900 (-1)"]),
    (change_line(FIRST, AZTH="3601"), ["20: AZTH is outside 0 to 3600 (3601)"]),
    (change_line(FIRST, FRC="L3E"), ["20: FRC does not belong to the satellite (L3E, G05)"]),
    (change_line(FIRST, SAT="E05", FRC="L3E"), ["20: another constellation than that of the file, G (E05)"]),
    (change_line(FIRST, STTIME="001060"), ["20: MJD and STTIME are no time (59025 001060)"]),
    (swap, ["21: out of order (G05 at 001000)"]),
    (lambda lines: lines.insert(FIRST, lines[FIRST - 1]), ["21: a track that is there already (G05, line 20)"]),
    (change_line(FIRST, STTIME="000900"), ["20: not on the schedule (000900 of MJD 59025)"]),
    (lambda lines: lines.append(""), [": not 127 columns (0)"]),
    (change_all, ["20: 85 lines: DSG is asterisks: its value did not fit (G05)"]),
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
        self.lines = EXPECTED["G"].read_text().splitlines()

    def findings(self, path, *options):
        result = call(TOOL, "--quiet", *options, path)
        found = result.stdout.splitlines()
        self.assertEqual((result.status, result.stderr), (1 if found else 0, ""))
        return [line.removeprefix(str(path) + ":") for line in found]

    def assert_findings(self, found, expected, what):
        self.assertEqual(len(found), len(expected), (what, found))
        for line, text in zip(found, expected):
            self.assertIn(text, line, what)

    def test_coverage_of_clean_files(self):
        result = call(TOOL, *EXPECTED.values())
        self.assertEqual((result.status, result.stderr), (0, ""))
        # Counted by cut, sort and uniq.
        self.assertIn("GZEX0159.025: 85 lines in 10 of 89 tracks of the schedule, 15 satellites, hours without lines: "
                      "3-23, header checksum without the blank\n", result.stdout)
        self.assertTrue(result.stdout.endswith("\n0 findings in 4 files\n"))
        header_only = self.write("GZEX0159.025", [])
        self.assertEqual(self.findings(header_only), [])
        windows = self.folder / "GZEX0159.025-windows"
        windows.write_bytes(EXPECTED["G"].read_bytes().replace(b"\n", b"\r\n"))
        self.assertEqual(self.findings(windows), [])

    def test_both_checksum_habits(self):
        for text, habit in (("CKSUM = {:02x}", "with"), ("CKSUM = {:02X}", "with"), ("CKSUM ={:02x}", "without")):
            summed = "".join(self.lines[:15]) + text[:7 + (habit == "with")]
            self.lines[15] = text.format(sum(summed.encode()) % 256)
            path = self.write("GZEX0159.025", self.lines, [])
            result = call(TOOL, "--json", path)
            self.assertEqual((json.loads(result.stdout)["files"][0]["header_checksum"], result.status), (habit, 0))

    def test_files_without_ionosphere(self):
        def shorten(line):  # MSIO, SMSI and ISG
            return line[:100] + line[114:125]
        lines = [line[:125] for line in self.lines[FIRST - 1:]]
        short = [shorten(line) + format(sum(shorten(line).encode()) % 256, "02X") for line in lines]
        header = [*self.lines[:17], self.lines[17].replace("MSIO SMSI ISG ", ""), self.lines[18]]
        self.assertEqual(self.findings(self.write("GZEX0159.025", short, header)), [])

    def test_every_damage_is_found_and_nothing_else(self):
        for number, (damage, expected) in enumerate(DAMAGES):
            lines = list(self.lines)
            damage(lines)
            self.assertNotEqual(lines, self.lines)
            self.assert_findings(self.findings(self.write("GZEX0159.025", lines, [])), expected, number)

    def test_json(self):
        change_all(self.lines)
        result = call(TOOL, "--json", self.write("GZEX0159.025", self.lines, []), self.folder / "missing")
        found = json.loads(result.stdout)
        self.assertEqual(found["findings"], 85)
        self.assertEqual(found["files"][0]["findings"], [
            {"line": 20, "lines": 85, "text": "DSG is asterisks: its value did not fit", "detail": "G05"}])
        self.assertEqual(found["files"][0]["hours_without_lines"], list(range(3, 24)))
        self.assertEqual((len(found["unusable"]), result.status), (1, 2))

    def test_end_and_name_of_the_file(self):
        last = len(self.lines)
        cases = [("GZEX0159.025", "", [f"{last}: the last line has no end"]),
                 ("GZEX0159.026", "\n", ["20: the first track is of another day than that of the file name (MJD "]),
                 ("gps.txt", "\n", ["1: the file name is not of the form XFLLmodd.ddd"])]
        for name, end, expected in cases:
            self.assert_findings(self.findings(self.write(name, self.lines, [], end)), expected, name)

    def test_schedule(self):
        for mjd, start, scheduled in STARTS:
            line = change(self.lines[FIRST - 1], MJD=mjd, STTIME=start)
            found = self.findings(self.write(f"GZEX01{mjd[:2]}.{mjd[2:]}", [line]))
            expected = [] if scheduled else [f"20: not on the schedule ({start} of MJD {mjd})"]
            self.assert_findings(found, expected, (mjd, start))

    def test_contiguous_tracks(self):
        files = common.convert(self.folder / "contiguous", "-C", "-labid", "EX", "-rxid", "01")
        result = call(TOOL, *files.values())
        self.assertEqual((result.status, result.stdout.count(" tracks every 13 minutes")), (0, 4), result.stdout)
        lines = files["G"].read_text().splitlines()
        late = change(lines[-1], STTIME="024930")
        found = self.findings(self.write("GZEX0159.025", [*lines[:-1], late], []))
        self.assert_findings(found, ["not a multiple of 13 minutes after the first track (024930)"], found)

    def test_unusable_files(self):
        (self.folder / "empty").touch()
        (self.folder / "titles").write_text("CGGTTS     GENERIC DATA FORMAT VERSION = 2E\n")
        shutil.copy(common.EXAMPLE_LOG, self.folder / "log")
        for name in ("missing", "empty", "titles", "log", "."):
            result = call(TOOL, self.folder / name, EXPECTED["G"])
            self.assertEqual((result.status, result.stdout.splitlines()[1:]), (2, ["0 findings in 1 files"]), name)
            self.assertIn(f"check-cggtts: {self.folder / name}: ", result.stderr)


if __name__ == "__main__":
    unittest.main()
