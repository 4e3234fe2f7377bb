import json
import shutil
import unittest

import common
from common import EXPECTED, HEADER_LINES, call, data_line, sum_line

TOOL = common.load("check-cggtts")
NAME = "GZEX0159.025"
TEXT = EXPECTED["G"].read_text()
A, B = TEXT.splitlines(True)[HEADER_LINES:HEADER_LINES + 2]  # G05 and G07, both at 00:10

# What is put in place of what in the GPS file, and what is found. Data lines get the checksum that belongs to them.
DAMAGES = [
    ("VERSION = 2E", "VERSION = 01", ["1: the first line is not that of version 2E", "16: header checksum is "]),
    ("CH = 80\n", "", ["4: CH line expected", "15: header checksum is "]),
    ("CH = 80\n", "CH = 80\nNOISE = 3\n", ["5: a line that is none of the header's", "17: header checksum is "]),
    ("ESBC", "ESBD", ["16: header checksum is "]),
    ("CKSUM = ", "CKSUM = G", ["16: CKSUM is not two hexadecimal digits"]),
    ("\n\nSAT", "\n\n\nSAT", ["17: one empty line expected before the column titles"]),
    ("MSIO", "MSI0", ["18: column titles differ"]),
    (A, A[:60] + A[61:], ["20: not 127 columns (126)"]),
    (A, A[:28] + "1" + A[29:], ["20: no blank between two columns"]),
    ("  12  13   99", "****  13   99", ["20: DSG is asterisks: its value did not fit"]),
    ("    4962432", "-2147483648", ["20: REFSV is -2147483648: no value"]),
    ("4809246", "48O9246", ["20: REFSYS has another form ('    48O9246')"]),
    ("    4809246", "4809246    ", ["20: REFSYS has another form ('4809246    ')"]),
    ("G05 FF", "G05 FX", ["20: CL has another form ('FX')"]),
    (" 780 557", " 770 557", ["20: TRKL is outside 780 to 780 (770)"]),
    ("557 2157", "901 2157", ["20: ELV is outside 0 to 900 (901)"]),
    ("557 2157", " -1 2157", ["20: ELV is outside 0 to 900 (-1)"]),
    ("557 2157", "557 3601", ["20: AZTH is outside 0 to 3600 (3601)"]),
    ("L3P", "L3E", ["20: FRC does not belong to the satellite (L3E, G05)"]),
    (A, A.replace("G05", "E05").replace("L3P", "L3E"), ["20: another constellation than that of the file, G (E05)"]),
    ("59025 001000", "59025 001060", ["20: MJD and STTIME are no time (59025 001060)"]),
    (A + B, B + A, ["21: out of order (G05 at 001000)"]),
    (A, A + A, ["21: a track that is there already (G05, line 20)"]),
    ("59025 001000", "59025 000900", ["20: not on the schedule (000900 of MJD 59025)"]),
    ("59025 001000", "59024 234600", ["20: not on the schedule (234600 of MJD 59024)",
                                      "20: the first track is of another day than that of the file name (MJD 59024)"]),
]
# Those that keep their checksums.
WRONG_SUMS = [
    (A, A[:63] + "0" + A[64:], ["20: wrong checksum"]),
    (A, A[:125] + A[125:].lower(), ["20: CK has another form", "20: wrong checksum"]),
    (TEXT[-20:], TEXT[-20:] + "\n", [": not 127 columns (0)"]),
    (TEXT[-20:], TEXT[-20:-1], [": the last line has no end"]),
]

# Starts on the schedule: 00:02 on MJD 50722, then every 16 minutes, 89 times; 4 minutes earlier on every next day.
STARTS = [
    (50722, "0002", True), (50722, "0018", True), (50722, "2330", True), (50722, "2346", False), (50722, "2358", True),
    (50722, "0000", False), (50723, "0014", True), (50723, "2326", True), (50723, "2354", True), (50723, "0002", False),
    (50721, "0006", True), (50721, "0002", False),
    # 359 days later all starts recur: 359 x 4 minutes are one period.
    (51081, "0002", True), (51081, "2346", False), (51081, "2358", True),
]


