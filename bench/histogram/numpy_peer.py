#!/usr/bin/env python3
"""Times NumPy beside the benchmarks of histograms: histogram2d of bytes, percentiles of 12 bits.

usage: bench/histogram/numpy_peer.py [EDGE]...

Prints nanoseconds a pixel, the best of some calls on one thread, for pictures like those of
histogram2d_bench.cpp and statistics_bench.cpp.
"""
import sys
import time

import numpy as np


def best(call, calls=5):
    times = []
    for _ in range(calls):
        start = time.process_time()
        call()
        times.append(time.process_time() - start)
    return min(times)


def cells(edge, random):
    y, x = np.mgrid[0:edge, 0:edge]
    form = np.sin(x / 50) * np.sin(y / 40) * 0.4 + 0.5
    first = (form * 0.9 + random.random(form.shape) * 0.1) * 255.99
    second = (form * 0.6 + random.random(form.shape) * 0.2) * 255.99
    return np.stack([first, second], axis=-1).astype(np.uint8)


def camera(edge, random):
    y, x = np.mgrid[0:edge, 0:edge]
    form = np.maximum(np.sin(x / 50) * np.sin(y / 40), 0) * 3000
    return (200 + form + random.integers(0, 128, form.shape)).astype(np.uint16)


def main(edges):
    random = np.random.default_rng(1)
    limits = [[0, 256], [0, 256]]
    for edge in edges:
        pictures = {"cells": cells(edge, random),
                    "noise": random.integers(0, 256, (edge, edge, 2), dtype=np.uint8),
                    "flat": np.full((edge, edge, 2), 100, dtype=np.uint8)}
        for name, picture in pictures.items():
            a, b = picture[..., 0].ravel(), picture[..., 1].ravel()
            taken = best(lambda: np.histogram2d(a, b, bins=256, range=limits))
            print(f"histogram2d {name} {edge}: {taken / edge ** 2 * 1e9:.2f} ns a pixel")
        picture = camera(edge, random)
        taken = best(lambda: np.percentile(picture, [0.1, 99.9]))
        print(f"percentile {edge}: {taken / edge ** 2 * 1e9:.2f} ns a pixel")


if __name__ == "__main__":
    main([int(edge) for edge in sys.argv[1:]] or [512, 2048])
