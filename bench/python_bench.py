"""Engine.run against the C++ entry point on a 1080x2400 frame, in one process.

The entry point is timed in a C++ loop inside the module (RunOneFrameALAD on a matrix over the
frame's memory, its output matrix reused); Engine.run is timed from Python, once writing into a
given array (out=) and once making a new array per frame. One frame of each is timed in turn, in
a random order every round, so that all three see the same spells of a shared machine, and the
medians are compared. Run by scripts/bench.
usage: PYTHONPATH=BUILD/python python3 bench/python_bench.py [ROUNDS]
"""
import random
import statistics
import sys
import time

import numpy as np

import alad

TARGET = 1.10  # Engine.run may cost at most 10% more than the entry point


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 80
    width, height = 1080, 2400
    frame = np.random.default_rng(1).integers(0, 4096, (height, width, 3), dtype=np.int32)
    engine = alad.Engine(width=width, height=height, order=1, block=128, src_lux=300, dst_lux=20000)
    out = np.empty_like(frame)

    def timed(call):
        start = time.perf_counter()
        call()
        return time.perf_counter() - start

    runs = {
        "C++ RunOneFrameALAD": lambda: alad._checks.time_entry_point(frame, 1)[0],
        "Engine.run(frame, out=out)": lambda: timed(lambda: engine.run(frame, out=out)),
        "Engine.run(frame)": lambda: timed(lambda: engine.run(frame)),
    }
    times = {name: [] for name in runs}
    for _ in range(3):  # warm up: the first frame of a sequence takes the short way
        engine.run(frame, out=out)
    turns = random.Random(1)
    for _ in range(rounds):
        for name in turns.sample(list(runs), len(runs)):
            times[name].append(runs[name]())

    base = statistics.median(times["C++ RunOneFrameALAD"])
    print(f"Python binding, order 1 at {width}x{height} (medians of {rounds} frames each, timed in turns):")
    for name, values in times.items():
        median = statistics.median(values)
        ratio = median / base
        verdict = "" if name.startswith("C++") else ("  met (<= +10%)" if ratio <= TARGET else "  NOT met (> +10%)")
        print(f"  {name:28s} {median * 1e3:8.2f} ms  {ratio:6.3f}x{verdict}")


if __name__ == "__main__":
    main()
