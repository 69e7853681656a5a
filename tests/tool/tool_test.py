#!/usr/bin/env python3
"""Tests of the command-line tool, driven from outside.

usage: tool_test.py TOOL DATA_FOLDER [unittest arguments]
"""
import json
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

TOOL, DATA = sys.argv[1], pathlib.Path(sys.argv[2])
BLUE, GREEN, RED, GREY = (0, 0, 255), (0, 255, 0), (255, 0, 0), (255, 255, 255)
CYAN, MAGENTA, YELLOW = (0, 255, 255), (255, 0, 255), (255, 255, 0)
CHANNEL_COLOURS = [BLUE, GREEN, RED, GREY, CYAN, MAGENTA, YELLOW]


def merge(a, b):
    return a + b - a * b // 255


def shown(value, low, high, colour, gamma=1.0):
    """A sample in the colour of its channel: (red, green, blue)."""
    part = min(max((value - low) / (high - low), 0.0), 1.0) ** gamma
    return tuple(int(part * c + 0.5) for c in colour)


def composed(rows, how):
    """`how`: {component: (low, high, colour[, gamma])}."""
    result = []
    for row in rows:
        line = []
        for pixel in row:
            colour = (0, 0, 0)
            for component, arguments in sorted(how.items()):
                own = shown(pixel[component], *arguments)
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

    def render(self, data, *options, warning=b""):
        run = self.run_tool("render", self.file(data), "-o", self.out, *options)
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
        self.assertEqual(self.commands(), ["info", "render"])

    def test_every_command_has_help_and_wants_a_file(self):
        for command in self.commands():
            run = self.run_tool(command, "--help")
            self.assertEqual((run.returncode, run.stderr), (0, b""))
            self.assertIn(b"FILE", run.stdout)
            self.assert_fails(2, "FILE", command)
            self.assert_fails(2, "", command, "a", "b", "c")
            missing = ["-o", self.out] if command == "render" else []
            self.assert_fails(2, "--no-such", command, "a", "--no-such", *missing)
            self.assert_fails(1, "No such file", command, self.folder / "none", *missing)

    def test_help_of_render_names_every_option(self):
        text = self.run_tool("render", "--help").stdout.decode()
        for option in ["-o", "--bits", "--page", "--channels", "--colors", "--levels", "--gamma",
                       "--mark-over", "--mark-under", "--max-pixels"]:
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
                              ("--gamma", "0"), ("--gamma", "-1"), ("--gamma", "nan"),
                              ("--gamma", "inf"), ("--gamma", "1,1"), ("--gamma", "1e999"),
                              ("--max-pixels", "-1"), ("--max-pixels", "many")]:
            with self.subTest(option=option, value=value):
                self.assert_fails(2, option, "render", picture, "-o", self.out, option, value)
        for option in ["--mark-over", "--mark-under"]:
            for value in ["=puce", "=000000"]:
                self.assert_fails(2, option, "render", picture, "-o", self.out, option + value)
        self.assertFalse(self.out.exists())

    def test_wrong_options_are_seen_before_the_picture_is_read(self):
        self.assert_fails(2, "--gamma", "render", "none", "-o", self.out, "--gamma", "x")

    def test_output_may_not_be_the_input(self):
        data = pnm([[[1], [2]]], 255)
        picture = self.file(data)
        (self.folder / "link").symlink_to(picture)
        for output in [picture, self.folder / "link", self.folder / "." / "picture"]:
            self.assert_fails(2, "--output", "render", picture, "-o", output)
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
        self.assertEqual(self.render(pnm(rows, 4095)), composed(rows, {0: (300, 1300, GREY)}))
        self.assertEqual(self.render(pnm(rows, 4095))[0], [(0, 0, 0), (26, 26, 26)])  # 25.5

    def test_equal_samples_are_shown_between_0_and_the_top(self):
        self.assertEqual(self.render(pnm([[[2048]] * 3], 4095)), [[(128, 128, 128)] * 3])
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
            want = composed(rows, {0: (0, top, RED), 1: (0, top, GREEN), 2: (0, top, BLUE)})
            for data in [png(rows, bits, RGB), pnm(rows, top), pnm(rows, top, text=True),
                         tiff(page(rows, bits, TIFF_RGB)), tiff(page(rows, bits, TIFF_RGB, True))]:
                self.assertEqual(self.render(data), want)
        rows = random_rows(4, 4, 3, 200)
        self.assertEqual(self.render(pnm(rows, 200)),  # white is the greatest value of the file
                         composed(rows, {0: (0, 200, RED), 1: (0, 200, GREEN), 2: (0, 200, BLUE)}))

    def test_rgb_sample_picture_is_itself(self):
        data = (DATA / "tissue_rgb_8bit_512x512.png").read_bytes()
        self.assertEqual(self.render(data), read_png(data))

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
                ("16 bits", page([[[1]]], 32)),
                ("palette", page([[[1]]], 8, TIFF_PALETTE, tags={320: ("H", [0] * 768)})),
                ("colours", page(rows, 8, 8)),
                ("compression", page([[[1]]], 8, tags={259: ("H", [34712])}))]:
            self.assert_fails(1, text, "info", self.file(tiff(made)))


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
            self.assertEqual(self.render(png(rows, bits, PALETTE, palette)), want)
            transparent = palette + chunk(b"tRNS", b"\0\x80")
            self.assertEqual(self.render(png(rows, bits, PALETTE, transparent)), want)

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

    def samples(self):
        rows, rgb = random_rows(40, 30, 3, 4095), random_rows(20, 20, 3, 255)
        made = {"pgm": pnm(random_rows(40, 30, 1, 4095), 4095), "ppm": pnm(rgb, 255),
                "png": png(rows, 16, RGB), "palette.png": png(
                    random_rows(9, 9, 1, 3), 2, PALETTE, chunk(b"PLTE", bytes(range(12)))),
                "pages.tif": tiff(*(page(random_rows(9, 9, 1, 99, s), 8) for s in range(3)))}
        for compression in [NONE, LZW, DEFLATE, PACKBITS]:
            made[f"{compression}.tif"] = tiff(page(rows, 12, compression=compression, strip=7))
            made[f"{compression}-tiles.tif"] = tiff(
                page(rows, 16, planar=True, compression=compression, tile=(16, 16)), order=">")
        return made

    def test_a_file_cut_short_fails_and_keeps_the_old_output(self):
        cut = {path.name: path.read_bytes() for path in DATA.iterdir()
               if path.suffix in (".tif", ".png")}
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