class CheckCggtts(common.ToolTest):
    def findings(self, text, name=NAME):
        path = self.folder / name
        path.write_text(text)
        result = call(TOOL, "--quiet", path)
        found = result.stdout.splitlines()
        self.assertEqual((result.status, result.stderr), (1 if found else 0, ""))
        return [line.removeprefix(str(path) + ":") for line in found]

    def held(self, *lines, name=NAME):
        return json.loads(call(TOOL, "--json", self.write(name, lines)).stdout)["files"][0]

    def test_clean_files(self):
        result = call(TOOL, *EXPECTED.values())
        self.assertEqual((result.status, result.stderr), (0, ""))
        # Counted by cut, sort and uniq.
        self.assertIn("GZEX0159.025: 85 lines in 10 of 89 tracks of the schedule, 15 satellites, hours without lines: "
                      "3-23, header checksum without the blank\n", result.stdout)
        self.assertTrue(result.stdout.endswith("\n0 findings in 4 files\n"))
        self.assertEqual(self.findings(TEXT.replace("\n", "\r\n")), [])
        # Without MSIO, SMSI and ISG.
        top = TEXT[:TEXT.index("G05")].replace("MSIO SMSI ISG ", "")
        short = A[:100] + A[114:125]
        self.assertEqual(self.findings(top), [])
        self.assertEqual(self.findings(f"{top}{short}{sum(short.encode()) % 256:02X}\n"), [])

    def test_header_alone(self):
        path = self.write(NAME, [])
        result = call(TOOL, path)
        self.assertEqual((result.status, result.stdout), (
            0, f"{path}: no line of any track, header checksum without the blank\n0 findings in 1 files\n"))
        held = self.held()
        self.assertEqual((held["lines"], held["possible_tracks"], held["hours_without_lines"]), (0, None, None))

    def test_both_checksum_habits(self):
        top, rest = TEXT[:TEXT.index("CKSUM")], TEXT[TEXT.index("\n\nSAT"):]
        for label, form, habit in (("CKSUM = ", "02x", "with"), ("CKSUM = ", "02X", "with"),
                                   ("CKSUM =", "02x", "without")):
            value = sum((top.replace("\n", "") + label).encode()) % 256
            self.assertEqual(self.findings(f"{top}{label}{value:{form}}{rest}"), [])
            self.assertIn(f"checksum {habit} the blank", call(TOOL, self.folder / NAME).stdout)

    def test_every_damage_is_found_and_nothing_else(self):
        for old, new, expected in DAMAGES + WRONG_SUMS:
            self.assertIn(old, TEXT)
            lines = TEXT.replace(old, new, 1).splitlines(True)
            if (old, new, expected) in DAMAGES:
                lines[HEADER_LINES:] = [sum_line(line) + "\n" if len(line) == 128 else line
                                        for line in lines[HEADER_LINES:]]
            found = self.findings("".join(lines))
            self.assertEqual(len(found), len(expected), (new, found))
            for line, text in zip(found, expected):
                self.assertIn(text, line)
        self.assertEqual(self.findings(TEXT, "gps.txt"), ["1: the file name is not of the form XFLLmodd.ddd"])

    def test_many_lines_are_one_finding(self):
        lines = [sum_line(line[:72] + "****" + line[76:]) for line in TEXT.splitlines()[HEADER_LINES:]]
        kind = "DSG is asterisks: its value did not fit"
        text = TEXT[:TEXT.index("G05")] + "\n".join(lines) + "\n"
        self.assertEqual(self.findings(text), [f"20: 85 lines: {kind} (G05)"])
        self.assertEqual(self.held(*lines)["findings"], [{"line": 20, "lines": 85, "text": kind, "detail": "G05"}])

    def test_schedule(self):
        for mjd, start, scheduled in STARTS:
            minute = (mjd - 59025) * 1440 + int(start[:2]) * 60 + int(start[2:])
            held = self.held(data_line("G05", minute, 450, 1), name=f"GZEX01{mjd // 1000}.{mjd % 1000:03d}")
            self.assertEqual([finding["text"] for finding in held["findings"]],
                             [] if scheduled else ["not on the schedule"], (mjd, start))
            self.assertEqual(held["possible_tracks"], 90 if mjd % 359 == 50722 % 359 else 89)
        hours = self.held(data_line("G05", 58, 450, 1))["hours_without_lines"]  # 00:58 to 01:11
        self.assertEqual(hours, list(range(2, 24)))
        self.assertEqual(TOOL.ranges([1, *range(3, 480000)]), "1, 3-479999")  # one wrong MJD

    def test_contiguous_tracks(self):
        files = common.convert(self.folder / "contiguous", "-C", "-labid", "EX", "-rxid", "01")
        result = call(TOOL, *files.values())
        self.assertEqual((result.status, result.stdout.count(" tracks every 13 minutes")), (0, 4), result.stdout)
        *lines, last = files["G"].read_text().splitlines(True)
        found = self.findings("".join(lines) + sum_line(last[:13] + "024930" + last[19:]) + "\n")
        self.assertEqual([text.partition(" ")[2] for text in found],
                         ["not a multiple of 13 minutes after the first track (024930)"])

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
