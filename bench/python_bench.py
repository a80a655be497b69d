"""Engine.run against the C++ entry point on a 1080x2400 frame, in one process.

The entry point is timed in a C++ loop inside the module (RunOneFrameALAD on a matrix over the
frame's memory, its output matrix reused); Engine.run is timed from Python, once writing into a
given array (out=) and once making a new array per frame. The three are timed in turns, so that
they see the same spells of a shared machine, and the medians compared. Run by scripts/bench.
usage: PYTHONPATH=BUILD/python python3 bench/python_bench.py [ROUNDS]
"""
import statistics
import sys
import time

import numpy as np

import alad

TARGET = 1.10  # Engine.run may cost at most 10% more than the entry point


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 15
    width, height = 1080, 2400
    frame = np.random.default_rng(1).integers(0, 4096, (height, width, 3), dtype=np.int32)
    engine = alad.Engine(width=width, height=height, order=1, block=128, src_lux=300, dst_lux=20000)
    out = np.empty_like(frame)
    times = {"C++ RunOneFrameALAD": [], "Engine.run(frame, out=out)": [], "Engine.run(frame)": []}

    def timed(call):
        start = time.perf_counter()
        call()
        return time.perf_counter() - start

    for _ in range(3):  # warm up: the first frame of a sequence takes the short way
        engine.run(frame, out=out)
    for _ in range(rounds):
        times["C++ RunOneFrameALAD"] += alad._checks.time_entry_point(frame, 3)
        times["Engine.run(frame, out=out)"] += [timed(lambda: engine.run(frame, out=out)) for _ in range(3)]
        times["Engine.run(frame)"] += [timed(lambda: engine.run(frame)) for _ in range(3)]

    base = statistics.median(times["C++ RunOneFrameALAD"])
    print(f"Python binding, order 1 at {width}x{height} (medians of {3 * rounds} frames each):")
    for name, values in times.items():
        median = statistics.median(values)
        ratio = median / base
        verdict = "" if name.startswith("C++") else ("  met (<= +10%)" if ratio <= TARGET else "  NOT met (> +10%)")
        print(f"  {name:28s} {median * 1e3:8.2f} ms  {ratio:6.3f}x{verdict}")


if __name__ == "__main__":
    main()
