#!/usr/bin/env python3
"""Tests of the command-line tool, driven from outside.

usage: tool_test.py TOOL DATA_FOLDER [unittest arguments]
"""
import array
import collections
import functools
import json
import math
import os
import pathlib
import pty
import random
import re
import resource
import select
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import unittest

from pictures import *

sys.path.append(str(pathlib.Path(__file__).parent.parent / "data" / "stored"))
import make as stored  # the byte form, made from its documentation

TOOL, DATA = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2]).absolute()
BLUE, GREEN, RED, GREY = (0, 0, 255), (0, 255, 0), (255, 0, 0), (255, 255, 255)
CYAN, MAGENTA, YELLOW = (0, 255, 255), (255, 0, 255), (255, 255, 0)
CHANNEL_COLOURS = [BLUE, GREEN, RED, GREY, CYAN, MAGENTA, YELLOW]


def merge(a, b):
    return a + b - a * b // 255


def curve(value, top, low, high, gamma=1.0):
    """Where a sample of 0 to `top` stands between its levels, in 0 to `top`, cut."""
    most = top  # levels above the depth are never reached
    if high > top:
        most, high = round(65535 * (top - low) / (high - low)) * top / 65535, top
    part = min(max((value - low) * int(most + 0.5) // (high - low), 0), int(most + 0.5))
    return int((part / top) ** gamma * top) if gamma != 1 else part


def shown(value, top, low, high, colour, gamma=1.0):
    """A sample in the colour of its channel: (red, green, blue), cut."""
    part = curve(value, top, low, high, gamma)
    return tuple(c * part // top for c in colour)


def composed(rows, how, bits=None):
    """`how`: {component: (low, high, colour[, gamma])}. `bits`: else the fewest, from 8 on."""
    top = 2 ** (bits or max(8, max(s for row in rows for p in row for s in p).bit_length())) - 1
    result = []
    for row in rows:
        line = []
        for pixel in row:
            colour = (0, 0, 0)
            for component, arguments in sorted(how.items()):
                own = shown(pixel[component], top, *arguments)
                colour = tuple(merge(a, b) for a, b in zip(colour, own))
            line.append(colour)
        result.append(line)
    return result


def random_rows(width, height, components, top, seed=1):
    """Both 0 and the top stand in each component."""
    source = random.Random(seed)
    rows = [[[source.randint(0, top) for _ in range(components)] for _ in range(width)]
            for _ in range(height)]
    rows[0][0] = [0] * components
    rows[-1][-1] = [top] * components
    return rows


class Case(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qmpic-tool-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.out = self.folder / "out.png"

    def run_tool(self, *arguments, **options):
        return subprocess.run([TOOL, *map(str, arguments)], capture_output=True, timeout=120,
                              **options)

    def file(self, data, name="picture"):
        path = self.folder / name
        path.write_bytes(data)
        return path

    def info(self, data, *options):
        run = self.run_tool("info", self.file(data), "--json", *options)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        return json.loads(run.stdout)

    def render(self, data, *options, warning=b"", levels="--minmax"):
        """What `render` shows. `levels` None: those that it finds itself."""
        given = levels is None or {"--levels", "--auto"} & set(options)
        run = self.run_tool("render", self.file(data), "-o", self.out, *options,
                            *([] if given else [levels]))
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertRegex(run.stderr, b"^" + warning + b"$")
        self.assertEqual(run.stdout, b"")
        return read_png(self.out.read_bytes())

    def assert_fails(self, code, text, *arguments, **options):
        """Exit code, and one line on stderr that holds `text`."""
        run = self.run_tool(*arguments, **options)
        self.assertEqual(run.returncode, code, run)
        self.assertEqual(run.stdout, b"")
        self.assertRegex(run.stderr, rb"\Aqmpic: [^\n]+\n\Z")
        self.assertIn(text, run.stderr.decode())


class CommandLine(Case):
    def commands(self):
        text = self.run_tool("--help").stdout.decode()
        return re.findall(r"^  (\w+) +\S", text.split("Subcommands:")[1], re.M)

    def test_help_lists_every_command_with_a_sentence(self):
        self.assertEqual(self.commands(),
                         ["info", "stats", "histogram", "threshold", "render", "ratio", "fret", "coloc",
                          "focus", "filter", "convert", "luts"])

    def test_every_command_has_help_and_wants_a_file(self):
        for command in self.commands():
            run = self.run_tool(command, "--help")
            self.assertEqual((run.returncode, run.stderr), (0, b""))
            if command == "luts":
                continue
            self.assertIn(b"FILE", run.stdout)
            self.assert_fails(2, "FILE", command)
            if command != "focus":  # which takes any number
                self.assert_fails(2, "", command, "a", "b", "c")
            missing = {"coloc": ["--channels", "0,1"], "render": ["-o", self.out],
                       "convert": ["-o", self.out, "--bits", "8", "--meaning", "shift"],
                       "ratio": ["-o", self.out, "--numer", "0", "--denom", "1"],
                       "fret": ["-o", self.out, "--fret", 0, "--donor", 0, "--acceptor", 0],
                       "filter": ["-o", self.out, "--smooth", "3,2"],
                       "threshold": ["-o", self.out, "--otsu"]}.get(command, [])
            self.assert_fails(2, "--no-such", command, "a", "--no-such", *missing)
            self.assert_fails(1, "No such file", command, self.folder / "none", *missing)

    def test_help_names_every_option(self):
        for command, options in {
                "info": ["--json"],
                "stats": ["--bits", "--json"],
                "histogram": ["--bits", "--component", "--json", "--csv", "--plot", "--log"],
                "threshold": ["-o", "--component", "--otsu", "--range", "--json"],
                "render": ["-o", "--bits", "--channels", "--colors", "--levels", "--auto",
                           "--minmax", "--gamma", "--lut", "--mark-over", "--mark-under", "--save-view",
                           "--load-view", "--spectral", "--zoom", "--window", "--mode", "--flip",
                           "--overlay", "--overlay-color", "--overlay-alpha"],
                "ratio": ["-o", "--numer", "--denom", "--background", "--range", "--shade", "--lut",
                          "--calcium", "--csv", "--mask"],
                "convert": ["-o", "--bits", "--meaning", "--from-bits", "--levels"],
                "fret": ["-o", "--fret", "--donor", "--acceptor", "--background", "--coefficients",
                         "--mono", "--efficiency", "--lut", "--bleach", "--component",
                         "--reference"]}.items():
            text = self.run_tool(command, "--help").stdout.decode()
            for option in ["--page", "--max-pixels", *options]:
                self.assertRegex(text, rf"(?m)^  {option}[ ,]")
        text = self.run_tool("luts", "--help").stdout.decode()
        for option in ["-o", "--list", "--json"]:
            self.assertRegex(text, rf"(?m)^  {option}[ ,]")

    def test_version(self):
        run = self.run_tool("--version")
        self.assertEqual(run.returncode, 0)
        self.assertRegex(run.stdout, rb"^qmpic \d+\.\d+\.\d+\n$")

    def test_wrong_usage_is_code_2(self):
        picture = self.file(pnm([[[1], [2]]], 255))
        for wrong in [[], ["paint"], ["render", picture], ["--bad"]]:
            self.assert_fails(2, "", *wrong)
        for option, value in [("--bits", "x"), ("--bits", "-1"), ("--bits", "12"), ("--bits", "17"),
                              ("--page", "-1"), ("--page", "x"), ("--channels", ""),
                              ("--channels", "x"), ("--channels", "0,0"), ("--channels", "1"),
                              ("--channels", "0,"), ("--channels", "4294967296"),
                              ("--colors", "red"), ("--colors", "FF00"), ("--colors", "FF0000,"),
                              ("--colors", "FF0000,00FF00"), ("--colors", "GG0000"),
                              ("--levels", "1"), ("--levels", "2:1"), ("--levels", "1:1"),
                              ("--levels", "0:65536"), ("--levels", "0:1,0:2"),
                              ("--levels", "0.5:1"), ("--levels", "-1:1"), ("--levels", "nan:1"),
                              ("--levels", "0:inf"), ("--levels", "0:1e40"),
                              ("--auto", "1:"), ("--auto", ":1"), ("--auto", "-1:1"),
                              ("--auto", "50:50"), ("--auto", "1:2:3"), ("--auto", "1:1%%"),
                              ("--gamma", "0"), ("--gamma", "-1"), ("--gamma", "nan"),
                              ("--gamma", "inf"), ("--gamma", "1,1"), ("--gamma", "1e999"),
                              ("--max-pixels", "-1"), ("--max-pixels", "many")]:
            with self.subTest(option=option, value=value):
                self.assert_fails(2, option, "render", picture, "-o", self.out, option, value)
        for pair in [["--levels", "0:1", "--auto"], ["--levels", "0:1", "--minmax"],
                     ["--auto", "--minmax"]]:
            self.assert_fails(2, "--", "render", picture, "-o", self.out, *pair)
        for option in ["--mark-over", "--mark-under"]:
            for value in ["=puce", "=000000"]:
                self.assert_fails(2, option, "render", picture, "-o", self.out, option + value)
        for value in ["=x", "=1", "=nan:1", "=1:inf"]:
            self.assert_fails(2, "--auto", "render", picture, "-o", self.out, "--auto" + value)
        self.assertFalse(self.out.exists())

    def test_wrong_options_are_seen_before_the_picture_is_read(self):
        self.assert_fails(2, "--gamma", "render", "none", "-o", self.out, "--gamma", "x")

    def test_output_may_not_be_the_input(self):
        data = pnm([[[1], [2]]], 255)
        picture = self.file(data)
        (self.folder / "link").symlink_to(picture)
        for output in [picture, self.folder / "link", self.folder / "." / "picture"]:
            self.assert_fails(2, "--output", "render", picture, "-o", output)
            self.assert_fails(2, "--output", "threshold", picture, "--otsu", "-o", output)
            self.assert_fails(2, "--plot", "histogram", picture, "--plot", output)
            self.assertEqual(picture.read_bytes(), data)


class Info(Case):
    def test_numbers_of_the_sample_pictures(self):
        for name, size, rgb, container, depth, samples in [
                ("cells_3ch_12bit_695x395.tif", (695, 395), False, 16, (12, "maximum"),
                 [(135, 1473, 188.838), (180, 1794, 286.501), (155, 4095, 265.886)]),
                ("cells_3ch_16bit_512x512.tif", (512, 512), False, 16, (16, "maximum"),
                 [(372, 65535, 1996.843), (450, 56064, 5727.360), (424, 39513, 3811.478)]),
                ("cytoskeleton_3ch_13bit_350x350.tif", (350, 350), False, 16, (13, "maximum"),
                 [(105, 476, 131.556), (110, 698, 170.025), (115, 5055, 939.040)]),
                ("plant_1ch_12bit_512x512.tif", (512, 512), False, 16, (12, "maximum"),
                 [(9, 4095, 635.394)]),
                ("tissue_rgb_8bit_512x512.png", (512, 512), True, 8, (8, "container"),
                 [(57, 255, 177.254), (24, 255, 159.767), (0, 255, 143.954)])]:
            run = self.run_tool("info", DATA / name, "--json")
            self.assertEqual((run.returncode, run.stderr), (0, b""))
            found = json.loads(run.stdout)
            self.assertEqual(found["file"], str(DATA / name))
            self.assertEqual(found["pages"], 1)
            self.assertEqual((found["width"], found["height"]), size)
            self.assertEqual((found["components"], found["rgb"]), (len(samples), rgb))
            self.assertEqual(found["container_bits"], container)
            self.assertEqual((found["significant_bits"], found["significant_bits_from"]), depth)
            self.assertEqual([(s["min"], s["max"], round(s["mean"], 3)) for s in found["samples"]],
                             samples)

    def test_text(self):
        run = self.run_tool("info", self.file(pnm([[[7], [9]], [[2000], [0]]], 4095)))
        self.assertEqual(run.stdout.decode(),
                         "pages        1\nwidth        2\nheight       2\ncomponents   1\n"
                         "container    16 bits\nsignificant  12 bits (maxval)\n"
                         "component 0  min 0, max 2000, mean 504.000\n")

    def test_any_file_name_gives_json(self):
        for name in [b'a"\\\n\t\x7f.pgm', "zelle-ä-\U0001f52c.pgm".encode(), b"\xff\xc0\xe0\xa0.pgm"]:
            path = os.path.join(os.fsencode(self.folder), name)
            with open(path, "wb") as file:
                file.write(pnm([[[1]]], 255))
            run = subprocess.run([TOOL, "info", "--json", path], capture_output=True)
            self.assertEqual(run.returncode, 0)
            self.assertTrue(json.loads(run.stdout.decode())["file"].endswith(
                name.decode(errors="replace")[-4:]))
        self.assertIn("\\ufffd", run.stdout.decode())

    def test_full_disk_under_the_output(self):
        picture = self.file(pnm([[[1]]], 255))
        with open("/dev/full", "wb") as full:
            run = subprocess.run([TOOL, "info", picture], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual((run.returncode, run.stderr),
                         (1, b"qmpic: the output cannot be written\n"))


class Depths(Case):
    """How many bits are significant, and what says so."""

    def assert_depth(self, data, bits, stated):
        found = self.info(data)
        self.assertEqual((found["significant_bits"], found["significant_bits_from"]), (bits, stated))

    def test_by_maximum_at_least_8_and_9(self):
        for top, bits in [(0, 9), (255, 9), (511, 9), (512, 10), (4095, 12), (4096, 13), (65535, 16)]:
            self.assert_depth(tiff(page([[[top]]])), bits, "maximum")
        self.assert_depth(tiff(page([[[3]]], bits=8)), 8, "maximum")
        self.assert_depth(png([[[1]]], 16), 9, "maximum")

    def test_rgb_without_statement_has_its_container(self):
        self.assert_depth(png([[[1, 2, 3]]], 16, RGB), 16, "container")
        self.assert_depth(tiff(page([[[1, 2, 3]]], photometric=TIFF_RGB)), 16, "container")

    def test_pgm_maxval(self):
        self.assert_depth(pnm([[[1]]], 4095), 12, "maxval")
        self.assert_depth(pnm([[[1]]], 1000), 10, "maxval")
        self.assert_depth(pnm([[[1]]], 256), 9, "maxval")
        self.assert_depth(pnm([[[1]]], 100), 8, "maxval")

    def test_png_sbit(self):
        self.assert_depth(png([[[100]]], 16, before=chunk(b"sBIT", b"\x0c")), 12, "sBIT")
        self.assert_depth(png([[[1, 2, 3]]], 16, RGB, chunk(b"sBIT", b"\x0a\x0b\x0a")), 11, "sBIT")
        self.assert_depth(png([[[1]]], 16, before=chunk(b"sBIT", b"\x04")), 9, "sBIT")
        self.assert_depth(png([[[1]]], 8, before=chunk(b"sBIT", b"\x04")), 8, "sBIT")

    def test_png_scaled_up_as_the_format_says_comes_down_again(self):
        rows = random_rows(9, 3, 1, 4095)
        scaled = [[[v << 4 | v >> 8 for v in p] for p in row] for row in rows]
        plain = self.info(png(rows, 16, before=chunk(b"sBIT", b"\x0c")))
        self.assertEqual(self.info(png(scaled, 16, before=chunk(b"sBIT", b"\x0c"))), plain)
        self.assertEqual(plain["samples"][0]["max"], 4095)

    def test_tiff_max_sample_value(self):
        self.assert_depth(tiff(page([[[100]]], tags={281: ("H", [4095])})), 12, "MaxSampleValue")
        self.assert_depth(tiff(page([[[100]]], tags={281: ("H", [65535])})), 9, "maximum")

    def test_ome_significant_bits(self):
        for text in ['<?xml version="1.0"?><OME><Image><Pixels SizeC="1" SignificantBits="14"/>',
                     "<OME><Pixels SignificantBits='14' SizeC='1'></Pixels></OME>"]:
            self.assert_depth(tiff(page([[[100]]], tags={270: ("s", text)})), 14, "SignificantBits")
        for text in ['<OME><Pixels SignificantBits="17"/>', '<OME><Pixels SignificantBits="x"/>',
                     '<OME><Pixels SignificantBits="', '<OME><Pixels', "<OME>", "14 bits", "",
                     '<OME><Pixels SignificantBits="0"/>',
                     '<OME><Pixels SignificantBits="99999999999"/>']:
            self.assert_depth(tiff(page([[[100]]], tags={270: ("s", text)})), 9, "maximum")

    def test_packed_samples_state_their_bits(self):
        self.assert_depth(tiff(page([[[100]]], bits=12)), 12, "BitsPerSample")

    def test_bits_option_wins(self):
        rows = [[[0], [1023]]]
        data = pnm(rows, 4095)
        for bits in [10, 12, 16]:
            top = 2 ** bits - 1
            self.assertEqual(self.render(data, "--bits", bits, "--levels", f"0:{top}"),
                             composed(rows, {0: (0, top, GREY)}))
        self.assert_fails(2, "--bits", "render", self.file(data), "-o", self.out, "--bits", 8)

    def test_samples_beyond_the_depth_warn_and_are_clipped(self):
        rows = [[[0], [500], [1023], [1024], [4000], [65535]]]
        data = tiff(page(rows))
        warning = rb"qmpic: warning: samples up to 65535 exceed 10 bits \(--bits\)\n"
        clipped = [[[min(v, 1023) for v in p] for p in row] for row in rows]
        self.assertEqual(self.render(data, "--bits", 10, warning=warning),
                         composed(clipped, {0: (0, 1023, GREY)}))
        self.assertEqual(self.render(data, "--bits", 10, "--mark-over", warning=warning)[0][2:],
                         [RED] * 4)
        run = self.run_tool("info", self.file(pnm([[[1001]]], 1000)))  # fits into 10 bits
        self.assertEqual(run.stderr, b"")
        run = self.run_tool("info", self.file(tiff(page([[[5000]]], tags={281: ("H", [4095])}))))
        self.assertEqual(run.stderr,
                         b"qmpic: warning: samples up to 5000 exceed 12 bits (MaxSampleValue)\n")
        self.assertEqual(run.returncode, 0)


class Rendering(Case):
    def test_one_channel_is_grey_between_minimum_and_maximum(self):
        rows = [[[300], [400]], [[999], [1300]]]
        self.assertEqual(self.render(pnm(rows, 4095)), composed(rows, {0: (300, 1300, GREY)}, 12))
        self.assertEqual(self.render(pnm(rows, 4095))[0], [(0, 0, 0), (25, 25, 25)])  # 25.5

    def test_equal_samples_are_shown_between_0_and_the_top(self):
        self.assertEqual(self.render(pnm([[[2048]] * 3], 4095)), [[(127, 127, 127)] * 3])
        self.assertEqual(self.render(pnm([[[0]]], 255)), [[(0, 0, 0)]])
        self.assertEqual(self.render(pnm([[[255]]], 255)), [[(255, 255, 255)]])

    def test_colours_in_the_order_of_channels(self):
        for bits in [8, 16]:
            for count in range(2, 10):
                rows = random_rows(11, 5, count, 2 ** bits - 1, seed=count)
                how = {c: (0, 2 ** bits - 1, CHANNEL_COLOURS[c % 7]) for c in range(count)}
                self.assertEqual(self.render(tiff(page(rows, bits))), composed(rows, how))

    def test_many_channels(self):
        rows = random_rows(3, 2, 192, 4095)
        how = {c: (0, 4095, CHANNEL_COLOURS[c % 7]) for c in range(192)}
        self.assertEqual(self.render(tiff(page(rows))), composed(rows, how))
        self.assert_fails(1, "192", "info", self.file(tiff(page(random_rows(3, 2, 193, 4095)))))

    def test_chosen_channels_keep_their_colours(self):
        for bits in [8, 16]:
            top = 2 ** bits - 1
            for count in [2, 3, 4, 7]:
                rows = random_rows(8, 3, count, top)
                data = tiff(page(rows, bits))
                last = count - 1
                self.assertEqual(self.render(data, "--channels", f"{last},0"),
                                 composed(rows, {0: (0, top, BLUE),
                                                 last: (0, top, CHANNEL_COLOURS[last])}))
                self.assertEqual(self.render(data, "--channels", last),
                                 composed(rows, {last: (0, top, GREY)}))

    def test_options_follow_the_order_of_channels(self):
        rows = random_rows(8, 3, 3, 4095)
        found = self.render(tiff(page(rows)), "--channels", "2,0", "--colors", "#ff8000,102030",
                            "--levels", "100:4000,0:9000", "--gamma", "0.5,2")
        self.assertEqual(found, composed(rows, {2: (100, 4000, (255, 128, 0), 0.5),
                                                0: (0, 9000, (16, 32, 48), 2)}))

    def test_one_value_serves_all_channels(self):
        rows = random_rows(8, 3, 3, 4095)
        found = self.render(tiff(page(rows)), "--colors", "FFFFFF", "--levels", "1000:3000",
                            "--gamma", "0.7")
        self.assertEqual(found, composed(rows, {c: (1000, 3000, GREY, 0.7) for c in range(3)}))

    def test_rgb_keeps_its_colours(self):
        for bits in [8, 16]:
            rows = [[[s >> 4 for s in p] for p in row] for row in random_rows(9, 4, 3, 2 ** bits - 1)]
            top = 2 ** bits - 1
            want = composed(rows, {0: (0, top, RED), 1: (0, top, GREEN), 2: (0, top, BLUE)}, bits)
            for data in [png(rows, bits, RGB), pnm(rows, top), pnm(rows, top, text=True),
                         tiff(page(rows, bits, TIFF_RGB)), tiff(page(rows, bits, TIFF_RGB, True))]:
                self.assertEqual(self.render(data, levels=None), want)
        rows = random_rows(4, 4, 3, 200)
        self.assertEqual(self.render(pnm(rows, 200), levels=None),  # white is the greatest value of the file
                         composed(rows, {0: (0, 200, RED), 1: (0, 200, GREEN), 2: (0, 200, BLUE)}))

    def test_rgb_sample_picture_is_itself(self):
        data = (DATA / "tissue_rgb_8bit_512x512.png").read_bytes()
        self.assertEqual(self.render(data, levels=None), read_png(data))

    def test_channels_of_rgb(self):
        rows = random_rows(9, 4, 3, 255)
        data = png(rows, 8, RGB)
        self.assertEqual(self.render(data, "--channels", "0,2"),
                         composed(rows, {0: (0, 255, RED), 2: (0, 255, BLUE)}))
        self.assertEqual(self.render(data, "--channels", "1"),
                         composed(rows, {1: (0, 255, GREEN)}))
        self.assertEqual(self.render(data, "--colors", "0000FF,00FF00,FF0000"),
                         composed(rows, {0: (0, 255, BLUE), 1: (0, 255, GREEN), 2: (0, 255, RED)}))

    def test_widths(self):
        for width in [1, 2, 3, 15, 16, 17, 63, 64, 65, 130]:
            rows = random_rows(width, 3, 3, 4095)
            how = {c: (0, 4095, CHANNEL_COLOURS[c]) for c in range(3)}
            self.assertEqual(self.render(tiff(page(rows))), composed(rows, how))


class Levels(Case):
    """Which samples are black and which have the full colour."""

    def ramp(self, count):
        """Each value from 0 on once, in any order."""
        values = list(range(count))
        random.Random(3).shuffle(values)
        return [[[v] for v in values[i:i + 100]] for i in range(0, count, 100)]

    def test_auto_leaves_out_a_tenth_percent_at_each_end(self):
        # The levels are the first values from the ends with which 2 of 2000 samples are reached.
        rows = self.ramp(2000)
        want = composed(rows, {0: (1, 1998, GREY)}, 12)
        for options in [[], ["--auto"], ["--auto", "0.1:0.1"], ["--auto=0.1%:0.1%"]]:
            self.assertEqual(self.render(pnm(rows, 4095), *options, levels=None), want)

    def test_auto_with_percents(self):
        rows = self.ramp(2000)
        for percents, low, high in [("5:10", 99, 1800), ("0:1", 0, 1980), ("2%:0%", 39, 1999),
                                    ("0:0", 0, 1999), ("90:9.5", 1799, 1810)]:
            self.assertEqual(self.render(pnm(rows, 4095), "--auto", percents),
                             composed(rows, {0: (low, high, GREY)}, 12))

    def test_auto_and_minmax_look_at_each_channel(self):
        rows = [[[v[0], 100 + v[0], 3000 - v[0]] for v in row] for row in self.ramp(1000)]
        data = tiff(page(rows))
        self.assertEqual(self.render(data, levels=None), composed(rows, {
            0: (0, 999, BLUE), 1: (100, 1099, GREEN), 2: (2001, 3000, RED)}))
        self.assertEqual(self.render(data, "--auto", "1:2", levels=None), composed(rows, {
            0: (9, 980, BLUE), 1: (109, 1080, GREEN), 2: (2010, 2981, RED)}))
        self.assertEqual(self.render(data), composed(rows, {
            0: (0, 999, BLUE), 1: (100, 1099, GREEN), 2: (2001, 3000, RED)}))
        self.assertEqual(self.render(data, "--channels", "2", levels=None),
                         composed(rows, {2: (2001, 3000, GREY)}))

    def test_auto_without_enough_samples_is_minmax(self):
        for rows in [[[[7], [9]]], [[[0]] * 1999 + [[50]]], [[[3], [3], [3], [200]]],
                     [[[10]] + [[90]] * 2998 + [[200]]], [[[255]] * 2999 + [[3]]]]:
            values = [p[0] for p in rows[0]]
            self.assertEqual(self.render(pnm(rows, 255), levels=None),
                             composed(rows, {0: (min(values), max(values), GREY)}))
        for value in [0, 128, 255]:
            self.assertEqual(self.render(pnm([[[value]] * 3], 255), levels=None),
                             [[(value,) * 3] * 3])

    def test_rgb_is_scaled_only_when_asked_for(self):
        rows = [[[20 + v[0] // 10] * 3 for v in row] for row in self.ramp(2000)]
        data = png(rows, 8, RGB)
        self.assertEqual(self.render(data, levels=None), [[tuple(p) for p in row] for row in rows])
        how = {0: RED, 1: GREEN, 2: BLUE}
        self.assertEqual(self.render(data),
                         composed(rows, {c: (20, 219, how[c]) for c in how}))
        self.assertEqual(self.render(data, "--auto", "5:10"),
                         composed(rows, {c: (29, 200, how[c]) for c in how}))

    def test_rgb_has_one_pair_of_levels(self):
        # Of 1000 samples the 50th from below and the 100th from above that any component has.
        rows = [[[20 + v[0] // 10, 60 + v[0] // 10, 100 + v[0] // 10] for v in row]
                for row in self.ramp(1000)]
        how = {0: RED, 1: GREEN, 2: BLUE}
        data = png(rows, 8, RGB)
        self.assertEqual(self.render(data), composed(rows, {c: (20, 199, how[c]) for c in how}))
        self.assertEqual(self.render(data, "--auto", "5:10"),
                         composed(rows, {c: (24, 190, how[c]) for c in how}, 8))
        self.assertEqual(self.render(tiff(page(rows, 8)), "--auto", "5:10"), composed(
            rows, {0: (24, 110, BLUE), 1: (64, 150, GREEN), 2: (104, 190, RED)}, 8))

    def test_levels_stay_within_the_depth(self):
        rows = [[[0], [500], [1023], [65535]]]
        warning = rb"qmpic: warning: [^\n]+\n"
        self.assertEqual(self.render(tiff(page(rows)), "--bits", 10, warning=warning),
                         composed([[[0], [500], [1023], [1023]]], {0: (0, 1023, GREY)}))


class Marks(Case):
    def test_over_and_under_of_one_channel(self):
        for top, data in [(255, lambda rows: pnm(rows, 255)), (4095, lambda rows: pnm(rows, 4095))]:
            rows = [[[0], [1], [top - 1], [top]]]
            plain = composed(rows, {0: (0, top, GREY)})[0]
            for options, first, last in [
                    (["--mark-over"], plain[0], RED), (["--mark-under"], BLUE, plain[3]),
                    (["--mark-over", "--mark-under"], BLUE, RED),
                    (["--mark-over", "00FF00", "--mark-under=#FF8001"], (255, 128, 1), GREEN),
                    (["--mark-over=inverse"], plain[0], (0, 0, 0)),
                    (["--mark-under", "inverse"], (0, 0, 0), plain[3])]:
                with self.subTest(top=top, options=options):
                    self.assertEqual(self.render(data(rows), *options),
                                     [[first, plain[1], plain[2], last]])

    def test_a_mark_without_colour_may_stand_before_the_file(self):
        picture = self.file(pnm([[[0], [255]]], 255))
        run = self.run_tool("render", "--mark-over", picture, "-o", self.out)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(read_png(self.out.read_bytes()), [[(0, 0, 0), RED]])

    def test_the_lowest_channel_that_is_out_of_range_decides(self):
        for bits in [8, 16]:
            top = 2 ** bits - 1
            rows = [[[5, top], [top, 5], [0, top], [top, 0], [5, 5], [0, 0]]]
            plain = composed(rows, {0: (0, top, BLUE), 1: (0, top, GREEN)})[0]
            data = tiff(page(rows, bits))
            self.assertEqual(self.render(data, "--mark-over", "FF0000"),
                             [[RED] * 4 + plain[4:]])
            self.assertEqual(self.render(data, "--mark-over=inverse", "--mark-under=808080"),
                             [[MAGENTA, YELLOW, (128,) * 3, YELLOW, plain[4], (128,) * 3]])

    def test_hidden_channels_mark_nothing(self):
        rows = random_rows(9, 3, 3, 4095)
        rows[1] = [[2000, 4095, 2000], [0, 2000, 2000]] + rows[1][2:]
        found = self.render(tiff(page(rows)), "--channels", "0,2", "--mark-over=FFFFFF")
        self.assertEqual(found[1][0], composed([[[2000, 0, 2000]]], {
            0: (0, 4095, BLUE), 2: (0, 4095, RED)})[0][0])

    def test_saturated_samples_of_the_sample_pictures(self):
        for name, options, count in [
                ("plant_1ch_12bit_512x512.tif", [], 2355),
                ("cells_3ch_12bit_695x395.tif", ["--channels", "2"], 545),
                ("cells_3ch_16bit_512x512.tif", ["--channels", "0"], 11)]:
            found = self.render((DATA / name).read_bytes(), "--mark-over", "FF00FF", *options)
            self.assertEqual(sum(row.count(MAGENTA) for row in found), count)


def counts_of(rows, component=0):
    """{value: how often}."""
    return dict(collections.Counter(pixel[component] for row in rows for pixel in row))


def line_of(counts):
    """One row of pixels that has these values so often."""
    return [[[value] for value, count in counts.items() for _ in range(count)]]


class Stats(Case):
    def stats(self, data, *options):
        run = self.run_tool("stats", self.file(data), "--json", *options)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        return json.loads(run.stdout)

    def test_percentiles_of_a_thousand_values(self):
        values = list(range(1000))
        random.Random(5).shuffle(values)
        found = self.stats(pnm([[[v] for v in values]], 4095))
        sample = found["samples"][0]
        self.assertEqual((found["width"], found["height"]), (1000, 1))
        self.assertEqual((found["significant_bits"], found["significant_bits_from"]),
                         (12, "maxval"))
        self.assertEqual((sample["min"], sample["max"], sample["mean"]), (0, 999, 499.5))
        self.assertEqual(sample["median"], 499)
        self.assertEqual(sample["percentiles"], {
            "0.1": 0, "1": 9, "5": 49, "25": 249, "50": 499, "75": 749, "95": 949, "99": 989,
            "99.9": 998})

    def test_percentiles_of_few_samples(self):
        sample = self.stats(pnm([[[7], [5], [7]]], 255))["samples"][0]
        self.assertEqual(sample["percentiles"], {
            "0.1": 5, "1": 5, "5": 5, "25": 5, "50": 7, "75": 7, "95": 7, "99": 7, "99.9": 7})
        self.assertEqual(sample["mean"], 19 / 3)
        sample = self.stats(pnm([[[9], [8], [6], [7]]], 255))["samples"][0]
        self.assertEqual((sample["median"], sample["percentiles"]["75"]), (7, 8))
        sample = self.stats(pnm([[[77]]], 255))["samples"][0]
        self.assertEqual(set(sample["percentiles"].values()), {77})

    def test_every_component_for_itself(self):
        rows = [[[c * 100 + x for c in range(5)] for x in range(9)]]
        for bits in [8, 16]:
            rows = [[[c * 50 + x for c in range(5)] for x in range(9)]]
            samples = self.stats(tiff(page(rows, bits)))["samples"]
            self.assertEqual([(s["min"], s["median"], s["max"], s["mean"]) for s in samples],
                             [(c * 50, c * 50 + 4, c * 50 + 8, c * 50 + 4) for c in range(5)])

    def test_otsu_of_separate_values(self):
        # Between values that stand apart every threshold is as good; the least one wins.
        for counts, thresholds in [
                ({10: 3, 200: 1}, [[11], None, None]),
                ({10: 2, 100: 1, 200: 1}, [None, [10, 100], None]),
                ({10: 1, 60: 1, 100: 1, 200: 1}, [None, None, [10, 60, 100]]),
                ({102: 1, 300: 1, 500: 1}, [None, [102, 300], None]),           # 9 bits
                ({102: 1, 501: 1, 1000: 1}, [None, [102, 502], None]),          # 10: steps of 2
                ({10: 1, 101: 1, 500: 1, 1000: 1}, [None, None, [12, 102, 501]]),  # 3
                ({102: 1, 1001: 1, 2000: 1}, [None, [102, 1001], None]),        # 11: all values
                ({102: 1, 2001: 1, 4000: 1}, [None, [104, 2004], None]),        # 4
                ({102: 1, 1001: 1, 2001: 1, 4000: 1}, [None, None, [108, 1008, 2007]]),  # 9
                ({1001: 1, 4001: 1, 8000: 1}, [None, [1001, 4001], None]),      # 13: all values
                ({1000: 1, 30001: 1, 60000: 1}, [None, [1008, 30016], None]),   # 16: 16
                ({1000: 1, 20001: 1, 30001: 1, 60000: 1},
                 [None, None, [1053, 20007, 30051]])]:                          # 81
            with self.subTest(counts=counts):
                found = self.stats(pnm(line_of(counts), 255 if max(counts) < 256 else 65535))
                otsu = found["samples"][0]["otsu"]
                self.assertEqual([len(t) for t in otsu], [1, 2, 3])
                for got, want in zip(otsu, thresholds):
                    if want:
                        self.assertEqual(got, want)

    def test_otsu_of_a_real_picture(self):
        data = (DATA / "nuclei_1ch_8bit_512x512.tif").read_bytes()
        bins = [data[176:].count(bytes([v])) for v in range(256)]
        total = sum(bins)
        part, moment = [0], [0]  # sums of the values below
        for value, count in enumerate(bins):
            part.append(part[-1] + count / total)
            moment.append(moment[-1] + value * count / total)

        def one(t):  # bin t belongs to neither class; the distance is to the sum of both moments
            a, b = part[t], part[256] - part[t + 1]
            u, v = moment[t], moment[256] - moment[t + 1]
            return sum((m / p - u - v) ** 2 * p for p, m in [(a, u), (b, v)] if p > 1e-10)

        def between(first, last):
            p, m = part[last] - part[first], moment[last] - moment[first]
            return m * m / p if p > 1e-10 else 0

        two = max(((between(0, s + 1) + between(s + 1, t + 1) + between(t + 1, 256), -s, -t)
                   for s in range(256) for t in range(s + 1, 256)))
        otsu = self.stats(data)["samples"][0]["otsu"]
        self.assertEqual(otsu[0], [max(range(1, 256), key=one)])
        self.assertEqual(otsu[1], [-two[1], -two[2]])

    def test_saturated_samples(self):
        def saturated(data, *options):
            return [(s["saturated"]["count"], s["saturated"]["share"])
                    for s in self.stats(data, *options)["samples"]]

        rows = [[[0, 4095], [4095, 4094], [7, 4095], [1, 4095]]]
        self.assertEqual(saturated(tiff(page(rows))), [(1, 0.25), (3, 0.75)])
        self.assertEqual(saturated(tiff(page(rows)), "--bits", 13), [(0, 0), (0, 0)])
        self.assertEqual(saturated(pnm([[[1000], [999]]], 1000)), [(1, 0.5)])
        run = self.run_tool("stats", self.file(tiff(page(rows))), "--json", "--bits", 12)
        self.assertEqual(json.loads(run.stdout)["significant_bits_from"], "--bits")
        run = self.run_tool("stats", self.file(tiff(page(rows))), "--json", "--bits", 10)
        self.assertEqual(run.stderr,
                         b"qmpic: warning: samples up to 4095 exceed 10 bits (--bits)\n")
        self.assertEqual([s["saturated"]["count"] for s in json.loads(run.stdout)["samples"]],
                         [1, 4])

    def test_sample_pictures(self):
        saturated = {"plant_1ch_12bit_512x512.tif": [2355],
                     "cells_3ch_12bit_695x395.tif": [0, 0, 545],
                     "cells_3ch_16bit_512x512.tif": [11, 0, 0]}
        for name, at, code, many in [
                ("cells_3ch_12bit_695x395.tif", 208, "H", 3),
                ("cells_3ch_16bit_512x512.tif", 208, "H", 3),
                ("cells_6ch_16bit_352x352.tif", 224, "H", 6),
                ("cytoskeleton_3ch_13bit_350x350.tif", 208, "H", 3),
                ("kernel_145band_12bit_43x31.tif", 784, "H", 145),
                ("nuclei_1ch_11bit_149x147.tif", 176, "H", 1),
                ("ratio_ph_2ch_8bit_256x256.tif", 208, "B", 2),
                ("golgi_2ch_12bit_204x220.tif", 208, "H", 2),
                ("landsat_6band_8bit_349x352.tif", 224, "B", 6),
                ("nuclei_1ch_8bit_512x512.tif", 176, "B", 1),
                ("plant_1ch_12bit_512x512.tif", 176, "H", 1)]:
            with self.subTest(name=name):
                data = (DATA / name).read_bytes()
                values = array.array(code, data[at:])
                found = self.stats(data)["samples"]
                self.assertEqual(len(found), many)
                for c, sample in enumerate(found):
                    own = sorted(values[c::many])
                    self.assertEqual((sample["min"], sample["max"], sample["mean"]),
                                     (own[0], own[-1], sum(own) / len(own)))
                    for percent, value in sample["percentiles"].items():
                        rank = -(-len(own) * round(10 * float(percent)) // 1000)
                        self.assertEqual(value, own[rank - 1], percent)
                    if name in saturated:
                        self.assertEqual(sample["saturated"]["count"], saturated[name][c])

    def test_text(self):
        run = self.run_tool("stats", self.file(pnm([[[10], [10], [10], [200]]], 255)))
        self.assertEqual(run.stderr, b"")
        lines = run.stdout.decode().splitlines()
        self.assertEqual(lines[:4], ["4 x 1 pixels, 8 bits (maxval)", "",
                                     "                    component 0",
                                     "min                          10"])
        found = dict(re.findall(r"(?m)^(\S.*?)  +(\S.*)$", run.stdout.decode()))
        for name, value in [("0.1 %", "10"), ("median", "10"), ("99.9 %", "200"), ("max", "200"),
                            ("mean", "57.500"), ("Otsu, 1 threshold", "11"), ("saturated", "0"),
                            ("saturated, %", "0")]:
            self.assertEqual(found[name], value)

    def test_text_of_many_components_stays_narrow(self):
        run = self.run_tool("stats", self.file(tiff(page(random_rows(9, 9, 40, 255), 8))))
        lines = run.stdout.decode().splitlines()
        self.assertLessEqual(max(map(len, lines)), 100)
        self.assertEqual(re.findall(r"component (\d+)", run.stdout.decode()),
                         [str(c) for c in range(40)])

    def test_wrong_usage(self):
        picture = self.file(pnm([[[1], [2]]], 255))
        for option, value in [("--bits", "x"), ("--bits", "9"), ("--page", "-1"),
                              ("--max-pixels", "0")]:
            self.assert_fails(2, option, "stats", picture, option, value)

    def test_full_disk_under_the_output(self):
        picture = self.file(pnm([[[1], [2]]], 255))
        for command in [["stats"], ["stats", "--json"], ["histogram"], ["histogram", "--csv"],
                        ["histogram", "--json"], ["threshold", "--otsu", "-o", self.out]]:
            with open("/dev/full", "wb") as full:
                run = subprocess.run([TOOL, *map(str, command), picture], stdout=full,
                                     stderr=subprocess.PIPE)
            self.assertEqual((run.returncode, run.stderr),
                             (1, b"qmpic: the output cannot be written\n"))


# The ink of a channel's curve on white paper.
INKS = [(42, 74, 240), (18, 154, 58), (216, 38, 42), (80, 80, 80), (0, 160, 184), (184, 24, 176),
        (184, 152, 0)]


class Plot:
    """A histogram plot and what the tool says of it."""

    def __init__(self, case, data, *options):
        run = case.run_tool("histogram", case.file(data), "--json", "--plot", case.out, *options)
        case.assertEqual((run.returncode, run.stderr), (0, b""))
        vars(self).update(json.loads(run.stdout)["plot"])
        self.png = case.out.read_bytes()
        case.assertEqual(struct.unpack(">II", self.png[16:24]), (self.width, self.height))

    @functools.cached_property
    def rows(self):
        return read_png(self.png)

    def column(self, value, part=0.25):
        """Pixels of a bin, beside its middle, where the dashed lines are."""
        v = value // self.values_per_bin * self.values_per_bin + part * self.values_per_bin
        return int(self.left + (v - self.first) * (self.right - self.left)
                   / (self.last - self.first))

    def top_of(self, value, ink):
        """The uppermost pixel of a bin that has the ink; None if there is none."""
        x = self.column(value)
        for y in range(int(self.top), int(self.bottom) - 1):
            if all(abs(a - b) < 60 for a, b in zip(self.rows[y][x], ink)):
                return y
        return None

    def expected_top(self, samples):
        part = samples / self.most
        if self.log:
            part = math.log(samples / 0.5) / math.log(self.most / 0.5)
        return self.bottom - part * (self.bottom - self.top)


class Histogram(Case):
    def test_json_and_csv_of_every_value(self):
        rows = random_rows(50, 40, 2, 255)
        for component in [None, 0, 1]:
            chosen = [0, 1] if component is None else [component]
            options = [] if component is None else ["--component", component]
            run = self.run_tool("histogram", self.file(tiff(page(rows, 8))), "--json", *options)
            found = json.loads(run.stdout)
            self.assertEqual((found["significant_bits"], found["significant_bits_from"]),
                             (8, "maximum"))
            self.assertNotIn("plot", found)
            self.assertEqual([c["component"] for c in found["components"]], chosen)
            want = [counts_of(rows, c) for c in chosen]
            for own, counts in zip(found["components"], want):
                self.assertEqual(own["counts"], [counts.get(v, 0) for v in range(256)])
            run = self.run_tool("histogram", self.file(tiff(page(rows, 8))), "--csv", *options)
            self.assertEqual(run.stdout.decode(), "".join(
                [",".join(["value", *(f"component {c}" for c in chosen)]) + "\n"] +
                [",".join(map(str, [v, *(c.get(v, 0) for c in want)])) + "\n"
                 for v in range(256)]))

    def test_values_end_with_the_depth(self):
        def count(data, *options):
            run = self.run_tool("histogram", self.file(data), "--json", *options)
            return len(json.loads(run.stdout)["components"][0]["counts"])

        rows = [[[5], [300]]]
        self.assertEqual(count(tiff(page(rows))), 512)
        self.assertEqual(count(tiff(page(rows)), "--bits", 12), 4096)
        self.assertEqual(count(pnm(rows, 1000)), 1024)
        self.assertEqual(count(tiff(page([[[5], [600]]])), "--bits", 9), 601)  # warned of

    def test_text(self):
        run = self.run_tool("histogram", self.file(pnm(line_of({0: 1, 3: 4, 15: 3}), 255)))
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        lines = run.stdout.decode().splitlines()
        self.assertEqual(len(lines), 17)  # a row a value
        self.assertEqual(lines[0], "component 0: 0 to 15, most often 3 (4 of 8 samples)")
        self.assertEqual(lines[1], "            0          1   12.500 %  #############")
        self.assertEqual(lines[4], "            3          4   50.000 %  " + "#" * 50)
        self.assertEqual(lines[5].rstrip(), "            4          0    0.000 %")
        run = self.run_tool("histogram", self.file(pnm(line_of({30: 1, 39: 1, 4000: 2}), 4095)))
        lines = run.stdout.decode().splitlines()
        self.assertEqual([line.split()[:4] for line in lines[1:]],
                         [[str(v), "-", str(v + 499), str({0: 2, 4000: 2}.get(v, 0))]
                          for v in range(0, 4001, 500)])

    def test_three_bins_read_off_the_plot(self):
        plot = Plot(self, pnm(line_of({12: 1, 13: 100, 17: 50, 20: 10, 21: 1}), 255))
        self.assertEqual(plot.values_per_bin, 1)
        self.assertFalse(plot.log)
        for value, samples in [(13, 100), (17, 50), (20, 10)]:
            self.assertAlmostEqual(plot.top_of(value, INKS[3]), plot.expected_top(samples), delta=2)
        for value in [14, 16, 19]:
            self.assertIsNone(plot.top_of(value, INKS[3]))

    def test_three_bins_read_off_a_logarithmic_plot(self):
        plot = Plot(self, pnm(line_of({12: 1, 13: 1000, 17: 30, 20: 2, 21: 1}), 255), "--log")
        self.assertTrue(plot.log)
        for value, samples in [(13, 1000), (17, 30), (20, 2), (12, 1)]:
            self.assertAlmostEqual(plot.top_of(value, INKS[3]), plot.expected_top(samples), delta=2)
        self.assertIsNone(plot.top_of(15, INKS[3]))
        self.assertGreater(plot.bottom - plot.expected_top(1), 20)  # one sample is seen

    def test_bins_of_several_values(self):
        counts = {v: 1 for v in range(0, 65536, 64)} | {32768: 3000, 32769: 2000, 60001: 1000}
        plot = Plot(self, pnm(line_of(counts), 65535), "--log")
        many = plot.values_per_bin
        self.assertEqual(many & many - 1, 0)
        self.assertGreaterEqual((plot.right - plot.left) * many / (plot.last - plot.first), 2)
        for value in [32768, 60001, 10000]:
            first = value // many * many
            samples = sum(n for v, n in counts.items() if first <= v < first + many)
            self.assertAlmostEqual(plot.top_of(value, INKS[3]), plot.expected_top(samples), delta=2)

    def test_each_channel_has_its_colour(self):
        # Component c has the value 10 c + 5 thirty times, and 0 and 79 once.
        for many in [2, 3, 7]:
            rows = [[[0] * many] + [[10 * c + 5 for c in range(many)]] * 30 + [[79] * many]]
            plot = Plot(self, tiff(page(rows, 8)))
            for c in range(many):
                self.assertAlmostEqual(plot.top_of(10 * c + 5, INKS[c]), plot.expected_top(30),
                                       delta=2)
        rows = [[[0] * 3] + [[15, 35, 55]] * 30 + [[79] * 3]]
        plot = Plot(self, png(rows, 8, RGB))
        for value, ink in [(15, INKS[2]), (35, INKS[1]), (55, INKS[0])]:
            self.assertIsNotNone(plot.top_of(value, ink))
        plot = Plot(self, tiff(page(rows, 8)), "--component", 1)
        self.assertIsNotNone(plot.top_of(35, INKS[1]))
        self.assertIsNone(plot.top_of(15, INKS[0]))

    def test_limits_are_dashed_lines(self):
        # Of 2000 samples the second from each end decides: the limits are 20 and 40.
        counts = {10: 1, 20: 3, **{v: 100 for v in range(21, 40)}, 50: 1}
        counts[40] = 2000 - sum(counts.values())
        plot = Plot(self, pnm(line_of(counts), 255))
        for value, dashed in [(20, True), (40, True), (12, False), (45, False), (50, False)]:
            x = plot.column(value, 0.5)
            line = [row[x] for row in plot.rows[int(plot.top) + 2:][:60]]
            dark = sum(max(pixel) < 160 for pixel in line)
            self.assertEqual(20 < dark < 50, dashed, (value, dark))

    def test_a_far_higher_peak_runs_off_the_top(self):
        # Of 41 bins two are above the twentieth part; four times the next is the top, and some air.
        plot = Plot(self, pnm(line_of({10: 1000} | {v: 10 for v in range(11, 51)}), 255))
        self.assertAlmostEqual(plot.most, 41.6)
        self.assertAlmostEqual(plot.top_of(30, INKS[3]), plot.expected_top(10), delta=2)
        x = plot.column(10, 0.2)
        self.assertLess(max(plot.rows[int(plot.top) + 3][x]), 255)  # filled up to the top
        self.assertEqual(plot.rows[int(plot.top) - 3][x], (255, 255, 255))
        plot = Plot(self, pnm(line_of({10: 1000, 11: 10, 50: 500}), 255))
        self.assertAlmostEqual(plot.most, 1040)

    def test_every_picture_has_a_plot(self):
        pictures = [pnm([[[0]]], 255), pnm([[[65535]]], 65535), tiff(page([[[0], [65535]]])),
                    tiff(page(random_rows(2, 2, 192, 255), 8)), pnm([[[7]] * 9], 255)]
        for data in pictures + [path.read_bytes() for path in sorted(DATA.glob("*_*ch_*.tif"))
                                if "float" not in path.name]:
            for options in [[], ["--log"]]:
                plot = Plot(self, data, *options)
                self.assertEqual(plot.width, 1000)
                self.assertLess(plot.height, 750)
                self.assertGreater(plot.bottom - plot.top, 400)

    def test_any_file_name_is_a_title(self):
        for name in [b"zelle-\xc3\xa4.pgm", b"\xff\xc0\x01.pgm", b"x" * 250]:
            path = os.path.join(os.fsencode(self.folder), name)
            with open(path, "wb") as file:
                file.write(pnm([[[1], [2]]], 255))
            run = subprocess.run([TOOL, "histogram", path, "--plot", self.out],
                                 capture_output=True)
            self.assertEqual((run.returncode, run.stderr), (0, b""))

    def test_wrong_usage(self):
        picture = self.file(pnm([[[1], [2]]], 255))
        for options in [["--component", "1"], ["--component", "-1"], ["--component", "x"],
                        ["--bits", "12"], ["--json", "--csv"], ["--log"], ["--plot"],
                        ["--page", "x"]]:
            self.assert_fails(2, options[0], "histogram", picture, *options)
        self.assert_fails(1, "cannot be written", "histogram", picture, "--plot",
                          self.folder / "none" / "out.png")
        self.assertEqual(os.listdir(self.folder), ["picture"])


class Threshold(Case):
    def threshold(self, data, *options):
        """The mask, and what was printed."""
        run = self.run_tool("threshold", self.file(data), "-o", self.out, "--json", *options)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        return read_png(self.out.read_bytes()), json.loads(run.stdout)

    def assert_selected(self, mask, found, rows, component, low, high):
        want = [[255 if low <= p[component] <= high else 0 for p in row] for row in rows]
        self.assertEqual(mask, want)
        selected, all = sum(row.count(255) for row in want), len(rows) * len(rows[0])
        self.assertEqual(found["classes"], [
            {"grey": 0, "count": all - selected, "share": (all - selected) / all},
            {"grey": 255, "count": selected, "share": selected / all}])

    def test_range_includes_both_ends(self):
        rows = [[[9], [10], [15], [20], [21]]]
        mask, found = self.threshold(pnm(rows, 255), "--range", "10:20")
        self.assertEqual(mask, [[0, 255, 255, 255, 0]])
        self.assertEqual((found["component"], found["range"]), (0, [10, 20]))
        self.assertEqual(found["classes"][1], {"grey": 255, "count": 3, "share": 0.6})
        for values, want in [("15:15", [0, 0, 255, 0, 0]), ("0:9", [255, 0, 0, 0, 0]),
                             ("21:65535", [0, 0, 0, 0, 255]), ("11:14", [0] * 5),
                             ("0:255", [255] * 5)]:
            self.assertEqual(self.threshold(pnm(rows, 255), "--range", values)[0], [want])

    def test_range_of_every_component_and_width(self):
        for bits, low, high in [(8, 60, 200), (16, 20000, 50000)]:
            for count in range(1, 7):
                for width in [1, 7, 8, 9, 16, 17, 100]:
                    rows = random_rows(width, 3, count, 2 ** bits - 1, seed=width)
                    rows[0][0] = [low] * count
                    rows[-1][-1] = [high] * count
                    component = (width + count) % count
                    mask, found = self.threshold(tiff(page(rows, bits)), "--component", component,
                                                 "--range", f"{low}:{high}")
                    self.assertEqual(found["component"], component)
                    self.assert_selected(mask, found, rows, component, low, high)

    def test_otsu_selects_what_is_above(self):
        rows = line_of({10: 3, 200: 1})
        for options in [["--otsu"], ["--otsu", "1"], ["--otsu=1"]]:
            mask, found = self.threshold(pnm(rows, 255), *options)
            self.assertEqual((mask, found["thresholds"]), ([[0, 0, 0, 255]], [11]))
            self.assert_selected(mask, found, rows, 0, 12, 255)

    def test_otsu_of_a_real_picture(self):
        data = (DATA / "nuclei_1ch_8bit_512x512.tif").read_bytes()
        rows = [[[v] for v in data[176 + 512 * y:][:512]] for y in range(512)]
        mask, found = self.threshold(data, "--otsu")
        self.assert_selected(mask, found, rows, 0, found["thresholds"][0] + 1, 255)
        stats = json.loads(self.run_tool("stats", self.file(data), "--json").stdout)
        self.assertEqual(found["thresholds"], stats["samples"][0]["otsu"][0])

    def test_several_thresholds_give_classes(self):
        rows = line_of({10: 2, 100: 1, 200: 1})
        mask, found = self.threshold(pnm(rows, 255), "--otsu", 2)
        self.assertEqual((mask, found["thresholds"]), ([[0, 0, 128, 255]], [10, 100]))
        self.assertEqual(found["classes"], [{"grey": 0, "count": 2, "share": 0.5},
                                            {"grey": 128, "count": 1, "share": 0.25},
                                            {"grey": 255, "count": 1, "share": 0.25}])
        rows = [[[0, p[0]] for p in line_of({102: 1, 1001: 1, 2001: 2, 4000: 1})[0]]]
        mask, found = self.threshold(tiff(page(rows)), "--otsu=3", "--component", 1)
        self.assertEqual((mask, found["thresholds"]),
                         ([[0, 85, 170, 170, 255]], [108, 1008, 2007]))
        self.assertEqual([c["count"] for c in found["classes"]], [1, 1, 2, 1])

    def test_text(self):
        picture = self.file(pnm(line_of({10: 2, 100: 1, 200: 1}), 255))
        for options, text in [
                (["--range", "50:250"], "component   0\nrange       50 to 250\n"
                                        "selected    50.000 % (2 of 4 samples)\n"),
                (["--otsu", "2"], "component   0\nthreshold   10\nthreshold   100\n"
                                  "grey 128    25.000 % (1 samples)\n"
                                  "selected    25.000 % (1 of 4 samples)\n")]:
            run = self.run_tool("threshold", picture, "-o", self.out, *options)
            self.assertEqual((run.returncode, run.stderr), (0, b""))
            self.assertEqual(run.stdout.decode(), text)

    def test_a_threshold_without_number_may_stand_before_the_file(self):
        picture = self.file(pnm([[[0], [255]]], 255))
        run = self.run_tool("threshold", "--otsu", picture, "-o", self.out)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(read_png(self.out.read_bytes()), [[0, 255]])

    def test_equal_samples_have_no_threshold(self):
        picture = self.file(pnm([[[7]] * 5], 255))
        self.assert_fails(1, "alike", "threshold", picture, "--otsu", "-o", self.out)
        self.assertFalse(self.out.exists())

    def test_wrong_usage(self):
        picture = self.file(pnm([[[1], [2]]], 255))
        for text, options in [
                ("--otsu", []), ("--otsu", ["--otsu", "--range", "1:2"]), ("--otsu", ["--otsu", "0"]),
                ("--otsu", ["--otsu", "4"]), ("--otsu", ["--otsu", "-1"]), ("--otsu", ["--otsu=x"]),
                ("--range", ["--range", "2"]), ("--range", ["--range", "2:1"]),
                ("--range", ["--range", "0:65536"]), ("--range", ["--range", "a:b"]),
                ("--range", ["--range", "256:300"]), ("--component", ["--otsu", "--component", "1"]),
                ("--component", ["--otsu", "--component", "x"])]:
            with self.subTest(options=options):
                self.assert_fails(2, text, "threshold", picture, "-o", self.out, *options)
        self.assert_fails(2, "--output", "threshold", picture, "--otsu")
        self.assertFalse(self.out.exists())

    def test_unwritable_output_keeps_the_old_one(self):
        picture = self.file(pnm(random_rows(300, 300, 1, 255), 255))
        self.out.write_bytes(b"old")

        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))

        for options in [["threshold", picture, "--otsu", "-o", self.out],
                        ["histogram", picture, "--plot", self.out]]:
            self.assert_fails(1, "cannot be written", *options, preexec_fn=limit)
            self.assertEqual(self.out.read_bytes(), b"old")
            self.assertEqual(sorted(os.listdir(self.folder)), ["out.png", "picture"])


class Tiff(Case):
    def test_every_layout_reads_alike(self):
        for bits in [8, 12, 16]:
            rows = random_rows(37, 21, 3, 2 ** bits - 1)
            want = composed(rows, {c: (0, 2 ** bits - 1, CHANNEL_COLOURS[c]) for c in range(3)})
            for planar in [False, True]:
                for layout in [{}, {"strip": 4}, {"tile": (16, 16)}, {"tile": (48, 32)}]:
                    for compression in [NONE, LZW, DEFLATE, PACKBITS]:
                        for order in "<>":
                            with self.subTest(bits=bits, planar=planar, layout=layout,
                                              compression=compression, order=order):
                                data = tiff(page(rows, bits, planar=planar, **layout,
                                                 compression=compression), order=order)
                                self.assertEqual(self.info(data)["samples"][0]["max"],
                                                 2 ** bits - 1)
                                if compression == LZW or order == ">":
                                    self.assertEqual(self.render(data), want)

    def test_other_packed_depths(self):
        for bits in [1, 2, 4, 7, 9, 10, 11, 13, 14, 15]:
            rows = random_rows(13, 3, 2, 2 ** bits - 1)
            self.assertEqual(self.render(tiff(page(rows, bits))),
                             composed(rows, {0: (0, 2 ** bits - 1, BLUE),
                                             1: (0, 2 ** bits - 1, GREEN)}))

    def test_white_may_be_0(self):
        rows = random_rows(7, 3, 1, 255)
        inverse = [[[255 - v for v in p] for p in row] for row in rows]
        self.assertEqual(self.render(tiff(page(rows, 8, MIN_IS_WHITE))),
                         composed(inverse, {0: (0, 255, GREY)}))

    def test_transparency_is_dropped(self):
        for planar in [False, True]:
            for kind in [1, 2]:
                rows = random_rows(7, 3, 4, 255)
                data = tiff(page(rows, 8, TIFF_RGB, planar, tags={338: ("H", [kind])}))
                self.assertEqual(self.info(data)["components"], 3)
                self.assertEqual(self.render(data), composed(rows, {
                    0: (0, 255, RED), 1: (0, 255, GREEN), 2: (0, 255, BLUE)}))

    def test_rgb_with_a_fourth_channel_is_four_channels(self):
        found = self.info(tiff(page(random_rows(3, 2, 4, 255), 8, TIFF_RGB)))
        self.assertEqual((found["components"], found["rgb"]), (4, False))

    def test_pages_of_one_component_are_channels(self):
        rows = random_rows(9, 4, 3, 4095)
        planes = [[[[p[c]] for p in row] for row in rows] for c in range(3)]
        data = tiff(*(page(plane) for plane in planes))
        found = self.info(data)
        self.assertEqual((found["pages"], found["pages_are_components"], found["components"]),
                         (3, True, 3))
        self.assertEqual(self.render(data), composed(rows, {
            c: (0, 4095, CHANNEL_COLOURS[c]) for c in range(3)}))
        self.assertEqual(self.render(data, "--page", 1), composed(rows, {1: (0, 4095, GREY)}))
        self.assert_fails(1, "no page 3", "render", self.file(data), "-o", self.out, "--page", 3)

    def test_pages_that_differ_or_are_many_are_pages(self):
        one, other = page(random_rows(9, 4, 1, 4095)), page(random_rows(8, 4, 1, 4095))
        rgb = page(random_rows(9, 4, 3, 4095), photometric=TIFF_RGB)
        for pages in [[one, other], [rgb, rgb], [one] * 8, [one, rgb]]:
            found = self.info(tiff(*pages))
            self.assertEqual((found["pages"], found["pages_are_components"]), (len(pages), False))
            self.assertEqual(found["components"], len(pages[0]["rows"][0][0]))
        self.assertEqual(self.info(tiff(one, other), "--page", 1)["width"], 8)

    def test_previews_are_no_pages(self):
        picture = page(random_rows(9, 4, 1, 4095))
        preview = page(random_rows(3, 2, 1, 4095), tags={254: ("I", [1])})
        self.assertEqual(self.info(tiff(picture, preview))["pages"], 1)

    def test_ome_says_which_pages_are_channels(self):
        # Page p holds the value 100 + p, and one 0.
        pages = [[[[100 + p]]] for p in range(12)]
        for order, chosen in [("XYCZT", [0, 1]), ("XYZCT", [0, 3]), ("XYZTC", [0, 6]),
                              ("XYTCZ", [0, 2]), ("XYTZC", [0, 6]), ("XYCTZ", [0, 1])]:
            text = (f'<OME><Image><Pixels DimensionOrder="{order}" SizeX="1" SizeY="1" SizeZ="3" '
                    'SizeC="2" SizeT="2" SignificantBits="12"/></Image></OME>')
            first, *rest = pages
            data = tiff(page(first, tags={270: ("s", text)}), *map(page, rest))
            found = self.info(data)
            self.assertEqual([s["min"] for s in found["samples"]], [100 + p for p in chosen])
            self.assertEqual((found["pages"], found["pages_are_components"]), (12, True))
            self.assertEqual(self.info(data, "--page", 7)["samples"][0]["min"], 107)
            self.assertEqual(self.info(data, "--page", 7)["significant_bits"], 12)

    def test_unsupported(self):
        rows = [[[1, 2, 3]]]
        for text, made in [
                ("floating-point", page([[[1]]], 32, tags={339: ("H", [3])})),
                ("signed", page([[[1]]], 16, tags={339: ("H", [2])})),
                ("16 bits", page([[[1]]], 32)), ("16 bits", page([[[1]]], 24)),
                ("other than 32", page([[[1]]], 16, tags={339: ("H", [3])})),
                ("palette", page([[[1]]], 8, TIFF_PALETTE, tags={320: ("H", [0] * 768)})),
                ("colours", page(rows, 8, 8)),
                ("compression", page([[[1]]], 8, tags={259: ("H", [34712])}))]:
            self.assert_fails(1, text, "stats", self.file(tiff(made)))


class Png(Case):
    def test_grey_of_few_bits_keeps_its_values(self):
        for bits in [1, 2, 4]:
            rows = random_rows(13, 3, 1, 2 ** bits - 1)
            self.assertEqual(self.info(png(rows, bits))["samples"][0]["max"], 2 ** bits - 1)
            self.assertEqual(self.render(png(rows, bits)),
                             composed(rows, {0: (0, 2 ** bits - 1, GREY)}))

    def test_palette_becomes_rgb(self):
        colours = [(10, 20, 30), (255, 0, 128), (0, 0, 0), (7, 7, 7)]
        palette = chunk(b"PLTE", bytes(c for colour in colours for c in colour))
        for bits in [2, 4, 8]:
            rows = random_rows(13, 3, 1, 3)
            want = [[colours[p[0]] for p in row] for row in rows]
            self.assertEqual(self.render(png(rows, bits, PALETTE, palette), levels=None), want)
            transparent = palette + chunk(b"tRNS", b"\0\x80")
            self.assertEqual(self.render(png(rows, bits, PALETTE, transparent), levels=None),
                                 want)

    def test_transparency_is_dropped(self):
        for bits in [8, 16]:
            top = 2 ** bits - 1
            rows = random_rows(9, 3, 4, top)
            self.assertEqual(self.render(png(rows, bits, RGB_ALPHA)), composed(rows, {
                0: (0, top, RED), 1: (0, top, GREEN), 2: (0, top, BLUE)}))
            rows = random_rows(9, 3, 2, top)
            self.assertEqual(self.info(png(rows, bits, GREY_ALPHA))["components"], 1)
            self.assertEqual(self.render(png(rows, bits, GREY_ALPHA)),
                             composed(rows, {0: (0, top, GREY)}))

    def test_page_0_is_the_only_one(self):
        rows = [[[1], [2]]]
        self.assertEqual(self.render(png(rows), "--page", 0), composed(rows, {0: (1, 2, GREY)}))
        self.assert_fails(1, "no page 1", "info", self.file(png(rows)), "--page", 1)

    def test_a_damaged_chunk(self):
        data = bytearray(png(random_rows(40, 40, 1, 255)))
        data[60] ^= 1
        self.assert_fails(1, "picture: ", "info", self.file(bytes(data)))


class Pnm(Case):
    def test_text_and_binary_are_alike(self):
        for components in [1, 3]:
            for top in [255, 4095, 65535]:
                rows = random_rows(5, 4, components, top)
                self.assertEqual(self.render(pnm(rows, top)), self.render(pnm(rows, top, text=True)))

    def test_comments(self):
        rows = [[[1], [200]]]
        for text in [False, True]:
            self.assertEqual(self.info(pnm(rows, 255, text, "# made by hand\n#\n"))["width"], 2)

    def test_wrong_headers(self):
        for data in [b"P5", b"P5\n", b"P5 1", b"P5 1 1", b"P5 1 1 255", b"P5 1 1 255\n", b"P5 x 1 255\n1",
                     b"P5 1 1 0\n1", b"P5 1 1 65536\n11", b"P5 -1 1 255\n1", b"P4 1 1\n1", b"P7\n",
                     b"P1 1 1 1", b"P2 1 1 255\n256", b"P2 1 1 255\nx", b"P2 2 1 255\n1",
                     b"P2 1 1 255\n-1", b"P5 99999999999999999999 1 255\n1", b"P51 1 255\n1"]:
            with self.subTest(data=data):
                self.assert_fails(1, "picture: ", "info", self.file(data))


class Failures(Case):
    def test_no_picture(self):
        for data in [b"", b"I", b"II", b"hello, world", b"\x89PNG\r\n\x1a\n", b"II*\0\0\0\0\0", bytes(99)]:
            self.assert_fails(1, "picture: ", "info", self.file(data))
        self.assert_fails(1, "directory", "info", self.folder)
        self.assert_fails(1, "No such file", "info", self.folder / "none")

    def test_unreadable_file(self):
        if os.geteuid() == 0:
            self.skipTest("root reads everything")
        picture = self.file(pnm([[[1]]], 255))
        picture.chmod(0)
        self.assert_fails(1, "Permission denied", "info", picture)

    def test_empty_pictures(self):
        for data in [b"P5 0 1 255\n", b"P5 1 0 255\n", tiff(page([[[1]]], tags={256: ("I", [0])})),
                     tiff(page([[[1]]], tags={257: ("I", [0])}))]:
            self.assert_fails(1, "", "info", self.file(data))

    def test_absurdly_large_pictures(self):
        header = chunk(b"IHDR", struct.pack(">IIBBBBB", 2 ** 31 - 1, 2 ** 31 - 1, 16, RGB, 0, 0, 0))
        for data in [b"P5 2000000000 2000000000 65535\n", b"\x89PNG\r\n\x1a\n" + header,
                     tiff(page([[[1]]], tags={256: ("I", [2 ** 31 - 1]), 257: ("I", [2 ** 31 - 1]),
                                              278: ("I", [1])})),
                     tiff(page([[[1]]], tile=(16, 16), tags={322: ("I", [2 ** 31 - 16]),
                                                              323: ("I", [2 ** 31 - 16])}))]:
            self.assert_fails(1, "", "info", self.file(data))

    def test_max_pixels(self):
        rows = random_rows(10, 10, 3, 255)
        for data in [pnm(rows, 255), png(rows, 8, RGB), tiff(page(rows, 8))]:
            picture = self.file(data)
            self.assert_fails(1, "--max-pixels 299", "info", picture, "--max-pixels", 299)
            self.assert_fails(1, "--max-pixels", "render", picture, "-o", self.out,
                              "--max-pixels", 299)
            self.assertEqual(self.run_tool("info", picture, "--max-pixels", 300).returncode, 0)
        for width in [65536, 65537]:  # counts have 32 bits
            picture = self.file(f"P5 {width} 65537 255\n".encode())
            self.assert_fails(1, "more than 4294967295 pixels", "info", picture, "--max-pixels",
                              2 ** 40)

    def samples(self):
        rows, rgb = random_rows(40, 30, 3, 4095), random_rows(20, 20, 3, 255)
        made = {"pgm": pnm(random_rows(40, 30, 1, 4095), 4095), "ppm": pnm(rgb, 255),
                "png": png(rows, 16, RGB), "palette.png": png(
                    random_rows(9, 9, 1, 3), 2, PALETTE, chunk(b"PLTE", bytes(range(12)))),
                "pages.tif": tiff(*(page(random_rows(9, 9, 1, 99, s), 8) for s in range(3))),
                "float.tif": float_tiff(rows, strip=7),
                "float-tiles.tif": float_tiff(rows, ">", planar=True, tile=(16, 16),
                                              compression=LZW)}
        for compression in [NONE, LZW, DEFLATE, PACKBITS]:
            made[f"{compression}.tif"] = tiff(page(rows, 12, compression=compression, strip=7))
            made[f"{compression}-tiles.tif"] = tiff(
                page(rows, 16, planar=True, compression=compression, tile=(16, 16)), order=">")
        return made

    def test_a_file_cut_short_fails_and_keeps_the_old_output(self):
        cut = {path.name: path.read_bytes() for path in DATA.iterdir()
               if path.suffix in (".tif", ".png") and "15z" not in path.name}  # page 0 is whole
        self.assertGreaterEqual(len(cut), 5)
        cut.update(self.samples())
        self.out.write_bytes(b"old")
        for name, data in cut.items():
            n = len(data)
            for length in sorted({1, 2, 3, 7, 8, 9, 16, 20, 33, 50, 100, n // 4, n // 2,
                                  n * 3 // 4, n - 100, n - 13, n - 2, n - 1}):
                if not 0 < length < n:
                    continue
                with self.subTest(name=name, length=length):
                    picture = self.file(data[:length])
                    self.assert_fails(1, "picture: ", "render", picture, "-o", self.out)
                    self.assertEqual(self.out.read_bytes(), b"old")
        self.assertEqual(sorted(os.listdir(self.folder)), ["out.png", "picture"])

    def test_damaged_files_never_crash(self):
        source = random.Random(7)
        for name, data in self.samples().items():
            for round in range(25):
                damaged = bytearray(data)
                for _ in range(source.randint(1, 6)):  # mostly in what describes the picture
                    at = source.randrange(min(len(data), 400) if source.random() < 0.8 else len(data))
                    damaged[at] = source.choice([0, 1, 255, source.randrange(256)])
                run = self.run_tool("render", self.file(bytes(damaged)), "-o", self.out)
                with self.subTest(name=name, round=round):
                    self.assertIn(run.returncode, (0, 1), run.stderr)
                    warning = rb"(qmpic: warning: [^\n]+\n)?"
                    self.assertRegex(run.stderr, rb"\A" + warning + (
                        rb"\Z" if run.returncode == 0 else rb"qmpic: [^\n]+\n\Z"))

    def test_a_broken_chain_of_pages_is_an_error(self):
        data = tiff(page(random_rows(9, 9, 1, 99), 8), page(random_rows(9, 9, 1, 99), 8))
        second = struct.unpack("<I", data[8 + 2 + 12 * data[8]:][:4])[0]
        self.assert_fails(1, "picture: ", "info", self.file(data[:second + 20]))

    def test_pages_in_a_circle_are_an_error(self):
        data = bytearray(tiff(page(random_rows(9, 9, 1, 99), 8), page(random_rows(9, 9, 1, 99), 8)))
        second = struct.unpack_from("<I", data, 8 + 2 + 12 * data[8])[0]
        struct.pack_into("<I", data, second + 2 + 12 * data[second], 8)
        self.assert_fails(1, "picture: ", "info", self.file(bytes(data)))

    def test_unwritable_outputs(self):
        picture = self.file(pnm([[[1]]], 255))
        (self.folder / "folder").mkdir()
        for output in [self.folder / "none" / "out.png", self.folder / "folder", picture / "out.png",
                       "/dev/full", ""]:
            self.assert_fails(1, "cannot be written", "render", picture, "-o", output)
        self.assertEqual(sorted(os.listdir(self.folder)), ["folder", "picture"])

    def test_a_full_disk_keeps_the_old_output(self):
        picture = self.file(pnm(random_rows(100, 100, 1, 255), 255))
        self.out.write_bytes(b"old")

        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))

        self.assert_fails(1, "cannot be written", "render", picture, "-o", self.out,
                          preexec_fn=limit)
        self.assertEqual(self.out.read_bytes(), b"old")
        self.assertEqual(sorted(os.listdir(self.folder)), ["out.png", "picture"])

    def test_the_new_output_replaces_the_old_one_and_keeps_its_mode(self):
        self.out.write_bytes(b"old")
        self.out.chmod(0o640)
        self.assertEqual(self.render(pnm([[[255]]], 255)), [[GREY]])
        self.assertEqual(self.out.stat().st_mode & 0o777, 0o640)
        self.out.unlink()
        self.render(pnm([[[255]]], 255))
        mask = os.umask(0)
        os.umask(mask)
        self.assertEqual(self.out.stat().st_mode & 0o777, 0o666 & ~mask)


class ColourTables(Case):
    def tables(self, *options):
        run = self.run_tool("luts", "--json", *options)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        return json.loads(run.stdout)

    def test_list_has_an_index_and_a_name_a_line(self):
        run = self.run_tool("luts", "--list")
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        lines = run.stdout.decode().splitlines()
        self.assertEqual(len(lines), 46)
        self.assertEqual([lines[i] for i in (0, 2, 12, 45)],
                         [" 0  Default", " 2  Iron", "12  Rainbow Dark", "45  Union Jack"])

    def test_json_has_all_colours(self):
        tables = self.tables()["tables"]
        self.assertEqual([table["index"] for table in tables], list(range(46)))
        self.assertEqual(tables[35]["name"], "mpl-viridis")
        self.assertEqual({len(table["colors"]) for table in tables}, {256})
        self.assertEqual(tables[0]["colors"], [f"{i:02X}" * 3 for i in range(256)])
        iron = tables[2]["colors"]
        self.assertEqual((iron[0], iron[1], iron[255]), ("280000", "290000", "FFFFFF"))
        self.assertEqual(tables[31]["colors"][254:], ["FFB1A2", "201614"])

    def test_gallery_shows_each_colour_where_json_says(self):
        told = self.tables("-o", self.out)
        self.assertEqual(told["gallery"], str(self.out))
        rows = read_png(self.out.read_bytes())
        taken = set()
        for table in told["tables"]:
            left, top, right, bottom = (table[k] for k in ("left", "top", "right", "bottom"))
            self.assertEqual(right - left, 256)
            self.assertGreater(bottom - top, 12)
            strip = [tuple(bytes.fromhex(colour)) for colour in table["colors"]]
            for y in range(top, bottom):
                self.assertEqual(rows[y][left:right], strip, table["name"])
            taken |= {(x, y) for y in range(top, bottom) for x in (left, right - 1)}
            # Something is written to the left of it, and nothing touches it.
            label = [rows[y][x] for y in range(top, bottom) for x in range(left - 200, left - 4)]
            self.assertGreater(sum(pixel != GREY for pixel in label), 40, table["name"])
            gap = [rows[y][x] for y in range(top, bottom) for x in range(left - 8, left - 1)]
            self.assertEqual(set(gap), {GREY}, table["name"])
        self.assertEqual(len(taken), sum(2 * (t["bottom"] - t["top"]) for t in told["tables"]))

    def test_gallery_alone_says_nothing_and_with_list_it_lists(self):
        run = self.run_tool("luts", "-o", self.out)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (0, b"", b""))
        first = self.out.read_bytes()
        run = self.run_tool("luts", "--output", self.out, "--list")
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        self.assertIn(b"Union Jack", run.stdout)
        self.assertEqual(self.out.read_bytes(), first)

    def test_it_wants_to_know_what_to_show(self):
        self.assert_fails(2, "--list", "luts")
        self.assert_fails(2, "--list", "luts", "--list", "--json")
        self.assert_fails(2, "", "luts", "picture.tif")
        self.assert_fails(2, "--no-such", "luts", "--list", "--no-such")
        self.assert_fails(1, "cannot be written", "luts", "-o", self.folder / "no" / "out.png")

    def test_the_gallery_of_the_documentation_is_that_of_the_tool(self):
        shown = DATA.parent / "docs" / "images" / "luts.png"
        told = self.tables("-o", self.out)
        kept = read_png(shown.read_bytes())
        for table in told["tables"]:  # fonts may differ
            y, left = table["top"] + 1, table["left"]
            self.assertEqual(kept[y][left:left + 256],
                             [tuple(bytes.fromhex(colour)) for colour in table["colors"]])


def stored_view(components, shown_in, lut=0, levels=(0, 65535), own=None, gamma=1.0, dst=65535,
                **changed):
    """A view as docs/stored-form.md describes it. `own`: {component: (low, high, gamma)}."""
    def level(i):
        low, high, bent = (own or {}).get(i, (0, 65535, 1.0))
        return stored.listing(
            f"a{i:02}", stored.unsigned("uiMinSrc", low), stored.unsigned("uiMaxSrc", high),
            stored.double("fMinSrc", 0.0), stored.double("fMaxSrc", 1.0),
            stored.double("dGammaSrc", bent), stored.unsigned("uiMinDst", 0),
            stored.unsigned("uiMaxDst", 65535), stored.unsigned("uiGroup", 0))

    most = struct.unpack("<f", bytes.fromhex("ffff7f7f"))[0]
    numbers = {"uiGradient": lut, "uiGradientBrightField": 0, "uiMinSrc": levels[0],
               "uiMaxSrc": levels[1], "dGammaSrc": gamma, "uiMinDst": 0, "uiMaxDst": dst,
               "uiColorSpace": int(components == 1), "uiRepresentation": 0,
               "uiLutComponentCount": components, "uiGroupCount": 3}
    params = [(stored.double if isinstance(v, float) else stored.unsigned)(k, v)
              for k, v in numbers.items()]
    params += [stored.listing("sCompLutParam", *[level(i) for i in range(3 if components == 1 else 192)]),
               stored.listing("sLutDataSpectral", stored.double("dGainTrueColor", 1.0),
                              stored.double("dOffsetTrueColor", 0.0),
                              stored.double("dGainGrayScale", 1.0),
                              stored.double("dOffsetGrayScal", 0.0),
                              stored.unsigned("uiSpectralColorMode", 0))]
    content = {
        "version": stored.unsigned("version", 1), "bFloat": stored.boolean("bFloat", False),
        "fMinSrc": stored.double("fMinSrc", most), "fMaxSrc": stored.double("fMaxSrc", -most),
        "channels": stored.listing("channels", *[
            stored.listing("", stored.unsigned("component", c), stored.unsigned("color", colour))
            for c, colour in shown_in]),
        "SQmLutParam": stored.listing("SQmLutParam", *params), **changed}
    return stored.block(stored.listing(content.pop("name", "qmpic view"),
                                       *[c for c in content.values() if c]))


class Views(Case):
    def setUp(self):
        super().setUp()
        self.view = self.folder / "view"

    def tables(self):
        return [[tuple(bytes.fromhex(c)) for c in table["colors"]]
                for table in json.loads(self.run_tool("luts", "--json").stdout)["tables"]]

    def test_a_channel_is_shown_in_a_colour_table(self):
        tables = self.tables()
        rows = random_rows(16, 16, 1, 255)
        for index in [0, 1, 3, 27, len(tables) - 1]:
            self.assertEqual(self.render(pnm(rows, 255), "--lut", index),
                             [[tables[index][p[0]] for p in row] for row in rows])
        for bits in [10, 12, 16]:
            top = 2 ** bits - 1
            rows = random_rows(9, 9, 1, top)
            want = [[tables[1][curve(p[0], top, 100, 900, 2) * 256 // (top + 1)] for p in row]
                    for row in rows]
            for name in ["1", "Rainbow", "rainbow", "RAIN-BOW"]:
                self.assertEqual(self.render(pnm(rows, top), "--lut", name, "--levels", "100:900",
                                             "--gamma", 2), want)

    def test_one_of_several_channels_is_shown_in_a_colour_table(self):
        tables = self.tables()
        rows = random_rows(8, 8, 3, 255)
        for data in [tiff(page(rows, 8)), png(rows, 8, RGB)]:
            for index in [0, 5]:
                self.assertEqual(
                    self.render(data, "--lut", index, "--channels", 1, "--levels", "50:200"),
                    [[tables[index][curve(p[1], 255, 50, 200)] for p in row] for row in rows])

    def test_a_colour_table_is_for_one_channel(self):
        two = self.file(tiff(page(random_rows(4, 4, 2, 255), 8)), "two")
        one = self.file(pnm([[[1], [2]]], 255), "one")
        self.assert_fails(2, "--channels", "render", two, "-o", self.out, "--lut", 1)
        self.assert_fails(2, "--lut", "render", one, "-o", self.out, "--lut", "no such")
        self.assert_fails(2, "--lut", "render", one, "-o", self.out, "--lut", 46)
        self.assert_fails(2, "--lut", "render", "none", "-o", self.out, "--lut", "-1")
        self.assert_fails(2, "--", "render", one, "-o", self.out, "--lut", 1, "--colors", "FF0000")
        self.assertFalse(self.out.exists())

    def test_a_view_shows_a_picture_as_it_was(self):
        rows, one = random_rows(8, 6, 3, 4095), random_rows(8, 6, 1, 65535)
        for data, options in [
                (tiff(page(rows)), []),
                (tiff(page(rows)), ["--channels", "2,0", "--colors", "#ff8000,102030", "--levels",
                                    "100:4000,0:9000", "--gamma", "0.5,2"]),
                (tiff(page(rows)), ["--channels", 1, "--lut", 7, "--auto", "5:10"]),
                (pnm(rows, 4095), ["--levels", "1:4094"]),
                (tiff(page(one)), ["--lut", 3, "--levels", "4711:40000", "--gamma", "0.7"]),
                (tiff(page(one)), ["--levels", "65534:65535", "--colors", "123456"])]:
            want = self.render(data, *options, "--save-view", self.view, levels=None)
            self.assertEqual(self.render(data, "--load-view", self.view, levels=None), want)
            self.assertEqual(self.render(data, "--load-view", self.view, "--save-view", self.view,
                                         levels=None), want)  # over itself
            self.assertEqual(self.render(data, "--load-view", self.view, levels=None), want)

    def test_a_view_holds_levels_as_fractions(self):
        rows = [[[0], [51], [102], [204], [255]]]
        self.render(pnm(rows, 255), "--levels", "51:204", "--save-view", self.view)
        for bits in [8, 12, 16]:
            top = 2 ** bits - 1
            scaled = [[[p[0] * top // 255] for p in row] for row in rows]
            self.assertEqual(self.render(pnm(scaled, top), "--load-view", self.view, levels=None),
                             composed(scaled, {0: (top // 5, top * 4 // 5, GREY)}, bits))

    def test_marks_are_not_part_of_a_view(self):
        data = pnm([[[0], [100], [255]]], 255)
        self.render(data, "--mark-over", "--save-view", self.view)
        self.assertEqual(self.render(data, "--load-view", self.view, levels=None)[0][2], GREY)
        self.assertEqual(self.render(data, "--load-view", self.view, "--mark-over", levels=None),
                         [[(0, 0, 0), (100, 100, 100), RED]])

    def test_a_view_is_stored_as_documented(self):
        rows = random_rows(8, 6, 3, 65535)
        self.render(tiff(page(rows)), "--channels", "2,0", "--colors", "FF8000,102030", "--levels",
                    "100:40000,7:65535", "--gamma", "0.5,2", "--save-view", self.view)
        self.assertEqual(self.view.read_bytes(), stored_view(
            3, [(2, 0x0080FF), (0, 0x302010)], own={2: (100, 40000, 0.5), 0: (7, 65535, 2.0)}))
        self.render(tiff(page([[[0], [1000], [65535]]])), "--lut", 3, "--gamma", "0.5", "--levels",
                    "20:30", "--save-view", self.view)
        self.assertEqual(self.view.read_bytes(),
                         stored_view(1, [(0, 0xFFFFFF)], lut=3, levels=(20, 30), gamma=0.5))
        # A white level above the depth: 1023 of 0 to 2046 is half of the output.
        self.render(pnm([[[0], [1023]]], 1023), "--levels", "0:2046", "--save-view", self.view)
        self.assertEqual(self.view.read_bytes(), stored_view(1, [(0, 0xFFFFFF)], dst=32768))

    def test_a_view_that_is_wrong_is_code_1(self):
        picture = self.file(tiff(page(random_rows(4, 4, 2, 255), 8)))
        good = [(0, 0xFF), (1, 0xFF00)]
        child = stored.unsigned
        for text, data in [
                ("not a view", b""), ("not a view", b"QMVT"), ("not a view", pnm([[[1]]], 255)),
                ("not a view", stored_view(2, good)[:-1]),
                ("not a view", stored_view(2, good, name="qmpic")),
                ("too large", bytes(2 ** 20 + 1)),
                ("version 2", stored_view(2, good, version=child("version", 2))),
                ("'version'", stored_view(2, good, version=None)),
                ("'version'", stored_view(2, good, version=stored.text("version", "1"))),
                ("floats", stored_view(2, good, bFloat=stored.boolean("bFloat", True))),
                ("'bFloat'", stored_view(2, good, bFloat=child("bFloat", 0))),
                ("fMinSrc", stored_view(2, good, fMinSrc=stored.double("fMinSrc", 1e300))),
                ("fMaxSrc", stored_view(2, good, fMaxSrc=stored.double("fMaxSrc", stored.NAN))),
                ("'channels'", stored_view(2, good, channels=child("channels", 2))),
                ("'component'", stored_view(2, good, channels=stored.listing(
                    "channels", stored.listing("", child("color", 1))))),
                ("'SQmLutParam'", stored_view(2, good, SQmLutParam=None)),
                ("0 components", stored_view(2, good, SQmLutParam=stored.listing("SQmLutParam"))),
                ("0 channels", stored_view(2, [])), ("3 channels", stored_view(2, good + good[:1])),
                ("channel 1", stored_view(2, good[:1] * 2)),
                ("channel 0", stored_view(2, [(2, 0xFF)])),
                ("channel 0", stored_view(2, [(0, 0x1000000)])),
                ("193 components", stored_view(193, good)),
                ("1 components", stored_view(1, good[:1])), ("3 components", stored_view(3, good)),
                ("colour table 46", stored_view(2, good, lut=46)),
                ("colour table 4294967295", stored_view(2, good, lut=2 ** 32 - 1)),
                ("gamma", stored_view(2, good, gamma=0.0)),
                ("gamma", stored_view(2, good, gamma=float("inf"))),
                ("gamma", stored_view(2, good, own={1: (0, 1, float("nan"))})),
                ("gamma", stored_view(2, good, own={1: (0, 1, -2.0)}))]:
            with self.subTest(text=text, size=len(data)):
                self.view.write_bytes(data)
                self.assert_fails(1, text, "render", picture, "-o", self.out, "--load-view",
                                  self.view)
                self.assertFalse(self.out.exists())
        self.assert_fails(1, "No such file", "render", picture, "-o", self.out, "--load-view",
                          self.folder / "none")
        self.assert_fails(1, "directory", "render", picture, "-o", self.out, "--load-view",
                          self.folder)

    def test_damaged_views_never_crash(self):
        picture = self.file(pnm([[[1], [200]]], 255))
        whole = stored_view(1, [(0, 0xFF)], lut=3)
        source = random.Random(2)
        for _ in range(60):
            damaged = bytearray(whole)
            for _ in range(source.randint(1, 3)):
                at = source.choice([source.randrange(400), source.randrange(len(whole))])
                damaged[at] ^= 1 << source.randrange(8)
            self.view.write_bytes(damaged)
            run = self.run_tool("render", picture, "-o", self.out, "--load-view", self.view)
            self.assertIn(run.returncode, [0, 1])
            self.assertEqual(run.stderr.count(b"\n"), run.returncode, run.stderr)

    def test_levels_of_a_view_in_any_order_are_shown(self):
        self.view.write_bytes(stored_view(1, [(0, 0xFFFFFF)], levels=(40000, 20)))
        self.assertEqual(self.render(pnm([[[1], [200]]], 255), "--load-view", self.view,
                                     levels=None), [[(0, 0, 0)] * 2])

    def test_a_view_leaves_no_room_for_options(self):
        picture = self.file(pnm([[[1], [200]]], 255))
        self.view.write_bytes(stored_view(1, [(0, 0xFF)]))
        for option in [["--channels", 0], ["--colors", "FF0000"], ["--levels", "0:1"],
                       ["--auto=1:1"], ["--minmax"], ["--gamma", 1], ["--lut", 1]]:
            self.assert_fails(2, "--load-view", "render", picture, "-o", self.out, *option,
                              "--load-view", self.view)

    def test_a_view_replaces_neither_picture_nor_output(self):
        picture = self.file(pnm([[[1], [200]]], 255))
        for path in [picture, self.out, self.folder / "." / "out.png"]:
            self.assert_fails(2, "--save-view", "render", picture, "-o", self.out, "--save-view",
                              path)
        self.assertFalse(self.out.exists())
        for path in [self.folder, self.folder / "none" / "view"]:
            self.assert_fails(1, "cannot be written", "render", picture, "-o", self.out,
                              "--save-view", path)


class Bar(Case):
    def test_only_long_work_on_a_terminal_shows_progress(self):
        small, large = self.file(pnm([[[1]]], 255), "small"), self.folder / "large"
        width = 7000
        row = random.Random(1).randbytes(2 * width)
        with open(large, "wb") as file:
            file.write(f"P5 {width} {width} 65535\n".encode())
            for _ in range(width):
                file.write(row)
        for picture, seen in [(small, False), (large, True)]:
            try:
                master, slave = pty.openpty()
            except OSError:
                self.skipTest("no terminals here")
            run = subprocess.Popen([TOOL, "render", picture, "-o", self.out], stderr=slave)
            os.close(slave)
            shown = b""
            while select.select([master], [], [], 120)[0]:
                try:
                    part = os.read(master, 4096)
                except OSError:  # the other end is closed
                    break
                shown += part
            os.close(master)
            self.assertEqual(run.wait(), 0)
            self.assertEqual(b"%" in shown, seen, shown[:200])
            self.assertTrue(shown == b"" or shown.endswith(b"\r\x1b[K"))
        run = self.run_tool("render", large, "-o", self.out)
        self.assertEqual((run.returncode, run.stderr), (0, b""))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
