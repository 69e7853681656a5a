#!/usr/bin/env python3
"""Tests of `qmpic focus`.

usage: focus_test.py TOOL DATA_FOLDER [unittest arguments]
"""
import csv
import io
import json
import math
import sys
import unittest

from pictures import *
from tool_test import DATA, Case, random_rows

NAMES = ["energy", "gradient", "multiscale", "noise", "mean", "autocorrelation"]
WIDEFIELD = DATA / "focus_widefield_15z_16bit_133x130.tif"
CONFOCAL = DATA / "focus_confocal_15z_16bit_133x130.tif"


def plane(rows, component=0):
    return [[p[component] for p in row] for row in rows]


def gradient(p, per_energy, sx=1, sy=1):
    pairs = [(row[x], row[x + 1]) for row in p[::sy] for x in range(0, len(row) - 1, sx)]
    squares = sum((b - a) ** 2 for a, b in pairs)
    return math.sqrt(squares / (sum(a * a for a, _ in pairs) if per_energy else len(pairs)))


def noise(p):
    mask = [(0, 0, 1), (1, 0, -2), (2, 0, 1), (0, 1, -2), (1, 1, 4), (2, 1, -2), (0, 2, 1),
            (1, 2, -2), (2, 2, 1)]
    w, h = len(p[0]) - 2, len(p) - 2
    return sum(abs(sum(k * p[y + j][x + i] for i, j, k in mask))
               for y in range(h) for x in range(w)) / (w * h) / 100


def multiscale(p, scale):
    spots = [(x, y) for y in range(0, len(p) - 16, 16) for x in range(0, len(p[0]) - 16, 16)]
    return sum((p[y][x] - p[y][x + d]) ** 2 + (p[y][x] - p[y + d][x]) ** 2
               for x, y in spots for d in (1, 2, 4, 8, 16)) / (len(spots) * 10 * scale)


def mean(p, top):
    return sum(map(sum, p)) / (len(p) * len(p[0]) * top)


def autocorrelation(p):
    return sum(r[0] * r[1] + sum((r[x - 1] - r[x - 2]) * r[x] for x in range(2, len(r)))
               for r in p) / (len(p) * len(p[0]))


