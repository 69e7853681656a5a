#!/usr/bin/env python3
"""Tests of `qmpic coloc`.

usage: coloc_test.py TOOL DATA_FOLDER [unittest arguments]
"""
import json
import math
import struct
import sys
import unittest

from pictures import *
from tool_test import DATA, Case, random_rows

KEYS = ["pearson", "overlap", "k1", "k2", "m1", "m2", "mean_a", "mean_b", "denominator"]
WHITE, BLACK = (255, 255, 255), (0, 0, 0)
PAIRS = {"cells_3ch_16bit_512x512.tif": ("1,2", 0.932), "envelope_2ch_12bit_476x420.tif": ("0,1", 0.547),
         "golgi_2ch_12bit_204x220.tif": ("0,1", 0.157)}


def pixels_of(rows, channels=(0, 1), mask=None):
    return [(p[channels[0]], p[channels[1]]) for y, row in enumerate(rows)
            for x, p in enumerate(row) if mask is None or mask[y][x][0] != 0]


def above(pairs, thresholds):
    return [tuple(max(v - t, 0) for v, t in zip(pair, thresholds)) for pair in pairs]


def nine(pairs):
    """By the definitions, in whole numbers as far as they go."""
    n = len(pairs)
    a, b = sum(p for p, q in pairs), sum(q for p, q in pairs)
    aa, bb, ab = (sum(p * p for p, q in pairs), sum(q * q for p, q in pairs),
                  sum(p * q for p, q in pairs))
    denominator = math.sqrt((aa * n - a * a) * (bb * n - b * b)) / n
    return [(ab * n - a * b) / n / denominator, ab / math.sqrt(aa * bb), ab / aa, ab / bb,
            sum(p for p, q in pairs if q) / a, sum(q for p, q in pairs if p) / b, a / n, b / n,
            denominator]


def resembling_rows(width, height, top, components=3):
    rows = random_rows(width, height, components, top)
    for row in rows:
        for p in row:
            p[1] = (p[0] * 2 + p[1]) // 3
    return rows


