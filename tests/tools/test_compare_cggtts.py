import collections
import json
import math
import re
import unittest

import numpy as np

import common
from common import EXPECTED, HEADER_LINES, call, data_line

import timeseries

TOOL = common.load("compare-cggtts")
TAU = 86160 / 89  # s


def minutes_of_schedule(days):
    """Starts of the tracks of MJD 59025 and the days after, in minutes since its 0:00, by the rule in words."""
    first = (2 - 4 * (59025 - 50722)) % 1436
    return [day * 1436 + first + 16 * i - 1436 for day in range(days + 1) for i in range(89)
            if 0 <= day * 1436 + first + 16 * i - 1436 < days * 1440]


def make_station(seed, minutes):
    """(satellite, minute) to elevation and REFSYS, in the units of the file: noise that grows towards the horizon on a
    clock that drifts."""
    rng = np.random.default_rng(seed)
    lines = {}
    for minute in minutes:
        for number in range(1, 9):
            if rng.random() < 0.8:
                elevation = int(rng.integers(300, 900))
                noise = rng.uniform(-15, 15) / math.sin(math.radians(elevation / 10))
                lines[f"G{number:02d}", minute] = elevation, round(4809000 + 0.02 * seed * minute + noise)
    return lines


def second_differences(values, m):
    """Of means over m values each, those of at least half of them; values: nan where missing. By the definition."""
    means = [np.nanmean(values[i:i + m]) if 2 * np.sum(np.isfinite(values[i:i + m])) >= m else np.nan
             for i in range(len(values) - m + 1)]
    found = [means[i] - 2 * means[i + m] + means[i + 2 * m] for i in range(len(means) - 2 * m)]
    return [value for value in found if math.isfinite(value)]


