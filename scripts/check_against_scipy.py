#!/usr/bin/python3
"""Holds what the tool measures against SciPy, on the pictures of data/.

usage: scripts/check_against_scipy.py [TOOL [CHECK ...]]     without: build/release/bin/qmpic, all
  pearson    `qmpic coloc`: every pair of channels of the pictures of two and three
  smoothing  `qmpic filter --smooth`: savgol_filter along both axes
  focus      `qmpic focus`: the order of planes that variance of Laplacian gives

Debian's python3-scipy is what is meant, and so its interpreter.
"""
import itertools
import json
import pathlib
import re
import struct
import subprocess
import sys
import tempfile

import numpy
import scipy.ndimage
import scipy.signal
import scipy.stats

ROOT = pathlib.Path(__file__).resolve().parent.parent
DATA = ROOT / "data"
sys.path.append(str(ROOT / "tests" / "tool"))
import pictures


class Checker:
    def __init__(self, tool):
        self.tool, self.failures = tool, 0

    def run(self, *arguments):
        return subprocess.run([self.tool, *map(str, arguments)], check=True,
                              capture_output=True).stdout

    def has(self, command):
        return re.search(rf"(?m)^  {command} ", self.run("--help").decode()) is not None

    def expect(self, holds, text):
        print("  " if holds else "! ", text, sep="")
        self.failures += not holds


def tiff_pages(path):
    """[height x width x components] of the plain files of data/ and of what the tool writes."""
    data, pages = path.read_bytes(), []
    (at,) = struct.unpack("<I", data[4:8])
    while at:
        (count,) = struct.unpack("<H", data[at:at + 2])
        tags = {}
        for i in range(count):
            tag, kind, many = struct.unpack("<HHI", data[at + 2 + 12 * i:][:8])
            code = {3: "H", 4: "I"}.get(kind)
            if code is None:
                continue
            size, place = struct.calcsize(code) * many, at + 10 + 12 * i
            if size > 4:
                (place,) = struct.unpack("<I", data[place:place + 4])
            tags[tag] = struct.unpack(f"<{many}{code}", data[place:place + size])
        pixels = b"".join(data[a:a + n] for a, n in zip(tags[273], tags[279]))
        bits, is_float = tags[258][0], tags.get(339, (1,))[0] == 3
        kind = "<f4" if is_float else f"<u{bits // 8}"
        shape = tags[257][0], tags[256][0], tags[277][0]
        pages.append(numpy.frombuffer(pixels, kind).reshape(shape))
        (at,) = struct.unpack("<I", data[at + 2 + 12 * count:][:4])
    return pages


def read(path):
    if path.suffix == ".png":
        picture = numpy.array(pictures.read_png(path.read_bytes()))
        return picture if picture.ndim == 3 else picture[:, :, None]
    return tiff_pages(path)[0]


def pearson(checker):
    for path in sorted(DATA.glob("*.tif")) + sorted(DATA.glob("*.png")):
        picture = read(path)
        if picture.shape[2] not in (2, 3):
            continue
        for a, b in itertools.combinations(range(picture.shape[2]), 2):
            told = json.loads(checker.run("coloc", path, "--channels", f"{a},{b}", "--json"))
            # In doubles SciPy's own sums over many pixels are off by several 1e-12.
            x, y = (picture[:, :, c].ravel().astype(numpy.longdouble) for c in (a, b))
            want = float(scipy.stats.pearsonr(x, y)[0])
            checker.expect(abs(told["pearson"] - want) <= 1e-12,
                           f"{path.name} {a},{b}: {told['pearson']:.15f}, "
                           f"SciPy {told['pearson'] - want:+.1e} off")


def smoothing(checker):
    for name, top in (("nuclei_1ch_8bit_512x512.tif", 255), ("plant_1ch_12bit_512x512.tif", 4095),
                      ("golgi_2ch_12bit_204x220.tif", 4095)):
        picture = read(DATA / name).astype(float)
        for half, order in ((1, 1), (3, 2), (5, 4)):
            taps = 2 * half + 1
            want = picture
            for axis in (1, 0):  # each pass is kept within the depth
                want = scipy.signal.savgol_filter(want, taps, order, axis=axis, mode="interp")
                want = want.clip(0, top)
            with tempfile.TemporaryDirectory() as folder:
                out = pathlib.Path(folder) / "smooth.tif"
                checker.run("filter", DATA / name, "--smooth", f"{half},{order}", "-o", out)
                found = read(out).astype(float)
            off = numpy.abs(found - numpy.rint(want))
            inside = off[half:-half, half:-half].max()
            # Weights at the borders are whole 1024ths, of both passes in the corners.
            border = 2 * taps / 1024 * picture.max() + 2
            checker.expect(inside <= 2 and off.max() <= border,
                           f"{name} {half},{order}: inside {inside:.0f} levels off, at the borders "
                           f"{off.max():.0f} of {border:.1f}")


def focus(checker):
    """What the two say of each other is shown; that the sharpest plane of gradients and of the
    Laplacian is the same, or its neighbour, has to hold."""
    for path in sorted(DATA.glob("focus_*.tif")):
        planes = [page[:, :, 0].astype(float) for page in tiff_pages(path)]
        laplacian = [scipy.ndimage.laplace(plane).var() for plane in planes]
        told = json.loads(checker.run("focus", path, "--json"))["planes"]
        print(f"  {path.name}: variance of Laplacian {numpy.argsort(laplacian)[::-1].tolist()}")
        for criterion in ("energy", "gradient", "multiscale", "noise", "mean", "autocorrelation"):
            values = [plane[criterion] for plane in told]
            rank = scipy.stats.spearmanr(values, laplacian)[0]
            near = abs(int(numpy.argmax(values)) - int(numpy.argmax(laplacian))) <= 1
            checker.expect(near or criterion != "gradient",
                           f"{criterion:16} {numpy.argsort(values)[::-1].tolist()}, "
                           f"rank correlation {rank:.2f}")


CHECKS = {"pearson": ("coloc", pearson), "smoothing": ("filter", smoothing),
          "focus": ("focus", focus)}


def main():
    checker = Checker(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build/release/bin/qmpic")
    for name in sys.argv[2:] or CHECKS:
        command, check = CHECKS[name]
        print(name)
        if checker.has(command):
            check(checker)
        else:
            checker.expect(name not in sys.argv[2:], f"the tool has no command '{command}'")
    if checker.failures:
        sys.exit(f"{checker.failures} differ")


if __name__ == "__main__":
    main()