class Coloc(Case):
    def coloc(self, picture, *options):
        run = self.run_tool("coloc", picture, "--json", *options)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        return json.loads(run.stdout)

    def assert_numbers(self, told, pairs):
        for key, want in zip(KEYS, nine(pairs)):
            self.assertAlmostEqual(told[key], want, delta=1e-11 * max(1, abs(want)), msg=key)

    def test_the_nine_numbers(self):
        for top, bits in ((255, 8), (4000, 16), (65535, 16)):
            rows = resembling_rows(37, 21, top)
            picture = self.file(tiff(page(rows, bits)))
            for channels in ((0, 1), (1, 0), (2, 1), (1, 1)):
                told = self.coloc(picture, "--channels", "%d,%d" % channels)
                self.assertEqual((told["channels"], told["thresholds"], told["pixels"]),
                                 (list(channels), [0, 0], 37 * 21))
                self.assert_numbers(told, pixels_of(rows, channels))

    def test_a_channel_with_itself_and_with_its_negative(self):
        rows = [[[p[0], 255 - p[0]] for p in row] for row in random_rows(30, 30, 1, 255)]
        picture = self.file(tiff(page(rows, 8)))
        self.assertAlmostEqual(self.coloc(picture, "--channels", "0,0")["pearson"], 1, delta=1e-12)
        self.assertAlmostEqual(self.coloc(picture, "--channels", "0,1")["pearson"], -1, delta=1e-12)

    def test_thresholds_are_taken_off(self):
        rows = resembling_rows(40, 30, 3000)
        picture = self.file(tiff(page(rows, 16)))
        told = self.coloc(picture, "--channels", "0,1", "--threshold", "900,1200")
        self.assertEqual(told["thresholds"], [900, 1200])
        self.assert_numbers(told, above(pixels_of(rows), (900, 1200)))

    def test_otsu_thresholds_are_those_of_stats(self):
        picture = DATA / "golgi_2ch_12bit_204x220.tif"
        stats = json.loads(self.run_tool("stats", picture, "--json").stdout)["samples"]
        told = self.coloc(picture, "--channels", "1,0", "--threshold", "otsu")
        self.assertEqual(told["thresholds"], [stats[1]["otsu"][0][0], stats[0]["otsu"][0][0]])

    def test_a_mask_leaves_pixels_out(self):
        rows = resembling_rows(40, 30, 3000)
        mask = [[[(x * y) % 3 * 100] for x in range(40)] for y in range(30)]
        told = self.coloc(self.file(tiff(page(rows, 16))), "--channels", "0,1", "--threshold",
                          "900,1200", "--mask", self.file(png(mask), "mask"))
        chosen = pixels_of(rows, mask=mask)
        self.assertEqual(told["pixels"], len(chosen))
        self.assert_numbers(told, above(chosen, (900, 1200)))

    def test_text_has_every_number(self):
        rows = resembling_rows(9, 9, 255)
        picture = self.file(tiff(page(rows, 8)))
        told = self.coloc(picture, "--channels", "0,1")
        run = self.run_tool("coloc", picture, "--channels", "0,1")
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        lines = run.stdout.decode().splitlines()
        self.assertEqual(len(lines), 12)
        for key, line in zip(KEYS, lines[3:]):
            self.assertEqual(line.split()[-1], "%.6g" % told[key])

    def test_an_empty_channel_is_told_and_not_divided_by(self):
        picture = self.file(tiff(page([[[1, 0], [2, 0]]], 8)))
        told = self.coloc(picture, "--channels", "0,1")
        self.assertEqual([told[key] for key in KEYS], [0, 0, 0, 0, 0, 0, 1.5, 0, 0])

    # ----- The map ----------------------------------------------------------------------------------

    def test_the_map_is_a_tiff_of_floats(self):
        rows = resembling_rows(33, 20, 3000)
        mask = [[[(x + y) % 4 * 80] for x in range(33)] for y in range(20)]
        picture, mask_file = self.file(tiff(page(rows, 16))), self.file(png(mask), "mask")
        out = self.folder / "map.tif"
        for options, chosen in (([], None), (["--mask", mask_file], mask)):
            told = self.coloc(picture, "--channels", "0,1", "--threshold", "500,700", "--map", out,
                              *options)
            tags, found = read_tiff(out.read_bytes())
            self.assertEqual((tags[258], tags[277], tags[339]), ([32], [1], [3]))
            for y, row in enumerate(rows):
                for x, p in enumerate(row):
                    a, b = max(p[0] - 500, 0), max(p[1] - 700, 0)
                    want = abs((b - told["mean_b"]) * (a - told["mean_a"]) / told["denominator"])
                    if chosen is not None and chosen[y][x][0] == 0:
                        want = 0
                    value = struct.unpack("<f", struct.pack("<I", found[y][x][0]))[0]
                    self.assertAlmostEqual(value, want, delta=1e-6 * want)
        run = self.run_tool("render", out, "-o", self.out)
        self.assertEqual(run.returncode, 0, run.stderr)

    # ----- The scatter plot -------------------------------------------------------------------------

    def bin_colour(self, shot, scatter, a, b):
        """The colour of the bin of values a and b, in its middle."""
        step = scatter["values_per_bin"]
        x = scatter["left"] + (a // step + 0.5) * scatter["cell_x"]
        y = scatter["bottom"] - (b // step + 0.5) * scatter["cell_y"]
        return shot[int(y)][int(x)]

    def test_the_plot_shows_the_pairs_and_no_others(self):
        for top, bits in ((255, 8), (4000, 16)):
            rows = [[[x * top // 19, top if x == 3 else x * top // 38] for x in range(20)]
                    for _ in range(5)]
            rows[0][0] = [top // 2, 0]  # one pixel; there are four or five of the others
            told = self.coloc(self.file(tiff(page(rows, bits))), "--channels", "0,1", "--scatter",
                              self.out)
            scatter, shot = told["scatter"], read_png(self.out.read_bytes())
            self.assertEqual((scatter["file"], scatter["most"]), (str(self.out), 5))
            self.assertEqual(scatter["values_per_bin"], 1 if bits == 8 else 16)
            single = self.bin_colour(shot, scatter, top // 2, 0)
            for x in range(1, 20):
                colour = self.bin_colour(shot, scatter, *rows[1][x])
                self.assertNotEqual(colour, BLACK)
                self.assertGreater(sum(colour), sum(single))
            for a, b in ((top, 0), (0, top), (top // 2, top * 3 // 4)):
                self.assertEqual(self.bin_colour(shot, scatter, a, b), BLACK)

    def test_thresholds_stand_in_the_plot(self):
        rows = [[[v, 250 - v] for v in range(0, 250, 5)]]
        picture = self.file(tiff(page(rows, 8)))
        lines = []
        for options in ([], ["--threshold", "99,0"], ["--threshold", "0,149"]):
            told = self.coloc(picture, "--channels", "0,1", "--scatter", self.out, *options)
            shot, scatter = read_png(self.out.read_bytes()), told["scatter"]
            x = round(scatter["left"] + 100 * scatter["cell_x"])
            y = round(scatter["bottom"] - 150 * scatter["cell_y"])
            column = [shot[row][x][0] > 100 for row in range(int(scatter["top"]), int(scatter["bottom"]))]
            line = [c[0] > 100 for c in shot[y][int(scatter["left"]):int(scatter["right"])]]
            lines.append((sum(column) > 150, sum(line) > 150))
        self.assertEqual(lines, [(False, False), (True, False), (False, True)])

    def test_the_plot_is_that_of_the_mask(self):
        rows = [[[200, 10], [100, 100]]]
        mask = self.file(png([[[0], [1]]]), "mask")
        told = self.coloc(self.file(tiff(page(rows, 8))), "--channels", "0,1", "--scatter",
                          self.out, "--mask", mask)
        shot = read_png(self.out.read_bytes())
        self.assertEqual(self.bin_colour(shot, told["scatter"], 200, 10), BLACK)
        self.assertNotEqual(self.bin_colour(shot, told["scatter"], 100, 100), BLACK)

    # ----- Real pictures ----------------------------------------------------------------------------

    def test_high_medium_and_low_colocalization(self):
        for name, (channels, pearson) in PAIRS.items():
            told = self.coloc(DATA / name, "--channels", channels)
            self.assertAlmostEqual(told["pearson"], pearson, delta=0.0006, msg=name)

    # ----- Errors -----------------------------------------------------------------------------------

    def test_one_line_says_what_is_wrong(self):
        picture = self.file(tiff(page(resembling_rows(8, 6, 255), 8)))
        fails = [(2, "--channels", ["--channels", text]) for text in
                 ("0", "0,1,2", "0,3", "a,1", "0,-1", "")]
        fails += [(2, "--channels", [])]
        fails += [(2, "--threshold", ["--channels", "0,1", "--threshold", text]) for text in
                  ("5", "1,2,3", "x,1", "-1,0", "1.5,2", "65536,0", "Otsu", "nan,1")]
        fails += [(2, "--scatter", ["--channels", "0,1", "--scatter", picture]),
                  (2, "--map", ["--channels", "0,1", "--map", picture])]
        small, empty, colour = (self.file(png([[[9]]]), "small"),
                                self.file(png([[[0]] * 8] * 6), "empty"),
                                self.file(png([[[1, 2, 3]] * 8] * 6, colour=RGB), "colour"))
        fails += [(1, "1 x 1", ["--channels", "0,1", "--mask", small]),
                  (1, "selects no pixel", ["--channels", "0,1", "--mask", empty]),
                  (1, "not a mask", ["--channels", "0,1", "--mask", colour]),
                  (1, "missing", ["--channels", "0,1", "--mask", self.folder / "missing"])]
        for code, text, options in fails:
            with self.subTest(options=options):
                self.assert_fails(code, text, "coloc", picture, *options)
        flat = self.file(tiff(page([[[1, 2], [1, 3]]], 8)), "flat")
        self.assert_fails(1, "alike", "coloc", flat, "--channels", "0,1", "--threshold", "otsu")
        self.assert_fails(1, "no map", "coloc", flat, "--channels", "0,1", "--map", self.out)
        self.assertFalse(self.out.exists())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