class CompareCggtts(common.ToolTest):
    @classmethod
    def setUpClass(cls):
        cls.minutes = minutes_of_schedule(3)
        cls.a, cls.b = (make_station(seed, [m for m in cls.minutes if not seed * 900 < m < seed * 900 + 200])
                        for seed in (1, 2))
        cls.a["G03", cls.minutes[40]] = 450, 4809000 + 900  # 90 ns off
        cls.b.setdefault(("G03", cls.minutes[40]), (450, 4809000))

    def setUp(self):
        super().setUp()
        self.files = [self.write(name, [data_line(sat, minute, *values) for (sat, minute), values in lines.items()])
                      for name, lines in (("GZAA0159.025", self.a), ("GZBB0159.025", self.b))]

    def compare(self, *options, status=0):
        result = call(TOOL, self.files[0], *options, "--", self.files[1])
        self.assertEqual((result.status, result.stderr), (status, ""))
        return result.stdout

    def expected(self, method):
        """(minute, difference, satellites, standard deviation) of the tracks, outlier left out."""
        outlier = ("G03", self.minutes[40])
        rows = []
        for minute in self.minutes:
            both = [key for key in self.a if key in self.b and key[1] == minute and key != outlier]
            values = np.array([self.a[key][1] - self.b[key][1] for key in both]) / 10
            weights = np.ones(len(both))
            if method == "weighted":
                weights = np.array([1 / sum(1 / math.sin(math.radians(station[key][0] / 10))**2
                                            for station in (self.a, self.b)) for key in both])
            if method == "all-in-view":
                own = [np.array([v[1] for key, v in station.items() if key[1] == minute and
                                 (key != outlier or station is self.b)]) / 10 for station in (self.a, self.b)]
                if min(map(len, own)) > 0:
                    scatter = math.sqrt(sum(np.std(v, ddof=1)**2 if len(v) > 1 else math.nan for v in own))
                    rows.append((minute, own[0].mean() - own[1].mean(), min(map(len, own)), scatter))
            elif both:
                mean = np.average(values, weights=weights)
                n = len(values)
                square = np.average((values - mean)**2, weights=weights)
                rows.append((minute, mean, n, math.sqrt(square * n / (n - 1)) if n > 1 else math.nan))
        return rows

    def assert_printed(self, text, rows):
        """Every figure of the text to its last digit: tracks, line and deviations."""
        middles = np.array([59025 + (row[0] + 6.5) / 1440 for row in rows])
        means = np.array([row[1] for row in rows])
        tracks = [f"{int(mjd)} {mjd % 1 * 24:7.4f} {row[1]:12.2f} {row[2]:3d} {row[3]:8.2f}"
                  for mjd, row in zip(middles, rows)]
        self.assertEqual(re.findall(r"(?m)^\d{5} .*$", text), tracks)
        (rate, offset), covariance = np.polyfit(middles - middles.mean(), means, 1, cov=True)
        rms = math.sqrt(np.sum((means - np.polyval((rate, offset), middles - middles.mean()))**2) / (len(rows) - 2))
        self.assertIn(f"{len(rows)} tracks, offset {offset:.3f} +- {math.sqrt(covariance[1, 1]):.3f} ns at MJD "
                      f"{middles.mean():.4f}, rate {rate:.4f} +- {math.sqrt(covariance[0, 0]):.4f} ns/day, "
                      f"{rms:.3f} ns", text)
        grid = np.full(len(self.minutes), np.nan)
        for row in rows:
            grid[self.minutes.index(row[0])] = row[1]
        grid = grid[self.minutes.index(rows[0][0]):self.minutes.index(rows[-1][0]) + 1]
        expected = []
        for m in (1, 2, 4, 8, 16, 32, 64):
            second = second_differences(grid, m)
            modified = math.sqrt(np.mean(np.square(second)) / 2) / (m * TAU)
            expected.append(f"#   {m * TAU:9.0f} {modified * 1e-9:10.3e} {m * TAU * modified / math.sqrt(3):8.3f} "
                            f"{len(second):6d}")
        self.assertEqual(re.findall(r"(?m)^#   .*$", text), expected)

    def test_methods_against_independent_computation(self):
        for method in ("mean", "weighted", "all-in-view"):
            text = self.compare("--method", method)
            self.assert_printed(text, self.expected(method))
            self.assertEqual(re.findall(r"outlier (.*?):", text), ["A G03" if method == "all-in-view" else "G03"])
            self.assertEqual(self.compare("--method", method, "--quiet").splitlines(),
                             [line for line in text.splitlines() if not re.match(r"\d|.*: MJD, hours", line)])

    def test_each_satellite_and_json(self):
        found = json.loads(self.compare("--method", "satellites", "--json"))["comparisons"][0]
        outlier, = found["outliers"]
        self.assertEqual((outlier["line"], outlier["mjd"]), ("G03", 59025 + self.minutes[40] // 1440))
        by_satellite = collections.defaultdict(list)
        for (satellite, minute), (_, value) in self.a.items():
            if (satellite, minute) in self.b and (satellite, minute) != ("G03", self.minutes[40]):
                by_satellite[satellite].append(round((value - self.b[satellite, minute][1]) / 10, 1))
        self.assertEqual({series["satellite"]: [round(row[2], 6) for row in series["tracks"]]
                          for series in found["series"]}, by_satellite)
        self.assertIsNone(found["series"][0]["tracks"][0][4])
        fits = json.loads(self.compare("--json", "--outliers", "0"))["comparisons"][0]
        self.assertEqual(fits["outliers"], [])

    def test_published_deviations(self):
        # NIST Special Publication 1065, the 1000-point test suite.
        n, frequencies = 1234567890, []
        for _ in range(1000):
            frequencies.append(n / 2147483647)
            n = 16807 * n % 2147483647
        phase = np.concatenate([[0], np.cumsum(frequencies)])
        found = timeseries.deviations(np.arange(1001), phase, 1.0, [1, 10, 100])
        self.assertEqual([(f"{d.modified:.7g}", f"{d.time:.7g}") for d in found],
                         [("0.2922319", "0.1687202"), ("0.06172376", "0.3563623"), ("0.02170921", "1.253382")])

    def test_contiguous_tracks_and_no_grid(self):
        starts = np.arange(20) * 780 + 59025 * 86400 + 300
        for moved, spacing in (((), 780.0), ((3,), None)):
            starts[list(moved)] += 30
            grid = timeseries.number_tracks(starts)
            self.assertEqual(grid[1] if grid else None, spacing)

    def test_zero_baseline(self):
        moved = common.convert(self.folder / "moved", "-labid", "YY", "-rxid", "01", "-dref", "10")
        result = call(TOOL, *moved.values(), "--", *EXPECTED.values(), "--method", "satellites", "--json")
        values = [row[2] for comparison in json.loads(result.stdout)["comparisons"] for series in comparison["series"]
                  for row in series["tracks"]]
        self.assertEqual(set(values), {10.0})
        lines = sum(len(path.read_text().splitlines()) - HEADER_LINES for path in EXPECTED.values())
        self.assertEqual(len(values), lines)

    def test_calibration_gives_back_the_delays(self):
        delays = {"GPS P1": ("-dl1", 3), "GPS P2": ("-dl2", 5), "GLO C1": ("-dg1", 2), "GLO C2": ("-dg2", -2.5),
                  "Galileo E1": ("-de1", 1), "Galileo E5a": ("-de5a", -4), "BeiDou B1": ("-db1", 7),
                  "BeiDou B2": ("-db2", 1)}
        moved = common.convert(self.folder / "moved", "-labid", "YY", "-rxid", "01",
                               *(str(word) for option in delays.values() for word in option))
        text = call(TOOL, *EXPECTED.values(), "--", *moved.values(), "--calibration").stdout
        for name, (_, delay) in delays.items():
            # What the other station took off, this one is ahead by, and takes off when its delay is raised as well.
            words = f"add {delay:.1f} ns to" if delay > 0 else f"take {-delay:.1f} ns off"
            self.assertRegex(text, rf"(?m)^{name} +\d+ +0 +{delay:.1f} .* {words} INT DLY \({name}\) of EX01$")
        back = call(TOOL, *moved.values(), "--", *EXPECTED.values(), "--calibration").stdout
        self.assertIn("take 3.0 ns off INT DLY (GPS P1) of YY01", back)

    def test_picture(self):
        for method in ("mean", "satellites", "all-in-view"):
            picture = self.folder / f"{method}.svg"
            self.compare("-o", picture, "--method", method)
            self.assertGreater(picture.stat().st_size, 20000)

    def test_what_cannot_be_compared(self):
        other = self.write("CZCC0159.025", [data_line("C05", 10, 450, 1, frc="L3B")])
        for words, status, message in (
                ([self.files[0], "--", other], 2, "no satellite and signal in common"),
                ([self.files[0]], 2, "files of two stations are needed"),
                ([self.files[0], "-o", "x.gif", "--", self.files[1]], 2, "must end in .png, .pdf, .svg"),
                ([self.files[0], self.folder / "no", "--", self.files[1]], 1, "no: No such file"),
                ([self.files[0], "-o", self.folder / "no" / "x.png", "--", self.files[1]], 2, "No such file")):
            result = call(TOOL, *words)
            self.assertEqual(result.status, status, message)
            self.assertIn(message, result.stderr)


if __name__ == "__main__":
    unittest.main()
