#!/usr/bin/env python3
"""Tests of what `qmpic render` does beyond levels and colours: spectra, floats, windows, masks.

usage: display_test.py TOOL DATA_FOLDER [unittest arguments]
"""
import json
import math
import os
import random
import re
import struct
import sys
import unittest

from pictures import *
from tool_test import (BLUE, CHANNEL_COLOURS, DATA, GREEN, GREY, RED, YELLOW, Case, composed,
                       random_rows)


def rgb_rows(width, height, seed=1):
    return random_rows(width, height, 3, 255, seed)


def flat(rows):
    return [s for row in rows for p in row for s in p]


class Close(Case):
    def assert_close(self, found, want, most=1):
        self.assertEqual((len(found), len(found[0])), (len(want), len(want[0])))
        self.assertLessEqual(max(abs(a - b) for a, b in zip(flat(found), flat(want))), most)


# ----- Windows --------------------------------------------------------------------------------------

def places(count, start, flip):
    """Virtual coordinates of a window's pixels."""
    return [start + (count - 1 - i if flip else i) for i in range(count)]


def nearest(v, source, virtual):
    return min(math.floor((v + 0.5) * (source / virtual)), source - 1)


def quick(rows, size, window, flip_x=False, flip_y=False):
    x, y, width, height = window
    return [[rows[nearest(v, len(rows), size[1])][nearest(u, len(rows[0]), size[0])]
             for u in places(width, x, flip_x)] for v in places(height, y, flip_y)]


def triangle(x):
    return max(1 - abs(x), 0)


def spline(x):
    if abs(x) < 0.5:
        return 0.75 - x * x
    return (abs(x) - 1.5) ** 2 * 0.5 if abs(x) < 1.5 else 0


