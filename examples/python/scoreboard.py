#!/usr/bin/env python3
"""A scoreboard: a stream of frames from another model of the hardware compared with the engine,
frame by frame and stage by stage, stopping at the first difference.

usage: scoreboard.py REGFILE MODELDIR IMAGE...
  REGFILE   the register file that programs every frame (as 'alad verify' takes it)
  MODELDIR  the other model's dumps: MODELDIR/frame-NNN/ with hist.txt ... cltm_result.txt and
            result.txt, the layout 'alad verify' writes
  IMAGE     the frames' test vectors, packed 12-bit pixel files
usage: scoreboard.py --demo
  makes a small stream whose "other model" differs from the engine in one pixel of frame 1, and
  scores it.
Exit status 0 when every frame matches, 1 at the first difference.
"""
import pathlib
import sys
import tempfile

import numpy as np

import alad

STAGES = alad.DEBUG_TYPES + ("result",)


def first_difference(ours, theirs):
    """The first index at which two arrays differ, or None; a shape mismatch counts as one."""
    if ours.shape != theirs.shape:
        return f"shape {ours.shape} != {theirs.shape}"
    differs = np.argwhere(ours != theirs)
    return None if differs.size == 0 else tuple(int(i) for i in differs[0])


def score(regfile, model_dir, images):
    registers = alad.read_registers(regfile)
    width, height = registers["width"], registers["height"]
    # The verification bench's reference configuration; the register file programs the rest.
    engine = alad.Engine(order=1, width=0, height=0, src_lux=6000, dst_lux=260000)
    for number, image in enumerate(images):
        engine.load_registers(regfile)
        ours = {"result": engine.run(alad.read_pixels(image, width, height)), **engine.debug()}
        theirs = alad.read_dumps(pathlib.Path(model_dir) / f"frame-{number:03d}", width, height)
        for stage in STAGES:
            where = first_difference(ours[stage], theirs[stage])
            if where is None:
                continue
            if isinstance(where, str):
                print(f"frame {number}, {stage}: {where}")
            elif len(where) == 3:  # an image: row, column, channel (B, G, R)
                y, x, c = where
                print(f"frame {number}, {stage}: first difference at row {y}, column {x}, channel {'BGR'[c]}: "
                      f"engine {ours[stage][y, x, c]}, model {theirs[stage][y, x, c]}")
            else:
                print(f"frame {number}, {stage}: first difference at entry {where[0]}: "
                      f"engine {ours[stage][where]:#x}, model {theirs[stage][where]:#x}")
            return 1
        print(f"frame {number}: all {len(STAGES)} stages match")
    return 0


def demo():
    """A stream whose other model is the engine itself, its dumps written by Engine.dump, with
    one pixel of frame 1's result changed."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="alad_scoreboard_"))
    rng = np.random.default_rng(7)
    width, height = 96, 64
    registers = alad.Engine(width=width, height=height, order=1, src_lux=300, dst_lux=20000).registers()
    alad.write_registers(folder / "regs.txt", registers)
    model = alad.Engine(order=1, width=0, height=0, src_lux=6000, dst_lux=260000)
    images = []
    for number in range(3):
        frame = rng.integers(0, 4096, (height, width, 3), dtype=np.int32)
        images.append(folder / f"image{number}.txt")
        alad.write_pixels(images[-1], frame)
        model.load_registers(folder / "regs.txt")
        result = model.run(frame)
        if number == 1:
            result[40, 17, 2] ^= 1
        (folder / f"frame-{number:03d}").mkdir()
        model.dump(folder / f"frame-{number:03d}", result)
    print(f"demo stream in {folder}")
    return score(folder / "regs.txt", folder, images)


if __name__ == "__main__":
    if sys.argv[1:] == ["--demo"]:
        sys.exit(demo())
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    sys.exit(score(sys.argv[1], sys.argv[2], sys.argv[3:]))
