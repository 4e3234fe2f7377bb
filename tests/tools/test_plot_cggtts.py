import collections
import re
import unittest

import numpy as np

import common
from common import EXPECTED, HEADER_LINES, call, data_line

import cggttsfile

TOOL = common.load("plot-cggtts")


def columns(path):
    """Satellite, time in days since 1970, elevation, REFSYS, DSG of every line, by place."""
    for line in path.read_text().splitlines()[HEADER_LINES:]:
        minute = int(line[13:15]) * 60 + int(line[15:17]) + 6.5
        yield (line[:3], int(line[7:12]) - 40587 + minute / 1440, int(line[25:28]) / 10, int(line[53:64]) / 10,
               int(line[72:76]) / 10)


def drawn(axes):
    """The series of points and lines of a panel by their labels."""
    return {line.get_label(): np.column_stack(line.get_data()) for line in axes.lines}


class PlotCggtts(common.ToolTest):
    def station(self, *paths, together=False, draw=None):
        tracks, _, _ = cggttsfile.read_station(paths, "tool")
        return draw(tracks, "title") if draw else TOOL.draw_station(tracks, "title", together)

    def test_points_means_and_line_of_a_day(self):
        figure = self.station(*EXPECTED.values())
        self.assertEqual(len(figure.axes), 12)
        for row, letter in enumerate("GREC"):
            main, strip, side = figure.axes[3 * row:3 * row + 3]
            satellites, tracks = collections.defaultdict(list), collections.defaultdict(list)
            for satellite, day, elevation, refsys, dsg in columns(EXPECTED[letter]):
                satellites[satellite].append((day, refsys, elevation, dsg))
                tracks[day].append(refsys)
            shift = round(np.median([refsys for values in tracks.values() for refsys in values]))
            self.assertIn(f"REFSYS − {shift} (ns)", main.get_ylabel())
            found = drawn(main)
            for satellite, rows in satellites.items():
                expected = np.array(rows)
                np.testing.assert_allclose(found[satellite] + [0, shift], expected[:, :2], rtol=0, atol=1e-6)
            days = np.array(sorted(tracks))
            means = np.array([np.mean(tracks[day]) for day in days])
            np.testing.assert_allclose(main.lines[-2].get_data()[1] + shift, means, rtol=0, atol=1e-6)
            np.testing.assert_array_equal(strip.lines[0].get_data()[1], [len(tracks[day]) for day in days])
            (rate, offset), covariance = np.polyfit(days - days.mean(), means, 1, cov=True)
            printed = re.search(r"; (\S+) ± (\S+) ns at MJD (\S+), (\S+) ± (\S+) ns/day, ",
                                main.get_title(loc="left").replace("−", "-")).groups()
            np.testing.assert_allclose([float(text) for text in printed], [
                offset, covariance[1, 1]**0.5, days.mean() + 40587, rate, covariance[0, 0]**0.5], rtol=0, atol=0.0051)
            np.testing.assert_allclose(found["line"][:, 1] + shift,
                                       offset + rate * (days[[0, -1]] - days.mean()), rtol=0, atol=1e-6)
            lows = [dsg for rows in satellites.values() for _, _, elevation, dsg in rows if elevation < 20]
            self.assertEqual(side.lines[-1].get_data()[1][0], np.median(lows))

    def test_one_panel_of_all(self):
        figure = self.station(*EXPECTED.values(), together=True)
        self.assertEqual(len(figure.axes), 3)
        self.assertEqual(len(drawn(figure.axes[0])["Galileo"]), 69)

    def test_days_take_the_place_of_many_points(self):
        rng = np.random.default_rng(5)
        minutes = [10 - 16 * 4 + 1436 * day + 16 * i for day in range(1, 12) for i in range(89)]
        values = {(f"G{n:02d}", minute): round(rng.normal(0, 100)) for minute in minutes for n in range(1, 5)}
        path = self.write("GZEX0159.025", [data_line(*key, 450, value) for key, value in values.items()])
        main = self.station(path).axes[0]
        self.assertNotIn("G01", drawn(main))
        means = drawn(main)["mean of the day"]
        days = sorted({(minute + 6.5) // 1440 for minute in minutes})
        self.assertEqual(list(means[:, 0]), [59025 - 40587 + day + 0.5 for day in days])
        of_day = [value / 10 for (_, minute), value in values.items() if (minute + 6.5) // 1440 == days[3]]
        self.assertAlmostEqual(means[3, 1], np.mean(of_day))
        wide = main.collections[0].get_paths()[0].vertices
        for percent in (2.5, 97.5):
            self.assertLess(min(abs(wide[:, 1] - np.percentile(of_day, percent))), 1e-9)

    def test_outliers_and_gaps(self):
        minutes = [10 + 16 * i for i in range(30) if i not in (8, 15, 16)]
        lines = [data_line(f"G{n:02d}", minute, 450, 4809000 + n * 10) for minute in minutes for n in range(1, 6)]
        lines[52] = data_line("G03", minutes[10], 450, 5009000)
        main = self.station(self.write("GZEX0159.025", lines)).axes[0]
        self.assertIn("150 lines".replace("150", str(len(lines))), main.get_title(loc="left"))
        self.assertIn("1 outliers, 1 outside", main.get_title(loc="left"))
        self.assertLess(main.get_ylim()[1], 10)
        means = main.lines[-2].get_data()[1]
        self.assertEqual(np.flatnonzero(np.isnan(means)).tolist(), [14])  # one missing track does not interrupt

    def test_sky(self):
        figure = self.station(EXPECTED["C"], draw=TOOL.draw_sky)
        line = EXPECTED["C"].read_text().splitlines()[HEADER_LINES]
        x, y = (data[0] for data in figure.axes[0].lines[0].get_data())
        self.assertAlmostEqual(np.degrees(x), int(line[29:33]) / 10)
        self.assertAlmostEqual(90 - y, int(line[25:28]) / 10)

    def test_formats_by_name(self):
        for name, begin, options in (("it's a day.png", b"\x89PNG", []), ("a.pdf", b"%PDF", ["--together"]),
                                     ("a.SVG", b"<?xml", ["--sky"])):
            result = call(TOOL, EXPECTED["C"], "-o", self.folder / name, *options)
            self.assertEqual((result.status, result.stdout, result.stderr), (0, "", ""))
            self.assertTrue((self.folder / name).read_bytes().startswith(begin))

    def test_what_cannot_be_drawn(self):
        other = self.write("GZYY0159.025", [data_line("G05", 10, 450, 1)])
        cut = self.write("CZEX0159.026", [data_line("C05", 1446, 450, 1)[:90], data_line("C05", 1446, 450, 1)])
        empty = self.write("RZEX0159.025", [])
        for words, status, message in (
                ([EXPECTED["G"], other], 2, "files of 2 stations, EX01, YY01: compare-cggtts"),
                ([empty], 2, "no tracks"), ([EXPECTED["G"], "--satellite", "G99"], 2, "no tracks"),
                ([common.EXAMPLE_LOG, EXPECTED["C"]], 1, "esbc-2020-06-25-3h.zelt: no CGGTTS file"),
                ([cut], 1, "CZEX0159.026:20: a line that is cut")):
            result = call(TOOL, *words, "-o", self.folder / "x.png")
            self.assertEqual(result.status, status, message)
            self.assertIn(message, result.stderr)
            self.assertEqual((self.folder / "x.png").exists(), status == 1)
            (self.folder / "x.png").unlink(missing_ok=True)
        for name, message in (("x.jpg", "the name must end in .png, .pdf, .svg"), ("no/x.png", "No such file")):
            result = call(TOOL, EXPECTED["C"], "-o", self.folder / name)
            self.assertEqual(result.status, 2)
            self.assertIn(message, result.stderr)


if __name__ == "__main__":
    unittest.main()
