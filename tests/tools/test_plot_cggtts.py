import collections
import pathlib
import re
import statistics
import struct
import unittest

import common
from common import TOOLS, run

TOOL = TOOLS / "plot-cggtts"
HEADER_LINES = 19


def read_data(path):
    """Hour of the middle of the track, satellite, elevation, REFSYS and DSG of every line, by blanks."""
    for line in path.read_text().splitlines()[HEADER_LINES:]:
        words = line.split()
        hhmmss = words[3]
        middle = int(hhmmss[:2]) + (int(hhmmss[2:4]) + 6.5) / 60 + int(hhmmss[4:]) / 3600
        yield middle, words[0], int(words[5]) / 10, int(words[9]) / 10, int(words[11]) / 10


def blocks_of(script):
    """The data blocks of a gnuplot script: rows of numbers, an empty row for an interruption."""
    blocks = re.findall(r"^\$(\w+) << EOD\n(.*?)^EOD$", script.read_text(), re.DOTALL | re.MULTILINE)
    return {name: [[float(word) for word in line.split()] for line in text.splitlines()] for name, text in blocks}


def set_refsys(line, text):
    return line[:53] + f"{text:>11}" + line[64:]


class PlotCggtts(common.ToolTest):
    def setUp(self):
        super().setUp()
        self.files = common.convert(self.folder / "first", "-labid", "EX", "-rxid", "01")
        self.script = self.folder / "script"

    def plot(self, *files, status=0, **environment):
        """Draws and returns size of the picture and blocks of data."""
        picture = self.folder / "it's a day.png"
        picture.unlink(missing_ok=True)
        result = run(TOOL, *files, "-o", picture, "--script", self.script, **environment)
        self.assertEqual((result.returncode, result.stdout), (status, ""), result.stderr)
        self.messages = result.stderr
        if status != 0:
            self.assertFalse(picture.exists())
            return None
        image = picture.read_bytes()
        self.assertEqual((image[:8], image[12:16]), (b"\x89PNG\r\n\x1a\n", b"IHDR"))
        self.assertGreater(len(image), 20000, "hardly anything is drawn")
        return struct.unpack(">II", image[16:24]), blocks_of(self.script)

    def edit(self, path, change, folder="edited", name=None):
        """A file of the same name with other data lines."""
        lines = path.read_text().splitlines()
        edited = self.folder / folder / (name or path.name)
        edited.parent.mkdir(exist_ok=True)
        edited.write_text("\n".join(lines[:HEADER_LINES] + change(lines[HEADER_LINES:])) + "\n")
        return edited

    def assert_rows(self, rows, expected, places):
        self.assertEqual(len(rows), len(expected))
        for row, values in zip(rows, expected):
            self.assertEqual(len(row), len(values))
            for number, value in zip(row, values):
                self.assertAlmostEqual(number, value, places)

    def test_data_means_and_medians_of_a_station(self):
        size, blocks = self.plot(*self.files.values())
        self.assertEqual(self.messages, "")
        self.assertEqual(size[0], 2000)
        self.assertTrue(2000 <= size[1] <= 2500, size)
        for letter, path in self.files.items():
            satellites, tracks, steps = (collections.defaultdict(list) for _ in range(3))
            for hour, satellite, elevation, refsys, dsg in read_data(path):
                satellites[satellite].append((hour, refsys, elevation, dsg))
                tracks[hour].append(refsys)
                steps[int(elevation / 10)].append(dsg)
            self.assertEqual({name for name in blocks if name[0] == letter}, set(satellites))
            for satellite, rows in satellites.items():
                self.assert_rows(blocks[satellite], rows, 6)
            means = [(hour, sum(values) / len(values), len(values)) for hour, values in sorted(tracks.items())]
            self.assert_rows(blocks[f"mean_{letter}"], means, 5)
            medians = [(step * 10 + 5, statistics.median(values)) for step, values in sorted(steps.items())]
            self.assert_rows(blocks[f"median_{letter}"], medians, 6)

    def test_common_view_gives_the_difference_of_the_reference_delays(self):
        second = common.convert(self.folder / "second", "-labid", "YY", "-rxid", "02", "-dref", "100", "-elm", "30")
        for files, sign in (([self.files, second], -1), ([second, self.files], 1)):
            _, blocks = self.plot(*[path for station in files for path in station.values()])
            self.assertIn("Common view", self.script.read_text())
            for letter in "GREC":
                common_satellites = {(hour, satellite) for hour, satellite, *_ in read_data(second[letter])}
                rows = [row for name, block in blocks.items() if name[0] == letter for row in block]
                self.assertEqual(len(rows), len(common_satellites))
                for _, difference, elevation, deviation in rows:
                    self.assertAlmostEqual(difference, sign * 100, delta=0.11)
                    self.assertGreaterEqual(elevation, 30)
                    self.assertLess(abs(deviation), 0.21)
                for _, mean, _ in blocks[f"mean_{letter}"]:
                    self.assertAlmostEqual(mean, sign * 100, delta=0.11)

    def test_common_view_mean_and_deviation(self):
        def shift(lines):  # 3.0 ns less for the first line, so that the first station is ahead by 3 ns there
            return [set_refsys(lines[0], int(lines[0].split()[9]) - 30), *lines[1:]]
        _, blocks = self.plot(self.files["G"], self.edit(self.files["G"], shift, name="GZYY0159.025"))
        hour, mean, count = blocks["mean_G"][0]
        self.assertAlmostEqual(mean, 3 / count)
        satellite = next(read_data(self.files["G"]))[1]
        self.assertEqual(blocks[satellite][0][0], hour)
        self.assertAlmostEqual(blocks[satellite][0][1], 3)
        self.assertAlmostEqual(blocks[satellite][0][3], 3 - 3 / count)
        self.assertEqual({row[1] for row in blocks["mean_G"][1:]}, {0})

    def test_stations_differ_in_code_or_laboratory(self):
        other = common.convert(self.folder / "other", "-labid", "EX", "-rxid", "01", "-lab", "Other's \u00fc")
        self.plot(self.files["G"], other["G"], LC_ALL="C")
        self.assertIn("REFSYS(Example Lab) - REFSYS(Other''s \u00fc)", self.script.read_text(encoding="utf-8"))
        self.plot(self.files["G"], other["R"], status=2)
        self.assertIn("no common tracks", self.messages)
        third = self.edit(self.files["G"], list, name="GZZZ0159.025")
        self.plot(self.files["G"], other["G"], third, status=2)
        self.assertIn("files of 3 stations", self.messages)

    def test_outliers_do_not_spoil_the_axis(self):
        def outlier(lines):
            return [set_refsys(lines[0], 5009246), *lines[1:]]  # 20 microseconds off

        def y_range():
            return re.search(r"set yrange \[(.*?):(.*?)\]", self.script.read_text()).groups()
        self.plot(self.files["G"])
        low, high = map(float, y_range())
        self.assertNotIn("tracks, 1 outside", self.script.read_text())
        self.plot(self.edit(self.files["G"], outlier))
        self.assertAlmostEqual(float(y_range()[0]), low, delta=1)
        self.assertAlmostEqual(float(y_range()[1]), high, delta=1)
        self.assertIn("tracks, 1 outside", self.script.read_text())

    def test_several_days_and_gaps(self):
        def next_day(lines):
            return [line.replace(" FF 59025 ", " FF 59026 ") for line in lines]
        tomorrow = self.edit(self.files["G"], next_day, name="GZEX0159.026")
        _, blocks = self.plot(self.files["G"], tomorrow)
        rows = blocks["mean_G"]
        gap = rows.index([])
        self.assertEqual(rows.count([]), 1)
        self.assertEqual(gap, len(rows) // 2)
        self.assert_rows(rows[gap + 1:], [(hour + 24, mean, count) for hour, mean, count in rows[:gap]], 6)

        starts = sorted({line.split()[3] for line in self.files["G"].read_text().splitlines()[HEADER_LINES:]})
        for missing, interruptions in ((starts[4:5], 0), (starts[4:6], 1)):
            _, blocks = self.plot(self.edit(
                self.files["G"], lambda lines, gone=missing: [line for line in lines if line.split()[3] not in gone]))
            self.assertEqual(blocks["mean_G"].count([]), interruptions)

    def test_lines_without_values_are_left_out(self):
        def spoil(lines):
            return [set_refsys(lines[0], "***********"), set_refsys(lines[1], "-2147483648"),
                    lines[2][:50], lines[3].replace(" 59025 ", " 5902x "), *lines[4:]]
        _, blocks = self.plot(self.edit(self.files["G"], spoil))
        self.assertIn("4 lines without a value are left out", self.messages)
        expected = sum(1 for _ in read_data(self.files["G"])) - 4
        self.assertEqual(sum(row[2] for row in blocks["mean_G"]), expected)

    def test_nothing_to_draw(self):
        twice = self.edit(self.files["G"], lambda lines: lines[:1] * 2)
        empty = self.edit(self.files["R"], lambda lines: [])
        cases = [([self.folder / "missing"], "missing: "), ([common.EXAMPLE_LOG], "no CGGTTS file"),
                 ([self.files["G"], self.files["G"]], "tracks that another file of this station has too"),
                 ([twice], "two lines for one track of "), ([empty], "no tracks")]
        for files, message in cases:
            self.plot(*files, status=2)
            self.assertIn(message, self.messages)

        tools_only = self.folder / "bin"
        tools_only.mkdir()
        (tools_only / "python3").symlink_to(pathlib.Path("/usr/bin/python3"))
        (tools_only / "env").symlink_to(pathlib.Path("/usr/bin/env"))
        self.plot(self.files["G"], status=2, PATH=str(tools_only))
        self.assertIn("gnuplot", self.messages)
        result = run(TOOL, self.files["G"], "-o", self.folder / "no" / "folder.png")
        self.assertEqual(result.returncode, 2)
        self.assertIn("cannot open file", result.stderr)


if __name__ == "__main__":
    unittest.main()
