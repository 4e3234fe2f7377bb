import collections
import re
import unittest

import numpy as np

import common
from common import EXPECTED, HEADER_LINES, call, data_line

import cggttstracks

TOOL = common.load("plot-cggtts")


def draw(*paths, how=lambda tracks: TOOL.draw_station(tracks, "title", False)):
    """The panels of a page."""
    return how(cggttstracks.read_station(paths, "tool")[0]).axes


def drawn(axes):
    """Points and lines of a panel by their labels."""
    return {line.get_label(): np.column_stack(line.get_data()) for line in axes.lines}


class PlotCggtts(common.ToolTest):
    def test_points_means_and_line_of_a_day(self):
        panels = draw(*EXPECTED.values())
        self.assertEqual(len(panels), 12)
        for (main, strip, side), letter in zip(zip(*[iter(panels)] * 3), "GREC"):
            points, tracks, low = collections.defaultdict(list), collections.defaultdict(list), []
            for line in EXPECTED[letter].read_text().splitlines()[HEADER_LINES:]:
                day = int(line[7:12]) - 40587 + (int(line[13:15]) * 60 + int(line[15:17]) + 6.5) / 1440
                points[line[:3]].append((day, int(line[53:64]) / 10))
                tracks[day].append(int(line[53:64]) / 10)
                low += [int(line[72:76]) / 10] if int(line[25:28]) < 200 else []
            shift = float(re.search(r"REFSYS − (\d+) \(ns\)", main.get_ylabel()).group(1))
            found = drawn(main)
            for satellite, expected in points.items():
                np.testing.assert_allclose(found[satellite] + [0, shift], expected, rtol=0, atol=1e-6)
            days = np.array(sorted(tracks))
            means = np.array([np.mean(tracks[day]) for day in days])
            np.testing.assert_allclose(main.lines[-2].get_data()[1] + shift, means, rtol=0, atol=1e-6)
            np.testing.assert_array_equal(strip.lines[0].get_data()[1], [len(tracks[day]) for day in days])
            self.assertEqual(side.lines[-1].get_data()[1][0], np.median(low))
            (rate, offset), covariance = np.polyfit(days - days.mean(), means, 1, cov=True)
            printed = re.findall(r"[-−+]?\d+\.\d+", main.get_title(loc="left").replace("−", "-"))[:5]
            np.testing.assert_allclose(np.array(printed, float), [
                offset, covariance[1, 1]**0.5, days.mean() + 40587, rate, covariance[0, 0]**0.5], rtol=0, atol=0.0051)
            np.testing.assert_allclose(found["line"][:, 1] + shift, offset + rate * (days[[0, -1]] - days.mean()))

    def test_days_take_the_place_of_many_points(self):
        rng = np.random.default_rng(5)
        minutes = [10 - 16 * 4 + 1436 * day + 16 * i for day in range(1, 12) for i in range(89)]
        values = {(f"G{n:02d}", minute): round(rng.normal(0, 100)) for minute in minutes for n in range(1, 5)}
        main = draw(self.write("GZEX0159.025", [data_line(*key, 450, v) for key, v in values.items()]))[0]
        means = drawn(main)["mean of the day"]
        of_day = [value / 10 for (_, minute), value in values.items() if (minute + 6.5) // 1440 == 3]
        np.testing.assert_allclose(means[np.floor(means[:, 0]) == 59025 - 40587 + 3], [[18441.5, np.mean(of_day)]])
        band = main.collections[0].get_paths()[0].vertices[:, 1]
        self.assertLess(max(min(abs(band - np.percentile(of_day, percent))) for percent in (2.5, 97.5)), 1e-9)
        self.assertNotIn("G01", drawn(main))

    def test_outliers_and_gaps(self):
        minutes = [10 + 16 * i for i in range(30) if i not in (8, 15, 16)]
        lines = [data_line(f"G{n:02d}", minute, 450, 4809000 + n * 10) for minute in minutes for n in range(1, 6)]
        lines[52] = data_line("G03", minutes[10], 450, 5009000)
        main = draw(self.write("GZEX0159.025", lines))[0]
        self.assertIn("GPS: 135 lines of 5 satellites, 1 outliers, 1 outside;", main.get_title(loc="left"))
        self.assertLess(main.get_ylim()[1], 10)
        means = main.lines[-2].get_data()[1]
        self.assertEqual(np.flatnonzero(np.isnan(means)).tolist(), [14])  # one missing track does not interrupt

    def test_one_panel_and_the_sky(self):
        main, *_ = draw(*EXPECTED.values(), how=lambda tracks: TOOL.draw_station(tracks, "title", True))
        self.assertEqual([len(drawn(main)[name]) for name in ("GPS", "GLONASS", "Galileo", "BeiDou")], [85, 68, 69, 31])
        sky, = draw(EXPECTED["C"], how=lambda tracks: TOOL.draw_sky(tracks, "title"))
        azimuth, distance = (data[0] for data in sky.lines[0].get_data())  # of C05, see the file
        np.testing.assert_allclose((np.degrees(azimuth), distance), (125.2, 90 - 11.4))

    def test_formats_and_what_cannot_be_drawn(self):
        other = self.write("GZYY0159.025", [data_line("G05", 10, 450, 1)])
        cut = self.write("CZEX0159.026", [data_line("C05", 1446, 450, 1)[:90], data_line("C05", 1446, 450, 1)])
        for name, files, status, message, begin in (
                ("it's a day.png", [EXPECTED["C"]], 0, "", b"\x89PNG"),
                ("a.pdf", [cut, "--together"], 1, ":20: a line that is cut", b"%PDF"),
                ("a.SVG", [common.EXAMPLE_LOG, EXPECTED["C"], "--sky"], 1, "3h.zelt: no CGGTTS file", b"<?xml"),
                ("b.png", [EXPECTED["G"], other], 2, "files of 2 stations, EX01, YY01: compare-cggtts", None),
                ("b.png", [EXPECTED["G"], "--satellite", "G99"], 2, "no tracks", None),
                ("b.jpg", [EXPECTED["G"]], 2, "the name must end in .png, .pdf, .svg", None),
                ("no/b.png", [EXPECTED["C"]], 2, "No such file", None)):
            result = call(TOOL, *files, "-o", self.folder / name)
            self.assertEqual((result.status, result.stdout), (status, ""), name)
            self.assertIn(message, result.stderr)
            self.assertEqual(begin and (self.folder / name).read_bytes()[:len(begin)], begin)

    def test_full_disk(self):
        before = self.write("a.pdf", [], ["of yesterday"])
        self.limit_files(5000)
        for path in (self.folder / name for name in ("a.pdf", "a.png", "a.svg")):
            result = call(TOOL, EXPECTED["C"], "-o", path)
            self.assertEqual((result.status, result.stderr), (2, f"plot-cggtts: {path}: File too large\n"))
        self.assertEqual((list(self.folder.iterdir()), before.read_text()), ([before], "of yesterday\n"))


if __name__ == "__main__":
    unittest.main()