class Focus(Case):
    def focus(self, *arguments):
        run = self.run_tool("focus", *arguments, "--json")
        self.assertEqual((run.returncode, run.stderr), (0, b""), run.stderr)
        return json.loads(run.stdout)

    def series(self, bits=16, width=33, height=19, count=3):
        """Planes and a file that holds them."""
        planes = [random_rows(width, height, 1, 2 ** bits - 1) for _ in range(count)]
        return planes, self.file(tiff(*[page(rows, bits) for rows in planes]), "series.tif")

    def assert_close(self, found, expected):
        self.assertLess(abs(found - expected), 1e-12 * max(abs(expected), 1), (found, expected))

    def test_every_criterion_is_its_formula(self):
        for bits in 8, 16:
            planes, path = self.series(bits)
            found = self.focus(path)
            self.assertEqual(len(found["planes"]), 3)
            for k, rows in enumerate(planes):
                p, of = plane(rows), found["planes"][k]
                self.assertEqual((of["file"], of["page"]), (str(path), k))
                self.assert_close(of["energy"], gradient(p, True))
                self.assert_close(of["gradient"], gradient(p, False))
                self.assert_close(of["multiscale"], multiscale(p, 256 if bits == 8 else 65536))
                self.assert_close(of["noise"], noise(p))
                self.assert_close(of["mean"], mean(p, 2 ** bits - 1))
                self.assert_close(of["autocorrelation"], autocorrelation(p))
            for name in NAMES:
                values = [of[name] for of in found["planes"]]
                self.assertEqual(found["sharpest"][name], values.index(max(values)))

    def test_one_criterion_and_steps(self):
        planes, path = self.series()
        found = self.focus(path, "--criterion", "gradient", "--step", "3,2")
        self.assertEqual(list(found["sharpest"]), ["gradient"])
        for rows, of in zip(planes, found["planes"]):
            self.assertEqual(set(of), {"file", "page", "gradient"})
            self.assert_close(of["gradient"], gradient(plane(rows), False, 3, 2))

    def test_files_are_planes_too(self):
        pictures = [random_rows(20, 20, 1, 255) for _ in range(3)]
        paths = [self.file(png(pictures[0]), "a.png"), self.file(pnm(pictures[1], 255), "b.pgm"),
                 self.file(tiff(page(pictures[2], 8)), "c.tif")]
        found = self.focus(*paths)
        self.assertEqual([of["file"] for of in found["planes"]], list(map(str, paths)))
        for rows, of in zip(pictures, found["planes"]):
            self.assert_close(of["noise"], noise(plane(rows)))

    def test_components(self):
        rows = random_rows(40, 30, 3, 255)
        path = self.file(png(rows, colour=RGB))
        for c in range(3):
            of = self.focus(path, "--component", c)["planes"][0]
            self.assert_close(of["gradient"], gradient(plane(rows, c), False))
            self.assert_close(of["autocorrelation"], autocorrelation(plane(rows, c)))
        of = self.focus(path)["planes"][0]
        cut = [[sum(p) // 3 for p in row] for row in rows]
        self.assert_close(of["gradient"], gradient(cut, False))
        self.assert_close(of["autocorrelation"],
                          sum(autocorrelation(plane(rows, c)) for c in range(3)) / 3)
        self.assert_close(of["multiscale"],
                          sum(multiscale(plane(rows, c), 1) for c in range(3)) / 3)

    def test_depth_scales_the_mean_alone(self):
        _, path = self.series(16)
        rows = [[[s % 4096 for s in p] for p in row] for row in random_rows(30, 30, 1, 65535)]
        path = self.file(tiff(page(rows)), "words.tif")
        full, twelve = self.focus(path), self.focus(path, "--bits", 12)
        self.assertEqual((full["significant_bits"], twelve["significant_bits"]), (16, 12))
        for name in NAMES:
            a, b = full["planes"][0][name], twelve["planes"][0][name]
            self.assert_close(b, a * 65535 / 4095 if name == "mean" else a)

    def test_levels(self):
        dot = [[[1000 if (x, y) == (2, 2) else 0] for x in range(6)] for y in range(6)]
        path = self.file(tiff(page(dot)))
        of = self.focus(path, "--criterion", "noise", "--levels", "0:1")["planes"][0]
        self.assert_close(of["noise"], 1000 * 8 / 20 / 100)

    def test_floats(self):
        rows = [[[float(s[0]) / 8] for s in row] for row in random_rows(30, 20, 1, 255)]
        found = self.focus(self.file(float_tiff(rows)))
        of = found["planes"][0]
        self.assert_close(of["energy"], gradient(plane(rows), True))
        self.assertLess(abs(of["gradient"] / gradient(plane(rows), False) - 1), 1e-6)
        self.assert_close(of["multiscale"], multiscale(plane(rows), 1))
        self.assert_close(of["mean"], mean(plane(rows), 1))
        self.assertEqual((of["noise"], of["autocorrelation"]), (None, None))
        self.assertEqual((found["sharpest"]["noise"], found["sharpest"]["mean"]), (None, 0))
        self.assert_fails(2, "does not measure floats", "focus", self.folder / "picture",
                          "--criterion", "noise")

    def test_csv_and_text(self):
        _, path = self.series(count=12)
        found = self.focus(path)
        run = self.run_tool("focus", path, "--csv")
        table = list(csv.DictReader(io.StringIO(run.stdout.decode())))
        self.assertEqual(list(table[0]), ["plane", "file", "page", *NAMES])
        for k, (row, of) in enumerate(zip(table, found["planes"], strict=True)):
            self.assertEqual((row["plane"], row["file"], row["page"]), (str(k), str(path), str(k)))
            for name in NAMES:
                self.assertEqual(float(row[name]), of[name])
        text = self.run_tool("focus", path).stdout.decode()
        for name in NAMES:
            self.assertRegex(text, rf"(?m)^{name} +plane {found['sharpest'][name]} is the sharpest")
        self.assertEqual(text.count("*"), len(NAMES))

    def test_small_pictures(self):
        path = self.file(png(random_rows(16, 16, 1, 255)))
        of = self.focus(path)["planes"][0]
        self.assertIsNone(of["multiscale"])
        self.assertIsNotNone(of["noise"])
        self.assert_fails(2, "at least 17 x 17 pixels", "focus", path, "--criterion", "multiscale")
        self.assert_fails(2, "at least 65 x 65 pixels", "focus", path, "--criterion", "noise",
                          "--levels", "0:5")
        narrow = self.file(png(random_rows(2, 5, 1, 255)), "narrow")
        self.assert_fails(2, "at least 3 x 1 pixels", "focus", narrow, "--criterion",
                          "autocorrelation")
        one = self.file(png(random_rows(1, 1, 1, 255)), "one")
        self.assertEqual({name for name in NAMES if self.focus(one)["planes"][0][name] is not None},
                         {"mean"})

    def test_what_makes_no_sense(self):
        _, path = self.series()
        for options, text in [(["--criterion", "sharp"], "is none"),
                              (["--step", "0,1"], "--step"), (["--step", "1"], "--step"),
                              (["--step", "a,b"], "--step"), (["--levels", "2:1"], "--levels"),
                              (["--levels", "0:6"], "--levels"), (["--levels", "x"], "--levels"),
                              (["--component", "1"], "no component 1"),
                              (["--component", "0,1"], "--component"),
                              (["--component", "red"], "--component"),
                              (["--plot", path], "replace"), (["--best", path], "replace")]:
            self.assert_fails(2, text, "focus", path, *options)
        self.assert_fails(2, "FILES", "focus")
        self.assert_fails(1, "none.tif", "focus", path, self.folder / "none.tif")
        for other in [png(random_rows(33, 20, 1, 255)), png(random_rows(33, 19, 1, 255)),
                      png(random_rows(33, 19, 3, 255), colour=RGB)]:
            self.assert_fails(1, "another size or kind", "focus", path, self.file(other, "other"))

    def test_sharp_planes_of_both_series(self):
        for path, sharp in (WIDEFIELD, 6), (CONFOCAL, 7):
            found = self.focus(path)
            self.assertEqual(len(found["planes"]), 15)
            for name in "gradient", "autocorrelation":
                self.assertEqual(found["sharpest"][name], sharp, (path.name, name))

    def test_plot(self):
        plot = self.folder / "plot.png"
        found = self.focus(WIDEFIELD, "--plot", plot)
        axes, pixels = found["plot"], read_png(plot.read_bytes())
        self.assertEqual((axes["width"], axes["height"]), (len(pixels[0]), len(pixels)))
        at = lambda k: round(axes["left"] + (k + 0.5) * (axes["right"] - axes["left"]) / 15)
        self.assertEqual(read_png(plot.read_bytes())[1][1], (255, 255, 255))
        # The curve of one criterion alone: its ink at its points, from the least to the greatest.
        found = self.focus(WIDEFIELD, "--plot", plot, "--criterion", "gradient")
        pixels = read_png(plot.read_bytes())
        values = [of["gradient"] for of in found["planes"]]
        for k, value in enumerate(values):
            part = (value - min(values)) / (max(values) - min(values))
            y = round(axes["bottom"] - part * (axes["bottom"] - axes["top"]))
            self.assertEqual(pixels[y][at(k)], (0xFF, 0x7F, 0x0E), k)

    def test_best(self):
        best, shown = self.folder / "best.png", self.folder / "shown.png"
        found = self.focus(CONFOCAL, "--best", best)
        self.assertEqual(found["best"]["plane"], 7)
        self.run_tool("render", CONFOCAL, "--page", 7, "-o", shown)
        self.assertEqual(read_png(best.read_bytes()), read_png(shown.read_bytes()))
        rows = random_rows(30, 20, 3, 255)
        path = self.file(png(rows, colour=RGB))
        for options, channels in ([], []), (["--component", 1], ["--channels", 1]):
            self.focus(path, "--best", best, *options)
            self.run_tool("render", path, "-o", shown, *channels)
            self.assertEqual(read_png(best.read_bytes()), read_png(shown.read_bytes()))
        floats = self.file(float_tiff([[[s[0] / 7] for s in row] for row in random_rows(9, 9, 1, 255)]))
        self.focus(floats, "--best", best)
        self.run_tool("render", floats, "-o", shown)
        self.assertEqual(read_png(best.read_bytes()), read_png(shown.read_bytes()))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
