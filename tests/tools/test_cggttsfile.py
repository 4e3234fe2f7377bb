import argparse
import contextlib
import io
import math
import unittest

import common
from common import EXPECTED, HEADER_LINES, data_line, sum_line

import cggttsfile
import cggttstracks

# Files as other programs write them: version 2 with its titles, without ionosphere and FRC columns, other widths.
TITLES_2 = "PRN CL  MJD  STTIME TRKL ELV AZTH REFSV SRSV REFGPS SRGPS DSG IOE MDTR SMDT MDIO SMDI CK"
LINE_2 = "{} FF 59025 001000  780 557 2157 +12345 4 {} -4 12 13 99 7 107 6 "
HEADER = EXPECTED["G"].read_text().splitlines()[:HEADER_LINES]


class Reading(common.ToolTest):
    def faults(self, path):
        file = cggttsfile.CggttsFile(path)
        return file, list(cggttsfile.report("F", cggttstracks.read_tracks(file)[1]))

    def test_values_of_the_example(self):
        tracks, files, found = cggttstracks.read_station([EXPECTED["C"], EXPECTED["G"]], "tool")
        self.assertEqual((len(tracks), found, files[1].station()), (31 + 85, 0, "EX01"))
        # Its first two lines, by eye: satellites of a track are together.
        self.assertEqual(tracks[0].tolist()[:8], ("C05", "L3B", (59025 * 24 * 60 + 10) * 60, 11.4, 480950.9, 4.0, 125.2,
                                                  -2.8))
        self.assertEqual(tracks[3].tolist(), ("G05", "L3P", (59025 * 24 * 60 + 10) * 60, 55.7, 480924.6, 1.2, 215.7,
                                              10.7, 1, 20))

    def test_files_of_version_2(self):
        def finish(line, summed):
            return line + f"{sum(summed.encode()) % 256:02X}"
        lines = [LINE_2.format(" 5", "+4809246"), LINE_2.format("G07", "-3")]
        # The checksum with the blank before it and without, and a comment.
        lines = [finish(lines[0], lines[0]), finish(lines[1], lines[1].rstrip())]
        lines[1] += f" a comment with {lines[1][-2:]}"
        header = list(HEADER)
        header[0] = "CGGTTS     GENERIC DATA FORMAT VERSION = 02"
        header[11:14] = ["TOT DLY = 12.0 ns (GPS P1)     CAL_ID = NONE"]
        header[13] = f"CKSUM = {sum(''.join([*header[:13], 'CKSUM = ']).encode()) % 256:02X}"
        header[15] = TITLES_2
        file, faults = self.faults(self.write("G", lines, header))
        tracks = cggttstracks.read_tracks(file)[0]
        self.assertEqual(faults, [])
        self.assertEqual([row.tolist()[:2] + row.tolist()[3:6] for row in tracks],
                         [("G05", "", 55.7, 480924.6, 1.2), ("G07", "", 55.7, -0.3, 1.2)])
        self.assertTrue(math.isnan(tracks["msio"][0]))

    def test_what_is_wrong_is_named_and_the_rest_is_read(self):
        good = data_line("G01", 10, 900, 1)
        cases = [(good[:100], "a line that is cut is left out (17 of 24 columns)"),
                 ("", None),
                 (good[:60] + "9" + good[61:], "a line with a wrong checksum is left out"),
                 (sum_line(good[:53] + "*" * 11 + good[64:]), "a line whose REFSYS is *********** is left out (G01)"),
                 (sum_line(good[:53] + "-2147483648" + good[64:]),
                  "a line whose REFSYS is -2147483648 is left out (G01)"),
                 (sum_line(good[:72] + "9999" + good[76:]), "a line whose DSG is 9999 is left out (G01)"),
                 (sum_line(good[:13] + "246000" + good[19:]), "a line without satellite or time is left out"),
                 (sum_line("\u00b2\u00b2\u00b2" + good[3:]), "a line without satellite or time is left out")]
        for bad, expected in cases:
            path = self.folder / "G"
            path.write_bytes("\n".join([*HEADER, bad, bad, data_line("G02", 10, 900, 2), ""]).encode("latin-1"))
            file, faults = self.faults(path)
            self.assertEqual(cggttstracks.read_tracks(file)[0]["satellite"].tolist(), ["G02"])
            self.assertEqual([f"F:20: 2 lines: {expected}"] if expected else [],
                             [text[:len(f"F:20: 2 lines: {expected}")] for text in faults], bad)
        partly = sum_line(good[:101] + "****" + good[105:])  # MSIO, which few need
        file, faults = self.faults(self.write("G", [partly]))
        self.assertEqual((math.isnan(cggttstracks.read_tracks(file)[0]["msio"][0]), faults), (True, []))

    def test_header_faults(self):
        for number, keyword in ((11, "INT DLY"), (14, "REF"), (2, "RCVR")):
            header = list(HEADER)
            del header[number]
            faults = self.faults(self.write("G", [data_line("G01", 10, 900, 1)], header))[1]
            self.assertIn(f"F:{number + 1}: {keyword} line expected", faults)
            self.assertIn("checksum of the header", faults[-1])
        with self.assertRaisesRegex(cggttsfile.Unusable, "no column REFSYS"):
            self.faults(self.write("G", [], [line.replace("REFSYS", "REFXYZ") for line in HEADER]))

    def test_repeats(self):
        many = cggttsfile.report("F", [cggttsfile.Fault(i, "bad", "") for i in range(12384)])
        self.assertEqual(list(many), ["F:0: 12 384 lines: bad"])
        with contextlib.redirect_stderr(io.StringIO()) as messages:
            paths = [EXPECTED["G"], self.folder / "missing", EXPECTED["G"]]
            tracks, _, found = cggttstracks.read_station(paths, "tool")
        self.assertEqual((len(tracks), found, len(messages.getvalue().splitlines())), (85, 2, 2))

    def test_filters(self):
        tracks = cggttstracks.read_station([EXPECTED[letter] for letter in "GCE"], "tool")[0]
        lines = [line for letter in "GCE" for line in EXPECTED[letter].read_text().splitlines()[HEADER_LINES:]]
        parser = argparse.ArgumentParser()
        cggttstracks.add_filters(parser)
        for words, test in (
                (["--constellation", "CE"], lambda line: line[0] in "CE"),
                (["--satellite", "G05,E11"], lambda line: line[:3] in ("G05", "E11")),
                (["--signal", "L3B"], lambda line: line[121:124] == "L3B"),
                (["--elevation", "38.7"], lambda line: int(line[25:28]) >= 387),
                (["--dsg", "2.3"], lambda line: int(line[72:76]) <= 23),
                (["--from", "2020-06-25T00:58", "--to", "2020-06-25T02:02"],
                 lambda line: "005800" <= line[13:19] < "020200"),
                (["--to", "59025.01"], lambda line: line[13:17] < "0015"),
                (["--from", "2020-06-26"], lambda line: False)):
            kept = cggttstracks.select(tracks, parser.parse_args(words))
            expected = sorted((line[:3], int(line[53:64]) / 10) for line in lines if test(line))
            self.assertEqual(sorted((row["satellite"], row["refsys"]) for row in kept), expected, words)
            self.assertTrue(0 < len(expected) < len(lines) or words[1] == "2020-06-26")


if __name__ == "__main__":
    unittest.main()
