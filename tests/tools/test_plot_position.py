import os
import pathlib
import unittest

import numpy as np

import common
from common import EXAMPLE_LOG, TOOLS, call, run

TOOL = common.load("plot-position")
TITLES = "#time\toutcome\tused\tdegrees\tstatistic\tthreshold\tX/m\tY/m\tZ/m\teast/m\tnorth/m\tup/m\tat_fault"
NO_POSITION = "\t".join(["-"] * 10)


def epoch(second, east, north, up, outcome="consistent"):
    rest = f"9\t3.1\t27.9\t1\t2\t3\t{east:.3f}\t{north:.3f}\t{up:.3f}\t-" if east is not None else NO_POSITION
    return f"2020-06-25 {second // 3600:02d}:{second // 60 % 60:02d}:{second % 60:02d}\t{outcome}\t12\t{rest}"


class PlotPosition(common.ToolTest):
    def draw(self, lines):
        return TOOL.draw(*TOOL.read_epochs([TITLES, *lines])).axes

    def test_values_medians_and_gaps(self):
        rng = np.random.default_rng(3)
        enu = rng.normal((0.5, -20, 3), (0.3, 0.5, 1), (100, 3)).round(3)
        lines = [epoch(30 * i, *values) for i, values in enumerate(enu)]
        lines[40] = epoch(1200, None, None, None, "too few satellites")
        lines[60] = epoch(1800, 900, 900, 900, "fault not found")
        del lines[80:90]
        kept = np.delete(enu, [40, 60, *range(80, 90)], axis=0)
        axes = self.draw(lines)
        for panel, column, shift in zip(axes, kept.T, (0, -20, 0)):
            drawn = panel.lines[0].get_data()[1]
            self.assertEqual(np.flatnonzero(np.isnan(drawn)).tolist(), [40, 60, 80])
            np.testing.assert_allclose(drawn[np.isfinite(drawn)] + shift, column, atol=1e-9)
            np.testing.assert_allclose(panel.lines[1].get_data()[1][0] + shift, np.median(column), atol=1e-9)
        self.assertEqual(axes[1].get_ylabel(), "north + 20 m")
        self.assertEqual(len(axes[3].lines[1].get_data()[0]), 2)  # without a usable position

    def test_ellipse_holds_95_percent(self):
        points = np.random.default_rng(4).multivariate_normal((1, 2), [[1, 0.8], [0.8, 2]], 20000)
        outline = TOOL.ellipse(*points.T)
        turned = np.linalg.solve(np.linalg.cholesky(np.cov(points.T)), (points - points.mean(axis=0)).T)
        edge = np.linalg.solve(np.linalg.cholesky(np.cov(points.T)), outline - points.mean(axis=0)[:, None])
        radius = np.hypot(*edge)
        np.testing.assert_allclose(radius, radius[0])
        self.assertAlmostEqual(np.mean(np.hypot(*turned) < radius[0]), 0.95, delta=0.005)

    def test_refusals(self):
        cases = {"no epoch of zeltlog position": "hello\n",
                 "no epoch with": TITLES + "\n" + epoch(0, None, 0, 0, "untested"),
                 "could not convert": TITLES + "\n" + epoch(0, 1, 2, 3).replace("1.000", "x"), "no epoch": ""}
        for message, text in cases.items():
            path = self.folder / "epochs"
            path.write_text(text)
            result = call(TOOL, path, "-o", self.folder / "p.png")
            self.assertEqual(result.status, 2)
            self.assertIn(message, result.stderr)
        self.assertEqual(call(TOOL, path, "-o", "p.gif").status, 2)
        self.assertEqual(call(TOOL, self.folder / "none", "-o", "p.png").status, 2)

    @unittest.skipUnless("ZELTLOG" in os.environ, "no zeltlog with positions")
    def test_run_by_zeltlog(self):
        program = pathlib.Path(os.environ["ZELTLOG"]).resolve()
        options = ("position", "-f", EXAMPLE_LOG, "-ls", "18", "-e", "2020-06-25_00:30:00")
        path = f"{TOOLS}:{os.environ['PATH']}"
        for name, head in (("a b's.png", b"\x89PNG"), ("x.pdf", b"%PDF"), ("x.svg", b"<?xml")):
            result = run(program, *options, "--plot", self.folder / name, PATH=path)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertEqual((self.folder / name).read_bytes()[:len(head)], head)
        lines = run(program, *options, "--epochs").stdout.split("\n\n")[0].split("\n")
        self.assertEqual((lines[0], len(lines)), (TITLES, 62))
        for picture, where in (("x.gif", path), ("x.png", str(self.folder))):
            result = run(program, *options, "--plot", self.folder / picture, PATH=where + ":/usr/bin:/bin")
            self.assertEqual(result.returncode, 2)
            self.assertIn("plot-position", result.stderr)
            self.assertIn("\nThe position in use ", result.stdout)
        self.assertEqual(run(program, *options, "--json", "--epochs").returncode, 2)


if __name__ == "__main__":
    unittest.main()
