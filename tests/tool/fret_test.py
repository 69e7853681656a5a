#!/usr/bin/env python3
"""Tests of `qmpic fret`.

usage: fret_test.py TOOL DATA_FOLDER [unittest arguments]
"""
import sys
import unittest

from pictures import *
from tool_test import DATA, Case

CHANNELS = ["--fret", "0", "--donor", "1", "--acceptor", "2"]
BLEED, ACCEPTOR_BLEED, BACKGROUND = 0.3, 0.15, 6
EFFICIENCIES = [0, 20, 45, 70]
EDGE = 24


def known(scale=1):
    """A picture in which the efficiency of each of four regions is known."""
    rows = []
    for y in range(EDGE):
        row = []
        for x in range(4 * EDGE):
            donor = 0 if x % EDGE < 4 else 40 + 5 * (x % EDGE)
            acceptor = 60 if donor else 0
            fret = (EFFICIENCIES[x // EDGE] / 100 + BLEED) * donor + ACCEPTOR_BLEED * acceptor
            row.append([round(scale * v) + BACKGROUND for v in (fret, donor, acceptor)])
        rows.append(row)
    return rows


def rainbow(part):
    """Red, green, blue of a place from 0 to 1 in the scale, at full brightness."""
    place = round(part * 255) * 1020 // 255
    rest = place % 255
    return [(0, rest, 255), (0, 255, 255 - rest), (rest, 255, 0), (255, 255 - rest, 0),
            (255, 0, 0)][place // 255]


class Fret(Case):
    def fret(self, *arguments):
        run = self.run_tool("fret", *arguments, "-o", self.out)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (0, b"", b""))
        return read_png(self.out.read_bytes())

    def of(self, rows, bits, *options, background=BACKGROUND):
        return self.fret(self.file(tiff(page(rows, bits))), *CHANNELS, "--background",
                         ",".join([str(background)] * 3), "--coefficients",
                         f"{BLEED},{ACCEPTOR_BLEED},0,0", *options)

    def inside(self, drawn, rows):
        """The picture within what is drawn: where its brightest pixels stand, from the left."""
        left = [x for x in range(len(drawn[0])) if any(line[x] == (0, 0, 0) for line in drawn)][0]
        top = [y for y, line in enumerate(drawn) if line[left] == (0, 0, 0)][0]
        return [line[left:left + len(rows[0])] for line in drawn[top:top + len(rows)]]

    def test_mono_gives_the_signal_back(self):
        for scale, bits in [(1, 8), (10, 16)]:
            rows = known(scale)
            signal = self.of(rows, bits, "--mono")
            for x in range(4 * EDGE):
                donor = rows[0][x][1] - BACKGROUND
                self.assertAlmostEqual(signal[0][x], EFFICIENCIES[x // EDGE] / 100 * donor,
                                       delta=1.2)

    def test_efficiency_gives_the_regions_back(self):
        for scale, bits in [(1, 8), (10, 16)]:
            rows = known(scale)
            picture = self.inside(self.of(rows, bits, "--efficiency", "0:100"), rows)
            for region, efficiency in enumerate(EFFICIENCIES):
                x = region * EDGE + EDGE - 1  # as bright as the donor gets
                row = int(efficiency * 2.55)
                wanted = [rainbow(max(row + off, 0) / 255) for off in (-3, -2, -1, 0, 1, 2)]
                self.assertIn(picture[5][x], wanted)
                self.assertEqual(picture[5][region * EDGE], (0, 0, 0))  # no donor

    def test_signal_is_shown_up_to_its_greatest_value(self):
        rows = [[[0, 0, 0], [50, 0, 0], [100, 0, 0]]] * 3
        drawn = self.fret(self.file(tiff(page(rows, 8))), *CHANNELS, "--lut", "Default")
        colours = {pixel for line in drawn for pixel in line}
        self.assertTrue({(0, 0, 0), (127, 127, 127), (255, 255, 255)} <= colours)

    def test_bleach(self):
        pre = self.file(tiff(page([[[10], [160]] * 3] * 3, 8)), "pre")
        post = self.file(tiff(page([[[10], [210]] * 3] * 3, 8)), "post")
        drawn = self.fret("--bleach", pre, post, "--component", "0", "--background", "10,10")
        colour = rainbow(63 / 255)
        self.assertIn(colour, {pixel for line in drawn for pixel in line})

    def test_wrong_usage_is_one_line(self):
        picture = self.file(tiff(page(known(), 8)))
        small = self.file(tiff(page([[[1, 2, 3]]], 8)), "small")
        out = ["-o", self.out]
        for text, wrong in [
                ("FILE or --bleach", out),
                ("not both", [picture, "--bleach", picture, picture, *out]),
                ("--fret, --donor and --acceptor", [picture, "--fret", 0, *out]),
                ("no component 3", [picture, *CHANNELS[:-1], 3, *out]),
                ("--background: 3 values", [picture, *CHANNELS, "--background", "1,2", *out]),
                ("bytes", [picture, *CHANNELS, "--background", "1,2,256", *out]),
                ("whole numbers", [picture, *CHANNELS, "--background", "1,2,-1", *out]),
                ("--coefficients: 4", [picture, *CHANNELS, "--coefficients", "1", *out]),
                ("not a number", [picture, *CHANNELS, "--coefficients", "1,2,x,4", *out]),
                ("--mono", [picture, *CHANNELS, "--mono", "--efficiency", "0:50", *out]),
                ("--mono", [picture, *CHANNELS, "--mono", "--lut", "Iron", *out]),
                ("--efficiency", [picture, *CHANNELS, "--efficiency", "50:50", *out]),
                ("--lut", [picture, *CHANNELS, "--lut", "no such", *out]),
                ("--component", [picture, *CHANNELS, "--component", 0, *out]),
                ("--component", ["--bleach", picture, picture, *out]),
                ("no component 7", ["--bleach", picture, picture, "--component", 7, *out]),
                ("--lut", ["--bleach", picture, picture, "--component", 0, "--lut", "Iron", *out]),
                ("it would replace", [picture, *CHANNELS, "-o", picture])]:
            with self.subTest(text=text, wrong=wrong):
                self.assert_fails(2, text, "fret", *wrong)
        self.assert_fails(1, "size and kind", "fret", "--bleach", picture, small, "--component", 0,
                          *out)
        self.assertFalse(self.out.exists())

    def test_real_picture(self):
        drawn = self.fret(DATA / "cells_3ch_12bit_695x395.tif", *CHANNELS, "--efficiency", "0:80")
        self.assertGreater(len(drawn), 395)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