def weights(f, support, source, virtual, start, count, flip):
    """For each pixel of a line [(sample, weight)], of which the weights add up to 1024."""
    c = source / virtual
    r = (math.ceil(support * c) if c > 1 else support) * 0.5
    lines = []
    for i in range(count):
        i = count - 1 - i if flip else i
        p = i * c - 0.5 + c * 0.5 + start * c
        line = []
        for j in range(math.floor(p - r - 2), math.ceil(p + r + 2) + 1):
            w = f(j - p) if c <= 1 else f((j - p) / c) / c
            if w != 0:
                line.append([min(max(j, 0), source - 1), int(w * 1024 + 0.5)])
        total = sum(w for _, w in line)
        for pair in line:
            pair[1] = pair[1] * 1024 // total
        line[len(line) // 2][1] += 1024 - sum(w for _, w in line)
        lines.append(line)
    return lines


def filtered(rows, size, window, f, support, flip_x=False, flip_y=False):
    x, y, width, height = window
    across = weights(f, support, len(rows[0]), size[0], x, width, flip_x)
    down = weights(f, support, len(rows), size[1], y, height, flip_y)
    wide = [[[sum(row[j][c] * w for j, w in line) >> 10 for c in range(3)] for line in across]
            for row in rows]
    return [[tuple(sum(wide[j][i][c] * w for j, w in line) >> 10 for c in range(3))
             for i in range(width)] for line in down]


class Windows(Case):
    def shown(self, rows, *options):
        return self.render(png(rows, 8, RGB), *options, levels=None)

    def test_a_window_is_a_part_of_the_picture(self):
        rows = rgb_rows(23, 17)
        for x, y, w, h in [(0, 0, 23, 17), (5, 3, 7, 9), (22, 16, 1, 1), (0, 4, 23, 1)]:
            self.assertEqual(self.shown(rows, "--window", f"{x},{y},{w},{h}"),
                             [[tuple(p) for p in row[x:x + w]] for row in rows[y:y + h]])

    def test_zoom_takes_the_nearest_samples(self):
        rows = rgb_rows(23, 17)
        for zoom in ["2", "3", "1.7", "0.5", "0.3", "1", "0.01"]:
            size = [max(1, math.floor(n * float(zoom) + 0.5)) for n in (23, 17)]
            self.assertEqual(self.shown(rows, "--zoom", zoom, "--mode", "quick"),
                             [[tuple(p) for p in row] for row in quick(rows, size, (0, 0, *size))])
        self.assertEqual(self.shown(rows, "--zoom", "4"), quick_tuples(rows, (92, 68)))

    def test_a_window_lies_in_the_stretched_picture(self):
        rows = rgb_rows(23, 17)
        for window in [(40, 30, 6, 4), (0, 0, 46, 34), (7, 11, 25, 13)]:
            found = self.shown(rows, "--zoom", "2", "--window", ",".join(map(str, window)))
            self.assertEqual(found, [[tuple(p) for p in row]
                                     for row in quick(rows, (46, 34), window)])

    def test_a_frame_keeps_the_proportions(self):
        rows = rgb_rows(40, 20)
        for frame, size in [("10x10", (10, 5)), ("100x10", (20, 10)), ("80x80", (80, 40)),
                            ("40x20", (40, 20)), ("1x1", (1, 1))]:
            found = self.shown(rows, "--zoom", f"fit:{frame}", "--mode", "quick")
            self.assertEqual(found, quick_tuples(rows, size))

    def test_linear_and_spline_filter(self):
        rows = rgb_rows(23, 17)
        for mode, f, support in [("linear", triangle, 2), ("spline", spline, 3)]:
            for zoom in ["2.5", "0.4", "1.1", "0.9"]:
                size = [math.floor(n * float(zoom) + 0.5) for n in (23, 17)]
                for options, flip_x, flip_y in [([], False, False), (["--flip", "xy"], True, True)]:
                    self.assertEqual(
                        self.shown(rows, "--zoom", zoom, "--mode", mode, *options),
                        filtered(rows, size, (0, 0, *size), f, support, flip_x, flip_y))
                window = (1, 2, size[0] - 3, size[1] - 3)
                self.assertEqual(
                    self.shown(rows, "--zoom", zoom, "--mode", mode, "--window",
                               ",".join(map(str, window))),
                    filtered(rows, size, window, f, support))

    def test_without_a_mode_it_is_linear_where_it_becomes_smaller(self):
        rows = rgb_rows(23, 17)
        self.assertEqual(self.shown(rows, "--zoom", "0.5"),
                         filtered(rows, (12, 9), (0, 0, 12, 9), triangle, 2))
        self.assertEqual(self.shown(rows, "--zoom", "1.5"), quick_tuples(rows, (35, 26)))

    def test_large_pictures_much_reduced_are_means(self):
        # Blocks of 4 x 4 of equal samples: 1024 x 1024 pixels to a quarter.
        small = random_rows(256, 256, 1, 255)
        rows = [[p for p in row for _ in range(4)] for row in small for _ in range(4)]
        found = self.render(pnm(rows, 255), "--zoom", "0.25", "--levels", "0:255")
        self.assertEqual(found, [[(p[0],) * 3 for p in row] for row in small])

    def test_flips(self):
        rows = [[tuple(p) for p in row] for row in rgb_rows(23, 17)]
        mirrored = [row[::-1] for row in rows]
        self.assertEqual(self.shown(rows, "--flip", "x"), mirrored)
        self.assertEqual(self.shown(rows, "--flip", "y"), rows[::-1])
        self.assertEqual(self.shown(rows, "--flip", "xy"), mirrored[::-1])
        # What is written is mirrored: the window stays where it is.
        self.assertEqual(self.shown(rows, "--flip", "x", "--window", "2,3,5,4"),
                         [row[2:7][::-1] for row in rows[3:7]])
        self.assertEqual(self.shown(rows, "--flip", "xy", "--zoom", "2", "--window", "4,2,9,7"),
                         quick(rows, (46, 34), (4, 2, 9, 7), True, True))

    def test_levels_are_those_of_the_whole_picture(self):
        rows = [[[0], [100], [200]]]
        self.assertEqual(self.render(pnm(rows, 255), "--window", "1,0,1,1"), [[(127,) * 3]])

    def test_wrong_usage(self):
        picture = self.file(png(rgb_rows(10, 8), 8, RGB))
        for option, value in [
                ("--zoom", "0"), ("--zoom", "-1"), ("--zoom", "x"), ("--zoom", "1001"),
                ("--zoom", "nan"), ("--zoom", "fit:"), ("--zoom", "fit:10"), ("--zoom", "fit:0x5"),
                ("--zoom", "fit:5x5x5"), ("--window", "0,0,11,8"), ("--window", "0,0,10,9"),
                ("--window", "10,0,1,1"), ("--window", "0,8,1,1"), ("--window", "1,1,10,1"),
                ("--window", "0,0,0,1"), ("--window", "0,0,1"), ("--window", "0,0,1,1,1"),
                ("--window", "4294967295,0,2,2"), ("--window", "x"), ("--window", "-1,0,1,1"),
                ("--mode", "cubic"), ("--flip", "z"), ("--flip", "")]:
            with self.subTest(option=option, value=value):
                self.assert_fails(2, option, "render", picture, "-o", self.out, f"{option}={value}")
        self.assert_fails(2, "--window", "render", picture, "-o", self.out, "--zoom", "2",
                          "--window", "0,0,21,16")
        self.assert_fails(2, "--zoom", "render", picture, "-o", self.out, "--zoom", "900",
                          "--max-pixels", "1000000")
        self.assertFalse(self.out.exists())
        # A window of what would be too large is none.
        self.assertEqual(self.run_tool("render", picture, "-o", self.out, "--zoom", "900",
                                       "--window", "4000,4000,20,20").returncode, 0)


def quick_tuples(rows, size):
    return [[tuple(p) for p in row] for row in quick(rows, size, (0, 0, *size))]


# ----- Masks ----------------------------------------------------------------------------------------

def overlaid(rows, mask, colour, alpha):
    return [[tuple((c * alpha + (255 - alpha) * s) // 255 for c, s in zip(colour, p)) if m else
             tuple(p) for p, m in zip(row, line)] for row, line in zip(rows, mask)]


class Overlays(Case):
    def setUp(self):
        super().setUp()
        self.mask = self.folder / "mask.png"

    def made(self, width, height, seed=3):
        source = random.Random(seed)
        mask = [[source.choice([0, 0, 1, 85, 255]) for _ in range(width)] for _ in range(height)]
        self.mask.write_bytes(png([[[m] for m in row] for row in mask]))
        return mask

    def test_pixels_of_the_mask_that_are_not_0_are_coloured(self):
        for width in [1, 7, 8, 9, 16, 31, 64, 65]:
            rows, mask = rgb_rows(width, 9), self.made(width, 9)
            for options, colour, alpha in [
                    ([], YELLOW, 128), (["--overlay-alpha", "255"], YELLOW, 255),
                    (["--overlay-color", "#102030", "--overlay-alpha", "50"], (16, 32, 48), 50),
                    (["--overlay-alpha", "0"], YELLOW, 0)]:
                self.assertEqual(
                    self.render(png(rows, 8, RGB), "--overlay", self.mask, *options, levels=None),
                    overlaid(rows, mask, colour, alpha))

    def test_the_mask_is_stretched_with_the_picture(self):
        rows, mask = rgb_rows(23, 17), self.made(23, 17)
        for zoom, size in [("2", (46, 34)), ("3.3", (76, 56)), ("0.5", (12, 9)), ("1", (23, 17))]:
            for flip in ["", "x", "y", "xy"]:
                window = (1, 2, size[0] - 2, size[1] - 3)
                options = ["--flip", flip] if flip else []
                how = (size, window, "x" in flip, "y" in flip)
                self.assertEqual(
                    self.render(png(rows, 8, RGB), "--overlay", self.mask, "--overlay-color",
                                "00FF00", "--zoom", zoom, "--mode", "quick", "--window",
                                ",".join(map(str, window)), *options, levels=None),
                    overlaid(quick(rows, *how), quick(mask, *how), GREEN, 128))

    def test_a_mask_of_threshold_over_its_picture(self):
        data = (DATA / "nuclei_1ch_8bit_512x512.tif").read_bytes()
        plain = self.render(data)
        self.assertEqual(self.run_tool("threshold", self.file(data), "--range", "60:255", "-o",
                                       self.mask).returncode, 0)
        mask = [[v >= 60 for v in data[176 + 512 * y:][:512]] for y in range(512)]
        self.assertEqual(self.render(data, "--overlay", self.mask),
                         overlaid(plain, mask, YELLOW, 128))

    def test_masks_that_do_not_fit(self):
        picture = self.file(png(rgb_rows(10, 8), 8, RGB))
        for data, text in [(png(random_rows(10, 9, 1, 255)), "10 x 9"),
                           (png(rgb_rows(10, 8), 8, RGB), "not a mask"),
                           (png(random_rows(10, 8, 1, 65535), 16), "not a mask"),
                           (b"nothing", "not a TIFF")]:
            self.mask.write_bytes(data)
            self.assert_fails(1, text, "render", picture, "-o", self.out, "--overlay", self.mask)
        self.assert_fails(1, "No such file", "render", picture, "-o", self.out, "--overlay",
                          self.folder / "none")
        self.made(10, 8)
        self.assert_fails(2, "--output", "render", picture, "-o", self.mask, "--overlay", self.mask)
        for options in [["--overlay-color", "red"], ["--overlay-alpha", "256"],
                        ["--overlay-alpha", "-1"], ["--overlay-alpha", "half"]]:
            self.assert_fails(2, options[0], "render", picture, "-o", self.out, "--overlay",
                              self.mask, *options)
        for options in [["--overlay-color", "FF0000"], ["--overlay-alpha", "5"]]:
            self.assert_fails(2, "--overlay", "render", picture, "-o", self.out, *options)
        self.assertFalse(self.out.exists())


# ----- Spectra --------------------------------------------------------------------------------------

class Spectra(Close):
    def lines(self, *lengths):
        path = self.folder / "lengths.txt"
        path.write_text("".join(f"{v}\n" for v in lengths))
        return path

    def test_bands_of_pure_colours_add_up(self):
        # 466, 523 and 620 nm are blue, green and red. A third of the greatest sum is 85 of 255,
        # which the gain, 3, brings to white.
        rows = random_rows(15, 9, 3, 255)
        found = self.render(tiff(page(rows, 8)), "--spectral", self.lines(466, 523, 620))
        self.assert_close(found, [[(p[2], p[1], p[0]) for p in row] for row in rows])

    def test_the_gain_brings_the_brightest_sum_to_white(self):
        rows = [[[0, 0, 0], [120, 0, 0], [60, 30, 0]]]
        for bits, top, scale in [(8, 255, 1), (16, 4095, 16)]:
            scaled = [[[v * scale for v in p] for p in row] for row in rows]
            found = self.render(tiff(page(scaled, bits)), "--spectral", self.lines(466, 523, 620),
                                *(["--bits", "12"] if bits == 16 else []))
            self.assert_close(found, [[(0, 0, 0), (0, 0, 255), (0, 63, 127)]])

    def test_start_and_step(self):
        # 580 nm is red 255 and green 161; the gain is that of red.
        rows = [[[0, 0, 0], [0, 0, 255], [255, 0, 0], [0, 255, 0]]]
        found = self.render(tiff(page(rows, 8)), "--spectral", "466:57")
        self.assert_close(found, [[(0, 0, 0), (255, 161, 0), (0, 0, 255), (0, 255, 0)]])
        # The other way round: 523, 466, 409 nm, and violet is darker.
        found = self.render(tiff(page(rows, 8)), "--spectral", "523:-57")
        self.assertEqual((found[0][2][0], found[0][2][2], found[0][3][:2]), (0, 0, (0, 0)))

    def test_what_is_not_seen_has_no_colour(self):
        rows = random_rows(9, 4, 5, 255)
        found = self.render(tiff(page(rows, 8)), "--spectral",
                            self.lines(200, 466, 523, 620, 900))
        self.assert_close(found, [[(p[3], p[2], p[1]) for p in row] for row in rows])

    def test_chosen_bands(self):
        rows = random_rows(9, 4, 3, 255)
        found = self.render(tiff(page(rows, 8)), "--spectral", self.lines(466, 523, 620),
                            "--channels", "2,0")
        self.assert_close(found, [[(p[2], 0, p[0]) for p in row] for row in rows])

    def test_gamma_and_percents(self):
        rows = [[[v, 0, 0] for v in range(0, 200)]]
        data, lengths = tiff(page(rows, 8)), self.lines(466, 523, 620)
        found = self.render(data, "--spectral", lengths, "--gamma", "0.5")
        self.assert_close(found, [[(0, 0, int((v / 199) ** 0.5 * 255)) for v in range(200)]])
        found = self.render(data, "--spectral", lengths, "--auto", "0:10", levels=None)
        self.assertIn([p[2] for p in found[0]].count(255), range(18, 27))

    def test_black_is_that_of_the_darkest_sums_at_every_depth(self):
        # Greys of 40 to 238 in three bands of pure colours: a sum is a third of them. A quarter of
        # 100 samples is left out, so that 90 / 3 is black, of which each band is relieved.
        lengths = self.lines(466, 523, 620)
        for bits, factor in [(8, 1), (16, 16)]:
            rows = [[[v * factor] * 3 for v in range(40, 240, 2)]]
            options = ["--bits", 12] if bits == 16 else []
            found = self.render(tiff(page(rows, bits)), "--spectral", lengths, "--auto", "25:0",
                                *options, levels=None)
            want = [[(int((v - 30) * 255 / 238),) * 3 for v in range(40, 240, 2)]]
            self.assert_close(found, want, 3)

    def test_marks(self):
        rows = [[[0, 9, 9], [9, 255, 9], [9, 9, 9]]]
        found = self.render(tiff(page(rows, 8)), "--spectral", self.lines(466, 523, 620),
                            "--mark-over", "FF0000", "--mark-under", "FFFFFF")
        self.assertEqual(found[0][:2], [GREY, RED])
        self.assertNotIn(found[0][2], [GREY, RED])

    def test_the_maize_kernel(self):
        path = DATA / "kernel_145band_12bit_43x31.tif"
        data = path.read_bytes()
        lengths = [float(v) for v in
                   (DATA / "kernel_145band_wavelengths_nm.txt").read_text().split()]
        samples = struct.unpack("<" + "H" * (43 * 31 * 145), data[784:])
        found = self.render(data, "--spectral", DATA / "kernel_145band_wavelengths_nm.txt")
        self.assertEqual((len(found), len(found[0])), (31, 43))
        self.assertEqual(len(lengths), 145)
        # Brighter where the bands of visible light are, of which red has most.
        sums = [sum(samples[p * 145 + i] for i, nm in enumerate(lengths) if 500 < nm < 700)
                for p in range(43 * 31)]
        shown = [sum(p) for row in found for p in row]
        order = sorted(range(len(sums)), key=sums.__getitem__)
        self.assertGreater(min(shown[i] for i in order[-100:]), max(shown[i] for i in order[:100]))
        self.assertEqual(max(max(p) for row in found for p in row), 255)
        mean = [sum(p[c] for row in found for p in row) for c in range(3)]
        self.assertGreater(mean[0], mean[1])
        self.assertGreater(mean[1], mean[2])

    def test_wrong_usage(self):
        picture = self.file(tiff(page(random_rows(5, 4, 3, 255), 8)))
        grey = self.file(pnm([[[1], [2]]], 255), "grey")
        for value in ["400:", ":20", "400:0", "400:x", "0:5", "-5:5", "400:1:2", "nan:5", "400:1e99",
                      "900:5"]:
            self.assert_fails(2, "--spectral", "render", picture, "-o", self.out,
                              f"--spectral={value}")
        self.assert_fails(2, "--spectral", "render", grey, "-o", self.out, "--spectral", "400:5")
        for options in [["--levels", "0:1"], ["--colors", "FF0000"], ["--lut", "1"],
                        ["--save-view", self.folder / "v"], ["--load-view", self.folder / "v"]]:
            self.assert_fails(2, "--", "render", picture, "-o", self.out, "--spectral", "400:50",
                              *options)
        self.assert_fails(2, "--channels", "render", picture, "-o", self.out, "--spectral",
                          "700:100", "--channels", "1,2")
        self.assert_fails(2, "--gamma", "render", picture, "-o", self.out, "--spectral", "400:50",
                          "--gamma", "1,2")
        for text, lengths in [("3 components", (400, 500)), ("3 components", (400,) * 4),
                              ("a line", ("x",) * 3), ("a line", ("400 500", 1, 2)),
                              ("no wavelengths", ()), ("a line", (500,) * 193),
                              ("a line", ("inf", 1, 2))]:
            self.assert_fails(1, text, "render", picture, "-o", self.out, "--spectral",
                              self.lines(*lengths))
        self.assert_fails(1, "No such file", "render", picture, "-o", self.out, "--spectral",
                          self.folder / "none")
        self.assertFalse(self.out.exists())

    def test_lines_may_end_as_on_other_systems(self):
        path = self.folder / "lengths.txt"
        path.write_bytes(b"466\r\n523 \r\n620")
        rows = random_rows(5, 4, 3, 255)
        self.assert_close(self.render(tiff(page(rows, 8)), "--spectral", path),
                          [[(p[2], p[1], p[0]) for p in row] for row in rows])


# ----- Floats ---------------------------------------------------------------------------------------

def float_rows(width, height, components, low, high, seed=1):
    source = random.Random(seed)
    rows = [[[source.uniform(low, high) for _ in range(components)] for _ in range(width)]
            for _ in range(height)]
    rows[0][0], rows[-1][-1] = [low] * components, [high] * components
    return rows


def merged(rows, how):
    """`how`: {component: (low, high, colour[, gamma])}"""
    result = []
    for row in rows:
        line = []
        for pixel in row:
            colour = [0.0, 0.0, 0.0]
            for c, (low, high, own, *gamma) in sorted(how.items()):
                part = min(max((pixel[c] - low) / (high - low), 0), 1) ** (gamma or [1])[0]
                colour = [a + part * b - a * part * b / 255 for a, b in zip(colour, own)]
            line.append(tuple(int(c) for c in colour))
        result.append(line)
    return result


class Floats(Close):
    def test_info(self):
        found = self.info(float_tiff([[[0.25, -1.5], [3.0, 1e30]]]))
        self.assertEqual((found["container_bits"], found["floats"], found["rgb"]), (32, True, False))
        self.assertEqual(found["samples"][0], {"min": 0.25, "max": 3.0, "mean": 1.625})
        self.assertEqual((found["samples"][1]["min"], found["samples"][1]["max"]), (-1.5, 1e30))
        self.assertEqual(self.info(pnm([[[1]]], 255))["floats"], False)
        run = self.run_tool("info", self.file(float_tiff([[[0.1], [0.5]]])))
        self.assertEqual(run.stdout.decode().splitlines()[4:],
                         ["container    32 bits", "significant  32 bits (floats)",
                          "component 0  min 0.1, max 0.5, mean 0.3"])

    def test_numbers_of_the_sample_picture(self):
        run = self.run_tool("info", DATA / "tissue_5ch_float_192x192.tif", "--json")
        found = json.loads(run.stdout)["samples"]
        self.assertEqual([(s["min"], s["max"], round(s["mean"], 3)) for s in found],
                         [(0, 16.50487, 2.569), (1.3239955, 20.560658, 5.605),
                          (0.22917064, 9.706353, 3.441), (4.4140067, 61.091137, 24.426),
                          (0.2432566, 7.7616606, 0.946)])

    def test_every_layout_reads_alike(self):
        rows = float_rows(37, 21, 3, -5, 5)
        want = merged(rows, {c: (-5, 5, CHANNEL_COLOURS[c]) for c in range(3)})
        for planar in [False, True]:
            for layout in [{}, {"strip": 4}, {"tile": (16, 16)}]:
                for compression in [NONE, LZW, DEFLATE]:
                    for order in "<>":
                        data = float_tiff(rows, order, planar=planar, compression=compression,
                                          **layout)
                        self.assert_close(self.render(data), want)

    def test_one_channel_is_grey_between_minimum_and_maximum(self):
        for low, high in [(0.0, 1.0), (0.001, 0.002), (-3, 200), (1000, 1001), (-9, -8), (1e20, 3e20)]:
            rows = float_rows(20, 10, 1, low, high)
            found = self.render(float_tiff(rows))
            self.assertEqual((found[0][0], found[-1][-1]), ((0, 0, 0), GREY))
            self.assert_close(found, merged(rows, {0: (low, high, GREY)}))

    def test_channels_are_merged_between_their_levels(self):
        rows = float_rows(12, 9, 4, 0, 10)
        found = self.render(float_tiff(rows), "--channels", "3,0,1", "--colors",
                            "FF8000,00FFFF,808080", "--levels", "2:5,0:20,-3.5:7.25", "--gamma",
                            "1,0.5,2")
        self.assert_close(found, merged(rows, {3: (2, 5, (255, 128, 0), 1),
                                               0: (0, 20, (0, 255, 255), 0.5),
                                               1: (-3.5, 7.25, (128, 128, 128), 2)}))

    def test_auto_leaves_out_percents_of_each_channel(self):
        # Each of 1000 values once, at 0 to 1 and at 100 to 300.
        values = list(range(1000))
        random.Random(2).shuffle(values)
        rows = [[[v / 999, 100 + v / 999 * 200] for v in values]]
        found = self.render(float_tiff(rows), "--auto", "5:10")
        low, high = 49 / 999, 900 / 999
        self.assert_close(found, merged(rows, {0: (low, high, BLUE),
                                               1: (100 + 200 * low, 100 + 200 * high, GREEN)}))
        found = self.render(float_tiff(rows), levels=None)
        low, high = 0, 999 / 999
        self.assert_close(found, merged(rows, {0: (low, high, BLUE),
                                               1: (100 + 200 * low, 100 + 200 * high, GREEN)}))

    def test_a_colour_table(self):
        tables = json.loads(self.run_tool("luts", "--json").stdout)["tables"]
        for index in [0, 1, 27]:
            strip = [tuple(bytes.fromhex(c)) for c in tables[index]["colors"]]
            rows = [[[i + 0.5] for i in range(256)]]
            found = self.render(float_tiff(rows), "--lut", index, "--levels", "0:255")
            self.assertEqual(found, [strip])
            rows = [[[9.0, i + 0.5] for i in range(256)]]
            found = self.render(float_tiff(rows), "--lut", index, "--levels", "0:255",
                                "--channels", "1")
            self.assertEqual(found, [strip])
        self.assert_fails(2, "--lut", "render", self.file(float_tiff(rows)), "-o", self.out,
                          "--lut", "1")

    def test_equal_samples_are_black(self):
        for value in [0, 5, -5, 1e-30, 1e38]:
            self.assertEqual(self.render(float_tiff([[[value]] * 3])), [[(0, 0, 0)] * 3])

    def test_what_is_no_number(self):
        nan, inf = float("nan"), float("inf")
        data = float_tiff([[[nan, 1], [1, -inf], [2, 2], [3, inf], [inf, 3], [-inf, 4]]])
        warning = rb"qmpic: warning: 5 samples are no finite numbers\n"
        rows = [[[1, 1], [1, 1], [2, 2], [3, 4], [3, 3], [1, 4]]]
        self.assert_close(self.render(data, warning=warning),
                          merged(rows, {0: (1, 3, BLUE), 1: (1, 4, GREEN)}))
        self.assertEqual(self.info(data)["samples"],
                         [{"min": 1, "max": 3, "mean": 2}, {"min": 1, "max": 4, "mean": 2.5}])
        data = float_tiff([[[1, nan]]])
        self.assert_fails(1, "component 1 holds no numbers", "render", self.file(data), "-o",
                          self.out)
        self.assertEqual(self.info(data)["samples"][1], {"min": None, "max": None, "mean": None})

    def test_windows_and_masks(self):
        rows = float_rows(9, 7, 1, 0, 1)
        mask = self.folder / "mask.png"
        mask.write_bytes(png([[[x % 2] for x in range(9)] for _ in range(7)]))
        plain = self.render(float_tiff(rows))
        found = self.render(float_tiff(rows), "--zoom", "2", "--flip", "x", "--overlay", mask)
        how = ((18, 14), (0, 0, 18, 14), True, False)
        self.assertEqual(found, overlaid(quick(plain, *how),
                                         quick([[x % 2 for x in range(9)]] * 7, *how), YELLOW, 128))

    def test_tones(self):
        # Of 1 to 100: 255 p x / (x p - x + 100), with p of 4, and by the ratio of 1 and 100.
        data = float_tiff([[[0.0], [1.0], [10.0], [50.0], [100.0], [-7.0]]])
        grey = lambda *values: [[(v, v, v) for v in values]]
        self.assertEqual(self.render(data, "--tone", "tumblin=4"), grey(0, 9, 78, 204, 255, 0))
        self.assertEqual(self.render(data, "--tone", "tumblin=1"), grey(0, 2, 25, 127, 255, 0))
        self.assertEqual(self.render(data, "--tone", "tumblin", levels=None),
                         grey(0, 15, 144, 247, 255, 0))
        # Three shades of a narrow range: 0, 1 and 2.
        found = self.render(float_tiff([[[0.0], [0.9], [2.0], [5.0], [9.0]]]), "--tone", "drago",
                            levels=None)
        self.assertEqual(found, grey(0, 0, 127, 255, 255))
        for wrong in ["", "Drago", "drago=2", "tumblin=", "tumblin=0", "tumblin=-1", "tumblin=x",
                      "tumblin=1.5", "tumblin=4294967296"]:
            self.assert_fails(2, "--tone", "render", self.file(data), "-o", self.out,
                              "--tone=" + wrong)
        self.assert_fails(2, "--tone", "render", self.file(data), "-o", self.out, "--tone=drago",
                          "--bits=8")
        self.assert_fails(2, "--tone", "render", self.file(pnm([[[1]]], 255)), "-o", self.out,
                          "--tone=drago")

    def test_other_commands_and_options_refuse_them(self):
        picture = self.file(float_tiff(float_rows(5, 4, 2, 0, 1)))
        for command in [["stats"], ["histogram"], ["threshold", "--otsu", "-o", self.out]]:
            self.assert_fails(1, "floating-point", *command, picture)
        for option in ["--bits=12", "--mark-over=FF0000", "--mark-under=FF0000",
                       "--spectral=400:50", f"--save-view={self.folder}/v",
                       f"--load-view={self.folder}/v"]:
            self.assert_fails(2, option.split("=")[0], "render", picture, "-o", self.out, option)
        self.assertEqual(os.listdir(self.folder), ["picture"])


# ----- The gallery ----------------------------------------------------------------------------------

class Gallery(Case):
    ROOT = DATA.parent
    PAGE = ROOT / "docs" / "gallery.md"

    def commands(self):
        """[(words, name of the picture that is made)]"""
        found = []
        for line in self.PAGE.read_text().splitlines():
            if line.startswith("qmpic "):
                words = line.split()[1:]
                made = [i + 1 for i, word in enumerate(words)
                        if word in ("-o", "--plot", "--scatter", "--map")]
                self.assertEqual(len(made), 1, line)
                found.append((words, made[0]))
        return found

    def test_every_picture_of_the_page_is_made_by_a_command(self):
        text = self.PAGE.read_text()
        made = {words[at] for words, at in self.commands()}
        self.assertEqual({f"docs/{name}" for name in re.findall(r'src="([^"]+)"', text)} - made,
                         set())
        kept = {f"docs/images/{path.name}" for path in (self.ROOT / "docs" / "images").iterdir()}
        maps = {name for name in kept | made if name.endswith(".tif")}  # on the way to a picture
        self.assertEqual(kept - maps, made - maps)

    def test_every_picture_of_the_data_is_shown(self):
        read = {words[1] for words, at in self.commands()}
        self.assertEqual({f"data/{path.name}" for path in DATA.iterdir()
                          if path.suffix in (".tif", ".png")} - read, set())

    def test_the_commands_make_the_pictures(self):
        maps = {}
        for words, at in self.commands():
            if words[at - 1] == "--map":
                maps[words[at]] = str(self.folder / "map.tif")
                run = self.run_tool(*words[:at], maps[words[at]], cwd=self.ROOT)
                self.assertEqual((run.returncode, run.stderr), (0, b""))
            if words[0] not in ("render", "threshold"):  # fonts may differ
                continue
            with self.subTest(made=words[at]):
                kept = (self.ROOT / words[at]).read_bytes()
                words = [maps.get(word, word) for word in words]
                run = self.run_tool(*words[:at], self.out, *words[at + 1:], cwd=self.ROOT)
                self.assertEqual((run.returncode, run.stderr), (0, b""))
                made = self.out.read_bytes()
                self.assertTrue(made == kept or read_png(made) == read_png(kept))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
