#!/usr/bin/env python3
"""Times packing and unpacking of masks beside NumPy's, in turns.

usage: bench/numpy_peers.py [QMPIC_BENCH] [ROUNDS]

Prints nanoseconds of processor time a pixel, the mean of the best round, for pictures of 2048 x 2048
bytes, and NumPy's time / ours: above 1 we are faster.
"""
import json
import os
import pathlib
import subprocess
import sys
import time

import numpy

EDGE = 2048
HERE = pathlib.Path(__file__).parent
BENCH = sys.argv[1] if len(sys.argv) > 1 else HERE / "../build/release/bench/qmpic_bench"
ROUNDS = int(sys.argv[2]) if len(sys.argv) > 2 else 5
LEVELS = ("sse2", "avx2", "avx512")

pixels = numpy.random.default_rng(1).integers(0, 2, (EDGE, EDGE), dtype=numpy.uint8)
mask = numpy.packbits(pixels, axis=1)
PEERS = {"pack_1x8_to_bin": lambda: numpy.packbits(pixels, axis=1),
         "unpack_bin_to_1x8": lambda: numpy.unpackbits(mask, axis=1)}


def ours(name):
    """Nanoseconds of a call at each level."""
    text = subprocess.run(
        [BENCH, f"--benchmark_filter=^{name}/{EDGE}/({'|'.join(LEVELS)})",
         "--benchmark_min_time=0.02", "--benchmark_format=json"],
        check=True, capture_output=True, text=True).stdout
    return {run["name"].split("/")[2]: run["cpu_time"] for run in json.loads(text)["benchmarks"]}


def of_numpy(call):
    """Nanoseconds of a call."""
    calls = 100
    begin = time.thread_time_ns()
    for _ in range(calls):
        call()
    return (time.thread_time_ns() - begin) / calls


def main():
    os.sched_setaffinity(0, {os.cpu_count() - 1})
    for name, call in PEERS.items():
        best, peer = {}, float("inf")
        for _ in range(ROUNDS):
            peer = min(peer, of_numpy(call))
            for level, time_taken in ours(name).items():
                best[level] = min(time_taken, best.get(level, time_taken))
        for level, time_taken in best.items():
            print(f"{name:20}{level:8}{time_taken / EDGE ** 2:8.4f} ns, numpy "
                  f"{peer / EDGE ** 2:.4f} ns, ratio {peer / time_taken:.2f}")


if __name__ == "__main__":
    main()
