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

# Starts of the tracks of MJD 59025 to 59027 in minutes since 0:00 of the first, by the schedule in words: from 00:02 of
# MJD 50722 on every 16 minutes, 89 times in 1436 minutes.
MINUTES = [minute for minute in range(3 * 1440)
           if (minute + (59025 - 50722) * 1440 - 2) % 1436 % 16 == 0
           and (minute + (59025 - 50722) * 1440 - 2) % 1436 < 89 * 16]
OUTLIER = "G03", MINUTES[40]


def make_station(seed):
    """(satellite, minute) to elevation and REFSYS in the units of the file: noise that grows towards the horizon on a
    clock that drifts, with some hours missing."""
    rng = np.random.default_rng(seed)
    lines = {}
    for minute in MINUTES:
        for satellite in (f"G{number:02d}" for number in range(1, 9)):
            elevation, noise = int(rng.integers(300, 900)), rng.uniform(-15, 15)
            if rng.random() < 0.8 and not seed * 900 < minute < seed * 900 + 200:
                refsys = 4809000 + 0.02 * seed * minute + noise / math.sin(math.radians(elevation / 10))
                lines[satellite, minute] = elevation, round(refsys)
    return lines


def scatter(values, weights):
    if len(values) == 1:
        return math.nan
    square = np.average((values - np.average(values, weights=weights))**2, weights=weights)
    return math.sqrt(square * len(values) / (len(values) - 1))


