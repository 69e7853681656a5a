#!/usr/bin/env python3
"""Tests of `qmpic ratio`.

usage: ratio_test.py TOOL DATA_FOLDER [unittest arguments]
"""
import csv
import io
import json
import math
import random
import sys
import unittest

from pictures import *
from tool_test import DATA, TOOL, Case

LEFT, TOP, GAP = 16, 44, 20  # where the picture stands, and how far from it the bar


def two_components(a, b, bits=8):
    return tiff(page([[[x, y] for x, y in zip(*rows)] for rows in zip(a, b)], bits))


def rainbow(k):
    """Blue, cyan, green, yellow, red: (red, green, blue) of the ends of 256."""
    return {0: (0, 0, 255), 255: (255, 0, 0)}[k]


class Ratio(Case):
    def ratio(self, data, *options):
        """Rows of the PNG."""
        path = data if isinstance(data, type(DATA)) else self.file(data)
        run = self.run_tool("ratio", path, "-o", self.out, *options)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (0, b"", b""))
        return read_png(self.out.read_bytes())

    def shown(self, width, height, data, *options):
        rows = self.ratio(data, *options)
        return [row[LEFT:LEFT + width] for row in rows[TOP:TOP + height]]

    def colours(self, lut):
        told = json.loads(self.run_tool("luts", "--json").stdout)["tables"]
        table = next(t for t in told if t["name"] == lut)
        return [tuple(bytes.fromhex(c)) for c in table["colors"]]

    def means(self, data, *options):
        run = self.run_tool("ratio", self.file(data), "--csv", *options)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        return list(csv.DictReader(io.StringIO(run.stdout.decode())))

    PLAIN = "--numer", "0", "--denom", "1"

    def test_shows_ratios_of_0_to_2_by_the_rainbow_from_blue_to_red(self):
        shown = self.shown(4, 1, two_components([[0, 20, 40, 9]], [[10, 10, 10, 0]]), *self.PLAIN)
        self.assertEqual(shown, [[rainbow(0), rainbow(255), rainbow(255), rainbow(255)]])

    def test_takes_components_backgrounds_range_and_table(self):
        iron = self.colours("Iron")
        a, b = [[30, 60, 0]], [[15, 30, 200]]  # less 10 and 5: 10 / 20, 25 / 50, 195 / -10
        shown = self.shown(3, 1, two_components(a, b), "--numer", "1", "--denom", "0", "--background",
                           "5,10", "--range", "0.25:1.25", "--lut", "iron")
        self.assertEqual(shown, [[iron[int(0.25 * 255)], iron[int(0.25 * 255)], iron[255]]])
        shown = self.shown(1, 1, two_components([[30]], [[20]]), *self.PLAIN, "--background", "10",
                           "--lut", "iron")
        self.assertEqual(shown, [[iron[255]]])  # 20 / 10

    def test_shades_by_the_larger_signal(self):
        grey = self.colours("Iron")
        shown = self.shown(2, 1, two_components([[100, 51]], [[50, 255]]), *self.PLAIN, "--shade",
                           "--lut", "Iron")
        k = int(51 / 255 / 2 * 255)
        self.assertEqual(shown, [[tuple(c * 100 // 255 for c in grey[255]), grey[k]]])

    def test_words_are_shaded_of_the_level_of_the_brightest_hundredth(self):
        a = [[4000] + [1000] * 198 + [500]]
        shown = self.shown(200, 1, two_components(a, [[100] * 200], 16), *self.PLAIN, "--shade")
        self.assertEqual(shown[0][0], rainbow(255))
        self.assertEqual(shown[0][5], rainbow(255))  # 2 pixels are a hundredth: 1000 is full
        self.assertEqual(shown[0][199], (127, 0, 0))

    def test_shows_floats(self):
        rows = [[[0.5, 1.0], [3.0, 1.0], [0.0, 1.0]]]
        self.assertEqual(self.shown(3, 1, float_tiff(rows), *self.PLAIN, "--range", "0.5:3"),
                         [[rainbow(0), rainbow(255), rainbow(0)]])

    DYE = "kd=1,rmin=0,rmax=8,range=0.01:100"

    def test_shows_concentrations_on_a_logarithmic_scale(self):
        iron = self.colours("Iron")
        a, b = [[400, 40, 800, 0]], [[100, 100, 100, 0]]
        shown = self.shown(4, 1, two_components(a, b, 16), *self.PLAIN, "--calcium", self.DYE,
                           "--lut", "iron")
        self.assertEqual(shown, [[iron[127], iron[45], iron[191], (0, 0, 0)]])
        shown = self.shown(4, 1, two_components(a, b, 16), *self.PLAIN, "--calcium",
                           self.DYE + ",sf=10,sb=1", "--lut", "iron")
        self.assertEqual(shown[0][0], iron[191])

    def test_the_bar_beside_the_picture_goes_from_the_last_colour_down_to_the_first(self):
        for lut in "Iron", "Green Fire":
            rows = self.ratio(two_components([[1] * 7] * 300, [[1] * 7] * 300), *self.PLAIN, "--lut",
                              lut)
            x = LEFT + 7 + GAP + 12
            colours = self.colours(lut)
            self.assertEqual([rows[TOP + y][x] for y in (0, 299)],
                             [colours[int((1 - 0.5 / 300) * 255)], colours[0]])
            self.assertEqual(rows[TOP - 1][x], (255, 255, 255))
            self.assertEqual(rows[TOP + 300][x], (255, 255, 255))

    def test_the_bar_is_as_bright_as_the_signal_with_shade(self):
        rows = self.ratio(two_components([[1] * 7] * 300, [[1] * 7] * 300), *self.PLAIN, "--shade")
        left = LEFT + 7 + GAP
        reds = [rows[TOP][left + x][0] for x in range(24)]
        self.assertEqual(reds, sorted(reds))
        self.assertLess(reds[0], 20)
        self.assertGreaterEqual(reds[-1], 250)

    def test_ticks_of_the_scale_stand_where_their_values_do(self):
        rows = self.ratio(two_components([[1]], [[1]]), *self.PLAIN, "--range", "0:2")
        x = LEFT + 1 + GAP + 24 + 2
        ticks = [y - TOP for y in range(len(rows)) if sum(rows[y][x]) < 500]
        self.assertEqual(len(ticks), 5)  # 0, 0.5, 1, 1.5, 2 on 160 rows
        for y, expected in zip(ticks, (0, 40, 80, 120, 159)):
            self.assertLessEqual(abs(y - expected), 1)

    def test_means_of_each_page_under_a_mask(self):
        pages = [two_components([[10 * k, 7, 9]], [[10, 0, 3]]) for k in (1, 2, 3)]
        rows = [[[[10 * k, 10], [7, 0], [9, 3]]] for k in (1, 2, 3)]
        series = tiff(*[page(r, 8) for r in rows])
        self.assertEqual(len(pages), 3)
        means = self.means(series, *self.PLAIN)
        self.assertEqual([row["page"] for row in means], ["0", "1", "2"])
        self.assertEqual([float(row["mean_ratio"]) for row in means], [2, 2.5, 3])
        self.assertEqual([(row["pixels"], row["dark_pixels"]) for row in means], [("2", "1")] * 3)
        mask = self.folder / "mask.png"
        mask.write_bytes(png([[[255], [255], [0]]]))
        means = self.means(series, *self.PLAIN, "--mask", mask, "--background", "0,5")
        self.assertEqual([float(row["mean_ratio"]) for row in means], [2, 4, 6])
        mask.write_bytes(png([[[0], [1], [0]]]))
        self.assertEqual([(row["mean_ratio"], row["pixels"]) for row in
                          self.means(series, *self.PLAIN, "--mask", mask)], [("", "0")] * 3)

    def test_the_real_pictures_have_the_ratios_that_are_known_of_them(self):
        for name, low, high in (("ratio_ph_2ch_8bit_256x256.tif", 1.0, 1.3),
                                ("ratio_dye_2ch_8bit_512x512.tif", 1.0, 1.6)):
            run = self.run_tool("ratio", DATA / name, "--csv", "--numer", "1", "--denom", "0",
                                "--background", "0,8")
            self.assertEqual((run.returncode, run.stderr), (0, b""))
            _, samples = read_tiff((DATA / name).read_bytes())
            ratios = [b / (a - 8) for row in samples for a, b in row if a > 8]
            mean = float(next(csv.DictReader(io.StringIO(run.stdout.decode())))["mean_ratio"])
            self.assertAlmostEqual(mean, math.fsum(ratios) / len(ratios), places=9)

    def test_what_cannot_be_done_is_said_in_a_line(self):
        picture = self.file(two_components([[1, 2]], [[3, 4]]))
        out = "-o", self.out
        fails = lambda text, *options, code=2: self.assert_fails(code, text, "ratio", picture,
                                                                 *options)
        fails("--numer", "--denom", "1", *out)
        fails("--output and --csv", *self.PLAIN)
        fails("no component 2: the last is 1", "--numer", "2", "--denom", "1", *out)
        fails("--denom: no component 9", "--numer", "0", "--denom", "9", *out)
        fails("--background", *self.PLAIN, *out, "--background", "1,2,3")
        fails("bytes, up to 255", *self.PLAIN, *out, "--background", "256")
        fails("LOW < HIGH", *self.PLAIN, *out, "--range", "2:1")
        fails("no colour table 'nothing'", *self.PLAIN, *out, "--lut", "nothing")
        fails("--mask", *self.PLAIN, *out, "--mask", picture)
        fails("replace the picture", *self.PLAIN, "-o", picture)
        for text, dye in (("kd is wanted", "rmin=0,rmax=8,range=1:2"), ("range is wanted", "kd=1,rmin=0,rmax=8"),
                          ("no 'k'", "k=1"), ("'x' is not a number", "kd=x"), ("KEY=VALUE", "kd"),
                          ("kd has to be above 0", "kd=0,rmin=0,rmax=8,range=1:2"),
                          ("begin above 0", "kd=1,rmin=0,rmax=8,range=0:2")):
            fails(text, *self.PLAIN, *out, "--calcium", dye)
        fails("of its own", *self.PLAIN, *out, "--calcium", self.DYE, "--shade")
        mask = self.folder / "mask.png"
        csv_of = lambda rows: mask.write_bytes(png(rows)) and ("--csv", "--mask", mask)
        fails("the mask is empty", *self.PLAIN, *csv_of([[[0], [0]]]), code=1)
        fails("3 x 1 pixels, and the picture 2 x 1", *self.PLAIN, *csv_of([[[1], [0], [0]]]), code=1)
        fails("No such file", *self.PLAIN, "--csv", "--mask", self.folder / "none", code=1)
        self.assertFalse(self.out.exists())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[3:])
