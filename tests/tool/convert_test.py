#!/usr/bin/env python3
"""Tests of `qmpic convert`.

usage: convert_test.py TOOL DATA_FOLDER [unittest arguments]
"""
import json
import os
import random
import resource
import signal
import struct
import sys
import unittest

from pictures import *
from tool_test import DATA, Case, random_rows

MEANINGS = ["storage", "expand", "collapse", "shift", "linear"]


def mapped(rows, change):
    return [[[change(s) for s in p] for p in row] for row in rows]


class Convert(Case):
    def setUp(self):
        super().setUp()
        self.made = self.folder / "made.tif"

    def convert(self, data, bits, meaning, *options, warning=b"", name="made.tif"):
        """(tags, rows) of the TIFF file that is made."""
        self.made = self.folder / name
        run = self.run_tool("convert", self.file(data), "-o", self.made, "--bits", bits,
                            "--meaning", meaning, *options)
        self.assertEqual((run.returncode, run.stdout), (0, b""), run.stderr)
        self.assertRegex(run.stderr, b"^" + warning + b"$")
        return read_tiff(self.made.read_bytes()) if name.endswith("tif") else None

    def depth(self, path=None):
        found = json.loads(self.run_tool("info", path or self.made, "--json").stdout)
        return found["significant_bits"], found["significant_bits_from"]

    def test_worked_numbers_of_every_meaning(self):
        for bits, meaning, source, value, result in [
                (8, "storage", 16, 0x1234, 0x34), (12, "storage", 8, 255, 255),
                (32, "storage", 8, 255, 255), (16, "storage", 12, 4095, 4095),
                (12, "storage", 16, 0x1234, 0x1234), (8, "storage", 8, 7, 7),
                (12, "expand", 8, 3, 3), (16, "expand", 12, 4095, 4095), (12, "expand", 12, 9, 9),
                (8, "expand", 8, 9, 9),
                (8, "collapse", 16, 300, 255), (8, "collapse", 16, 200, 200),
                (10, "collapse", 12, 1024, 1023), (12, "collapse", 12, 4095, 4095),
                (16, "shift", 8, 255, 65280), (8, "shift", 16, 65535, 255),
                (16, "shift", 12, 4095, 65520), (8, "shift", 12, 4095, 255),
                (10, "shift", 12, 4095, 1023), (8, "shift", 8, 77, 77),
                (16, "linear", 8, 255, 65535), (16, "linear", 8, 1, 257),
                (8, "linear", 16, 65535, 255), (8, "linear", 16, 65534, 254),
                (12, "linear", 8, 128, 128 * 4095 // 255), (8, "linear", 8, 200, 200),
                (8, "linear", 12, 4095, 255), (9, "linear", 12, 2048, 2048 * 511 // 4095)]:
            with self.subTest(bits=bits, meaning=meaning, source=source):
                stated = ["--from-bits", source] if source > 8 else []
                data = tiff(page([[[value], [0]]], 8 if source == 8 else 16))
                tags, rows = self.convert(data, bits, meaning, *stated)
                self.assertEqual(rows, [[[result], [0]]])
                self.assertEqual(tags[258], [8 if bits == 8 else 16 if bits <= 16 else 32])

    def test_all_samples_of_all_layouts(self):
        for components in [1, 2, 3, 4, 9, 192]:
            for width in [1, 7, 37]:
                for source in [8, 12, 16]:
                    top = 2 ** source - 1
                    rows = random_rows(width, 5, components, top, width)
                    data = tiff(page(rows, 8 if source == 8 else 16))
                    for bits, meaning, change in [
                            (16, "storage", lambda s: s), (32, "storage", lambda s: s),
                            (8, "storage", lambda s: s & 255),
                            (16, "shift", lambda s: s << 16 - source),
                            (8, "shift", lambda s: s >> source - 8),
                            (8, "collapse", lambda s: min(s, 255)),
                            (16, "expand", lambda s: s),
                            (11, "linear", lambda s: s * 2047 // top)]:
                        with self.subTest(components=components, source=source, meaning=meaning):
                            tags, made = self.convert(data, bits, meaning)
                            self.assertEqual(made, mapped(rows, change))

    def test_the_file_is_plain(self):
        rows = random_rows(9, 4, 3, 4095)
        tags, _ = self.convert(tiff(page(rows)), 12, "storage")
        self.assertEqual((tags[262], tags[338], tags[281]), ([MIN_IS_BLACK], [0, 0], [4095] * 3))
        tags, _ = self.convert(tiff(page(rows, photometric=TIFF_RGB)), 12, "storage")
        self.assertEqual(tags[262], [TIFF_RGB])
        self.assertNotIn(338, tags)
        # Rows of more than one strip.
        wide = [[[v & 255] for v in range(y, y + 1000)] for y in range(1500)]
        tags, made = self.convert(pnm(wide, 255), 8, "storage")
        self.assertGreater(len(tags[273]), 1)
        self.assertEqual(made, wide)

    def test_the_depth_is_noted_and_read_again(self):
        rows = [[[5], [6]]]
        for bits in [9, 10, 12, 13, 15, 16]:
            self.convert(tiff(page(rows)), bits, "storage")
            self.assertEqual(self.depth(), (bits, "SMaxSampleValue"))
            self.convert(tiff(page(rows)), bits, "storage", name="made.png")
            self.assertEqual(self.depth(), (bits, "sBIT"))
        self.convert(tiff(page(rows)), 8, "storage")
        self.assertEqual(self.depth()[0], 8)
        for bits in [17, 20, 24, 25, 31, 32]:
            self.convert(tiff(page(rows)), bits, "storage")
            self.assertEqual(self.depth(), (bits, "SMaxSampleValue"))

    def test_png(self):
        for components in [1, 3]:
            rows = random_rows(13, 7, components, 4095)
            source = tiff(page(rows, photometric=TIFF_RGB if components == 3 else MIN_IS_BLACK))
            self.convert(source, 12, "storage", name="made.png")
            data = self.made.read_bytes()
            self.assertEqual(read_png(data), [[tuple(p) if components == 3 else p[0] for p in row]
                                              for row in rows])
            self.assertEqual(dict(png_chunks(data))[b"sBIT"], b"\x0c" * components)
            self.convert(source, 8, "shift", "--from-bits", 12, name="made.PNG")
            self.assertEqual(read_png(self.made.read_bytes()),
                             [[tuple(s >> 4 for s in p) if components == 3 else p[0] >> 4
                               for p in row] for row in rows])
            # Small samples of many bits are not taken for scaled ones, nor large ones of few.
            for top, bits in [(255, 12), (4095, 12), (511, 9), (65535, 16)]:
                rows = random_rows(9, 4, components, top)
                self.convert(tiff(page(rows)), bits, "storage", name="made.png")
                tags, again = self.convert(self.made.read_bytes(), 16, "storage")
                self.assertEqual(again, rows)

    def test_rgb_stays_rgb(self):
        rows = random_rows(9, 4, 3, 255)
        for data in [png(rows, 8, RGB), pnm(rows, 255)]:
            tags, made = self.convert(data, 16, "shift")
            self.assertEqual((tags[262], made), ([TIFF_RGB], mapped(rows, lambda s: s << 8)))
            self.convert(data, 16, "linear", name="made.png")
            self.assertEqual(read_png(self.made.read_bytes()),
                             [[tuple(s * 257 for s in p) for p in row] for row in rows])

    def test_deep_samples(self):
        source = random.Random(4)
        rows = [[[source.randrange(2 ** 20) for _ in range(2)] for _ in range(9)] for _ in range(5)]
        rows[0][0], rows[4][8] = [0, 0], [2 ** 20 - 1] * 2
        for order in "<>":
            data = tiff(page(rows, 32), order=order)
            self.assertEqual(self.info(data)["significant_bits"], 20)
            self.assertEqual(self.info(data)["samples"][0]["max"], 2 ** 20 - 1)
            for bits, meaning, change in [
                    (8, "storage", lambda s: s & 255), (16, "storage", lambda s: s & 65535),
                    (32, "storage", lambda s: s), (24, "expand", lambda s: s),
                    (16, "collapse", lambda s: min(s, 65535)), (17, "collapse",
                                                               lambda s: min(s, 131071)),
                    (8, "collapse", lambda s: min(s, 255)), (20, "collapse", lambda s: s),
                    (16, "linear", lambda s: s * 65535 // (2 ** 20 - 1)),
                    (8, "linear", lambda s: s * 255 // (2 ** 20 - 1))]:
                tags, made = self.convert(data, bits, meaning)
                self.assertEqual(made, mapped(rows, change), (bits, meaning))
        tags, made = self.convert(tiff(page([[[2 ** 31 - 1], [0]]], 32)), 16, "linear")
        self.assertEqual(made, [[[65535], [0]]])
        tags, made = self.convert(tiff(page([[[0x1FF00], [0]]], 32)), 8, "linear", "--levels",
                                  "0:131071")
        self.assertEqual(made, [[[0x1FF00 * 255 // 131071], [0]]])

    def test_linear_between_levels(self):
        rows = [[[0], [99], [100], [101], [550], [999], [1000], [4095]]]
        for levels, low, high in [("100:1000", 100, 1000), ("0:4095", 0, 4095), ("99:100", 99, 100)]:
            for bits in [8, 12, 16]:
                tags, made = self.convert(pnm(rows, 4095), bits, "linear", "--levels", levels)
                self.assertEqual(made, mapped(rows, lambda s: (min(max(s, low), high) - low) *
                                              (2 ** bits - 1) // (high - low)))

    def test_floats_are_rounded(self):
        rows = [[[0.0], [0.2], [1.0]], [[-1.0], [0.5], [3.0]]]
        tags, made = self.convert(float_tiff(rows), 8, "linear")
        self.assertEqual(made, [[[64], [77], [128]], [[0], [96], [255]]])  # 63.75, 76.5, 127.5 ...
        tags, made = self.convert(float_tiff(rows), 12, "linear", "--levels", "0:1")
        self.assertEqual(made, [[[0], [819], [4095]], [[0], [2048], [4095]]])
        nan, inf = float("nan"), float("inf")
        tags, made = self.convert(float_tiff([[[nan, 1], [inf, 2], [-inf, 3]]]), 8, "linear")
        self.assertEqual(made, [[[0, 0], [255, 128], [0, 255]]])
        tags, made = self.convert(float_tiff([[[4.0]] * 3]), 8, "linear")  # not scaled
        self.assertEqual(made, [[[0]] * 3])

    def test_samples_beyond_the_depth(self):
        rows = [[[5], [5000], [1023], [1024]]]
        warning = rb"qmpic: warning: samples up to 5000 exceed 10 bits \(--from-bits\)\n"
        for meaning, bits, want in [("storage", 16, [5, 5000, 1023, 1024]),
                                    ("shift", 8, [1, 255, 255, 255]),
                                    ("linear", 8, [1, 255, 255, 255]),
                                    ("collapse", 9, [5, 511, 511, 511])]:
            tags, made = self.convert(tiff(page(rows)), bits, meaning, "--from-bits", 10,
                                      warning=warning)
            self.assertEqual(made, [[[v] for v in want]])

    def test_pages_and_real_pictures(self):
        plant = DATA / "plant_1ch_12bit_512x512.tif"
        tags, made = self.convert(plant.read_bytes(), 8, "shift")
        samples = struct.unpack("<262144H", plant.read_bytes()[176:])
        self.assertEqual([s for row in made for p in row for s in p], [s >> 4 for s in samples])
        series = (DATA / "focus_widefield_15z_16bit_133x130.tif").read_bytes()
        tags, made = self.convert(series, 16, "storage", "--page", 6)
        samples = struct.unpack("<17290H", series[176 + 34752 * 6:][:34580])
        self.assertEqual([s for row in made for p in row for s in p], list(samples))
        rows = random_rows(9, 4, 3, 4095)
        planes = [[[[p[c]] for p in row] for row in rows] for c in range(3)]
        tags, made = self.convert(tiff(*(page(plane) for plane in planes)), 12, "storage")
        self.assertEqual(made, rows)

    def test_what_the_meanings_do_not_do_is_code_2(self):
        byte, word = tiff(page([[[7]]], 8)), tiff(page([[[4095]]]))
        deep, floats = tiff(page([[[2 ** 20]]], 32)), float_tiff([[[1.0]]])
        full = tiff(page([[[2 ** 32 - 1]]], 32))
        for data, bits, meaning in [
                (byte, 17, "expand"), (word, 20, "expand"), (word, 8, "expand"), (word, 10, "expand"),
                (deep, 25, "expand"), (deep, 16, "expand"),
                (byte, 9, "collapse"), (word, 13, "collapse"), (deep, 22, "collapse"),
                (byte, 17, "shift"), (word, 24, "shift"), (deep, 8, "shift"), (deep, 21, "shift"),
                (word, 17, "linear"), (full, 8, "linear"),
                (floats, 8, "storage"), (floats, 16, "expand"), (floats, 8, "collapse"),
                (floats, 8, "shift"), (floats, 17, "linear")]:
            with self.subTest(bits=bits, meaning=meaning):
                self.assert_fails(2, f"--meaning {meaning}", "convert", self.file(data), "-o",
                                  self.made, "--bits", bits, "--meaning", meaning)
        self.assertFalse(self.made.exists())

    def test_wrong_usage(self):
        picture = self.file(tiff(page(random_rows(5, 4, 2, 4095))))
        whole = ["convert", picture, "-o", self.made, "--bits", 8, "--meaning", "linear"]
        for text, options in [
                ("--bits", ["-o", self.made, "--meaning", "shift"]),
                ("--meaning", ["-o", self.made, "--bits", 8]),
                ("--output", ["--bits", 8, "--meaning", "shift"]),
                ("--bits", ["-o", self.made, "--bits", 7, "--meaning", "shift"]),
                ("--bits", ["-o", self.made, "--bits", 33, "--meaning", "storage"]),
                ("--bits", ["-o", self.made, "--bits", "x", "--meaning", "storage"]),
                ("--bits", ["-o", self.out, "--bits", 17, "--meaning", "storage"]),
                ("--meaning", ["-o", self.made, "--bits", 8, "--meaning", "scale"]),
                ("--output", ["-o", self.out, "--bits", 8, "--meaning", "shift"]),  # 2 components
                ("--output", ["-o", self.folder / "made.jpg", "--bits", 8, "--meaning", "shift"]),
                ("--output", ["-o", self.folder / "tif", "--bits", 8, "--meaning", "shift"]),
                ("--output", ["-o", self.folder / "a.tif" / "made", "--bits", 8, "--meaning", "shift"])]:
            self.assert_fails(2, text, "convert", picture, *options)
        for option, value in [("--from-bits", "8"), ("--from-bits", "17"), ("--from-bits", "x"),
                              ("--levels", "5"), ("--levels", "5:4"), ("--levels", "0:1,0:2"),
                              ("--levels", "0:4096"), ("--levels", "0.5:9"), ("--levels", "-1:9"),
                              ("--page", "x")]:
            self.assert_fails(2, option, *whole, f"{option}={value}")
        self.assert_fails(2, "--levels", "convert", picture, "-o", self.made, "--bits", 8,
                          "--meaning", "shift", "--levels", "0:1")
        self.assert_fails(2, "--from-bits", "convert", self.file(float_tiff([[[1.0]]])), "-o",
                          self.made, "--bits", 8, "--meaning", "linear", "--from-bits", 12)
        self.assertEqual(os.listdir(self.folder), ["picture"])

    def test_output_may_not_be_the_input(self):
        data = tiff(page([[[1]]]))
        picture = self.file(data, "picture.tif")
        self.assert_fails(2, "--output", "convert", picture, "-o", picture, "--bits", 8,
                          "--meaning", "shift")
        self.assertEqual(picture.read_bytes(), data)

    def test_failures_keep_the_old_file(self):
        picture = self.file(tiff(page(random_rows(100, 100, 1, 65535))))

        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))

        for name in ["made.tif", "made.png"]:
            made = self.folder / name
            made.write_bytes(b"old")
            options = ["-o", made, "--bits", 16, "--meaning", "storage"]
            self.assert_fails(1, "cannot be written", "convert", picture, *options,
                              preexec_fn=limit)
            self.assert_fails(1, "picture: ", "convert",
                              self.file(tiff(page(random_rows(9, 9, 1, 99)))[:-5], "picture"),
                              *options)
            self.file(tiff(page(random_rows(100, 100, 1, 65535))))
            self.assertEqual(made.read_bytes(), b"old")
        self.assert_fails(1, "cannot be written", "convert", picture, "-o",
                          self.folder / "none" / "made.tif", "--bits", 8, "--meaning", "shift")
        self.assertEqual(sorted(os.listdir(self.folder)), ["made.png", "made.tif", "picture"])

    def test_every_reader(self):
        rows = random_rows(6, 5, 1, 255)
        for data in [pnm(rows, 255), pnm(rows, 255, text=True), png(rows), tiff(page(rows, 8))]:
            self.assertEqual(self.convert(data, 8, "storage")[1], rows)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
