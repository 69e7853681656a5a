#!/usr/bin/env python3
"""Tests of `qmpic filter`.

usage: filter_test.py TOOL DATA_FOLDER [unittest arguments]
"""
import json
import sys
import unittest

from pictures import *
from tool_test import DATA, Case, random_rows


def spot(value, width=13, height=13):
    return [[[value if (x, y) == (6, 6) else 0] for x in range(width)] for y in range(height)]


class Filter(Case):
    def setUp(self):
        super().setUp()
        self.made = self.folder / "made.tif"

    def filter(self, data, *options):
        """(tags, rows) of the TIFF file that is made."""
        run = self.run_tool("filter", self.file(data), "-o", self.made, *options)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (0, b"", b""))
        return read_tiff(self.made.read_bytes())

    def other(self, data, name="other.tif"):
        path = self.folder / name
        path.write_bytes(data)
        return path

    def refused(self, code, data, *options):
        run = self.run_tool("filter", self.file(data), "-o", self.made, *options)
        self.assertEqual((run.returncode, run.stdout), (code, b""), run.stderr)
        self.assertEqual(run.stderr.count(b"\n"), 1)
        self.assertFalse(self.made.exists())
        return run.stderr

    def test_a_mean_of_five_by_five(self):
        for data in tiff(page(spot(255), 8)), pnm(spot(255), 4095):
            tags, rows = self.filter(data, "--smooth", "2,0")
            self.assertEqual(rows, [[[10 if 4 <= x <= 8 and 4 <= y <= 8 else 0] for x in range(13)]
                                    for y in range(13)])

    def test_edges(self):
        ramp = [[[10 * x] for x in range(9)] for y in range(9)]
        for way, slope in ("x", 40), ("y", 0), ("xy", 40):
            tags, rows = self.filter(tiff(page(ramp, 8)), "--edge", way + ",1,1")
            self.assertEqual(rows[4][4], [slope])
        tags, rows = self.filter(pnm(ramp, 4095), "--edge", "x,1,1")
        self.assertEqual(rows[4][4], [159])  # 65535 * 10 / 4096

    def test_depth_and_size_stay(self):
        for name, bits in [("plant_1ch_12bit_512x512.tif", 12),
                           ("nuclei_1ch_8bit_512x512.tif", 8)]:
            for options in ["--smooth", "3,2"], ["--edge", "xy,2,2"]:
                tags, rows = self.filter((DATA / name).read_bytes(), *options)
                self.assertEqual((len(rows), len(rows[0])), (512, 512))
                self.assertLess(max(max(p) for row in rows for p in row), 2 ** bits)
                found = json.loads(self.run_tool("info", self.made, "--json").stdout)
                self.assertEqual(found["significant_bits"], bits)

    def test_means_of_pictures(self):
        flat = [tiff(page([[[v] * 3] * 7] * 5, 8)) for v in (100, 201, 50)]
        paths = [self.other(data, f"{i}.tif") for i, data in enumerate(flat)]
        tags, rows = self.filter(flat[0], "--average", paths[1])
        self.assertEqual(rows, [[[151] * 3] * 7] * 5)  # 150.5, rounded
        tags, rows = self.filter(flat[0], "--average", paths[1], paths[2])
        self.assertEqual(rows, [[[117] * 3] * 7] * 5)  # (151 * 2 + 50) / 3

    def test_even_light_changes_nothing_and_uneven_light_goes(self):
        rows = random_rows(7, 5, 1, 200, 3)
        even = self.other(tiff(page([[[200]] * 7] * 5, 8)))
        tags, made = self.filter(tiff(page(rows, 8)), "--shading", even)
        self.assertEqual(made, rows)
        uneven = [[[100 if x < 4 else 200] for x in range(9)] for y in range(9)]
        tags, made = self.filter(tiff(page(uneven, 8)), "--shading", self.other(tiff(page(uneven, 8))))
        self.assertEqual(len({p[0] for row in made for p in row}), 1)

    def test_what_is_refused(self):
        data = tiff(page(spot(255)))
        self.assertIn(b"smaller than the window, which takes 15 x 15 pixels",
                      self.refused(1, data, "--smooth", "7,2"))
        for options in [[], ["--smooth", "0,0"], ["--smooth", "2"], ["--smooth", "2,5"],
                        ["--smooth", "1.5,1"], ["--smooth", "2,2,2"], ["--edge", "z,2,2"],
                        ["--edge", "2,2"], ["--edge", "xy"], ["--edge", "x,2,-1"],
                        ["--smooth", "2,2", "--edge", "x,2,2"]]:
            with self.subTest(options=options):
                self.refused(2, data, *options)
        wide = self.other(tiff(page(spot(255, 10))))
        for option in "--shading", "--average":
            self.assertIn(b"not of the size and kind", self.refused(2, data, option, wide))
            self.refused(1, data, option, self.folder / "missing.tif")
        self.made = self.folder / "made.jpg"
        self.refused(2, data, "--smooth", "2,2")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