class CompareCggtts(common.ToolTest):
    @classmethod
    def setUpClass(cls):
        cls.a, cls.b = {**make_station(1), OUTLIER: (450, 4809900)}, {**make_station(2), OUTLIER: (450, 4809000)}

    def setUp(self):
        super().setUp()
        self.files = [self.write(name, [data_line(*key, *values) for key, values in lines.items()])
                      for name, lines in (("GZAA0159.025", self.a), ("GZBB0159.025", self.b))]

    def compare(self, *options):
        result = call(TOOL, self.files[0], *options, "--", self.files[1])
        self.assertEqual((result.status, result.stderr), (0, ""))
        return result.stdout

    def expected(self, method):
        """(minute, difference, satellites, standard deviation) of the tracks, the outlier left out."""
        for minute in MINUTES:
            if method == "all-in-view":
                a, b = (np.array([line[1] / 10 for key, line in station.items() if key[1] == minute and
                                  (key != OUTLIER or station is self.b)]) for station in (self.a, self.b))
                if len(a) and len(b):
                    yield (minute, round(a.mean() - b.mean(), 9), min(len(a), len(b)),
                           math.hypot(scatter(a, None), scatter(b, None)))
                continue
            both = [key for key in self.a if key in self.b and key[1] == minute and key != OUTLIER]
            values = np.array([self.a[key][1] - self.b[key][1] for key in both]) / 10
            weights = [1 / sum(1 / math.sin(math.radians(station[key][0] / 10))**2 for station in (self.a, self.b))
                       if method == "weighted" else 1 for key in both]
            if both:
                yield minute, round(np.average(values, weights=weights), 9), len(both), scatter(values, weights)

    def test_methods_against_independent_computation(self):
        for method in ("mean", "weighted", "all-in-view"):
            text, rows = self.compare("--method", method), list(self.expected(method))
            days = np.array([59025 + (row[0] + 6.5) / 1440 for row in rows])
            means = np.array([row[1] for row in rows])
            self.assertEqual(re.findall(r"(?m)^\d{5} .*$", text), [
                f"{int(day)} {day % 1 * 24:7.4f} {mean:12.2f} {count:3d} {scatter:8.2f}"
                for day, (_, mean, count, scatter) in zip(days, rows)])
            (rate, offset), covariance = np.polyfit(days - days.mean(), means, 1, cov=True)
            rms = math.sqrt(np.sum((means - np.polyval((rate, offset), days - days.mean()))**2) / (len(rows) - 2))
            sigma = covariance.diagonal()**0.5
            self.assertIn(f"{len(rows)} tracks, offset {offset:.3f} +- {sigma[1]:.3f} ns at MJD {days.mean():.4f}, "
                          f"rate {rate:.4f} +- {sigma[0]:.4f} ns/day, {rms:.3f} ns", text)
            self.assertEqual(re.findall(r"outlier (.*?):", text), ["A G03" if method == "all-in-view" else "G03"])
            self.assertEqual(re.findall(r"(?m)^#   .*$", text), list(self.deviations(rows)))

    @staticmethod
    def deviations(rows):
        """As printed, by the definition: second differences of means over at least half of their tracks."""
        x = np.full(len(MINUTES), np.nan)
        x[[MINUTES.index(row[0]) for row in rows]] = [row[1] for row in rows]
        x = x[MINUTES.index(rows[0][0]):MINUTES.index(rows[-1][0]) + 1]
        for m in (1, 2, 4, 8, 16, 32, 64):
            means = [np.nanmean(x[i:i + m]) if 2 * np.sum(np.isfinite(x[i:i + m])) >= m else np.nan
                     for i in range(len(x) - m + 1)]
            second = np.array([means[i] - 2 * means[i + m] + means[i + 2 * m] for i in range(len(means) - 2 * m)])
            terms = np.count_nonzero(np.isfinite(second))
            modified = math.sqrt(np.nanmean(second**2) / 2) / (m * TAU)
            yield f"#   {m * TAU:9.0f} {modified * 1e-9:10.3e} {m * TAU * modified / math.sqrt(3):8.3f} {terms:6d}"

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
        # Tracks that follow each other every 13 minutes are a grid too, until one does not.
        starts = np.arange(20) * 780 + 59025 * 86400 + 300
        self.assertEqual(timeseries.number_tracks(starts)[1], 780)
        starts[3] += 30
        self.assertIsNone(timeseries.number_tracks(starts))

    def test_outliers_by_the_rule(self):
        rng = np.random.default_rng(3)
        start = 59025 * 86400 + 600 + 960 * np.sort(np.append(rng.integers(0, 60, 146), [80, 80, 81, 84]))
        value = np.where(rng.random(150) < 0.1, 20, 1) * rng.normal(0, 1, 150)
        tracks = sorted(set(start))
        around = [value[[t in tracks[max(0, tracks.index(s) - 2):tracks.index(s) + 3] and abs(t - s) <= 3600
                         for t in start]] for s in start]
        away = [v - np.median(others) if len(others) >= 5 else math.nan for v, others in zip(value, around)]
        for factor in (3, 5):
            out, found = timeseries.find_outliers(start, value, factor)
            np.testing.assert_allclose(found, away)
            limit = max(1, factor * 1.4826 * np.nanmedian(np.abs(away)))
            self.assertEqual(out.tolist(), [abs(d) > limit for d in away])

    def test_outliers_beside_the_pause_of_the_schedule(self):
        start = 60 * np.array(MINUTES)
        before = np.flatnonzero(np.diff(MINUTES) == 28)
        self.assertGreater(len(before), 0)
        for outlier in (*before, *before + 1):
            value = np.where(np.arange(len(start)) == outlier, 100.0, 0.0)  # of one satellite
            self.assertEqual(np.flatnonzero(timeseries.find_outliers(start, value, 5)[0]).tolist(), [outlier])

    def test_zero_baseline_of_each_satellite(self):
        moved = common.convert(self.folder / "moved", "-labid", "YY", "-rxid", "01", "-dref", "10")
        result = call(TOOL, *moved.values(), "--", *EXPECTED.values(), "--method", "satellites", "--json")
        tracks = [track for comparison in json.loads(result.stdout)["comparisons"] for series in comparison["series"]
                  for track in series["tracks"]]
        self.assertEqual({tuple(track[2:]) for track in tracks}, {(10.0, 1, None)})
        self.assertEqual(len(tracks), sum(len(path.read_text().splitlines()) - HEADER_LINES
                                          for path in EXPECTED.values()))

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

    def test_pictures_and_what_cannot_be_compared(self):
        other = self.write("CZCC0159.025", [data_line("C05", 10, 450, 1, frc="L3B")])
        a, b = self.files
        for words, status, message in (
                ([a, "--", other], 2, "no satellite and signal in common"),
                ([a], 2, "files of two stations are needed"),
                (["--", b], 2, "files of two stations are needed"),
                ([a, "--outliers", "-1", "--", b], 2, "--outliers: -1: must be a number from 0 on"),
                ([a, "--", b, "--outliers=nan"], 2, "--outliers: nan: must be"),
                ([a, "--", b, "--elevation=inf"], 2, "--elevation: inf: must be"),
                ([a, "--", b, "--dsg=x"], 2, "--dsg: x: must be"),
                ([a, "-o", "x.gif", "--", b], 2, "must end in .png, .pdf, .svg"),
                ([a, self.folder / "no", "--", b], 1, "no: No such file"),
                ([a, "-o", self.folder / "no" / "x.png", "--", b], 2, "No such file"),
                ([a, "-o", self.folder / "mean.svg", "--", b], 0, ""),
                ([a, "--", b, "--quiet", "-o", self.folder / "each.svg", "--method", "satellites"], 0, "")):
            result = call(TOOL, *words)
            self.assertEqual(result.status, status, message)
            self.assertIn(message, result.stderr)
            self.assertNotIn("Warning", result.stderr)
        self.assertTrue(all((self.folder / name).stat().st_size > 20000 for name in ("mean.svg", "each.svg")))
        self.assertNotRegex(result.stdout, r"(?m)^\d")


if __name__ == "__main__":
    unittest.main()
